// Sessions of the simulator program with the probe as the program under simulation.
#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "tests/unit/sim/simulator_fixture.h"

namespace {

namespace fs = std::filesystem;

class ProbeScenario : public Simulator, public ::testing::WithParamInterface<const char*> {};

TEST_P(ProbeScenario, PassesOnTheEmulatedPanel) {
    EXPECT_EQ(run("--log '" + work.file("log") + "'", GetParam()), 0) << err();
    EXPECT_EQ(err(), "");
    EXPECT_TRUE(temporary.empty());
    expectContains(work.read("log"), R"({"event":"exit","what":"0","ms":)");
}

INSTANTIATE_TEST_SUITE_P(Shim, ProbeScenario,
                         ::testing::Values("attributes", "buses", "copies", "gpio", "limits", "other-forms",
                                           "reads", "reopening", "streams"),
                         [](const auto& scenario) {
                             std::string name = scenario.param;
                             name.erase(std::remove(name.begin(), name.end(), '-'), name.end());
                             return name;
                         });

// ---- The program ----

TEST_F(Simulator, ExitStatusIsTheCommands) {
    EXPECT_EQ(run("", "ends"), 7);
    EXPECT_EQ(shell("'" BELTPACK_SIM_PATH "' -- sh -c 'kill -TERM $$'"), 128 + SIGTERM);
    EXPECT_EQ(shell("'" BELTPACK_SIM_PATH "' -- /nowhere/at/all"), 127);
    expectContains(err(), "cannot run /nowhere/at/all");
}

TEST_F(Simulator, InputAndOutputAreTheCommandsWithoutAScript) {
    EXPECT_EQ(shell("printf 'a\\0b' | '" BELTPACK_SIM_PATH "' -- '" BELTPACK_PROBE_PATH "' echo"), 0);
    EXPECT_EQ(out(), std::string("a\0b", 3));
}

TEST_F(Simulator, BadUsageIsStatusTwo) {
    EXPECT_EQ(run("--panel 2", "echo"), 2);
    EXPECT_EQ(run("--unknown", "echo"), 2);
    EXPECT_EQ(run("--script /nowhere", "echo"), 2);
    EXPECT_EQ(run("--log /nowhere/log", "echo"), 2);
    EXPECT_EQ(play("jump\n", "echo"), 2);
    expectContains(err(), "s.script:1: unknown step \"jump\"");
    EXPECT_EQ(run("--update-pictures", "echo"), 2);
    EXPECT_EQ(shell("'" BELTPACK_SIM_PATH "' ./my_controller"), 2);
    expectContains(err(), "A command to run stands behind \"--\"");
    EXPECT_EQ(shell("'" BELTPACK_SIM_PATH "' --help"), 0);
}

TEST_F(Simulator, BootVariableIsTheFittedVariant) {
    const std::string ask = " -- sh -c 'fw_printenv -n disptype; echo $?'";
    EXPECT_EQ(shell("'" BELTPACK_SIM_PATH "' --panel 1" + ask), 0);
    EXPECT_EQ(out(), "1\n0\n");
    EXPECT_EQ(shell("'" BELTPACK_SIM_PATH "' --panel 1 --disptype 0 --disptype-status 3" + ask), 0);
    EXPECT_EQ(out(), "0\n3\n");
    EXPECT_EQ(shell("'" BELTPACK_SIM_PATH "' --disptype unset" + ask), 0);
    EXPECT_EQ(out(), "1\n");
    EXPECT_EQ(shell("'" BELTPACK_SIM_PATH "' --disptype missing" + ask), 0);
    EXPECT_EQ(out(), "127\n");
    EXPECT_EQ(shell("'" BELTPACK_SIM_PATH "' --disptype \"it's\"" + ask), 0);
    EXPECT_EQ(out(), "it's\n0\n");
}

// The program alone, in a folder of its own below the test's.
class CopiedSimulator : public Simulator {
protected:
    void SetUp() override {
        if (BELTPACK_EMULATED) {
            GTEST_SKIP() << "the simulator is a script here, which runs the machine's own with its shim";
        }
        fs::create_directories(copy.parent_path());
        fs::copy(BELTPACK_SIM_PATH, copy);
    }

