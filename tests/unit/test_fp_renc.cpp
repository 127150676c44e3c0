#include <gtest/gtest.h>
#include <linux/input.h>
#include <syslog.h>

#include <cerrno>
#include <climits>
#include <string>
#include <vector>

#include "hw/fp_renc.h"
#include "tests/unit/fake_kernel.h"

namespace {

using Calls = std::vector<std::string>;

class Encoders : public testing::Test {
protected:
    Encoders() {
        rencBuildAll(renc);
        rencOpenAll(renc);
        kernel.clearCalls();
    }

    void turn(int steps, timeval time) { left.queueEvent(EV_REL, REL_DIAL, steps, time); }

    FakeKernel kernel;
    FakeDevice& left = kernel.device("/dev/input/event1");
    FakeDevice& right = kernel.device("/dev/input/event2");
    FakeDevice& rear = kernel.device("/dev/input/event3");
    fp_renc_struct renc[3];
};

}  // namespace

TEST(EncoderTable, IsBuiltClosedWithItsCodes) {
    fp_renc_struct renc[3];
    rencBuildAll(renc);
    const char* const paths[] = {"/dev/input/event1", "/dev/input/event2", "/dev/input/event3"};
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(renc[i].sName, nullptr);
        EXPECT_STREQ(renc[i].sFileName, paths[i]);
        EXPECT_EQ(renc[i].iFd, -1);
        EXPECT_EQ(renc[i].iKeyCode, 120 + i);
        EXPECT_EQ(renc[i].iExtKeyCode, 120 + i);
        EXPECT_EQ(renc[i].iRotSteps + renc[i].iCurrPos + renc[i].iElapsedMs, 0);
    }
}

TEST(EncoderTable, EntryTakesNameAndCodeAndKeepsWhatIsNotGiven) {
    fp_renc_struct renc[3];
    rencBuildAll(renc);
    EXPECT_EQ(rencBuildEntry(renc, 2, "Rear", 6), 0);
    EXPECT_EQ(rencBuildEntry(renc, 2, nullptr, -1), 0);
    EXPECT_STREQ(renc[2].sName, "Rear");
    EXPECT_EQ(renc[2].iExtKeyCode, 6);
    EXPECT_EQ(renc[2].iKeyCode, 122);
}

TEST(EncoderTable, EntryOutsideTheTableIsRefused) {
    FakeKernel kernel;
    fp_renc_struct renc[3];
    rencBuildAll(renc);
    EXPECT_EQ(rencBuildEntry(renc, 3, "x", 1), -1);
    EXPECT_EQ(rencBuildEntry(renc, -1, "x", 1), -1);
    EXPECT_EQ(kernel.log(),
              std::vector<LogLine>({{LOG_ERR, "rencBuildEntry Error: Rotary Encoder idx 3 > max (2)"},
                                    {LOG_ERR, "rencBuildEntry Error: Rotary Encoder idx -1 > max (2)"}}));
}

TEST_F(Encoders, AreOpenedInOrderWithoutBlocking) {
    rencCloseAll(renc);
    kernel.clearCalls();
    for (fp_renc_struct& r : renc) {
        r.iCurrPos = r.iRotSteps = 5;
    }
    rencOpenAll(renc);
    EXPECT_EQ(kernel.calls(), Calls({"open /dev/input/event1 O_RDONLY|O_NONBLOCK",
                                     "open /dev/input/event2 O_RDONLY|O_NONBLOCK",
                                     "open /dev/input/event3 O_RDONLY|O_NONBLOCK"}));
    for (const fp_renc_struct& r : renc) {
        EXPECT_GE(r.iFd, 0);
        EXPECT_EQ(r.iCurrPos + r.iRotSteps, 0);
    }
}

TEST_F(Encoders, FailedOpenIsLoggedAndTheOthersAreOpened) {
    rencCloseAll(renc);
    right.failNext(Call::open, ENOENT);
    renc[1].iCurrPos = 5;
    rencOpenAll(renc);
    EXPECT_GE(renc[0].iFd, 0);
    EXPECT_EQ(renc[1].iFd, -1);
    EXPECT_EQ(renc[1].iCurrPos, 5);
    EXPECT_GE(renc[2].iFd, 0);
    EXPECT_EQ(kernel.log(), std::vector<LogLine>({{LOG_ERR, "rencOpen Error 2: No such file or directory"}}));
}

TEST_F(Encoders, EntryWithoutAPathIsNotOpened) {
    rencCloseAll(renc);
    kernel.clearCalls();
    renc[0].sFileName = nullptr;
    rencOpenAll(renc);
    EXPECT_EQ(renc[0].iFd, -1);
    EXPECT_EQ(kernel.callsOf("open").size(), 2u);
}

TEST_F(Encoders, StepsOfOneReadAreSummed) {
    turn(1, {10, 0});
    turn(1, {10, 1000});
    turn(-1, {10, 2000});
    EXPECT_EQ(rencGetChg(renc, 0), 1);
    EXPECT_EQ(renc[0].iRotSteps, 1);
    EXPECT_EQ(kernel.calls(), Calls({"read /dev/input/event1 1024"}));
}

