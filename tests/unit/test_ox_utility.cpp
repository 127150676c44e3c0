#include <gtest/gtest.h>

#include <climits>
#include <limits>
#include <string>

#include "hw/ox_utility.h"
#include "tests/unit/fake_kernel.h"

namespace {

int elapsed(timeval from, timeval to) {
    return oxut_elapsedMs(&from, &to);
}

std::string printBytes(const Bytes& bytes, const char* title) {
    testing::internal::CaptureStderr();
    oxut_printBytes(bytes.data(), static_cast<int>(bytes.size()), title);
    return testing::internal::GetCapturedStderr();
}

constexpr time_t kLastSecond = std::numeric_limits<time_t>::max();
constexpr suseconds_t kLastUsec = std::numeric_limits<suseconds_t>::max();

}  // namespace

TEST(FutureTime, CarriesMicrosecondsAboveOneSecond) {
    FakeKernel kernel;
    kernel.setTime(10, 600000);
    timeval tv;
    EXPECT_EQ(oxut_gettimeofdayFutureMs(1500, &tv), 1);
    EXPECT_EQ(tv.tv_sec, 12);
    EXPECT_EQ(tv.tv_usec, 100000);
}

TEST(FutureTime, ExactlyOneMillionMicrosecondsStay) {
    FakeKernel kernel;
    kernel.setTime(10, 500000);
    timeval tv;
    EXPECT_EQ(oxut_gettimeofdayFutureMs(1500, &tv), 1);
    EXPECT_EQ(tv.tv_sec, 11);
    EXPECT_EQ(tv.tv_usec, 1000000);
}

TEST(FutureTime, LongestSpanFits) {
    FakeKernel kernel;
    kernel.setTime(10, 0);
    timeval tv;
    EXPECT_EQ(oxut_gettimeofdayFutureMs(UINT_MAX, &tv), 1);
    EXPECT_EQ(tv.tv_sec, 10 + 4294967);
    EXPECT_EQ(tv.tv_usec, 295000);
}

TEST(FutureTime, FailingClockCountsFromSecondZero) {
    FakeKernel kernel;
    kernel.failClock(true);
    timeval tv = {77, 77};
    EXPECT_EQ(oxut_gettimeofdayFutureMs(2500, &tv), 0);
    EXPECT_EQ(tv.tv_sec, 2);
    EXPECT_EQ(tv.tv_usec, 500000);
}

TEST(MillisecondClock, CountsSecondsAndWholeMilliseconds) {
    FakeKernel kernel;
    kernel.setTime(12, 345999);
    EXPECT_EQ(oxut_gettimeofdayMs(), 12345u);
}

TEST(MillisecondClock, WrapsAfterTwentyBitsOfSeconds) {
    FakeKernel kernel;
    kernel.setTime(0x1FFFFF, 999999);
    EXPECT_EQ(oxut_gettimeofdayMs(), 1048575999u);
    kernel.setTime(0x200000, 1000);
    EXPECT_EQ(oxut_gettimeofdayMs(), 1u);
}

TEST(MillisecondClock, IsZeroWhenTheClockFails) {
    FakeKernel kernel;
    kernel.failClock(true);
    EXPECT_EQ(oxut_gettimeofdayMs(), 0u);
}

TEST(Timeout, IsReachedOnlyAfterItsTime) {
    FakeKernel kernel;
    const timeval end = {20, 500};
    kernel.setTime(20, 499);
    EXPECT_EQ(oxut_timeout(&end), 0);
    kernel.setTime(20, 500);
    EXPECT_EQ(oxut_timeout(&end), 0);
    kernel.setTime(20, 501);
    EXPECT_EQ(oxut_timeout(&end), 1);
    kernel.setTime(21, 0);
    EXPECT_EQ(oxut_timeout(&end), 1);
    kernel.setTime(19, 999999);
    EXPECT_EQ(oxut_timeout(&end), 0);
}

TEST(Timeout, IsNotReachedWhileTheClockFails) {
    FakeKernel kernel;
    kernel.failClock(true);
    const timeval end = {0, 0};
    EXPECT_EQ(oxut_timeout(&end), 0);
}

TEST(TimeDifference, IsSplitIntoDaysHoursMinutesSeconds) {
    const timeval from = {100, 999999};
    const timeval to = {100 + 3 * 86400 + 4 * 3600 + 5 * 60 + 6, 0};
    oxut_timeDiffParse_struct out = {99, 99, 99, 99, 99};
    EXPECT_EQ(oxut_parseTimeDiffSec(&from, &to, &out), 0);
    EXPECT_EQ(out.uiMs, 0u);
    EXPECT_EQ(out.uiSec, 6u);
    EXPECT_EQ(out.uiMin, 5u);
    EXPECT_EQ(out.uiHr, 4u);
    EXPECT_EQ(out.uiDays, 3u);
}

