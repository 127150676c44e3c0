// The way from other threads to the simulator's.
#pragma once

#include <functional>
#include <mutex>
#include <vector>

#include "sim/base/EventLoop.h"
#include "sim/base/UniqueFd.h"

namespace sim {

// Functions that are posted run on the thread of the loop, in the order of posting, within its next round.
class Mailbox {
public:
    // On the loop's thread, as the destructor. The loop is not owned.
    explicit Mailbox(EventLoop& loop);
    ~Mailbox();
    Mailbox(const Mailbox&) = delete;
    Mailbox& operator=(const Mailbox&) = delete;

    // From any thread, also from a posted function. False: it is closed, and the function was dropped.
    bool post(std::function<void()> function);

    // On the loop's thread: no function runs any more. Those that wait are destroyed without being run, so
    // that who waits for a promise in one learns of it.
    void close();

private:
    void run();

    EventLoop& m_loop;
    const UniqueFd m_wake;  // an eventfd
    std::mutex m_mutex;     // guards what follows
    std::vector<std::function<void()>> m_functions;
    bool m_closed = false;
};

}  // namespace sim