TEST_F(Encoders, EventsOfOtherTypesAreSkipped) {
    left.queueEvent(EV_KEY, REL_DIAL, 5, {9, 0});
    turn(-2, {10, 0});
    left.queueEvent(EV_SYN, SYN_REPORT, 7, {11, 0});
    EXPECT_EQ(rencGetChg(renc, 0), -2);
    EXPECT_EQ(renc[0].tvCurr.tv_sec, 10);
}

TEST_F(Encoders, AnyRelativeCodeCounts) {
    left.queueEvent(EV_REL, REL_X, 1, {10, 0});
    left.queueEvent(EV_REL, REL_WHEEL, 1, {10, 0});
    EXPECT_EQ(rencGetChg(renc, 0), 2);
}

TEST_F(Encoders, ReadWithoutMotionClearsTheStepsAndKeepsTheTimes) {
    turn(3, {10, 0});
    rencGetChg(renc, 0);
    left.queueEvent(EV_SYN, SYN_REPORT, 0, {20, 0});
    EXPECT_EQ(rencGetChg(renc, 0), 0);
    EXPECT_EQ(renc[0].iRotSteps, 0);
    EXPECT_EQ(renc[0].tvCurr.tv_sec, 10);
}

TEST_F(Encoders, TurnsThatCancelOutAreTimedAllTheSame) {
    turn(1, {10, 0});
    rencGetChg(renc, 0);
    turn(1, {11, 0});
    turn(-1, {12, 0});
    EXPECT_EQ(rencGetChg(renc, 0), 0);
    EXPECT_EQ(renc[0].iElapsedMs, 2000);
}

TEST_F(Encoders, ElapsedTimeRunsFromTheLastMotionBeforeTheRead) {
    turn(1, {10, 500000});
    rencGetChg(renc, 0);
    EXPECT_EQ(renc[0].iElapsedMs, 10500);
    turn(1, {11, 0});
    turn(1, {11, 250000});
    rencGetChg(renc, 0);
    EXPECT_EQ(renc[0].tvPrev.tv_usec, 500000);
    EXPECT_EQ(renc[0].tvCurr.tv_usec, 250000);
    EXPECT_EQ(renc[0].iElapsedMs, 750);
    turn(1, {11 + 90000, 251000});
    rencGetChg(renc, 0);
    EXPECT_EQ(renc[0].iElapsedMs, 86400001);
    turn(1, {5, 0});
    rencGetChg(renc, 0);
    EXPECT_EQ(renc[0].iElapsedMs, 0);
}

TEST_F(Encoders, PositionIsTheApplications) {
    renc[0].iCurrPos = 4;
    turn(1, {10, 0});
    rencGetChg(renc, 0);
    EXPECT_EQ(renc[0].iCurrPos, 4);
}

TEST_F(Encoders, SumOfWildValuesWraps) {
    turn(INT_MAX, {10, 0});
    turn(1, {10, 0});
    EXPECT_EQ(rencGetChg(renc, 0), INT_MIN);
}

TEST_F(Encoders, NoSuchEncoderReturnsZeroWithoutReading) {
    EXPECT_EQ(rencGetChg(renc, 3), 0);
    EXPECT_EQ(rencGetChg(renc, -1), 0);
    EXPECT_EQ(rencGetChg(nullptr, 0), 0);
    EXPECT_TRUE(kernel.calls().empty());
}

TEST_F(Encoders, ShortOrFailedReadLeavesTheEntry) {
    turn(3, {10, 0});
    rencGetChg(renc, 0);
    left.queueRead(std::string(sizeof(input_event) - 1, '\2'));
    EXPECT_EQ(rencGetChg(renc, 0), 0);
    EXPECT_EQ(rencGetChg(renc, 0), 0);
    EXPECT_EQ(renc[0].iRotSteps, 3);
    EXPECT_TRUE(kernel.log().empty());
}

TEST_F(Encoders, GoneDeviceIsLoggedOnceAndClosed) {
    left.setIdleError(ENODEV);
    EXPECT_EQ(rencGetChg(renc, 0), 0);
    EXPECT_EQ(rencGetChg(renc, 0), 0);
    EXPECT_EQ(renc[0].iFd, -1);
    EXPECT_EQ(kernel.log(), std::vector<LogLine>({{LOG_ERR, "rencGetChg Error 19: No such device"}}));
    EXPECT_EQ(kernel.openPaths(), Calls({"/dev/input/event2", "/dev/input/event3"}));
}

TEST_F(Encoders, CloseClosesEveryOpenEncoder) {
    const int fd = renc[1].iFd;
    renc[1].iFd = -1;
    rencCloseAll(renc);
    EXPECT_EQ(kernel.openPaths(), Calls({"/dev/input/event2"}));
    renc[1].iFd = fd;
    rencCloseAll(renc);
    EXPECT_TRUE(kernel.openPaths().empty());
    EXPECT_EQ(kernel.callsOf("close").size(), 3u);
}
