#include <gtest/gtest.h>
#include <linux/input.h>
#include <syslog.h>

#include <cerrno>
#include <string>
#include <vector>

#include "hw/fp_button.h"
#include "tests/unit/fake_kernel.h"

namespace {

constexpr const char* kPath = "/dev/input/event4";
using Calls = std::vector<std::string>;

class Buttons : public testing::Test {
protected:
    Buttons() { buttonBuildGrp(&grp); }

    void openWith(int entries) {
        for (int i = 0; i < entries; ++i) {
            ASSERT_EQ(buttonBuildEntry(&grp, i, nullptr, -1, -1), 0);
        }
        ASSERT_GE(buttonOpenGrp(&grp), 0);
    }
    void key(std::uint16_t code, int value, timeval time) { device.queueEvent(EV_KEY, code, value, time); }
    void report(timeval time) { device.queueEvent(EV_SYN, SYN_REPORT, 0, time); }
    // One record as the device hands it out.
    static std::string record(std::uint16_t code, int value) {
        input_event event = {};
        event.type = EV_KEY;
        event.code = code;
        event.value = value;
        return {reinterpret_cast<const char*>(&event), sizeof(event)};
    }

    FakeKernel kernel;
    FakeDevice& device = kernel.device(kPath);
    fp_btnGrp_struct grp;
};

}  // namespace

TEST_F(Buttons, AreBuiltClosedAndInactive) {
    EXPECT_STREQ(grp.sFileName, kPath);
    EXPECT_EQ(grp.iFd, -1);
    for (int i = 0; i < 8; ++i) {
        const fp_btn_struct& btn = grp.btn[i];
        EXPECT_EQ(btn.sName, nullptr);
        EXPECT_EQ(btn.iKeyCode, 100 + i);
        EXPECT_EQ(btn.iExtKeyCode, 100 + i);
        EXPECT_EQ(btn.iType + btn.iActive + btn.iChange + btn.iCurrVal + btn.iElapsedMs, 0);
        EXPECT_EQ(btn.tvCurr.tv_sec + btn.tvPrev.tv_sec, 0);
    }
}

TEST_F(Buttons, EntryTakesNameCodeAndType) {
    EXPECT_EQ(buttonBuildEntry(&grp, 5, "Hp_Detect", 99, 1), 0);
    EXPECT_STREQ(grp.btn[5].sName, "Hp_Detect");
    EXPECT_EQ(grp.btn[5].iKeyCode, 105);
    EXPECT_EQ(grp.btn[5].iExtKeyCode, 99);
    EXPECT_EQ(grp.btn[5].iType, 1);
    EXPECT_EQ(grp.btn[5].iActive, 1);
    EXPECT_EQ(grp.btn[4].iActive, 0);
}

TEST_F(Buttons, EntryKeepsWhatIsNotGiven) {
    buttonBuildEntry(&grp, 7, "Name", 33, 2);
    EXPECT_EQ(buttonBuildEntry(&grp, 7, nullptr, -1, -1), 0);
    EXPECT_STREQ(grp.btn[7].sName, "Name");
    EXPECT_EQ(grp.btn[7].iExtKeyCode, 33);
    EXPECT_EQ(grp.btn[7].iType, 2);
}

TEST_F(Buttons, EntryOutsideTheGroupIsRefused) {
    EXPECT_EQ(buttonBuildEntry(&grp, 8, "x", 1, 0), -1);
    EXPECT_EQ(buttonBuildEntry(&grp, -1, "x", 1, 0), -1);
    EXPECT_EQ(kernel.log(),
              std::vector<LogLine>({{LOG_ERR, "buttonBuildEntry Error: button idx 8 > max (7)"},
                                    {LOG_ERR, "buttonBuildEntry Error: button idx -1 > max (7)"}}));
}

TEST_F(Buttons, OpenTakesTheHeldKeysOfActiveButtons) {
    buttonBuildEntry(&grp, 0, nullptr, -1, -1);
    buttonBuildEntry(&grp, 2, nullptr, -1, -1);
    grp.btn[0].iCurrVal = 1;
    device.setKeysDown({102, 103});
    const int fd = buttonOpenGrp(&grp);
    EXPECT_EQ(fd, grp.iFd);
    EXPECT_GE(fd, 0);
    EXPECT_EQ(kernel.calls(),
              Calls({"open /dev/input/event4 O_RDONLY|O_NONBLOCK", "ioctl /dev/input/event4 EVIOCGKEY 96"}));
    EXPECT_EQ(grp.btn[0].iCurrVal, 0);
    EXPECT_EQ(grp.btn[2].iCurrVal, 1);
    EXPECT_EQ(grp.btn[3].iCurrVal, 0) << "inactive";
    EXPECT_TRUE(kernel.log().empty());
}

