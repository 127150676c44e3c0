#include "sim/base/EventLoop.h"

#include <sys/epoll.h>

#include <array>
#include <utility>

namespace sim {

EventLoop::EventLoop() : m_epoll(::epoll_create1(EPOLL_CLOEXEC)) {}

void EventLoop::watch(int fd, std::uint32_t events, Handler handler) {
    m_handlers[fd] = std::make_shared<Handler>(std::move(handler));
    epoll_event event{};
    event.events = events;
    event.data.fd = fd;
    ::epoll_ctl(m_epoll.get(), EPOLL_CTL_ADD, fd, &event);
}

void EventLoop::unwatch(int fd) {
    if (m_handlers.erase(fd) != 0) {
        ::epoll_ctl(m_epoll.get(), EPOLL_CTL_DEL, fd, nullptr);
    }
}

bool EventLoop::runOnce(int milliseconds) {
    std::array<epoll_event, 16> events{};
    const int count =
        ::epoll_wait(m_epoll.get(), events.data(), static_cast<int>(events.size()), milliseconds);
    for (int i = 0; i < count; ++i) {
        const epoll_event& event = events[static_cast<std::size_t>(i)];
        const auto found = m_handlers.find(event.data.fd);
        if (found != m_handlers.end()) {
            const std::shared_ptr<Handler> handler = found->second;  // lives on if it unwatches itself
            (*handler)(event.events);
        }
    }
    return count > 0;
}

}  // namespace sim
