#include <gtest/gtest.h>
#include <syslog.h>

#include <array>
#include <cerrno>
#include <string>
#include <vector>

#include "hw/fp_led.h"
#include "tests/unit/fake_kernel.h"

namespace {

using Writes = std::vector<std::string>;

constexpr const char* kBaseNames[] = {":grn:c2/", ":red:c2/", ":grn:t2/", ":red:t2/",
                                      ":grn:t1/", ":red:t1/", ":grn:c1/", ":red:c1/"};
constexpr int kGreens[] = {0, 2, 4, 6};
constexpr int kReds[] = {1, 3, 5, 7};

std::string ledPath(int idx, const char* file) {
    return std::string("/sys/class/leds/pca963x") + kBaseNames[idx] + file;
}

class LedTable : public testing::Test {
protected:
    LedTable() { ledBuildAll(&grp); }

    fp_ledGrp_struct grp;
};

class Leds : public LedTable {
protected:
    Leds() {
        for (int i = 0; i < 8; ++i) {
            led[static_cast<std::size_t>(i)] = &kernel.device(ledPath(i, "brightness"));
        }
        ledOpenAll(&grp);
        kernel.clearCalls();
    }

    FakeDevice& file(int idx) { return *led[static_cast<std::size_t>(idx)]; }
    [[nodiscard]] const Writes& writes(int idx) const { return led[static_cast<std::size_t>(idx)]->writes(); }
    void clearWrites() {
        for (FakeDevice* device : led) {
            device->clearOutput();
        }
    }
    [[nodiscard]] std::size_t writeCount() const { return kernel.callsOf("write").size(); }
    int manage() { return ledSwBlinkManager(&grp); }
    std::string dump(int idx, int expected = 0) {
        testing::internal::CaptureStderr();
        EXPECT_EQ(ledDumpData(&grp, idx), expected);
        return testing::internal::GetCapturedStderr();
    }

    FakeKernel kernel;
    std::array<FakeDevice*, 8> led = {};
};

// The LED test keeps its state for the process: every test begins with another type, so that its own type is
// set up anew.
class LedPanelTest : public Leds {
protected:
    // Sets the type up and does its first step.
    int begin(int type) {
        ledTestAll(&grp, type == 3 ? 4 : 3);
        ledBuildStates();
        return ledTestAll(&grp, type);
    }
    int step(int type) { return ledTestAll(&grp, type); }
    void ledBuildStates() {
        for (int i = 0; i < 8; ++i) {
            ledSetState(&grp, i, kLedOff);
            grp.led[i].iOnLvl = 99;
        }
        clearWrites();
        kernel.clearCalls();
    }
    void expectStates(int red, int green) {
        for (int i = 0; i < 8; ++i) {
            EXPECT_EQ(ledGetState(&grp, i), grp.led[i].iColor == kLedRed ? red : green) << i;
        }
    }
    void expectLevels(int red, int green) {
        for (int i = 0; i < 8; ++i) {
            EXPECT_EQ(ledGetBrt(&grp, i), grp.led[i].iColor == kLedRed ? red : green) << i;
        }
    }
    // The only LED in the state, the others being off; -1 when it is not so.
    int theOne(int state) {
        int found = -1;
        for (int i = 0; i < 8; ++i) {
            if (grp.led[i].iState == state) {
                found = found == -1 ? i : -2;
            }
        }
        return found;
    }
};

}  // namespace

// The first test of the program: nothing was set up before.
TEST_F(Leds, FirstTestOfAProcessIsSetUpLikeLaterOnes) {
    grp.led[0].iOnLvl = 99;
    EXPECT_EQ(ledTestAll(&grp, 0), 5);
    EXPECT_EQ(ledGetBrt(&grp, 0), 82);
}