TEST(TimeDifference, OfEqualSecondsIsZero) {
    const timeval from = {7, 900000};
    const timeval to = {7, 100000};
    oxut_timeDiffParse_struct out = {99, 99, 99, 99, 99};
    EXPECT_EQ(oxut_parseTimeDiffSec(&from, &to, &out), 0);
    EXPECT_EQ(out.uiSec + out.uiMin + out.uiHr + out.uiDays + out.uiMs, 0u);
}

TEST(TimeDifference, BackwardsIsRefusedAndLeavesTheResult) {
    const timeval from = {8, 0};
    const timeval to = {7, 999999};
    oxut_timeDiffParse_struct out = {1, 2, 3, 4, 5};
    EXPECT_EQ(oxut_parseTimeDiffSec(&from, &to, &out), -1);
    EXPECT_EQ(out.uiMs, 1u);
    EXPECT_EQ(out.uiDays, 5u);
}

TEST(ElapsedTime, WithinOneSecondIsTheMicrosecondDifference) {
    EXPECT_EQ(elapsed({5, 1000}, {5, 250999}), 249);
    EXPECT_EQ(elapsed({5, 1000}, {5, 1000}), 0);
}

TEST(ElapsedTime, BackwardsIsZero) {
    EXPECT_EQ(elapsed({5, 9000}, {5, 1000}), 0);
    EXPECT_EQ(elapsed({6, 0}, {5, 999999}), 0);
}

TEST(ElapsedTime, TruncatesTheMicrosecondPartTowardZero) {
    EXPECT_EQ(elapsed({5, 1999}, {6, 0}), 999);
    EXPECT_EQ(elapsed({5, 999999}, {6, 0}), 1);
    EXPECT_EQ(elapsed({5, 0}, {7, 1999}), 2001);
}

TEST(ElapsedTime, IsCappedAfterOneDay) {
    EXPECT_EQ(elapsed({5, 0}, {5 + 86400, 7000}), 86400007);
    EXPECT_EQ(elapsed({5, 0}, {5 + 86401, 7000}), 86400007);
    EXPECT_EQ(elapsed({5, 8000}, {5 + 200000, 1000}), 86399993);
}

TEST(ElapsedTime, StandsAnyTimeStamps) {
    EXPECT_EQ(elapsed({-kLastSecond - 1, 0}, {kLastSecond, 0}), 86400000);
    EXPECT_EQ(elapsed({kLastSecond, 0}, {-kLastSecond - 1, 0}), 0);
    EXPECT_GE(elapsed({0, -kLastUsec - 1}, {0, kLastUsec}), 0);
    EXPECT_EQ(elapsed({0, 0}, {0, kLastUsec}), static_cast<int>(std::min<long>(kLastUsec / 1000, INT_MAX)));
    EXPECT_LT(elapsed({0, kLastUsec}, {1, 0}), 0);
}

TEST(TimeLeft, BorrowsASecond) {
    const timeval now = {10, 900000};
    const timeval end = {12, 100000};
    EXPECT_EQ(oxut_msLeft(&now, &end), 1200);
}

TEST(TimeLeft, CountsSecondsInTwentyBits) {
    const timeval now = {10, 0};
    const timeval end = {10 + 0x100000 + 3, 5999};
    EXPECT_EQ(oxut_msLeft(&now, &end), 3005);
}

TEST(PrintBytes, OfNothingPrintsTheTitleLineOnly) {
    EXPECT_EQ(printBytes({}, "empty"), "\r\nempty Len=0\r\n");
}

TEST(PrintBytes, WithoutATitleStartsWithTheFirstLine) {
    EXPECT_EQ(printBytes({0x00, 0xFF}, nullptr), "\r\n0000 00 ff \r\n");
    EXPECT_EQ(printBytes({}, nullptr), "\r\n");
}

TEST(PrintBytes, BreaksLinesAfterSixteenBytesWithAGapAfterEight) {
    Bytes bytes;
    for (unsigned char i = 0; i < 17; ++i) {
        bytes.push_back(i);
    }
    EXPECT_EQ(printBytes(bytes, "data"),
              "\r\ndata Len=17"
              "\r\n0000 00 01 02 03 04 05 06 07  08 09 0a 0b 0c 0d 0e 0f "
              "\r\n0010 10 \r\n");
}

TEST(PrintBytes, LineOfEightBytesEndsWithTheGap) {
    EXPECT_EQ(printBytes({1, 2, 3, 4, 5, 6, 7, 8}, nullptr), "\r\n0000 01 02 03 04 05 06 07 08  \r\n");
}