TEST_F(Buttons, KeyCodesOutsideTheKeyStateCountAsReleased) {
    buttonBuildEntry(&grp, 0, nullptr, -1, -1);
    buttonBuildEntry(&grp, 1, nullptr, -1, -1);
    buttonBuildEntry(&grp, 2, nullptr, -1, -1);
    grp.btn[0].iKeyCode = 767;
    grp.btn[1].iKeyCode = 768;
    grp.btn[2].iKeyCode = -1;
    device.setKeysDown({767});
    buttonOpenGrp(&grp);
    EXPECT_EQ(grp.btn[0].iCurrVal, 1);
    EXPECT_EQ(grp.btn[1].iCurrVal, 0);
    EXPECT_EQ(grp.btn[2].iCurrVal, 0);
}

TEST_F(Buttons, FailedOpenIsLogged) {
    device.failNext(Call::open, EACCES);
    EXPECT_EQ(buttonOpenGrp(&grp), -1);
    EXPECT_EQ(grp.iFd, -1);
    EXPECT_EQ(kernel.log(), std::vector<LogLine>({{LOG_ERR, "buttonOpenGrp Error 13: Permission denied"}}));
    EXPECT_EQ(device.count(Call::ioctl), 0u);
}

TEST_F(Buttons, FailedKeyStateIsLoggedAndLeavesTheValues) {
    buttonBuildEntry(&grp, 0, nullptr, -1, -1);
    grp.btn[0].iCurrVal = 1;
    device.failNext(Call::ioctl, EIO);
    EXPECT_EQ(buttonOpenGrp(&grp), grp.iFd);
    EXPECT_GE(grp.iFd, 0);
    EXPECT_EQ(grp.btn[0].iCurrVal, 1);
    EXPECT_EQ(kernel.log(),
              std::vector<LogLine>({{LOG_ERR, "buttonOpenGrp ioctl EVIOCGKEY Error 5: Input/output error"}}));
}

TEST_F(Buttons, PressAndReleaseAreTimed) {
    openWith(6);
    key(103, 1, {50, 100000});
    report({50, 100000});
    EXPECT_EQ(buttonGetGrpData(&grp), 1);
    EXPECT_EQ(grp.btn[3].iChange, 1);
    EXPECT_EQ(grp.btn[3].iCurrVal, 1);
    key(103, 0, {50, 350000});
    report({50, 350000});
    EXPECT_EQ(buttonGetGrpData(&grp), 1);
    EXPECT_EQ(grp.btn[3].iCurrVal, 0);
    EXPECT_EQ(grp.btn[3].iElapsedMs, 250);
    EXPECT_EQ(grp.btn[3].tvPrev.tv_usec, 100000);
    EXPECT_EQ(grp.btn[3].tvCurr.tv_usec, 350000);
}

TEST_F(Buttons, FirstChangeIsTimedFromSecondZeroAndCapped) {
    openWith(2);
    key(100, 1, {86400, 5000});
    key(101, 1, {1700000000, 5000});
    EXPECT_EQ(buttonGetGrpData(&grp), 2);
    EXPECT_EQ(grp.btn[0].iElapsedMs, 86400005);
    EXPECT_EQ(grp.btn[1].iElapsedMs, 86400005);
}

TEST_F(Buttons, TwoEventsOfOneButtonInOneReadCountOnce) {
    openWith(1);
    key(100, 1, {10, 0});
    buttonGetGrpData(&grp);
    key(100, 0, {12, 0});
    key(100, 1, {13, 0});
    EXPECT_EQ(buttonGetGrpData(&grp), 1);
    EXPECT_EQ(grp.btn[0].iCurrVal, 1);
    EXPECT_EQ(grp.btn[0].tvPrev.tv_sec, 10) << "the change before this read";
    EXPECT_EQ(grp.btn[0].tvCurr.tv_sec, 13);
    EXPECT_EQ(grp.btn[0].iElapsedMs, 3000);
}

TEST_F(Buttons, RepeatIsAChangeWithValueTwo) {
    openWith(1);
    key(100, 2, {10, 0});
    EXPECT_EQ(buttonGetGrpData(&grp), 1);
    EXPECT_EQ(grp.btn[0].iCurrVal, 2);
}

TEST_F(Buttons, ChangeFlagsAreClearedByTheNextRead) {
    openWith(2);
    key(100, 1, {10, 0});
    buttonGetGrpData(&grp);
    key(101, 1, {11, 0});
    EXPECT_EQ(buttonGetGrpData(&grp), 1);
    EXPECT_EQ(grp.btn[0].iChange, 0);
    EXPECT_EQ(grp.btn[1].iChange, 1);
}

