#include "sim/base/EventLoop.h"

#include <sys/epoll.h>

#include <array>
#include <cstdint>
#include <utility>

namespace sim {
namespace {

constexpr unsigned kGenerationShift = 32;

}  // namespace

EventLoop::EventLoop() : m_epoll(::epoll_create1(EPOLL_CLOEXEC)) {}

bool EventLoop::watch(int fd, std::uint32_t events, Handler handler) {
    const std::uint32_t generation = ++m_generation;
    epoll_event event{};
    event.events = events;
    event.data.u64 = std::uint64_t{generation} << kGenerationShift | static_cast<std::uint32_t>(fd);
    if (::epoll_ctl(m_epoll.get(), EPOLL_CTL_ADD, fd, &event) < 0) {
        return false;
    }
    m_watched[fd] = {generation, std::make_shared<Handler>(std::move(handler))};
    return true;
}

void EventLoop::unwatch(int fd) {
    if (m_watched.erase(fd) != 0) {
        ::epoll_ctl(m_epoll.get(), EPOLL_CTL_DEL, fd, nullptr);
    }
}

bool EventLoop::runOnce(int milliseconds) {
    std::array<epoll_event, 16> events{};
    const int count =
        ::epoll_wait(m_epoll.get(), events.data(), static_cast<int>(events.size()), milliseconds);
    for (int i = 0; i < count; ++i) {
        const epoll_event& event = events[static_cast<std::size_t>(i)];
        const auto found = m_watched.find(static_cast<int>(event.data.u64 & UINT32_MAX));
        if (found != m_watched.end() && found->second.generation == event.data.u64 >> kGenerationShift) {
            const std::shared_ptr<Handler> handler =
                found->second.handler;  // lives on if it unwatches itself
            (*handler)(event.events);
        }
    }
    return count > 0;
}

}  // namespace sim
