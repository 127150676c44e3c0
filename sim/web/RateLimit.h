// How often somebody may do something.
#pragma once

#include <algorithm>
#include <chrono>

namespace sim {

// So many at once, and so many a second from then on.
class RateLimit {
public:
    using Clock = std::chrono::steady_clock;

    RateLimit(double atOnce, double perSecond) : m_most(atOnce), m_perSecond(perSecond), m_left(atOnce) {}

    // Counts one. False: too many.
    [[nodiscard]] bool take(Clock::time_point now) {
        if (m_last != Clock::time_point()) {
            const double seconds = std::chrono::duration<double>(now - m_last).count();
            m_left = std::min(m_most, m_left + seconds * m_perSecond);
        }
        m_last = now;
        if (m_left < 1) {
            return false;
        }
        m_left -= 1;
        return true;
    }

private:
    const double m_most;
    const double m_perSecond;
    double m_left;
    Clock::time_point m_last;
};

}  // namespace sim
