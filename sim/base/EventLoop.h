// The simulator's one loop: waits for descriptors and calls who watches them. Everything runs on its thread.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <unordered_map>

#include "sim/base/UniqueFd.h"

namespace sim {

class EventLoop {
public:
    // events: EPOLLIN, EPOLLOUT, EPOLLHUP, EPOLLERR.
    using Handler = std::function<void(std::uint32_t events)>;

    EventLoop();

    // Calls the handler whenever one of the events (or EPOLLHUP, EPOLLERR, which always count) holds. The
    // descriptor stays the caller's, who calls unwatch before closing it. A handler may watch and unwatch,
    // itself too. False: it cannot be waited for, since it is always ready (files, /dev/null); it is not
    // watched then.
    bool watch(int fd, std::uint32_t events, Handler handler);
    void unwatch(int fd);

    // Waits up to so many milliseconds (0: not at all, -1: without end) and calls the handlers of one round.
    // False when nothing happened.
    bool runOnce(int milliseconds);

private:
    // A number that is closed and used again within one round must not get what happened to the one before.
    struct Watched {
        std::uint32_t generation;
        std::shared_ptr<Handler> handler;
    };

    UniqueFd m_epoll;
    std::uint32_t m_generation = 0;
    std::unordered_map<int, Watched> m_watched;
};

}  // namespace sim
