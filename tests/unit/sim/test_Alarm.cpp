#include "sim/base/Alarm.h"

#include <gtest/gtest.h>

namespace {

using std::chrono::milliseconds;

constexpr int kLongMs = 10'000;

class AlarmTest : public ::testing::Test {
protected:
    sim::EventLoop loop;
    int rung = 0;
    sim::Alarm alarm{loop, [this] { ++rung; }};
};

TEST_F(AlarmTest, RingsOnce) {
    EXPECT_FALSE(alarm.armed());
    alarm.set(milliseconds(1));
    EXPECT_TRUE(alarm.armed());
    EXPECT_TRUE(loop.runOnce(kLongMs));
    EXPECT_EQ(rung, 1);
    EXPECT_FALSE(alarm.armed());
    EXPECT_FALSE(loop.runOnce(20));
}

TEST_F(AlarmTest, CancelledDoesNotRing) {
    alarm.set(milliseconds(1));
    alarm.cancel();
    EXPECT_FALSE(alarm.armed());
    EXPECT_FALSE(loop.runOnce(20));
    EXPECT_EQ(rung, 0);
}

TEST_F(AlarmTest, SetAgainForgetsTheTimeBefore) {
    alarm.set(milliseconds(1));
    alarm.set(milliseconds(kLongMs));
    EXPECT_FALSE(loop.runOnce(20));
    EXPECT_TRUE(alarm.armed());
    alarm.set(milliseconds(1));
    EXPECT_TRUE(loop.runOnce(kLongMs));
    EXPECT_EQ(rung, 1);
}

TEST_F(AlarmTest, MayBeSetAgainWhenItRings) {
    int times = 0;
    sim::Alarm* self = nullptr;
    sim::Alarm again(loop, [&times, &self] {
        if (++times < 3) {
            self->set(milliseconds(1));
        }
    });
    self = &again;
    again.set(milliseconds(1));
    while (times < 3) {
        ASSERT_TRUE(loop.runOnce(kLongMs));
    }
    EXPECT_FALSE(again.armed());
}

}  // namespace