TEST_F(LedTable, IsBuiltClosedOffAtStepFive) {
    EXPECT_EQ(ledBuildAll(&grp), 0);
    EXPECT_EQ(grp.iBlinkOnMs, 500);
    EXPECT_EQ(grp.iBlinkOffMs, 500);
    EXPECT_EQ(grp.iBlinkState, 2);
    EXPECT_EQ(grp.iBlinkStateMs, 0);
    EXPECT_EQ(ledGetBlinkFlags(&grp), 0u);
    for (int i = 0; i < 8; ++i) {
        const fp_led_struct& led = grp.led[i];
        EXPECT_STREQ(led.sBaseFolderName, kBaseNames[i]);
        EXPECT_EQ(led.sBrtFileName, ledPath(i, "brightness"));
        EXPECT_EQ(led.sBlinkFileName, ledPath(i, "trigger"));
        EXPECT_EQ(led.iBrtFd, -1);
        EXPECT_EQ(led.iBlinkFd, -1);
        EXPECT_EQ(led.iLit + led.iBlinking + led.iCurrLvl, 0);
        EXPECT_EQ(led.iBlinkOnMs, 500);
        EXPECT_EQ(led.iBlinkOffMs, 500);
        EXPECT_EQ(ledGetState(&grp, i), 1);
        EXPECT_EQ(ledGetBrt(&grp, i), 82);
        EXPECT_EQ(ledGetColor(&grp, i), i % 2 == 0 ? 2 : 1);
    }
}

TEST_F(LedTable, StepsAreTheElevenLevels) {
    const int levels[] = {4, 9, 20, 36, 57, 82, 109, 140, 175, 213, 254};
    EXPECT_EQ(ledGetBrtNumSteps(&grp), 11);
    for (int step = 0; step < 11; ++step) {
        EXPECT_EQ(ledSetBrtStep(&grp, 0, step), 0);
        EXPECT_EQ(ledGetBrt(&grp, 0), levels[step]);
    }
}

TEST_F(LedTable, LastStepIs254AndTheNextIsRefused) {
    EXPECT_EQ(ledSetBrtStep(&grp, 0, 10), 0);
    EXPECT_EQ(ledGetBrt(&grp, 0), 254);
    EXPECT_EQ(ledSetBrtStep(&grp, 0, 11), -1);
    EXPECT_EQ(ledSetBrtStep(&grp, 0, -1), -1);
    EXPECT_EQ(ledGetBrt(&grp, 0), 254);
}

TEST_F(LedTable, StepLevelsAbove254AreRefused) {
    int table[] = {254, 255, -1};
    grp.iBrtStepTable = table;
    grp.iBrtNumSteps = 3;
    EXPECT_EQ(ledSetBrtStep(&grp, 0, 0), 0);
    EXPECT_EQ(ledSetBrtStep(&grp, 0, 1), -1);
    EXPECT_EQ(ledSetBrtStep(&grp, 0, 2), -1);
    EXPECT_EQ(ledGetBrt(&grp, 0), 254);
}

TEST_F(LedTable, WithoutAStepTableThereAreNoSteps) {
    grp.iBrtStepTable = nullptr;
    EXPECT_EQ(ledSetBrtStep(&grp, 0, 0), -1);
    EXPECT_EQ(ledGetBrtNumSteps(&grp), -1);
}

TEST_F(LedTable, LevelsAre0To254) {
    EXPECT_EQ(ledSetBrt(&grp, 0, 255), -1);
    EXPECT_EQ(ledSetBrt(&grp, 0, -1), -1);
    EXPECT_EQ(ledGetBrt(&grp, 0), 82);
    EXPECT_EQ(ledSetBrt(&grp, 0, 254), 0);
    EXPECT_EQ(ledGetBrt(&grp, 0), 254);
    EXPECT_EQ(ledSetBrt(&grp, 0, 0), 0);
    EXPECT_EQ(ledGetBrt(&grp, 0), 0);
}

TEST_F(LedTable, NoSuchLedOrGroupIsRefused) {
    for (const int idx : {8, -1, 1000}) {
        EXPECT_EQ(ledSetState(&grp, idx, 3), -1);
        EXPECT_EQ(ledGetState(&grp, idx), -1);
        EXPECT_EQ(ledSetBrt(&grp, idx, 1), -1);
        EXPECT_EQ(ledSetBrtStep(&grp, idx, 1), -1);
        EXPECT_EQ(ledGetBrt(&grp, idx), -1);
        EXPECT_EQ(ledGetColor(&grp, idx), -1);
    }
    EXPECT_EQ(ledBuildAll(nullptr), -1);
    EXPECT_EQ(ledSetState(nullptr, 0, 1), -1);
    EXPECT_EQ(ledGetState(nullptr, 0), -1);
    EXPECT_EQ(ledSetBrt(nullptr, 0, 1), -1);
    EXPECT_EQ(ledSetBrtStep(nullptr, 0, 1), -1);
    EXPECT_EQ(ledGetBrt(nullptr, 0), -1);
    EXPECT_EQ(ledGetColor(nullptr, 0), -1);
    EXPECT_EQ(ledGetBrtNumSteps(nullptr), -1);
    EXPECT_EQ(ledGetBlinkFlags(nullptr), 0u);
    EXPECT_EQ(ledSetBlinkTime(nullptr, 0, 500), -1);
    EXPECT_EQ(ledGetBlinkTime(nullptr, 0), -1);
    EXPECT_EQ(ledSwBlinkManager(nullptr), -1);
    EXPECT_EQ(ledDumpData(nullptr, -1), -1);
    EXPECT_EQ(ledDumpData(nullptr, 0), -1);
    EXPECT_EQ(ledTestAll(nullptr, 0), -1);
    ledOpenAll(nullptr);
    ledCloseAll(nullptr);
}

