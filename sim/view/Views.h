// The views of one session, and what they share.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "sim/base/UniqueFd.h"
#include "sim/view/View.h"

namespace sim {

// Makes keeper, mailbox and snapshots when the first view is added: a session without views keeps nothing.
class Views {
public:
    // loop, panel and controls are not owned; variant and clock as for StateKeeper.
    Views(EventLoop& loop, Panel& panel, Controls& controls, int variant, StateKeeper::Clock clock);
    ~Views();
    Views(const Views&) = delete;
    Views& operator=(const Views&) = delete;

    void add(std::unique_ptr<View> view);
    [[nodiscard]] bool wantLines() const;

    // Starts all. The first error text, or an empty one.
    [[nodiscard]] std::string start();
    // After each round of the loop: publishes what has changed, at most a hundred times a second.
    void afterRound();
    // Publishes the last state and stops those that have started, the last one first.
    void stop();

private:
    struct Shared;  // made with the first view

    EventLoop& m_loop;
    Panel& m_panel;
    Controls& m_controls;
    const int m_variant;
    const StateKeeper::Clock m_clock;
    std::unique_ptr<Shared> m_shared;
    std::vector<std::unique_ptr<View>> m_views;
    std::size_t m_started = 0;  // so many of them, from the first on
    bool m_stopped = false;
};

}  // namespace sim
