#include "sim/view/Mailbox.h"

#include <sys/epoll.h>
#include <sys/eventfd.h>

#include <cstdint>
#include <utility>

namespace sim {

Mailbox::Mailbox(EventLoop& loop) : m_loop(loop), m_wake(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    m_loop.watch(m_wake.get(), EPOLLIN, [this](std::uint32_t) { run(); });
}

Mailbox::~Mailbox() {
    close();
}

bool Mailbox::post(std::function<void()> function) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (m_closed) {
        return false;
    }
    m_functions.push_back(std::move(function));
    ::eventfd_write(m_wake.get(), 1);
    return true;
}

// Outside the lock, so that they may post again; those run in the next round.
void Mailbox::run() {
    eventfd_t count = 0;
    ::eventfd_read(m_wake.get(), &count);
    std::vector<std::function<void()>> functions;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        functions.swap(m_functions);
    }
    for (const std::function<void()>& function : functions) {
        function();
    }
}

void Mailbox::close() {
    std::vector<std::function<void()>> dropped;  // destroyed outside the lock: they may own anything
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_closed = true;
        dropped.swap(m_functions);
    }
    m_loop.unwatch(m_wake.get());
}

}  // namespace sim