TEST_F(LedTable, BlinkTimesAre100To10000) {
    EXPECT_EQ(ledSetBlinkTime(&grp, 0, 99), -1);
    EXPECT_EQ(ledSetBlinkTime(&grp, 0, 10001), -1);
    EXPECT_EQ(ledSetBlinkTime(&grp, 0, -500), -1);
    EXPECT_EQ(ledGetBlinkTime(&grp, 0), 500);
    EXPECT_EQ(ledSetBlinkTime(&grp, 0, 100), 0);
    EXPECT_EQ(ledSetBlinkTime(&grp, 1, 10000), 0);
    EXPECT_EQ(ledGetBlinkTime(&grp, 0), 100);
    EXPECT_EQ(ledGetBlinkTime(&grp, 1), 10000);
    for (const fp_led_struct& led : grp.led) {
        EXPECT_EQ(led.iBlinkOnMs, 100);
        EXPECT_EQ(led.iBlinkOffMs, 10000);
    }
}

TEST_F(LedTable, AnyOtherBlinkTimeThanTheOnTimeIsTheOffTime) {
    EXPECT_EQ(ledSetBlinkTime(&grp, -7, 200), 0);
    EXPECT_EQ(ledGetBlinkTime(&grp, 0), 500);
    EXPECT_EQ(ledGetBlinkTime(&grp, 2), 200);
}

TEST_F(Leds, AreOpenedInOrderAndReset) {
    ledCloseAll(&grp);
    kernel.clearCalls();
    ledSetBlinkTime(&grp, 0, 300);
    grp.led[7] = {"x", grp.led[7].sBrtFileName, -1, nullptr, -1, 3, 1, 1, 7, 7, 1, 7, 7};
    ledOpenAll(&grp);
    for (int i = 0; i < 8; ++i) {
        EXPECT_EQ(kernel.calls()[static_cast<std::size_t>(i)],
                  "open " + ledPath(i, "brightness") + " O_RDWR");
    }
    EXPECT_EQ(kernel.calls().size(), 8u) << "nothing is written";
    const fp_led_struct& last = grp.led[7];
    EXPECT_GE(last.iBrtFd, 0);
    EXPECT_EQ(last.iState, 1);
    EXPECT_EQ(last.iLit + last.iBlinking + last.iCurrLvl, 0);
    EXPECT_EQ(last.iOnLvl, 82);
    EXPECT_EQ(last.iBlinkOnMs, 300);
    EXPECT_EQ(last.iBlinkOffMs, 500);
}

TEST_F(Leds, FailedOpenIsLoggedAndTheOthersAreOpened) {
    ledCloseAll(&grp);
    file(2).failNext(Call::open, ENOENT);
    grp.led[2].iOnLvl = 7;
    ledOpenAll(&grp);
    EXPECT_EQ(grp.led[2].iBrtFd, -1);
    EXPECT_EQ(grp.led[2].iOnLvl, 7);
    EXPECT_GE(grp.led[3].iBrtFd, 0);
    EXPECT_EQ(kernel.log(), std::vector<LogLine>({{LOG_ERR, "ledOpen Error 2: No such file or directory"}}));
}

TEST_F(Leds, CloseClosesEveryFile) {
    FakeDevice& trigger = kernel.device(ledPath(1, "trigger"));
    grp.led[1].iBlinkFd = grp.led[0].iBrtFd;
    grp.led[0].iBrtFd = -1;
    ledCloseAll(&grp);
    EXPECT_TRUE(kernel.openPaths().empty());
    EXPECT_EQ(trigger.count(Call::open), 0u);
    EXPECT_EQ(kernel.callsOf("close").size(), 8u);
    ledCloseAll(&grp);
    EXPECT_EQ(kernel.callsOf("close").size(), 8u);
}

