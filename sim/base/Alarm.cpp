#include "sim/base/Alarm.h"

#include <sys/epoll.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include <cstdint>
#include <ctime>
#include <utility>

namespace sim {

Alarm::Alarm(EventLoop& loop, std::function<void()> ring)
    : m_loop(loop),
      m_ring(std::move(ring)),
      m_timer(::timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK)) {
    m_loop.watch(m_timer.get(), EPOLLIN, [this](std::uint32_t) { elapsed(); });
}

Alarm::~Alarm() {
    m_loop.unwatch(m_timer.get());
}

void Alarm::set(std::chrono::milliseconds after) {
    using std::chrono::duration_cast;
    const auto seconds = duration_cast<std::chrono::seconds>(after);
    const std::chrono::nanoseconds rest = after - seconds;
    const itimerspec once = {{0, 0}, {static_cast<time_t>(seconds.count()), static_cast<long>(rest.count())}};
    ::timerfd_settime(m_timer.get(), 0, &once, nullptr);
    m_armed = true;
}

void Alarm::cancel() {
    const itimerspec never{};
    ::timerfd_settime(m_timer.get(), 0, &never, nullptr);
    m_armed = false;
}

// A timer that was set again or cancelled in the same round of the loop has nothing to read.
void Alarm::elapsed() {
    std::uint64_t times = 0;
    if (::read(m_timer.get(), &times, sizeof times) == sizeof times) {
        m_armed = false;
        m_ring();
    }
}

}  // namespace sim
