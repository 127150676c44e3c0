// A function that is called once, after some time, in the simulator's loop.
#pragma once

#include <chrono>
#include <functional>

#include "sim/base/EventLoop.h"
#include "sim/base/UniqueFd.h"

namespace sim {

class Alarm {
public:
    // The loop is not owned. ring is called on its thread; it may set the alarm again.
    Alarm(EventLoop& loop, std::function<void()> ring);
    ~Alarm();
    Alarm(const Alarm&) = delete;
    Alarm& operator=(const Alarm&) = delete;

    // Rings so much later, and not when it was to ring before. after: above 0.
    void set(std::chrono::milliseconds after);
    void cancel();
    // It is to ring.
    [[nodiscard]] bool armed() const { return m_armed; }

private:
    void elapsed();

    EventLoop& m_loop;
    const std::function<void()> m_ring;
    const UniqueFd m_timer;
    bool m_armed = false;
};

}  // namespace sim
