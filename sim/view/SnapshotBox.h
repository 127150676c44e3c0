// The way from the simulator's thread to others: the newest state, and the lines behind it.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>
#include <vector>

#include "sim/view/LineRing.h"
#include "sim/view/PanelState.h"

namespace sim {

// Readers take what is newest when they come: a slow one misses states, and lines beyond the kept ones, but
// never holds up the simulator.
class SnapshotBox {
public:
    static constexpr std::size_t kKeptLines = 2000;

    struct News {
        std::uint64_t version = 0;  // to wait for the next with
        PanelState state;
        std::vector<ShownLine> lines;  // behind the one that was asked for, oldest first
        std::uint64_t missed = 0;      // lines behind it that are gone; their numbers are missing in lines
    };

    // ---- On the simulator's thread ----

    // version: StateKeeper's, greater than that of the call before.
    void publish(std::uint64_t version, const PanelState& state, const LineRing& lines);
    // Nothing will be published any more: wakes all who wait.
    void close();
    // Called after each publish, and after close: to wake a reader that waits in its own way, not to work.
    void onNews(std::function<void()> wake) { m_wakes.push_back(std::move(wake)); }

    // ---- On any thread ----

    // What is there now. afterLine: the number of the last line that the reader has; 0: all that are kept.
    [[nodiscard]] News latest(std::uint64_t afterLine) const;
    // The first state newer than the version (0: any), waited for. Nothing: none came in time, or the box is
    // closed and the reader has its last.
    [[nodiscard]] std::optional<News> waitNewer(std::uint64_t version, std::uint64_t afterLine,
                                                std::chrono::milliseconds timeout) const;
    [[nodiscard]] bool closed() const;

private:
    [[nodiscard]] News take(std::uint64_t afterLine) const;
    void wakeAll();

    std::vector<std::function<void()>> m_wakes;
    mutable std::mutex m_mutex;  // guards what follows
    mutable std::condition_variable m_changed;
    std::uint64_t m_version = 0;
    PanelState m_state;
    LineRing m_lines{kKeptLines};
    bool m_closed = false;
};

}  // namespace sim