TEST_F(Leds, OnWritesTheLevelAndOffWritesZero) {
    EXPECT_EQ(ledSetState(&grp, 3, kLedOn), 0);
    EXPECT_EQ(grp.led[3].iLit, 1);
    EXPECT_EQ(ledGetState(&grp, 3), 2);
    EXPECT_EQ(ledSetState(&grp, 3, kLedOff), 0);
    EXPECT_EQ(grp.led[3].iLit, 0);
    EXPECT_EQ(ledGetState(&grp, 3), 1);
    EXPECT_EQ(writes(3), Writes({"82", "0"}));
    EXPECT_EQ(writeCount(), 2u);
}

TEST_F(Leds, OffRecordsTheOnLevelAsCurrent) {
    EXPECT_EQ(ledSetState(&grp, 0, kLedOff), 0);
    EXPECT_EQ(grp.led[0].iCurrLvl, 82);
}

TEST_F(Leds, OnWithoutALevelDoesNothing) {
    grp.led[0].iOnLvl = -1;
    EXPECT_EQ(ledSetState(&grp, 0, kLedOn), 0);
    EXPECT_EQ(writeCount(), 0u);
    EXPECT_EQ(ledGetState(&grp, 0), 1);
    EXPECT_EQ(ledSetState(&grp, 0, kLedOff), 0);
    EXPECT_EQ(writes(0), Writes({"0"}));
}

TEST_F(Leds, BlinkWritesNothingAndRaisesItsFlag) {
    EXPECT_EQ(ledSetState(&grp, 0, kLedBlink), 0);
    EXPECT_EQ(ledSetState(&grp, 7, kLedBlink), 0);
    EXPECT_EQ(ledGetBlinkFlags(&grp), 0x81u);
    EXPECT_EQ(grp.led[7].iBlinking, 1);
    EXPECT_EQ(ledGetState(&grp, 7), 3);
    EXPECT_EQ(writeCount(), 0u);
}

TEST_F(Leds, SteadyStateEndsTheBlinking) {
    ledSetState(&grp, 0, kLedBlink);
    ledSetState(&grp, 1, kLedBlink);
    ledSetState(&grp, 2, kLedBlink);
    ledSetState(&grp, 0, kLedOn);
    ledSetState(&grp, 1, kLedOff);
    EXPECT_EQ(ledGetBlinkFlags(&grp), 0x04u);
    EXPECT_EQ(grp.led[0].iBlinking + grp.led[1].iBlinking, 0);
}

TEST_F(Leds, UnknownStatesAreRefused) {
    for (const int state : {0, 4, -1}) {
        EXPECT_EQ(ledSetState(&grp, 0, state), -1);
    }
    EXPECT_EQ(ledGetState(&grp, 0), 1);
    EXPECT_EQ(writeCount(), 0u);
}

TEST_F(Leds, FailedWriteLeavesTheRecord) {
    ledSetState(&grp, 0, kLedBlink);
    file(0).failNext(Call::write, EIO);
    EXPECT_EQ(ledSetState(&grp, 0, kLedOn), -1);
    EXPECT_EQ(ledGetState(&grp, 0), 3);
    EXPECT_EQ(grp.led[0].iBlinking, 1);
    EXPECT_EQ(grp.led[0].iLit, 0);
    EXPECT_EQ(ledGetBlinkFlags(&grp), 1u);
    EXPECT_TRUE(kernel.log().empty());
}

TEST_F(Leds, ClosedLedCannotBeSwitched) {
    ledCloseAll(&grp);
    EXPECT_EQ(ledSetState(&grp, 0, kLedOn), -1);
    EXPECT_EQ(ledSetState(&grp, 0, kLedOff), -1);
    EXPECT_EQ(ledSetState(&grp, 0, kLedBlink), 0);
}

TEST_F(Leds, LevelIsWrittenOnlyWhileLit) {
    EXPECT_EQ(ledSetBrt(&grp, 0, 20), 0);
    EXPECT_EQ(writeCount(), 0u);
    ledSetState(&grp, 0, kLedOn);
    EXPECT_EQ(ledSetBrt(&grp, 0, 254), 0);
    EXPECT_EQ(ledSetBrtStep(&grp, 0, 0), 0);
    EXPECT_EQ(writes(0), Writes({"20", "254", "4"}));
}