    const fs::path copy = fs::path(work.file("usr")) / "bin/beltpack_sim";
};

TEST_F(CopiedSimulator, RunsNothingWithoutItsShim) {
    EXPECT_EQ(shell(copy.string() + " -- echo run"), 2);
    EXPECT_EQ(out(), "");
    expectContains(err(), "cannot find");
}

TEST_F(CopiedSimulator, InstalledShimIsFoundFromTheProgramsFolder) {
    const fs::path folder = copy.parent_path() / BELTPACK_SHIM_FOLDER;
    fs::create_directories(folder);
    fs::copy(BELTPACK_SHIM_PATH, folder);
    EXPECT_EQ(shell(copy.string() + " -- '" BELTPACK_PROBE_PATH "' gpio"), 0) << err();
}

TEST_F(Simulator, TraceShowsTheCalls) {
    EXPECT_EQ(run("--trace", "gpio"), 0);
    expectContains(err(), "open /sys/class/gpio/export O_WRONLY\n");
    expectContains(err(), "write /sys/class/gpio/export 9 = EBUSY\n");
    expectContains(err(), "open /sys/class/gpio/gpio9/value O_RDWR = ENOENT\n");
}

TEST_F(Simulator, ControllerMayStartTheProgramItself) {
    EXPECT_EQ(shell("'" BELTPACK_SIM_PATH "' --trace -- sh -c \"'" BELTPACK_PROBE_PATH "' attributes\""), 0);
    expectContains(err(), "write /sys/class/leds/pca963x:grn:c2/brightness 82\n");
}

TEST_F(Simulator, ProcessesLeftBehindEndWithIt) {
    EXPECT_EQ(run("", "leave-behind"), 0);
    const int left = std::atoi(out().c_str());
    ASSERT_GT(left, 1);
    EXPECT_EQ(kill(left, 0), -1);
    EXPECT_EQ(errno, ESRCH);
}

TEST_F(Simulator, SignalsGoToTheCommandAndNothingStays) {
    EXPECT_EQ(shell("'" BELTPACK_SIM_PATH "' -- sh -c 'kill -TERM $PPID; exec sleep 60'"), 128 + SIGTERM);
    EXPECT_TRUE(temporary.empty());
}

TEST_F(Simulator, SignalEndsAScriptToo) {
    work.write("s.script", "wait line never\n");
    EXPECT_EQ(shell("'" BELTPACK_SIM_PATH "' --script '" + work.file("s.script") +
                    "' -- sh -c 'kill -INT $PPID; exec sleep 60'"),
              128 + SIGINT);
    EXPECT_TRUE(temporary.empty());
}

TEST_F(Simulator, DevicesAreGoneWhenItDies) {
    EXPECT_EQ(shell("'" BELTPACK_SIM_PATH "' -- '" BELTPACK_PROBE_PATH "' simulator-death | grep -x passed"),
              0)
        << err();
}

TEST_F(Simulator, PanelPathsAreMissingWithoutASimulator) {
    EXPECT_EQ(shell("BELTPACK_SIM_SOCKET=nobody LD_PRELOAD='" BELTPACK_SHIM_PATH "' '" BELTPACK_PROBE_PATH
                    "' no-simulator"),
              0)
        << err();
}

// ---- Scripts ----

TEST_F(Simulator, LinesAreSentRelayedAndExpected) {
    EXPECT_EQ(play("send one\nraw \"t\\x77o\\n\"\nrepeat 3 raw \"x\"\nraw \"\\n\"\n"
                   "expect line one\nexpect line~ t?o\nwait line xx*\nexpect quiet\n",
                   "echo"),
              0)
        << err();
    EXPECT_EQ(out(), "one\ntwo\nxxx\n");
    EXPECT_TRUE(temporary.empty());
}

TEST_F(Simulator, UnmetExpectationIsStatusOneAndTold) {
    EXPECT_EQ(play("send one\nexpect line two\n", "echo"), 1);
    expectContains(err(), "s.script:2: expect line two\n  expected: two\n  got:      one\n");
    EXPECT_EQ(out(), "one\n");
    EXPECT_EQ(play("send one\nwait line one\nsend two\nwait line two\nexpect quiet\n", "echo"), 0);
    EXPECT_EQ(play("send one\nsend two\nwait line one\npause 50\nexpect quiet\n", "echo"), 1);
}

TEST_F(Simulator, TimeOutIsStatus42) {
    EXPECT_EQ(play("timeout 1\nwait line never\n", "echo"), 42);
    EXPECT_TRUE(temporary.empty());
}

TEST_F(Simulator, CommandThatEndsByItselfIsStatusThree) {
    EXPECT_EQ(play("wait line never\n", "ends"), 3);
    EXPECT_EQ(play("wait exit\n", "ends"), 3);
    EXPECT_EQ(play("close\nwait exit\nexpect line more\n", "echo"), 1);
}

TEST_F(Simulator, ExpectedExitPasses) {
    EXPECT_EQ(play("wait exit 7\n", "ends"), 0) << err();
    EXPECT_EQ(play("wait exit\nexpect exit 7\n", "ends"), 0) << err();
    EXPECT_EQ(play("wait exit 6\n", "ends"), 1);
}

TEST_F(Simulator, KillEndsTheCommandBySignal) {
    EXPECT_EQ(play("kill\nexpect exit 143\n", "echo"), 0) << err();
    EXPECT_EQ(play("kill KILL\nexpect exit 137\n", "echo"), 0) << err();
    EXPECT_EQ(play("kill INT\nwait exit\nexpect exit 130\n", "echo"), 0) << err();
    EXPECT_EQ(play("kill HUP\n", "echo"), 3);
    EXPECT_EQ(play("wait exit 7\nkill\n", "ends"), 2);
    expectContains(err(), "s.script:2: kill\n  expected: a command that runs\n");
}

TEST_F(Simulator, CommandStartsWhereTheScriptSaysAndAgain) {
    EXPECT_EQ(play("press Menu\nstart\nexpect line held 102\nexpect line ready\nclose\nwait exit 0\n"
                   "release Menu\nstart\nexpect line ready\n",
                   "keys"),
              0)
        << err();
    EXPECT_EQ(play("start\nstart\n", "echo"), 2);
}

TEST_F(Simulator, KeysArrive) {
    EXPECT_EQ(play("wait line ready\npress Talk_1\nexpect line events 2\nexpect line event 1 103 1\n"
                   "repeat Talk_1\nexpect line events 2\nexpect line event 1 103 2\n"
                   "release Talk_1\nexpect line events 2\nexpect line event 1 103 0\n",
                   "keys"),
              0)
        << err();
}

TEST_F(Simulator, TurnArrivesInOneRead) {
    EXPECT_EQ(play("wait line ready\nturn Rear -3\nexpect line events 6\nexpect line event 2 0 -1\n"
                   "wait line event 2 0 -1\nwait line event 2 0 -1\n"
                   "turn Rear 5 2\nexpect line events 4\nexpect line event 2 0 3\nexpect line event 2 0 2\n",
                   "rear"),
              0)
        << err();
}

TEST_F(Simulator, LongTurnIsReadInWholeEvents) {
    EXPECT_EQ(play("wait line ready\nturn Rear 25\nexpect line events 42\nwait line events 8\n", "rear"), 0)
        << err();
}

TEST_F(Simulator, UnpluggedDeviceIsGoneAndComesBack) {
    const std::string path = "/dev/input/event4";
    EXPECT_EQ(
        play("start\nwait line ready\nunplug " + path + "\nexpect line error " + std::to_string(ENODEV) +
                 "\nwait exit 0\nstart\nwait log open " + path + " * = ENOENT\nwait exit 0\nplug " + path +
                 "\nstart\nwait line ready\npress Menu\nwait line event 1 102 1\n",
             "keys"),
        0)
        << err();
    EXPECT_EQ(play("unplug /dev/nothing\n", "echo"), 2);
}

TEST_F(Simulator, ReadFaultReachesTheReader) {
    EXPECT_EQ(play("fault read /dev/input/event4 EIO\nwait line ready\npress Menu\nexpect line error " +
                       std::to_string(EIO) + "\nwait log fault read /dev/input/event4 EIO\n",
                   "keys"),
              0)
        << err();
}

TEST_F(Simulator, WriteFaultsCountFromTheirOrder) {
    const std::string led = "/sys/class/leds/pca963x:grn:c2/brightness";
    EXPECT_EQ(
        play("expect line open 0\nfault write " + led + " EIO nth 2\nfault write " + led +
                 " short 1 nth 3\nraw \"....\"\nexpect line write 2\nexpect line write -" +
                 std::to_string(EIO) + "\nexpect line write 1\nexpect line write 2\nwait log fault write " +
                 led + " short 1\n" + "wait log write " + led +
                 " 82 = 1\nexpect led grn:c2 82\nexpect no log protocol-error *\n",
             "faults"),
        0)
        << err();
}

TEST_F(Simulator, OpenFaultReachesTheOpener) {
    EXPECT_EQ(play("fault open /sys/class/leds/pca963x:grn:c2/brightness EACCES\nstart\nexpect line open " +
                       std::to_string(EACCES) + "\n",
                   "faults"),
              0)
        << err();
}

TEST_F(Simulator, FramesPicturesAndDisplayStateAreSeen) {
    const std::string checks =
        "wait frame\nwait line drawn\nexpect frames 1\nexpect display on\nexpect contrast 82\n"
        "wait log spi /dev/spidev3.1 80 80 *\nwait log frame 1\nexpect picture diagonal.png\nscreenshot "
        "shot.png\n";
    EXPECT_EQ(play(checks, "frame", "--update-pictures"), 0) << err();
    EXPECT_EQ(play(checks, "frame"), 0) << err();
    EXPECT_EQ(work.read("shot.png"), work.read("diagonal.png"));
    EXPECT_EQ(play(checks, "frame", "--screenshot '" + work.file("end.png") + "'"), 0) << err();
    EXPECT_EQ(work.read("end.png"), work.read("diagonal.png"));
}

TEST_F(Simulator, PictureThatCannotBeWrittenIsStatusTwo) {
    EXPECT_EQ(play("wait frame\n", "frame", "--screenshot /nowhere/end.png"), 2);
    expectContains(err(), "cannot write /nowhere/end.png");
}

TEST_F(Simulator, PictureThatIsMissingIsTold) {
    EXPECT_EQ(play("wait frame\nexpect picture p.png\n", "frame"), 1);
    expectContains(err(), "there is no such picture; --update-pictures writes it");
    work.write("p.png", "no picture");
    EXPECT_EQ(play("wait frame\nexpect picture p.png\n", "frame"), 1);
    expectContains(err(), "cannot read it as a panel picture");
}

TEST_F(Simulator, FailureLeavesThePictureThatWasShown) {
    EXPECT_EQ(
        play("wait frame\nscreenshot shot.png\nwait line drawn\nclose\nwait exit\nexpect gain 7\n", "frame"),
        1);
    expectContains(err(), "expected: 7\n  got:      ");
    expectContains(err(), "  picture:  " + work.file("failure.png") + '\n');
    EXPECT_FALSE(work.read("shot.png").empty());
    EXPECT_EQ(work.read("failure.png"), work.read("shot.png"));
}

TEST_F(Simulator, WrongVariantShowsInThePicture) {
    EXPECT_EQ(play("wait frame\nexpect picture p.png\n", "frame", "--update-pictures"), 0) << err();
    EXPECT_EQ(play("wait frame\nexpect picture p.png\n", "frame", "--panel 1"), 1);
    expectContains(err(), "different pixels");
    EXPECT_FALSE(work.read("p.got.png").empty());
    EXPECT_FALSE(work.read("p.diff.png").empty());
}

TEST_F(Simulator, LedOutputAndGainAreSeen) {
    EXPECT_EQ(play("wait led grn:c2 255\nexpect led red:c2 0\nclose\nwait exit\n", "attributes"), 0) << err();
    EXPECT_EQ(play("wait output \"Vibration Motor\" 1\nwait exit\nexpect output 9 1\n", "gpio"), 0) << err();
    EXPECT_EQ(play("wait exit\nexpect gain 5\n", "buses"), 0) << err();
    EXPECT_EQ(play("wait exit\nexpect gain 6\n", "buses"), 1);
}

TEST_F(Simulator, SystemLogIsRecorded) {
    EXPECT_EQ(
        play("wait log syslog err something failed: Operation not permitted\nwait exit\n", "other-forms"), 0)
        << err();
}

}  // namespace