TEST_F(Buttons, EventOfNoActiveButtonChangesNothing) {
    openWith(6);
    key(106, 1, {10, 0});
    key(99, 1, {10, 0});
    device.queueEvent(EV_REL, 100, 1, {10, 0});
    EXPECT_EQ(buttonGetGrpData(&grp), 0);
    for (const fp_btn_struct& btn : grp.btn) {
        EXPECT_EQ(btn.iChange + btn.iCurrVal, 0);
        EXPECT_EQ(btn.tvCurr.tv_sec, 0);
    }
}

TEST_F(Buttons, LowestActiveEntryOfACodeTakesTheEvent) {
    openWith(3);
    grp.btn[0].iKeyCode = grp.btn[1].iKeyCode = grp.btn[2].iKeyCode = 110;
    grp.btn[0].iActive = 0;
    key(110, 1, {10, 0});
    EXPECT_EQ(buttonGetGrpData(&grp), 1);
    EXPECT_EQ(grp.btn[0].iChange, 0);
    EXPECT_EQ(grp.btn[1].iChange, 1);
    EXPECT_EQ(grp.btn[2].iChange, 0);
}

TEST_F(Buttons, BytesAfterTheLastWholeEventAreIgnored) {
    openWith(2);
    std::string almost = record(101, 1);
    almost.pop_back();
    device.queueRead(record(100, 1) + almost);
    EXPECT_EQ(buttonGetGrpData(&grp), 1);
    EXPECT_EQ(grp.btn[0].iChange, 1);
    EXPECT_EQ(grp.btn[1].iChange, 0);
    EXPECT_EQ(kernel.callsOf("read"), Calls({"read /dev/input/event4 1024"}));
}

TEST_F(Buttons, LessThanOneEventLeavesTheChangeFlags) {
    openWith(1);
    key(100, 1, {10, 0});
    buttonGetGrpData(&grp);
    device.queueRead(record(100, 0).substr(1));
    EXPECT_EQ(buttonGetGrpData(&grp), 0);
    EXPECT_EQ(grp.btn[0].iChange, 1);
    EXPECT_EQ(grp.btn[0].iCurrVal, 1);
    device.queueEndOfFile();
    EXPECT_EQ(buttonGetGrpData(&grp), 0);
    EXPECT_EQ(grp.btn[0].iChange, 1);
}

TEST_F(Buttons, FullBufferIsReadInWholeEvents) {
    openWith(1);
    const int whole = static_cast<int>(1024 / sizeof(input_event));
    for (int i = 0; i < whole; ++i) {
        report({10, 0});
    }
    key(100, 1, {10, 0});
    EXPECT_EQ(buttonGetGrpData(&grp), 0);
    EXPECT_EQ(buttonGetGrpData(&grp), 1);
}

TEST_F(Buttons, NothingWaitingReturnsZeroSilently) {
    openWith(1);
    EXPECT_EQ(buttonGetGrpData(&grp), 0);
    device.queueReadError(EINTR);
    EXPECT_EQ(buttonGetGrpData(&grp), 0);
    device.queueReadError(EIO);
    EXPECT_EQ(buttonGetGrpData(&grp), 0);
    EXPECT_NE(grp.iFd, -1);
    EXPECT_TRUE(kernel.log().empty());
}

TEST_F(Buttons, GoneDeviceIsLoggedOnceAndClosed) {
    openWith(1);
    device.setIdleError(ENODEV);
    EXPECT_EQ(buttonGetGrpData(&grp), 0);
    EXPECT_EQ(grp.iFd, -1);
    EXPECT_TRUE(kernel.openPaths().empty());
    EXPECT_EQ(buttonGetGrpData(&grp), 0);
    EXPECT_EQ(kernel.log(), std::vector<LogLine>({{LOG_ERR, "buttonGetGrpData Error 19: No such device"}}));
}

TEST_F(Buttons, EmptyReadIsNoFailureWhateverWentWrongBefore) {
    openWith(1);
    device.queueEndOfFile();
    errno = ENODEV;
    EXPECT_EQ(buttonGetGrpData(&grp), 0);
    EXPECT_NE(grp.iFd, -1);
    EXPECT_TRUE(kernel.log().empty());
}

TEST_F(Buttons, CloseClosesTheDeviceAndKeepsTheNumber) {
    openWith(1);
    const int fd = grp.iFd;
    buttonCloseGrp(&grp);
    EXPECT_TRUE(kernel.openPaths().empty());
    EXPECT_EQ(grp.iFd, fd);
}

TEST_F(Buttons, CloseOfAClosedGroupDoesNothing) {
    buttonCloseGrp(&grp);
    EXPECT_TRUE(kernel.calls().empty());
}