TEST_F(Leds, LevelIsKeptWhenItsWriteFails) {
    ledSetState(&grp, 0, kLedOn);
    file(0).failNext(Call::write, EIO);
    EXPECT_EQ(ledSetBrt(&grp, 0, 7), -1);
    EXPECT_EQ(ledGetBrt(&grp, 0), 7);
}

TEST_F(Leds, BlinkClockIsStoppedWhileNothingBlinks) {
    grp.iBlinkStateMs = 77;
    EXPECT_EQ(manage(), 0);
    EXPECT_EQ(grp.iBlinkStateMs, 0);
    EXPECT_EQ(writeCount(), 0u);
}

TEST_F(Leds, BlinkingStartsWithTheOffPhase) {
    ledSetState(&grp, 4, kLedBlink);
    grp.iBlinkState = 1;
    EXPECT_EQ(manage(), 500);
    EXPECT_EQ(writes(4), Writes({"0"}));
    EXPECT_EQ(writeCount(), 1u);
    EXPECT_EQ(grp.iBlinkState, 1);
    EXPECT_EQ(grp.iBlinkStateMs, 500);
    EXPECT_EQ(grp.led[4].iLit, 0);
}

TEST_F(Leds, PhasesAlternateWithTheirTimes) {
    ledSetBlinkTime(&grp, 0, 200);
    ledSetBlinkTime(&grp, 1, 700);
    ledSetState(&grp, 4, kLedBlink);
    EXPECT_EQ(manage(), 700);
    kernel.advanceMs(700);
    EXPECT_EQ(manage(), 200);
    EXPECT_EQ(grp.iBlinkState, 2);
    EXPECT_EQ(grp.led[4].iLit, 1);
    kernel.advanceMs(200);
    EXPECT_EQ(manage(), 700);
    EXPECT_EQ(grp.iBlinkState, 1);
    EXPECT_EQ(grp.led[4].iLit, 0);
    EXPECT_EQ(writes(4), Writes({"0", "82", "0"}));
}

TEST_F(Leds, CallWithinAPhaseReturnsTheTimeLeft) {
    ledSetState(&grp, 4, kLedBlink);
    kernel.setTime(1000, 900000);
    manage();
    kernel.setTime(1001, 99001);
    EXPECT_EQ(manage(), 300);
    EXPECT_EQ(grp.iBlinkStateMs, 300);
    EXPECT_EQ(writes(4), Writes({"0"}));
}

TEST_F(Leds, PhaseWith21MsLeftGoesOnAndWith20MsLeftEnds) {
    ledSetState(&grp, 4, kLedBlink);
    kernel.setTime(1000, 0);
    manage();
    kernel.setTime(1000, 479000);
    EXPECT_EQ(manage(), 21);
    EXPECT_EQ(grp.iBlinkState, 1);
    kernel.setTime(1000, 479001);
    EXPECT_EQ(manage(), 500);
    EXPECT_EQ(grp.iBlinkState, 2);
}

TEST_F(Leds, CallShortlyBeforeThePhaseEndSwitchesAtOnce) {
    ledSetState(&grp, 4, kLedBlink);
    manage();
    kernel.advanceMs(485);
    EXPECT_EQ(manage(), 500);
    EXPECT_EQ(writes(4), Writes({"0", "82"}));
}

TEST_F(Leds, LatePhaseEndStartsAWholePhaseFromNow) {
    ledSetState(&grp, 4, kLedBlink);
    manage();
    kernel.advanceMs(100000);
    EXPECT_EQ(manage(), 500);
    kernel.advanceMs(400);
    EXPECT_EQ(manage(), 100);
}

TEST_F(Leds, TimeLeftCountsSecondsInTwentyBits) {
    ledSetState(&grp, 4, kLedBlink);
    manage();
    grp.tvTmoBlink = {1000 + 0x100000 + 2, 0};
    EXPECT_EQ(manage(), 2000);
}

TEST_F(Leds, FailingClockEndsThePhase) {
    ledSetState(&grp, 4, kLedBlink);
    manage();
    kernel.failClock(true);
    EXPECT_EQ(manage(), 500);
    EXPECT_EQ(grp.iBlinkState, 2);
    EXPECT_EQ(writes(4), Writes({"0", "82"}));
}

