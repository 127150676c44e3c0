// Scripts with a virtual clock, and the script's words for time with either.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <string>

#include "tests/unit/sim/simulator_fixture.h"

namespace {

using std::chrono::steady_clock;

class VirtualTime : public Simulator {
protected:
    // Of the probe, with the virtual clock.
    int playVirtually(const std::string& script, const std::string& scenario,
                      const std::string& options = "") {
        return play(script, scenario, "--clock virtual --daemon shim_probe " + options);
    }
    // The "ms" of the log's record that holds the text.
    [[nodiscard]] std::string timeOf(const std::string& text) const {
        const std::string log = work.read("log");
        const std::size_t at = log.find("\"ms\":", std::min(log.find(text), log.size()));
        return at == std::string::npos ? "none" : log.substr(at + 5, log.find('}', at) - at - 5);
    }
    [[nodiscard]] std::string logOption() const { return "--log '" + work.file("log") + "'"; }
};

// ---- What the program sees ----

TEST_F(VirtualTime, EveryCallThatTellsTheTimeOrWaitsIsVirtual) {
    EXPECT_EQ(playVirtually("pause 100000000\nwait exit 0\n", "clocks"), 0) << err();
}

TEST_F(VirtualTime, OtherProcessesOfItsNameHoldTheClockWhileTheyAreAwake) {
    if (BELTPACK_EMULATED) {
        GTEST_SKIP() << "the probe starts itself anew by /proc/self/exe, which is the emulator's file here";
    }
    EXPECT_EQ(playVirtually("wait exit 0\n", "companion"), 0) << err();
}

TEST_F(VirtualTime, ProgramsOfOtherNamesKeepTheMachines) {
    EXPECT_EQ(play("wait line 1577836800\nwait exit\n", "tell-time", "--clock virtual --daemon shim_probe"),
              0)
        << err();
    EXPECT_EQ(play("wait line 1577836800\n", "tell-time", "--clock virtual"), 3);
    EXPECT_EQ(play("wait line 1577836800\n", "tell-time", "--clock real --daemon shim_probe"), 3);
}

TEST_F(VirtualTime, EventsAreStampedWithTheVirtualClock) {
    EXPECT_EQ(
        playVirtually("wait line ready\nadvance 1500\npress Menu\nexpect line at 1577836801.500000\n"
                      "hold Talk_1 250\nexpect line at 1577836801.500000\nexpect line at 1577836801.750000\n",
                      "stamps"),
        0)
        << err();
}

// ---- What scripts see ----

TEST_F(VirtualTime, PauseLastsExactlyAndCostsNothing) {
    const auto start = steady_clock::now();
    EXPECT_EQ(
        playVirtually("wait line ready\npause 3600000\nunplug /dev/input/event1\n", "keys", logOption()), 0)
        << err();
    EXPECT_EQ(timeOf("unplug"), "3600000.0");
    EXPECT_LT(steady_clock::now() - start, std::chrono::minutes(10));
}

TEST_F(VirtualTime, WaitTimesOutInVirtualTime) {
    EXPECT_EQ(playVirtually("wait line ready\ntimeout 3600\nwait line never\n", "keys", logOption()), 42);
    expectContains(err(), "got:      nothing within 3600 s");
    EXPECT_EQ(timeOf("exit"), "3600000.0");
}

TEST_F(VirtualTime, ProgramThatSpinsForTimeToPassIsATimeOut) {
    EXPECT_EQ(playVirtually("timeout 1\npause 1\n", "spin", "--timeout 1"), 42);
    expectContains(err(), "s.script: at the start of the script\n  expected: a command that waits");
}

TEST_F(VirtualTime, ProgramThatWorksForEverIsATimeOut) {
    EXPECT_EQ(playVirtually("pause 1\n", "write", "--timeout 1"), 42);
    expectContains(err(), "neither within 1 s");
}

TEST_F(VirtualTime, CommandThatTakesNoPartInItIsATimeOut) {
    EXPECT_EQ(play("send one\n", "echo", "--clock virtual --timeout 1"), 42);
    expectContains(err(), "expected: a command that waits, and whose time is the virtual one");
}

TEST_F(VirtualTime, ProgramThatDoesNotReadIsATimeOut) {
    EXPECT_EQ(playVirtually("repeat 200000 raw \"x\"\n", "sleep"), 42);
    expectContains(err(), "its input stays full");
}

TEST_F(VirtualTime, CommandMayEndAndStartAgain) {
    EXPECT_EQ(playVirtually(
                  "start\nwait line ready\nadvance 10\nclose\nadvance 10\nwait exit 0\nadvance 10\nstart\n"
                  "wait line ready\npress Menu\nwait line event 1 102 1\n",
                  "keys", logOption()),
              0)
        << err();
    EXPECT_EQ(timeOf("exit"), "10.0");
}

TEST_F(VirtualTime, SilenceIsHeardToItsEnd) {
    EXPECT_EQ(playVirtually("wait line tick 1\nexpect silence 999\nadvance 1\nexpect line tick 2\n", "ticks"),
              0)
        << err();
    EXPECT_EQ(playVirtually("wait line tick 1\nexpect silence 1000\n", "ticks"), 1);
    expectContains(err(), "expect silence 1000\n  expected: no unread line\n  got:      \"tick 2\"");
}

TEST_F(VirtualTime, SelectFaultFailsTheWaitsThatWereOrdered) {
    EXPECT_EQ(playVirtually("fault select EINTR nth 2 times 2\nstart\nexpect line 0\nexpect line EINTR\n"
                            "expect line EINTR\nexpect line 0\nwait log fault select EINTR\n",
                            "selects", logOption()),
              0)
        << err();
    EXPECT_EQ(timeOf("fault"), "100.0");
}

TEST_F(VirtualTime, NeedsAScript) {
    EXPECT_EQ(run("--clock virtual", "echo"), 2);
    expectContains(err(), "--clock virtual: needs --script");
    EXPECT_EQ(run("--clock fast", "echo"), 2);
}

// ---- With the machine's clock ----

TEST_F(VirtualTime, WordsOfTheVirtualClockAreRefusedByTheMachines) {
    EXPECT_EQ(play("advance 1\n", "echo"), 2);
    EXPECT_EQ(play("fault select EINTR\n", "echo"), 2);
}

TEST_F(VirtualTime, HoldPressesAndReleases) {
    const auto start = steady_clock::now();
    EXPECT_EQ(
        play("wait line ready\nhold Menu 100\nwait line event 1 102 1\nwait line event 1 102 0\n", "keys"), 0)
        << err();
    EXPECT_GE(steady_clock::now() - start, std::chrono::milliseconds(100));
}

TEST_F(VirtualTime, SpeedDividesPauses) {
    auto start = steady_clock::now();
    EXPECT_EQ(play("speed 1000\npause 300000\n", "echo"), 0) << err();
    EXPECT_LT(steady_clock::now() - start, std::chrono::minutes(5));
    start = steady_clock::now();
    EXPECT_EQ(play("speed 0.01\npause 2\n", "echo"), 0) << err();
    EXPECT_GE(steady_clock::now() - start, std::chrono::milliseconds(200));
}

TEST_F(VirtualTime, SilenceOfTheMachinesClock) {
    EXPECT_EQ(play("send one\nexpect line one\nexpect silence 50\n", "echo"), 0) << err();
    EXPECT_EQ(play("send one\nexpect silence 60000\n", "echo"), 1);  // ends with the line
}

TEST_F(VirtualTime, FailureInAnIncludedFileTellsThatFile) {
    work.write("common.inc", "\nexpect line two\n");
    EXPECT_EQ(play("send one\ninclude common.inc\n", "echo"), 1);
    expectContains(err(), "common.inc:2: expect line two\n");
    work.write("common.inc", "send two\nexpect line two\n");
    EXPECT_EQ(play("include common.inc\ninclude common.inc\nexpect quiet\n", "echo"), 0) << err();
}

}  // namespace
