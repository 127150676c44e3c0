#include "sim/base/EventLoop.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>

#include <utility>

namespace {

using sim::EventLoop;
using sim::UniqueFd;

UniqueFd readyEvent() {
    return UniqueFd(eventfd(1, EFD_NONBLOCK));
}

TEST(EventLoop, HandlerMayUnwatchItself) {
    EventLoop loop;
    const UniqueFd event = readyEvent();
    int calls = 0;
    loop.watch(event.get(), EPOLLIN, [&](std::uint32_t) {
        loop.unwatch(event.get());
        ++calls;
    });
    EXPECT_TRUE(loop.runOnce(0));
    EXPECT_FALSE(loop.runOnce(0));
    EXPECT_EQ(calls, 1);
}

TEST(EventLoop, NumberThatIsUsedAgainGetsNoOldEvents) {
    EventLoop loop;
    UniqueFd first = readyEvent();
    UniqueFd second = readyEvent();
    UniqueFd again;
    int stale = 0;
    // Both are ready in one round: whichever comes first replaces the other under the same number.
    const auto replace = [&](UniqueFd& other) {
        const int number = other.get();
        loop.unwatch(number);
        other.reset();
        again = UniqueFd(eventfd(0, EFD_NONBLOCK));  // the lowest free number: the same
        ASSERT_EQ(again.get(), number);
        loop.watch(number, EPOLLIN, [&](std::uint32_t) { ++stale; });
    };
    loop.watch(first.get(), EPOLLIN, [&](std::uint32_t) { replace(second); });
    loop.watch(second.get(), EPOLLIN, [&](std::uint32_t) { replace(first); });
    EXPECT_TRUE(loop.runOnce(0));
    EXPECT_EQ(stale, 0);
}

TEST(EventLoop, WhatIsAlwaysReadyIsRefused) {
    EventLoop loop;
    const UniqueFd null(open("/dev/null", O_RDONLY));
    EXPECT_FALSE(loop.watch(null.get(), EPOLLIN, [](std::uint32_t) {}));
    EXPECT_FALSE(loop.runOnce(0));
}

}  // namespace
