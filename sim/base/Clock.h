// The session's time: the machine's, unless something derives another from it.
#pragma once

#include <chrono>
#include <cstdint>

namespace sim {

class Clock {
public:
    Clock() = default;
    virtual ~Clock() = default;
    Clock(const Clock&) = delete;
    Clock& operator=(const Clock&) = delete;

    // Microseconds since the clock was made; never goes back.
    [[nodiscard]] virtual std::int64_t elapsed() const {
        return inMicroseconds(std::chrono::steady_clock::now() - m_start);
    }
    // The time of day: microseconds since 1970, UTC.
    [[nodiscard]] virtual std::int64_t timeOfDay() const {
        return inMicroseconds(std::chrono::system_clock::now().time_since_epoch());
    }

private:
    template <typename Duration>
    static std::int64_t inMicroseconds(Duration duration) {
        return std::chrono::duration_cast<std::chrono::microseconds>(duration).count();
    }

    const std::chrono::steady_clock::time_point m_start = std::chrono::steady_clock::now();
};

}  // namespace sim