TEST_F(Leds, NewBlinkerJoinsTheOthersAtTheNextChange) {
    ledSetState(&grp, 0, kLedBlink);
    manage();
    kernel.advanceMs(100);
    ledSetState(&grp, 1, kLedBlink);
    EXPECT_EQ(manage(), 400);
    EXPECT_TRUE(writes(1).empty());
    kernel.advanceMs(400);
    manage();
    EXPECT_EQ(writes(0), Writes({"0", "82"}));
    EXPECT_EQ(writes(1), Writes({"82"}));
}

TEST_F(Leds, SteadyLedsAreLeftAloneByTheClock) {
    ledSetState(&grp, 0, kLedOn);
    ledSetState(&grp, 1, kLedBlink);
    manage();
    kernel.advanceMs(500);
    manage();
    EXPECT_EQ(writes(0), Writes({"82"}));
}

TEST_F(Leds, LevelOfALitBlinkerIsWrittenAtOnce) {
    ledSetState(&grp, 0, kLedBlink);
    manage();
    ledSetBrt(&grp, 0, 9);
    EXPECT_EQ(writes(0), Writes({"0"}));
    kernel.advanceMs(500);
    manage();
    ledSetBrt(&grp, 0, 20);
    EXPECT_EQ(writes(0), Writes({"0", "9", "20"}));
}

TEST_F(Leds, WriteErrorsOfTheClockAreIgnored) {
    ledSetState(&grp, 0, kLedBlink);
    ledSetState(&grp, 1, kLedBlink);
    file(0).failAlways(Call::write, EIO);
    EXPECT_EQ(manage(), 500);
    EXPECT_EQ(writes(1), Writes({"0"}));
    EXPECT_EQ(ledGetState(&grp, 0), 3);
}

TEST_F(Leds, UnknownPhaseIsFollowedByTheOnPhaseWithoutAWrite) {
    ledSetBlinkTime(&grp, 1, 300);
    ledSetState(&grp, 0, kLedBlink);
    manage();
    kernel.clearCalls();
    grp.iBlinkState = 9;
    kernel.advanceMs(300);
    EXPECT_EQ(manage(), 300);
    EXPECT_EQ(grp.iBlinkState, 2);
    EXPECT_EQ(writeCount(), 0u);
}

TEST_F(Leds, PhaseWithoutALengthStopsTheClock) {
    for (const int ms : {0, -5}) {
        ledSetState(&grp, 0, kLedBlink);
        grp.iBlinkOffMs = ms;
        EXPECT_EQ(manage(), 0);
        EXPECT_EQ(grp.iBlinkStateMs, 0);
        EXPECT_EQ(grp.iBlinkState, 1);
    }
}

TEST_F(Leds, DumpOfOneShowsItsRecord) {
    ledSetState(&grp, 5, kLedOn);
    const std::string fd = std::to_string(grp.led[5].iBrtFd);
    EXPECT_EQ(dump(5),
              "LED[5] data: BaseName=:red:t1/\n"
              "  BrtFile  FD=" +
                  fd +
                  ",Name=/sys/class/leds/pca963x:red:t1/brightness\n"
                  "  BlnkFile FD=-1,Name=/sys/class/leds/pca963x:red:t1/trigger\n"
                  "  St=2,Blnk=0,Lit=1,CurrLvl=82,OnLvl=82,Color=1\n"
                  "  BlinkOnMs=500,BlinkOffMs=500\n");
}

TEST_F(Leds, DumpOfAllBeginsWithTheGroup) {
    ledSetState(&grp, 3, kLedBlink);
    ledSetBlinkTime(&grp, 1, 600);
    manage();
    std::string expected =
        "LED Group data: NumLEDs=8, BlnkOnMs=500, BlnkOffMs=600\n"
        "  Blink: St=1,Flgs=0x08,Ms=600\n"
        "  BrtStepTable NumSteps=11 Step Table Data:"
        "\n  [0]=  4, [1]=  9, [2]= 20, [3]= 36, [4]= 57, [5]= 82, "
        "\n  [6]=109, [7]=140, [8]=175, [9]=213, [10]=254, \n";
    for (int i = 0; i < 8; ++i) {
        expected += dump(i);
    }
    EXPECT_EQ(dump(-1), expected);
}

