#include "sim/view/Mailbox.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <future>
#include <memory>
#include <thread>
#include <vector>

#include "sim/view/SnapshotBox.h"

namespace {

using sim::EventLoop;
using sim::Mailbox;
using sim::SnapshotBox;

constexpr int kSecondMs = 1000;

TEST(Mailbox, FunctionsOfOtherThreadsRunOnTheLoopsInTheirOrder) {
    constexpr int kThreads = 4;
    constexpr int kPosts = 500;
    EventLoop loop;
    Mailbox mailbox(loop);
    std::vector<std::vector<int>> ran(kThreads);
    const auto loopsThread = std::this_thread::get_id();
    std::vector<std::thread> threads;
    for (int thread = 0; thread < kThreads; ++thread) {
        threads.emplace_back([&, thread] {
            for (int i = 0; i < kPosts; ++i) {
                mailbox.post([&ran, loopsThread, thread, i] {
                    EXPECT_EQ(std::this_thread::get_id(), loopsThread);
                    ran[static_cast<std::size_t>(thread)].push_back(i);
                });
            }
        });
    }
    const auto total = [&ran] {
        std::size_t count = 0;
        for (const auto& numbers : ran) {
            count += numbers.size();
        }
        return count;
    };
    while (total() < kThreads * kPosts && loop.runOnce(10 * kSecondMs)) {
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    for (const auto& numbers : ran) {
        ASSERT_EQ(numbers.size(), static_cast<std::size_t>(kPosts));
        EXPECT_TRUE(std::is_sorted(numbers.begin(), numbers.end()));
    }
}

TEST(Mailbox, PostWakesALoopThatWaits) {
    EventLoop loop;
    Mailbox mailbox(loop);
    bool ran = false;
    std::thread poster([&] { mailbox.post([&ran] { ran = true; }); });
    EXPECT_TRUE(loop.runOnce(10 * kSecondMs));
    poster.join();
    EXPECT_TRUE(ran);
    EXPECT_FALSE(loop.runOnce(0));
}

TEST(Mailbox, PostedFunctionMayPost) {
    EventLoop loop;
    Mailbox mailbox(loop);
    int ran = 0;
    mailbox.post([&] { mailbox.post([&ran] { ++ran; }); });
    EXPECT_TRUE(loop.runOnce(0));
    EXPECT_EQ(ran, 0);
    EXPECT_TRUE(loop.runOnce(0));
    EXPECT_EQ(ran, 1);
}

TEST(Mailbox, ClosedOneDropsWhatWaitsAndTakesNothing) {
    EventLoop loop;
    Mailbox mailbox(loop);
    auto promise = std::make_shared<std::promise<int>>();
    std::future<int> answer = promise->get_future();
    bool ran = false;
    mailbox.post([&ran, promise] { ran = true; });
    promise.reset();
    mailbox.close();
    EXPECT_FALSE(loop.runOnce(0));
    EXPECT_FALSE(ran);
    EXPECT_THROW(answer.get(), std::future_error);
    EXPECT_FALSE(mailbox.post([&ran] { ran = true; }));
}

// ---- The way back ----

sim::ShownLine line(std::uint64_t number) {
    return {number, true, false, "line " + std::to_string(number), 0};
}

TEST(SnapshotBox, ReaderWaitsForTheNextAndGetsTheNewest) {
    SnapshotBox box;
    sim::LineRing lines(10);
    sim::PanelState state;
    lines.add(line(1));
    state.frame = 1;
    box.publish(1, state, lines);
    EXPECT_FALSE(box.waitNewer(1, 0, std::chrono::milliseconds(0)).has_value());
    std::thread simulator([&] {
        for (std::uint64_t version = 2; version <= 100; ++version) {
            lines.add(line(version));
            state.frame = static_cast<unsigned>(version);
            box.publish(version, state, lines);
        }
        box.close();
    });
    std::uint64_t version = 1;
    std::uint64_t last = 1;
    while (const auto news = box.waitNewer(version, last, std::chrono::seconds(10))) {
        EXPECT_GT(news->version, version);
        EXPECT_EQ(news->state.frame, news->version);
        EXPECT_EQ(news->missed, 0U);
        for (const sim::ShownLine& next : news->lines) {
            EXPECT_EQ(next.number, last + 1);
            last = next.number;
        }
        EXPECT_EQ(last, news->version);
        version = news->version;
    }
    simulator.join();
    EXPECT_TRUE(box.closed());
    EXPECT_EQ(version, 100U);
}

TEST(SnapshotBox, LinesThatAreGoneAreCounted) {
    SnapshotBox box;
    sim::LineRing lines(10);  // fewer than are added between two publishes
    for (std::uint64_t number = 1; number <= 30; ++number) {
        lines.add(line(number));
        if (number % 15 == 0) {
            box.publish(number, {}, lines);
        }
    }
    const SnapshotBox::News all = box.latest(0);
    EXPECT_EQ(all.lines.size(), 20U);
    EXPECT_EQ(all.missed, 10U);
    EXPECT_EQ(all.lines.front().number, 6U);
    EXPECT_EQ(box.latest(15).missed, 5U);
    EXPECT_EQ(box.latest(28).lines.size(), 2U);
    EXPECT_EQ(box.latest(28).missed, 0U);
    EXPECT_TRUE(box.latest(30).lines.empty());
}

TEST(SnapshotBox, WakesAreCalledForEachPublishAndTheEnd) {
    SnapshotBox box;
    int wakes = 0;
    box.onNews([&] {
        EXPECT_LE(box.latest(0).version, 2U);  // it may take at once
        ++wakes;
    });
    box.publish(1, {}, sim::LineRing(1));
    box.publish(2, {}, sim::LineRing(1));
    box.close();
    EXPECT_EQ(wakes, 3);
}

TEST(LineRing, KeepsTheNewest) {
    sim::LineRing ring(3);
    EXPECT_EQ(ring.last(), 0U);
    EXPECT_TRUE(ring.since(0).lines.empty());
    for (std::uint64_t number = 1; number <= 5; ++number) {
        ring.add(line(number));
    }
    EXPECT_EQ(ring.since(0).lines.size(), 3U);
    EXPECT_EQ(ring.since(0).missed, 2U);
    EXPECT_EQ(ring.since(4).lines.front().text, "line 5");
    EXPECT_EQ(ring.since(9).lines.size(), 0U);
    EXPECT_EQ(ring.since(9).missed, 0U);
}

}  // namespace
