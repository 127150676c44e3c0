// What the pages show of the display.
#pragma once

#include <chrono>
#include <mutex>

#include "sim/panel/Picture.h"
#include "sim/view/PanelState.h"

namespace sim {

// States are published at most a hundred times a second, also while a frame is on its way to the display.
// Whole frames come here as they happen, the newest one taking the place of the one before, so that pages get
// them sooner and none half drawn while frames come one after the other. Half of one that stays is shown: an
// interrupted transfer leaves it on the glass, too.
class Glass {
public:
    using Clock = std::chrono::steady_clock;
    // So long after a frame the display is at rest, and what is published is shown.
    static constexpr std::chrono::milliseconds kRest{50};

    struct Shown {
        Picture picture;
        unsigned frame = 0;  // number of the last whole frame; 0: none yet
    };

    // On the simulator's thread.
    void put(unsigned number, const Picture& picture, Clock::time_point now) {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_frame = {picture, number};
        m_time = now;
    }

    // On any thread. published: the newest state.
    [[nodiscard]] Shown shown(const PanelState& published, Clock::time_point now) const {
        const std::lock_guard<std::mutex> lock(m_mutex);
        const bool moving = m_frame.frame != 0 && now < m_time + kRest;
        if (moving || m_frame.frame > published.frame) {
            return m_frame;
        }
        return {published.picture, published.frame};
    }

private:
    mutable std::mutex m_mutex;  // guards what follows
    Shown m_frame;
    Clock::time_point m_time;
};

}  // namespace sim