TEST_F(Leds, DumpTellsOfAMissingStepTable) {
    grp.iBrtStepTable = nullptr;
    EXPECT_NE(dump(-1).find("  BrtStepTable NumSteps=11 NO STEP TABLE\nLED[0] data: "), std::string::npos);
}

TEST_F(Leds, DumpOfNoSuchLedIsRefused) {
    EXPECT_EQ(dump(8, -1), "");
    EXPECT_EQ(dump(-2, -1), "");
}

TEST_F(LedPanelTest, TypeZeroLightsOneLedAfterTheOther) {
    EXPECT_EQ(begin(0), 5);
    EXPECT_EQ(theOne(kLedOn), 0);
    EXPECT_EQ(writes(0), Writes({"82"}));
    EXPECT_EQ(writes(1), Writes({"0"}));
    for (int call = 1; call <= 9; ++call) {
        EXPECT_EQ(step(0), 5);
        EXPECT_EQ(theOne(kLedOn), call % 8) << call;
    }
}

TEST_F(LedPanelTest, TypeZeroPassesOverClosedLeds) {
    grp.led[0].iBrtFd = grp.led[2].iBrtFd = grp.led[7].iBrtFd = -1;
    begin(0);
    EXPECT_EQ(theOne(kLedOn), 1);
    step(0);
    EXPECT_EQ(theOne(kLedOn), 3);
    for (const int expected : {4, 5, 6, 1}) {
        step(0);
        EXPECT_EQ(theOne(kLedOn), expected);
    }
    EXPECT_TRUE(writes(0).empty());
}

TEST_F(LedPanelTest, CycleWithoutAnyLedWritesNothing) {
    begin(0);
    for (fp_led_struct& l : grp.led) {
        l.iBrtFd = -1;
    }
    kernel.clearCalls();
    EXPECT_EQ(step(0), 5);
    EXPECT_EQ(step(0), 5);
    EXPECT_TRUE(kernel.calls().empty());
}

TEST_F(LedPanelTest, CycleDropsAnLedThatFails) {
    begin(0);
    file(1).failAlways(Call::write, EIO);
    step(0);
    EXPECT_EQ(grp.led[1].iBrtFd, -1);
    EXPECT_EQ(kernel.callsOf("close").size(), 0u);
    step(0);
    EXPECT_EQ(theOne(kLedOn), 2);
}

TEST_F(LedPanelTest, TypesOneAndTwoFadeOneColour) {
    const int levels[] = {4, 9, 20, 36, 57, 82, 109, 140, 175, 213, 254};
    for (const int type : {1, 2}) {
        const int shown = type == 1 ? kReds[0] : kGreens[0];
        const int dark = type == 1 ? kGreens[0] : kReds[0];
        EXPECT_EQ(begin(type), 6);
        expectStates(type == 1 ? kLedOn : kLedOff, type == 1 ? kLedOff : kLedOn);
        expectLevels(type == 1 ? 109 : 82, type == 1 ? 82 : 109);
        EXPECT_EQ(writes(shown), Writes({"82", "109"}));
        EXPECT_EQ(writes(dark), Writes({"0"}));
        for (const int expected : {7, 8, 9, 10, 0, 1}) {
            EXPECT_EQ(step(type), expected);
            EXPECT_EQ(ledGetBrt(&grp, shown), levels[expected]);
            EXPECT_EQ(writes(shown).back(), std::to_string(levels[expected]));
        }
        EXPECT_EQ(writes(dark), Writes({"0"}));
    }
}

TEST_F(LedPanelTest, TypesThreeAndFourBlinkOneColourAtTheDefaultLevel) {
    for (const int type : {3, 4}) {
        EXPECT_EQ(begin(type), 5);
        expectStates(type == 3 ? kLedBlink : kLedOff, type == 3 ? kLedOff : kLedBlink);
        expectLevels(82, 82);
        EXPECT_EQ(ledGetBlinkFlags(&grp), type == 3 ? 0xAAu : 0x55u);
        kernel.clearCalls();
        EXPECT_EQ(step(type), 5);
        EXPECT_EQ(writeCount(), 0u) << "the blink manager does the rest";
    }
}

TEST_F(LedPanelTest, TypesFiveAndSixChangeTheLevelOfBlinkersEveryThirdCall) {
    for (const int type : {5, 6}) {
        const int shown = type == 5 ? kReds[1] : kGreens[1];
        EXPECT_EQ(begin(type), 6);
        expectStates(type == 5 ? kLedBlink : kLedOff, type == 5 ? kLedOff : kLedBlink);
        EXPECT_EQ(ledGetBrt(&grp, shown), 99) << "the level is kept";
        EXPECT_EQ(step(type), 7);
        EXPECT_EQ(ledGetBrt(&grp, shown), 99);
        EXPECT_EQ(step(type), 8);
        expectLevels(type == 5 ? 175 : 99, type == 5 ? 99 : 175);
        EXPECT_EQ(step(type), 9);
        EXPECT_EQ(step(type), 10);
        EXPECT_EQ(ledGetBrt(&grp, shown), 175);
        EXPECT_EQ(step(type), 0);
        EXPECT_EQ(ledGetBrt(&grp, shown), 4);
    }
}

TEST_F(LedPanelTest, TypeSevenLightsNothingWithoutTriggerFiles) {
    EXPECT_EQ(begin(7), 5);
    EXPECT_EQ(step(7), 5);
    EXPECT_EQ(writeCount(), 0u);
    EXPECT_EQ(theOne(kLedBlink), -1);
    expectLevels(82, 82);
}

TEST_F(LedPanelTest, TypeSevenBlinksOneOfTheLedsWithATriggerFile) {
    grp.led[2].iBlinkFd = grp.led[2].iBrtFd;
    grp.led[6].iBlinkFd = grp.led[6].iBrtFd;
    begin(7);
    EXPECT_EQ(theOne(kLedBlink), 2);
    step(7);
    EXPECT_EQ(theOne(kLedBlink), 6);
    step(7);
    EXPECT_EQ(theOne(kLedBlink), 2);
    file(6).failAlways(Call::write, EIO);
    step(7);
    EXPECT_EQ(theOne(kLedBlink), 6) << "blinking writes nothing";
    step(7);
    EXPECT_EQ(grp.led[6].iBlinkFd, -1) << "dropped when it could not be switched off";
    EXPECT_GE(grp.led[6].iBrtFd, 0);
}

TEST_F(LedPanelTest, UnknownTypesCountAsZero) {
    begin(0);
    EXPECT_EQ(step(8), 5);
    EXPECT_EQ(theOne(kLedOn), 1) << "no new set-up";
    EXPECT_EQ(step(-1), 5);
    EXPECT_EQ(theOne(kLedOn), 2);
}

TEST_F(LedPanelTest, ChangeOfTypeStartsAnew) {
    begin(1);
    step(1);
    EXPECT_EQ(step(2), 6);
    expectStates(kLedOff, kLedOn);
    EXPECT_EQ(step(0), 5);
    EXPECT_EQ(theOne(kLedOn), 0);
}

TEST_F(LedPanelTest, LedsThatFailAreDroppedButNotClosed) {
    begin(2);
    ledTestAll(&grp, 3);
    file(1).failAlways(Call::write, EIO);
    file(3).failNth(Call::write, 2, EIO);
    step(1);
    EXPECT_EQ(grp.led[1].iBrtFd, -1) << "failed in the set-up";
    EXPECT_EQ(grp.led[3].iBrtFd, -1) << "failed in the step";
    EXPECT_GE(grp.led[5].iBrtFd, 0);
    EXPECT_TRUE(kernel.callsOf("close").empty());
    clearWrites();
    step(1);
    EXPECT_TRUE(writes(3).empty());
    EXPECT_EQ(writes(5).size(), 1u);
}

TEST_F(LedPanelTest, LedWithoutABrightnessPathTakesNoPart) {
    ledTestAll(&grp, 3);
    ledBuildStates();
    grp.led[1].sBrtFileName = nullptr;
    step(1);
    EXPECT_EQ(ledGetState(&grp, 1), kLedOff);
    EXPECT_EQ(ledGetBrt(&grp, 1), 99);
    EXPECT_EQ(ledGetState(&grp, 3), kLedOn);
}

TEST_F(LedPanelTest, StepTableOfAnyLengthWraps) {
    int table[] = {1, 2};
    grp.iBrtStepTable = table;
    grp.iBrtNumSteps = 2;
    EXPECT_EQ(begin(1), 0);
    EXPECT_EQ(step(1), 1);
    EXPECT_EQ(step(1), 0);
}
