// The daemon's entry over a fake kernel: routing, event lines, standard input, the panel test, start-up and
// shutdown.

#include <gtest/gtest.h>
#include <linux/input.h>
#include <sys/syscall.h>

#include <csignal>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "end_process.h"
#include "fake_kernel.h"

// The functions under test are file-static.
#define main daemonMain
#include "app/main.cpp"  // NOLINT
#undef main

namespace {

using Lines = std::vector<std::string>;

const int kLevelAtStart = miPrint;  // before any test

constexpr const char* kCommandBus = "/dev/spidev3.0";
constexpr const char* kDataBus = "/dev/spidev3.1";
constexpr const char* kGainBus = "/dev/spidev4.0";
constexpr const char* kEncoders[] = {"/dev/input/event1", "/dev/input/event2", "/dev/input/event3"};
constexpr const char* kKeys = "/dev/input/event4";
constexpr const char* kLedNames[] = {"grn:c2", "red:c2", "grn:t2", "red:t2",
                                     "grn:t1", "red:t1", "grn:c1", "red:c1"};
constexpr const char* kCopyFile = "/tmp/beltpack_GfxCommands.txt";
constexpr const char* kEnvironment = "fw_printenv -n disptype";

std::string ledPath(int i) {
    return "/sys/class/leds/pca963x:" + std::string(kLedNames[i]) + "/brightness";
}
std::string gpioPath(int number, const char* file) {
    return "/sys/class/gpio/gpio" + std::to_string(number) + "/" + file;
}

// A panel with every device present, and the daemon's module state as at the start of a process.
class DaemonTest : public testing::Test {
protected:
    DaemonTest() {
        for (const char* path : {kCommandBus, kDataBus, kGainBus, kEncoders[0], kEncoders[1], kEncoders[2],
                                 kKeys, "/sys/class/gpio/export", "/sys/class/gpio/unexport"}) {
            kernel.device(path);
        }
        for (const int number : {254, 9, 105, 255}) {
            kernel.device(gpioPath(number, "direction"));
            kernel.device(gpioPath(number, "value"));
        }
        for (int i = 0; i < 8; ++i) {
            led(i);
        }
        kernel.setCommand(kEnvironment, "0\n", 0);
        kernel.standardInput();
        kernel.limitSelects(1000);
        miPrint = miCopyGfxCmds = miTestMode = miAllowTestExit = 0;
        miScanEveryNMsec = 25;
        mInCtrl = {};
        mTest = {};
        mTestInactive = {};
        mTestActive = {};
        rencBuildAll(mRenc);
        buttonBuildGrp(&mBtnGrp);
        ledBuildAll(&mLedGrp);
    }

    // The bus modules keep their descriptors for the life of a process: have them closed while the kernel
    // lives.
    ~DaemonTest() override {
        for (const char* bus : {kCommandBus, kGainBus}) {
            kernel.device(bus).failAlways(Call::open, ENOENT);
        }
        OLEDintf_init();
        ibp_micGain_init();
    }

    FakeDevice& led(int i) { return kernel.device(ledPath(i)); }
    FakeDevice& keys() { return kernel.device(kKeys); }
    Lines ledWrites(int i) { return led(i).writes(); }

    // Opens the panel's devices as start-up does and forgets what that wrote.
    void openPanel() {
        openDevices();
        clearOutput();
    }
    void clearOutput() {
        for (int i = 0; i < 8; ++i) {
            led(i).clearOutput();
        }
        for (const char* path : {kCommandBus, kDataBus, kGainBus}) {
            kernel.device(path).clearOutput();
        }
        for (const int number : {254, 9, 105, 255}) {
            kernel.device(gpioPath(number, "value")).clearOutput();
        }
        kernel.clearLog();
        kernel.clearCalls();
    }

    // Runs an action and returns what it wrote to standard output.
    static std::string output(const std::function<void()>& action) {
        testing::internal::CaptureStdout();
        action();
        std::fflush(stdout);
        return testing::internal::GetCapturedStdout();
    }

    // Routes one line as the input machine does.
    std::string route(const std::string& line) {
        std::string bytes = line;
        return output([&] {
            processInput(gcp, reinterpret_cast<unsigned char*>(&bytes[0]), static_cast<int>(line.size()) + 1);
        });
    }

    // The application loop over these pieces of standard input and its end; returns its output.
    std::string loop(const Lines& pieces) {
        for (const std::string& piece : pieces) {
            kernel.standardInput().queueRead(piece);
        }
        return output([&] { loopResult = fpApp_main(gcp); });
    }

    // Has both keys of the exit chord pressed, which end the panel test after their time.
    void pressExitChord() {
        keys().queueEvent(EV_KEY, 100, 1, {1000, 0});
        keys().queueEvent(EV_KEY, 101, 1, {1000, 0});
    }

    // A whole run of the daemon; returns its standard output.
    std::string daemon(Lines arguments) {
        arguments.insert(arguments.begin(), "beltpack_fpui");
        std::vector<char*> argv;
        for (std::string& argument : arguments) {
            argv.push_back(&argument[0]);
        }
        argv.push_back(nullptr);
        return output([&] { exitStatus = daemonMain(static_cast<int>(arguments.size()), argv.data()); });
    }

    bool logged(const std::string& text) const {
        for (const LogLine& line : kernel.log()) {
            if (line.text == text) {
                return true;
            }
        }
        return false;
    }
    bool logged(int priority, const std::string& text) const {
        for (const LogLine& line : kernel.log()) {
            if (line == LogLine{priority, text}) {
                return true;
            }
        }
        return false;
    }

    static Bytes dim(unsigned char level) { return {0x81, level}; }

    FakeKernel kernel;
    VirtualDisplay panel{96, 64};
    VirtualDisplay* displays[1] = {&panel};
    GraphicsCommandProcessor gcp{displays, 1, nullptr};
    int loopResult = 99;
    int exitStatus = 99;
};

using Routing = DaemonTest;
using SetCommands = DaemonTest;
using CopyFile = DaemonTest;
using EventLines = DaemonTest;
using InputMachine = DaemonTest;
using Loop = DaemonTest;
using StartUp = DaemonTest;
using DisplayType = DaemonTest;

// The panel test, pass by pass.
class PanelTest : public DaemonTest {
protected:
    static constexpr int kCall2 = 0;
    static constexpr int kTalk2 = 1;
    static constexpr int kMenu = 2;

    PanelTest() {
        miAllowTestExit = 1;
        openPanel();
        // The LED patterns are set up when their type changes; their state is one for the process.
        fp_ledGrp_struct none = {};
        ledBuildAll(&none);
        ledTestAll(&none, 7);
        begin(25);
    }

    // Begins the test with this scan interval.
    static void begin(int scanMs) {
        miScanEveryNMsec = scanMs;
        mTest = {};
        mTestInactive = {};
        mTestActive = {};
        fpTest_setUp();
    }
    // Passes until the test ends, or so many; returns how many did not end it.
    int passes(int most) {
        int count = 0;
        while (count < most && fpTest_pass(gcp)) {
            ++count;
        }
        return count;
    }
    // A key event and the pass that it wakes.
    void key(int button, int value) {
        keys().queueEvent(EV_KEY, static_cast<std::uint16_t>(100 + button), value, {1000, 0});
        EXPECT_TRUE(fpTest_pass(gcp));
    }
    void turn(int encoder, int steps) {
        kernel.device(kEncoders[encoder]).queueEvent(EV_REL, 7, steps, {1000, 0});
        EXPECT_TRUE(fpTest_pass(gcp));
    }
    // The first touch, which counts as a pass.
    void touch() { key(kMenu, 1); }

    // The clock, ms.
    static long now() {
        timeval tv;
        gettimeofday(&tv, nullptr);
        return tv.tv_sec * 1000 + tv.tv_usec / 1000;
    }
    // The time-outs of the calls of select() since the last clearCalls(), e.g. "25000us".
    Lines timeouts() const {
        Lines found;
        for (const std::string& call : kernel.callsOf("select")) {
            found.push_back(call.substr(call.find("timeout=") + 8));
        }
        return found;
    }
    bool lit(int x, int y) { return panel.vdbuf()[y * 96 + x] != VelaGraphics::Pixel(); }
    // Both colours of the invitation's change light these corners, or leave them dark.
    bool allLit() { return lit(0, 0) && lit(95, 63); }

    // The commands that an action draws with; in a fresh process only.
    std::string commands(const std::function<void()>& action) {
        FakeDevice& copy = kernel.device(kCopyFile);
        const std::size_t before = copy.written().size();
        miCopyGfxCmds = 1;
        action();
        return copy.written().substr(before);
    }
};

// Ends a process of its own with what its expectations came to; the framework is silent there.
[[noreturn]] void endFreshProcess() {
    const testing::TestResult& outcome = *testing::UnitTest::GetInstance()->current_test_info()->result();
    for (int i = 0; i < outcome.total_part_count(); ++i) {
        std::fprintf(stderr, "line %d: %s\n", outcome.GetTestPartResult(i).line_number(),
                     outcome.GetTestPartResult(i).message());
    }
    std::fflush(nullptr);
    endProcess(outcome.Failed() ? 1 : 0);
}

// Runs an action in a process started anew, for what lasts as long as a process.
#define IN_A_FRESH_PROCESS(...)                     \
    GTEST_FLAG_SET(death_test_style, "threadsafe"); \
    EXPECT_EXIT(                                    \
        {                                           \
            __VA_ARGS__;                            \
            endFreshProcess();                      \
        },                                          \
        testing::ExitedWithCode(0), "")

}  // namespace

// Args

TEST(Args, WalksTheArgumentsAndStaysOnTheLast) {
    char program[] = "program";
    char one[] = "-p";
    char* argv[] = {program, one, nullptr};
    Args args(2, argv);
    EXPECT_EQ(args.current, 0);
    EXPECT_STREQ(args.asStr(), "program");
    EXPECT_TRUE(args.next());
    EXPECT_TRUE(args == "-p");
    EXPECT_FALSE(args == "-P");
    EXPECT_FALSE(args == "-pp");
    EXPECT_FALSE(args.next());
    EXPECT_EQ(args.current, 1);
}

TEST(Args, IntegersAreDigitsAlone) {
    const auto check = [](std::string text, bool isInt, int value) {
        char* argv[] = {&text[0], nullptr};
        const Args args(1, argv);
        EXPECT_EQ(args.isInt(), isInt) << text;
        if (isInt) {
            EXPECT_EQ(args.asInt(), value) << text;
        }
    };
    check("100", true, 100);
    check("", true, 0);
    check("007", true, 7);
    check("2x", false, 0);
    check("-5", false, 0);
    check("+5", false, 0);
    check(" 5", false, 0);
    check("2147483647", true, 2147483647);
    check("2147483648", true, 2147483647);
    check("99999999999999999999", true, 2147483647);
}

// Routing

TEST_F(Routing, PrefixesMayBeFollowedByOneBlankOrTab) {
    openPanel();
    route("a:set 9 1");
    route("a: set 9 1");
    route("a:\tset 9 1");
    EXPECT_EQ(ledWrites(4), (Lines{"82", "82", "82"}));
    EXPECT_EQ(route("g: info"), "OnDisplayInfo1(1,96,64)\n");
    EXPECT_EQ(route("g:info"), "OnDisplayInfo1(1,96,64)\n");
}

TEST_F(Routing, TwoBlanksMakeAnUnknownCommand) {
    openPanel();
    miPrint = 1;
    route("a:  set 9 1");
    EXPECT_TRUE(ledWrites(4).empty());
    EXPECT_TRUE(logged(LOG_ERR, "processInput SubSyst=a:, UNKNOWN CMD=\" set 9 1\"\n"));
}

TEST_F(Routing, UnknownApplicationCommandsAreLogged) {
    miPrint = 1;
    for (const std::string text : {"", "Set 9 1", "set", "set\t9 1", "get 9"}) {
        kernel.clearLog();
        route("a:" + text);
        EXPECT_TRUE(logged(LOG_ERR, "processInput SubSyst=a:, UNKNOWN CMD=\"" + text + "\"\n")) << text;
    }
}

TEST_F(Routing, UnknownSubsystemsAreLogged) {
    miPrint = 1;
    for (const std::string text : {"x:anything", "G:clear 0", " g:clear 0", "g", "a", "set 9 1"}) {
        kernel.clearLog();
        route(text);
        EXPECT_EQ(kernel.log(),
                  (std::vector<LogLine>{{LOG_ERR, "processInput UNKNOWN SubSyst, Cmd=\"" + text + "\"\n"}}));
    }
}

TEST_F(Routing, FaultsAreSilentAtDebugLevelZero) {
    for (const char* line : {"x:anything", "a:get", "a:set x 1", "a:set 9", "a:set 9 9", "a:set 404 1",
                             "g:quit", "a:set 201 11", "a:set 299 4"}) {
        EXPECT_EQ(route(line), "");
    }
    EXPECT_TRUE(kernel.log().empty());
}

TEST_F(Routing, EmptyLineIsIgnoredAtEveryLevel) {
    for (miPrint = 0; miPrint < 4; ++miPrint) {
        EXPECT_EQ(route(""), "");
        for (const LogLine& line : kernel.log()) {
            EXPECT_EQ(line, (LogLine{LOG_DEBUG, "processInput Len=1, Data="})) << miPrint;
        }
    }
}

TEST_F(Routing, LinesAreEchoedFromLevelTwoOn) {
    miPrint = 2;
    route("g:info");
    EXPECT_TRUE(logged(LOG_DEBUG, "processInput Len=7, Data=g:info"));
}

TEST_F(Routing, LongLinesAreEchoedCutTo100Characters) {
    miPrint = 2;
    const std::string hundred = "x:" + std::string(98, 'y');
    route(hundred.substr(0, 99));
    EXPECT_TRUE(logged(LOG_DEBUG, "processInput Len=100, Data=" + hundred.substr(0, 99)));
    route(hundred);
    EXPECT_TRUE(logged(LOG_DEBUG, "processInput Len=101, Data (truncated to 100 char)=" + hundred + "..."));
}

TEST_F(Routing, RejectedCommandIsLogged) {
    miPrint = 1;
    route("g:quit now");
    EXPECT_TRUE(logged(LOG_ERR, "processGraphicsCommand Bad command \"quit now\"\n"));
}

TEST_F(Routing, UnknownGraphicsWordIsAnErrorLineAndAccepted) {
    miPrint = 1;
    EXPECT_EQ(route("g:foo"), "OnError(\"command 'foo' was not recognized, ignored\")\n");
    EXPECT_TRUE(kernel.log().empty());
}

// "set"

TEST_F(SetCommands, SwitchesThePairOfEachKey) {
    openPanel();
    struct {
        int id, green, red;
    } const keyPairs[] = {{9, 4, 5}, {10, 6, 7}, {11, 2, 3}, {12, 0, 1}};
    for (const auto& key : keyPairs) {
        clearOutput();
        route("a:set " + std::to_string(key.id) + " 1");
        EXPECT_EQ(ledWrites(key.green), Lines{"82"});
        EXPECT_EQ(ledWrites(key.red), Lines{"0"});
        EXPECT_EQ(kernel.callsOf("write").size(), 2u);
        EXPECT_EQ(kernel.calls()[0], "write " + ledPath(key.green) + " 82");
    }
}

TEST_F(SetCommands, PairStatesAreThoseOfTheTable) {
    openPanel();
    struct {
        int v, green, red;
    } const states[] = {{0, 1, 1}, {1, 2, 1}, {2, 1, 2}, {3, 3, 1}, {4, 1, 3}};
    for (const auto& state : states) {
        route("a:set 9 " + std::to_string(state.v));
        EXPECT_EQ(ledGetState(&mLedGrp, 4), state.green) << state.v;
        EXPECT_EQ(ledGetState(&mLedGrp, 5), state.red) << state.v;
    }
}

TEST_F(SetCommands, BadStateIsLoggedAndStillSwitchesThePairOff) {
    openPanel();
    miPrint = 1;
    for (const std::string v : {"5", "-1"}) {
        route("a:set 9 1");
        clearOutput();
        route("a:set 9 " + v);
        EXPECT_EQ(ledWrites(4), Lines{"0"});
        EXPECT_EQ(ledWrites(5), Lines{"0"});
        EXPECT_EQ(kernel.log(),
                  (std::vector<LogLine>{{LOG_ERR, "processSetCommand command \"set\" bad State=" + v}}));
    }
}

TEST_F(SetCommands, AllPairsTakeTheStateOfTheirColour) {
    openPanel();
    route("a:set 0x14 3");
    for (int i = 0; i < 8; ++i) {
        EXPECT_EQ(ledGetState(&mLedGrp, i), i % 2 == 0 ? 3 : 1) << i;
    }
    route("a:set 20 2");
    for (int i = 0; i < 8; ++i) {
        EXPECT_EQ(ledGetState(&mLedGrp, i), i % 2 == 0 ? 1 : 2) << i;
    }
}

TEST_F(SetCommands, AllPairsLeaveLedsOfNoColourAlone) {
    openPanel();
    mLedGrp.led[2].iColor = 7;
    route("a:set 20 1");
    EXPECT_TRUE(ledWrites(2).empty());
    EXPECT_EQ(ledWrites(4), Lines{"82"});
}

TEST_F(SetCommands, AllPairsLogABadStateOnce) {
    openPanel();
    miPrint = 1;
    route("a:set 20 7");
    EXPECT_EQ(kernel.log(),
              (std::vector<LogLine>{{LOG_ERR, "processSetCommand command \"set\" bad State=7"}}));
    EXPECT_EQ(ledWrites(0), Lines{"0"});
}

TEST_F(SetCommands, ContrastSendsTheLevelOfItsStep) {
    openPanel();
    const unsigned char levels[] = {4, 9, 20, 36, 57, 82, 109, 140, 175, 213, 254};
    for (int step = 0; step <= 10; ++step) {
        clearOutput();
        route("a:set 201 " + std::to_string(step));
        EXPECT_EQ(kernel.device(kCommandBus).transfers(), std::vector<Bytes>{dim(levels[step])});
    }
}

TEST_F(SetCommands, BadContrastStepIsLoggedAndSetsStepFive) {
    openPanel();
    miPrint = 1;
    for (const std::string v : {"11", "-1"}) {
        clearOutput();
        route("a:set 201 " + v);
        EXPECT_EQ(kernel.device(kCommandBus).transfers(), std::vector<Bytes>{dim(82)});
        EXPECT_TRUE(logged(LOG_ERR, "displaySetContrastStep Bad display contrast step " + v + ", use 5\n"));
    }
}

TEST_F(SetCommands, BlinkTimesAreThoseOfTheGroup) {
    openPanel();
    route("a:set 202 300");
    route("a:set 203 700");
    EXPECT_EQ(ledGetBlinkTime(&mLedGrp, 0), 300);
    EXPECT_EQ(ledGetBlinkTime(&mLedGrp, 1), 700);
    route("a:set 202 99");
    route("a:set 203 10001");
    EXPECT_EQ(ledGetBlinkTime(&mLedGrp, 0), 300);
    EXPECT_EQ(ledGetBlinkTime(&mLedGrp, 1), 700);
}

TEST_F(SetCommands, MicrophoneGainIsInStepsOfThreeDecibels) {
    openPanel();
    struct {
        const char* v;
        unsigned char code;
    } const gains[] = {{"40", 8},  {"15", 0},  {"1000", 18}, {"16", 0},          {"18", 0},        {"19", 1},
                       {"69", 17}, {"70", 18}, {"71", 18},   {"0", 0},           {"-5", 0},        {"72", 18},
                       {"67", 17}, {"66", 16}, {"21", 1},    {"2147483647", 18}, {"2147483648", 0}};
    for (const auto& gain : gains) {
        clearOutput();
        route("a:set 204 " + std::string(gain.v));
        EXPECT_EQ(kernel.device(kGainBus).transfers(), (std::vector<Bytes>{{gain.code, 0}})) << gain.v;
    }
}

TEST_F(SetCommands, DebugLevelCountsAtOnce) {
    route("a:set 299 3");
    EXPECT_EQ(miPrint, 3);
    route("a:set 299 4");
    EXPECT_EQ(miPrint, 3);
    EXPECT_TRUE(logged(LOG_ERR, "processSetCommand ID=299, bad value=4"));
    route("a:set 299 -1");
    EXPECT_TRUE(logged(LOG_ERR, "processSetCommand ID=299, bad value=-1"));
    route("a:set 299 0");
    EXPECT_EQ(miPrint, 0);
}

TEST_F(SetCommands, OutputsAreSetByNumber) {
    openPanel();
    const int numbers[] = {254, 9, 105, 255};
    for (int id = 0; id < 4; ++id) {
        route("a:set " + std::to_string(400 + id) + " 5");
        route("a:set " + std::to_string(400 + id) + " 0");
        EXPECT_EQ(kernel.device(gpioPath(numbers[id], "value")).writes(), (Lines{"1", "0"}));
    }
}

TEST_F(SetCommands, BrightnessStepsGoToAPairOrToAll) {
    openPanel();
    route("a:set 509 0");
    EXPECT_EQ(ledGetBrt(&mLedGrp, 4), 4);
    EXPECT_EQ(ledGetBrt(&mLedGrp, 5), 4);
    EXPECT_EQ(ledGetBrt(&mLedGrp, 6), 82);
    route("a:set 512 10");
    EXPECT_EQ(ledGetBrt(&mLedGrp, 0), 254);
    EXPECT_EQ(ledGetBrt(&mLedGrp, 1), 254);
    route("a:set 520 9");
    for (int i = 0; i < 8; ++i) {
        EXPECT_EQ(ledGetBrt(&mLedGrp, i), 213);
    }
    route("a:set 520 11");
    EXPECT_EQ(ledGetBrt(&mLedGrp, 0), 213);
}

TEST_F(SetCommands, BrightnessLevelsGoToAPairOrToAll) {
    openPanel();
    route("a:set 559 17");
    EXPECT_EQ(ledGetBrt(&mLedGrp, 4), 17);
    EXPECT_EQ(ledGetBrt(&mLedGrp, 5), 17);
    route("a:set 562 18");
    EXPECT_EQ(ledGetBrt(&mLedGrp, 0), 18);
    EXPECT_EQ(ledGetBrt(&mLedGrp, 1), 18);
    route("a:set 570 254");
    route("a:set 570 255");
    for (int i = 0; i < 8; ++i) {
        EXPECT_EQ(ledGetBrt(&mLedGrp, i), 254);
    }
}

TEST_F(SetCommands, NumbersAreDecimalHexadecimalOrOctal) {
    openPanel();
    route("a:set 011 1");
    EXPECT_EQ(ledGetState(&mLedGrp, 4), 2);
    route("a:set 0x9 0x2");
    EXPECT_EQ(ledGetState(&mLedGrp, 5), 2);
    route("a:set  \t 9   3 and more");
    EXPECT_EQ(ledGetState(&mLedGrp, 4), 3);
}

TEST_F(SetCommands, MissingNumbersAreLogged) {
    miPrint = 1;
    route("a:set x 1");
    EXPECT_TRUE(logged(LOG_ERR, "processInput Bad ID, Cmd=\"set x 1\"\n"));
    route("a:set ");
    EXPECT_TRUE(logged(LOG_ERR, "processInput Bad ID, Cmd=\"set \"\n"));
    route("a:set 9");
    EXPECT_TRUE(logged(LOG_ERR, "processInput Bad State, Cmd=\"set 9\"\n"));
    route("a:set 9 y");
    EXPECT_TRUE(logged(LOG_ERR, "processInput Bad State, Cmd=\"set 9 y\"\n"));
}

TEST_F(SetCommands, NumbersThatDoNotFit32BitsAreRangeErrors) {
    openPanel();
    miPrint = 1;
    route("a:set 4294967305 1");
    EXPECT_TRUE(logged(LOG_ERR, "processInput Bad ID, Cmd=\"set 4294967305 1\"\n"));
    route("a:set 99999999999999999999 1");
    EXPECT_TRUE(logged(LOG_ERR, "processInput Bad ID, Cmd=\"set 99999999999999999999 1\"\n"));
    route("a:set 9 4294967296");
    EXPECT_TRUE(logged(LOG_ERR, "processInput Bad State, Cmd=\"set 9 4294967296\"\n"));
    route("a:set 9 -4294967296");
    EXPECT_TRUE(logged(LOG_ERR, "processInput Bad State, Cmd=\"set 9 -4294967296\"\n"));
    EXPECT_TRUE(ledWrites(4).empty());
}

TEST_F(SetCommands, NumbersAboveTheSignedRangeWrap) {
    openPanel();
    route("a:set -4294967287 1");
    EXPECT_EQ(ledGetState(&mLedGrp, 4), 2);
    route("a:set 9 -4294967294");
    EXPECT_EQ(ledGetState(&mLedGrp, 5), 2);
    miPrint = 1;
    route("a:set 4294967295 1");
    EXPECT_TRUE(logged(LOG_ERR, "processSetCommand command \"set\" bad ID=-1"));
}

TEST_F(SetCommands, UnknownIdentifiersAreLogged) {
    miPrint = 1;
    for (const int id :
         {0, 8, 13, 19, 21, 199, 205, 298, 300, 399, 404, 508, 513, 519, 521, 558, 563, 569, 571}) {
        kernel.clearLog();
        route("a:set " + std::to_string(id) + " 1");
        EXPECT_EQ(kernel.log(), (std::vector<LogLine>{{LOG_ERR, "processSetCommand command \"set\" bad ID=" +
                                                                    std::to_string(id)}}));
    }
}

TEST_F(SetCommands, NumbersAreEchoedAtLevelThree) {
    miPrint = 3;
    route("a:set 200 -7");
    EXPECT_TRUE(logged(LOG_DEBUG, "processSetCommand Id=200,State=-7\n"));
}

TEST_F(SetCommands, TestModeIsSetWhateverTheState) {
    route("a:set 200 0");
    EXPECT_EQ(miTestMode, 1);
    EXPECT_EQ(miAllowTestExit, 0);
}

TEST_F(SetCommands, LedsOfUnknownKeysAreLogged) {
    EXPECT_EQ(btnRedLedIdx(13), -1);
    EXPECT_TRUE(kernel.log().empty());
    miPrint = 1;
    EXPECT_EQ(btnRedLedIdx(13), -1);
    EXPECT_TRUE(logged(LOG_ERR, "btnRedLedIdx BAD LED Keycode=13"));
    EXPECT_EQ(btnGreenLedIdx(8), -1);
    EXPECT_TRUE(logged(LOG_ERR, "btnGreenLedIdx BAD LED Keycode=8"));
}

TEST_F(SetCommands, LedsOfTheWrongColourAreLoggedFromLevelTwoOn) {
    openPanel();
    mLedGrp.led[4].iColor = 7;
    miPrint = 1;
    EXPECT_EQ(btnGreenLedIdx(9), 4);
    EXPECT_TRUE(kernel.log().empty());
    miPrint = 2;
    EXPECT_EQ(btnGreenLedIdx(9), 4);
    EXPECT_TRUE(logged(LOG_ERR, "btnGreenLedIdx BtnKeycode=9, led[4], COLOR MISMATCH=7\n"));
    EXPECT_EQ(btnRedLedIdx(9), 5);
    EXPECT_EQ(kernel.log().size(), 1u);
}

// The copy of the drawing commands

TEST_F(CopyFile, HoldsEveryAcceptedCommandWithItsPrefix) {
    FakeDevice& copy = kernel.device(kCopyFile);
    IN_A_FRESH_PROCESS({
        miCopyGfxCmds = 1;
        for (const char* line : {"g:clear 0", "g:foo", "g:quit", "g: line 0 0 0 1 1 red", "g:", "g:g:odd"}) {
            route(line);
        }
        processGraphicsCommand(gcp, "flush 0\n");
        EXPECT_EQ(copy.written(), "g:clear 0\ng:foo\ng:line 0 0 0 1 1 red\ng:\ng:odd\ng:flush 0\n");
        EXPECT_EQ(kernel.callsOf("open"),
                  Lines{"open " + std::string(kCopyFile) + " O_WRONLY|O_CREAT|O_TRUNC"});
    });
}

TEST_F(CopyFile, IsNotWrittenWithoutTheOption) {
    FakeDevice& copy = kernel.device(kCopyFile);
    route("g:clear 0");
    EXPECT_EQ(copy.written(), "");
    EXPECT_TRUE(kernel.callsOf("open").empty());
}

TEST_F(CopyFile, ThatCannotBeOpenedIsLoggedOnceAndGivenUp) {
    kernel.device(kCopyFile).failAlways(Call::open, EACCES);
    IN_A_FRESH_PROCESS({
        miCopyGfxCmds = 1;
        route("g:clear 0");
        route("g:clear 0");
        EXPECT_EQ(kernel.log(), (std::vector<LogLine>{{LOG_ERR,
                                                       "processGraphicsCommand Could not open "
                                                       "/tmp/beltpack_GfxCommands.txt Err=13,Permission "
                                                       "denied"}}));
    });
}

TEST_F(CopyFile, IsGivenUpAfterTheFirstFailedWrite) {
    struct {
        unsigned int nth;
        const char* text;
    } const failures[] = {
        {1, "prefix to /tmp/beltpack_GfxCommands.txt WriteLen=2,Err=28,No space left on device\n"},
        {2, "to /tmp/beltpack_GfxCommands.txt WriteLen=7,Err=28,No space left on device\n"},
        {3, "Delim to /tmp/beltpack_GfxCommands.txt WriteLen=1,Err=28,No space left on device\n"},
    };
    for (const auto& failure : failures) {
        IN_A_FRESH_PROCESS({
            miCopyGfxCmds = 1;
            kernel.device(kCopyFile).failNth(Call::write, failure.nth, ENOSPC);
            route("g:clear 0");
            const std::size_t written = kernel.device(kCopyFile).writes().size();
            route("g:clear 0");
            EXPECT_EQ(kernel.log(),
                      (std::vector<LogLine>{
                          {LOG_ERR, "processGraphicsCommand Could not write " + std::string(failure.text)}}));
            EXPECT_EQ(kernel.device(kCopyFile).writes().size(), written);
        });
    }
}

TEST_F(CopyFile, IsGivenUpAfterAShortWrite) {
    IN_A_FRESH_PROCESS({
        miCopyGfxCmds = 1;
        kernel.device(kCopyFile).shortenNthWrite(2, 3);
        route("g:clear 0");
        route("g:clear 0");
        EXPECT_EQ(kernel.device(kCopyFile).written(), "g:cle");
        EXPECT_EQ(kernel.log().size(), 1u);
    });
}

// Event lines

TEST_F(EventLines, StartWithTheIdentificationAndEveryKeysState) {
    keys().setKeysDown({102});
    openPanel();
    EXPECT_EQ(loop({}),
              "OnFpId(\"beltpack\",1,96,64)\n"
              "OnFpKey(4,-1,-1)\n"
              "OnFpKey(3,-1,-1)\n"
              "OnFpKey(5,1,-1)\n"
              "OnFpKey(1,-1,-1)\n"
              "OnFpKey(2,-1,-1)\n"
              "OnFpKey(99,-1,-1)\n");
}

TEST_F(EventLines, TellPressReleaseAndTheTimeBetween) {
    openPanel();
    keys().queueEvent(EV_KEY, 103, 1, {1000, 0});
    const std::string first = loop({});
    EXPECT_NE(first.find("OnFpKey(1,1,1000000)\n"), std::string::npos) << first;
    mInCtrl = {};
    keys().queueEvent(EV_KEY, 103, 0, {1000, 250000});
    EXPECT_NE(loop({}).find("OnFpKey(1,-1,250)\n"), std::string::npos);
}

TEST_F(EventLines, TellAnAutoRepeatAsARelease) {
    openPanel();
    keys().queueEvent(EV_KEY, 100, 2, {1000, 0});
    EXPECT_NE(loop({}).find("OnFpKey(4,-1,1000000)\n"), std::string::npos);
}

TEST_F(EventLines, TellOneLineForAnEncoderReadOfSeveralSteps) {
    openPanel();
    FakeDevice& left = kernel.device(kEncoders[0]);
    for (int i = 0; i < 3; ++i) {
        left.queueEvent(EV_REL, 7, 1, {1000, 0});
        left.queueEvent(EV_SYN, 0, 0, {1000, 0});
    }
    const std::string lines = loop({});
    EXPECT_NE(lines.find("OnFpKey(7,2,1000000)\n"), std::string::npos) << lines;
    EXPECT_EQ(lines.find("OnFpKey(7,"), lines.rfind("OnFpKey(7,"));
}

TEST_F(EventLines, TellCounterClockwiseAsMinusTwo) {
    openPanel();
    kernel.device(kEncoders[1]).queueEvent(EV_REL, 7, -1, {1000, 0});
    kernel.device(kEncoders[2]).queueEvent(EV_REL, 7, -4, {1000, 0});
    const std::string lines = loop({});
    EXPECT_NE(lines.find("OnFpKey(8,-2,1000000)\nOnFpKey(6,-2,1000000)\n"), std::string::npos) << lines;
}

TEST_F(EventLines, TellNothingForStepsThatCancelOut) {
    openPanel();
    kernel.device(kEncoders[0]).queueEvent(EV_REL, 7, 1, {1000, 0});
    kernel.device(kEncoders[0]).queueEvent(EV_REL, 7, -1, {1000, 0});
    EXPECT_EQ(loop({}).find("OnFpKey(7"), std::string::npos);
}

TEST_F(EventLines, TellEncodersBeforeKeysAndBothBeforeCommandsOfTheSamePass) {
    openPanel();
    keys().queueEvent(EV_KEY, 103, 1, {1000, 0});
    kernel.device(kEncoders[2]).queueEvent(EV_REL, 7, 1, {1000, 0});
    const std::string lines = loop({"g:info\n"});
    const std::size_t start = lines.find("OnFpKey(6");
    EXPECT_EQ(lines.substr(start), "OnFpKey(6,2,1000000)\nOnFpKey(1,1,1000000)\nOnDisplayInfo1(1,96,64)\n");
}

TEST_F(EventLines, TellTheChangedKeysOfOneReadInIndexOrder) {
    openPanel();
    keys().queueEvent(EV_KEY, 105, 1, {1000, 0});
    keys().queueEvent(EV_KEY, 100, 1, {1000, 0});
    keys().queueEvent(EV_KEY, 106, 1, {1000, 0});
    const std::string lines = loop({});
    EXPECT_EQ(lines.substr(lines.find("OnFpKey(4,1")), "OnFpKey(4,1,1000000)\nOnFpKey(99,1,1000000)\n");
}

TEST_F(EventLines, AreLoggedAtTheirLevelsOnly) {
    openPanel();
    miPrint = 2;
    keys().queueEvent(EV_KEY, 103, 1, {1000, 0});
    kernel.device(kEncoders[0]).queueEvent(EV_REL, 7, -1, {1000, 0});
    loop({});
    EXPECT_TRUE(logged(LOG_DEBUG, "sendOutput Out: OnFpKey(7,-2,1000000)\n"));
    EXPECT_FALSE(logged(LOG_DEBUG, "fpApp_main btn[3] Talk_1 Down\n"));
    EXPECT_FALSE(logged(LOG_DEBUG, "fpApp_main renc[0] Left turned CCW\n"));
}

TEST_F(EventLines, AreEchoedToTheLog) {
    openPanel();
    miPrint = 3;
    keys().queueEvent(EV_KEY, 103, 1, {1000, 0});
    kernel.device(kEncoders[0]).queueEvent(EV_REL, 7, -1, {1000, 0});
    loop({});
    EXPECT_TRUE(logged(LOG_DEBUG, "sendInitialFpState Btn[2] Menu KeyCode=102,Ext=5, Initial Value=Up"));
    EXPECT_TRUE(logged(LOG_DEBUG, "sendOutput Out: OnFpId(\"beltpack\",1,96,64)\n"));
    EXPECT_TRUE(logged(LOG_DEBUG, "fpApp_main btn[3] Talk_1 Down\n"));
    EXPECT_TRUE(logged(LOG_DEBUG, "fpApp_main renc[0] Left turned CCW\n"));
}

TEST_F(EventLines, AreNotEchoedAtLevelOne) {
    openPanel();
    miPrint = 1;
    keys().queueEvent(EV_KEY, 103, 1, {1000, 0});
    loop({});
    EXPECT_EQ(kernel.log(), (std::vector<LogLine>{{LOG_ERR, "readInput 4 reads with no data"},
                                                  {LOG_ERR, "readInput Abort FSM - ErrCt=4"}}));
}

TEST_F(EventLines, AreEchoedWithTheOtherKeyStateAndDirection) {
    keys().setKeysDown({103});
    openPanel();
    miPrint = 3;
    keys().queueEvent(EV_KEY, 103, 0, {1000, 0});
    kernel.device(kEncoders[0]).queueEvent(EV_REL, 7, 1, {1000, 0});
    loop({});
    EXPECT_TRUE(logged(LOG_DEBUG, "sendInitialFpState Btn[3] Talk_1 KeyCode=103,Ext=1, Initial Value=Down"));
    EXPECT_TRUE(logged(LOG_DEBUG, "fpApp_main btn[3] Talk_1 Up\n"));
    EXPECT_TRUE(logged(LOG_DEBUG, "fpApp_main renc[0] Left turned CW\n"));
}

TEST_F(EventLines, ThatCannotBeWrittenAreLoggedFromLevelTwoOn) {
    IN_A_FRESH_PROCESS({
        EXPECT_NE(std::freopen("/dev/full", "w", stdout), nullptr);
        setvbuf(stdout, nullptr, _IONBF, 0);
        char line[] = "OnFpKey(1,1,1)\n";
        for (miPrint = 0; miPrint < 2; ++miPrint) {
            sendOutput(line);
            EXPECT_TRUE(kernel.log().empty());
        }
        sendOutput(line);
        EXPECT_TRUE(logged(LOG_ERR, "sendOutput ERR=No space left on device writing: OnFpKey(1,1,1)\n"));
    });
}

TEST(EventHandler, PrintsToStandardErrorAlone) {
    MyHarwareEventHandler handler;
    testing::internal::CaptureStderr();
    handler.OnId("beltpack", 1, 96, 64);
    handler.OnKeyPress(4, -1, 250);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "ID=beltpack,DisplayCount=1,Width=96,Height=64\nKey=4,Event=-1,msec=250\n");
}

// Standard input

TEST_F(InputMachine, TwoCommandsInOneWriteLeaveTheBufferEmpty) {
    const std::string lines = loop({"g:info\ng:info 0\n"});
    EXPECT_NE(lines.find("OnDisplayInfo1(1,96,64)\nOnDisplayInfo2(0,96,64)\n"), std::string::npos) << lines;
    EXPECT_EQ(mInCtrl.pIn, mInBuf);
    EXPECT_EQ(mInCtrl.pRead, mInBuf);
}

TEST_F(InputMachine, FirstPartOfACommandInTwoReadsIsSkipped) {
    miPrint = 1;
    EXPECT_EQ(loop({"g:info", "\n"}).find("OnDisplayInfo"), std::string::npos);
    EXPECT_FALSE(logged("processInput UNKNOWN SubSyst, Cmd=\"g:info\"\n"));
    kernel.clearLog();
    mInCtrl = {};
    loop({"g:cl", "ear 0\n"});
    EXPECT_TRUE(logged(LOG_ERR, "processInput UNKNOWN SubSyst, Cmd=\"ear 0\"\n"));
}

TEST_F(InputMachine, CompleteCommandsBeforeAnIncompleteOneAreCarriedOut) {
    const std::string lines = loop({"g:info\ng:in", "fo\ng:info 0\n"});
    EXPECT_NE(lines.find("OnDisplayInfo1(1,96,64)\nOnDisplayInfo2(0,96,64)\n"), std::string::npos) << lines;
}

TEST_F(InputMachine, EmptyLineIsFramedAsACommandOfLength1) {
    miPrint = 2;
    loop({"\n\ng:info\n"});
    int count = 0;
    for (const LogLine& line : kernel.log()) {
        count += line == LogLine{LOG_DEBUG, "processInput Len=1, Data="} ? 1 : 0;
    }
    EXPECT_EQ(count, 2);
    EXPECT_TRUE(logged(LOG_DEBUG, "processInput Len=7, Data=g:info"));
}

TEST_F(InputMachine, TailOfAFullBufferIsKeptWhole) {
    // Three commands of 530 bytes and the first part of a fourth: more than 1536 bytes held.
    const std::string command = "g:info " + std::string(522, ' ') + "\n";
    const std::string lines = loop({command + command + command + "g:in", "fo 0\n"});
    EXPECT_NE(lines.find("OnDisplayInfo1(1,96,64)\nOnDisplayInfo2(0,96,64)\n"), std::string::npos) << lines;
}

TEST_F(InputMachine, UpTo1536BytesHeldTheTailStaysWhereItIs) {
    miPrint = 1;
    // Exactly 1536 bytes held: the rest of the tail is taken as a command of its own.
    const std::string command = "g:info " + std::string(1528 - 8, ' ') + "\n";
    ASSERT_EQ(command.size(), 1528u);
    loop({command + "x:234567", "8\n"});
    EXPECT_TRUE(logged(LOG_ERR, "processInput UNKNOWN SubSyst, Cmd=\"8\"\n"));
    // One byte more: the tail is kept.
    kernel.clearLog();
    mInCtrl = {};
    loop({command + "x:2345678", "9\n"});
    EXPECT_TRUE(logged(LOG_ERR, "processInput UNKNOWN SubSyst, Cmd=\"x:23456789\"\n"));
}

TEST_F(InputMachine, OverlongCommandIsDroppedAndTheNextLineIsRead) {
    miPrint = 1;
    const std::string lines = loop({"g:" + std::string(1598, 'x'), "g:info\n"});
    EXPECT_NE(lines.find("OnDisplayInfo1"), std::string::npos);
    EXPECT_EQ(lines.find("OnError"), std::string::npos);
}

TEST_F(InputMachine, LongCommandUpTo1536BytesIsCarriedOut) {
    const std::string word(1533, 'w');
    const std::string lines = loop({"g:" + word + "\n"});
    EXPECT_NE(lines.find("OnError(\"command '" + word + "'"), std::string::npos);
}

TEST_F(InputMachine, CommandThatFillsTheBufferIsCarriedOut) {
    const std::string word(2045, 'w');
    const std::string lines = loop({"g:" + word + "\n"});
    EXPECT_NE(lines.find("OnError(\"command '" + word + "'"), std::string::npos);
}

TEST_F(InputMachine, LineOf100KilobytesCostsNothingAfterIt) {
    const std::string lines = loop({std::string(100000, 'x') + "\n" + "g:info\n", "g:info 0\n"});
    EXPECT_NE(lines.find("OnDisplayInfo2(0,96,64)"), std::string::npos) << lines;
}

TEST_F(InputMachine, AnyBytesAreTaken) {
    std::string bytes;
    for (int i = 0; i < 256; ++i) {
        bytes += static_cast<char>(i);
    }
    bytes += "\n";
    const std::string lines = loop({bytes, std::string("g:\0info\n", 8), "g:info\n"});
    EXPECT_NE(lines.find("OnDisplayInfo1(1,96,64)"), std::string::npos);
}

TEST_F(InputMachine, EndsAfterFourEmptyReads) {
    miPrint = 2;
    loop({});
    EXPECT_EQ(loopResult, -1);
    EXPECT_EQ(kernel.standardInput().count(Call::read), 4u);
    EXPECT_TRUE(logged(LOG_ERR, "readInput No Data: iInLen=0, iBufLen=2048\n"));
    EXPECT_TRUE(logged(LOG_ERR, "readInput 4 reads with no data"));
    EXPECT_TRUE(logged(LOG_ERR, "readInput Abort FSM - ErrCt=4"));
}

TEST_F(InputMachine, LogsTheAbortWhateverTheDebugLevel) {
    loop({});
    EXPECT_EQ(kernel.log(), (std::vector<LogLine>{{LOG_ERR, "readInput Abort FSM - ErrCt=4"}}));
}

TEST_F(InputMachine, DataBetweenEmptyReadsResetTheCount) {
    FakeDevice& input = kernel.standardInput();
    for (int i = 0; i < 3; ++i) {
        input.queueEndOfFile();
        input.queueEndOfFile();
        input.queueEndOfFile();
        input.queueRead("g:info\n");
    }
    loop({});
    EXPECT_EQ(loopResult, -1);
    EXPECT_EQ(input.count(Call::read), 9u + 3u + 4u);
}

TEST_F(InputMachine, InterruptedReadsDoNotCount) {
    FakeDevice& input = kernel.standardInput();
    for (int i = 0; i < 10; ++i) {
        input.queueReadError(i % 2 == 0 ? EAGAIN : EINTR);
    }
    EXPECT_NE(loop({"g:info\n"}).find("OnDisplayInfo1"), std::string::npos);
}

TEST_F(InputMachine, InterruptedReadResetsTheCount) {
    FakeDevice& input = kernel.standardInput();
    for (const int error : {EIO, EIO, EIO, EINTR, EIO, EIO, EIO}) {
        input.queueReadError(error);
    }
    EXPECT_NE(loop({"g:info\n"}).find("OnDisplayInfo1"), std::string::npos);
}

TEST_F(InputMachine, EndsAfterFourReadErrorsInARow) {
    FakeDevice& input = kernel.standardInput();
    for (int i = 0; i < 4; ++i) {
        input.queueReadError(EIO);
    }
    loop({});
    EXPECT_EQ(loopResult, -1);
    EXPECT_EQ(input.count(Call::read), 4u);
    EXPECT_EQ(kernel.callsOf("select").size(), 1u);
    EXPECT_TRUE(logged(LOG_ERR, "readInput ReadErr ErrCt=4,ErrNo=5,Input/output error"));
    EXPECT_TRUE(logged(LOG_ERR, "readInput Abort FSM - ErrCt=4"));
}

TEST_F(InputMachine, ThreeReadErrorsAreForgivenByTheNextData) {
    FakeDevice& input = kernel.standardInput();
    for (int i = 0; i < 3; ++i) {
        input.queueReadError(EIO);
    }
    EXPECT_NE(loop({"g:info\n"}).find("OnDisplayInfo1"), std::string::npos);
}

TEST_F(InputMachine, SwitchToTheTestWaitsForTheCommandsOfTheSameRead) {
    const std::string lines = loop({"a:set 200 0\ng:info\n", "g:info 0\n"});
    EXPECT_EQ(loopResult, -2);
    EXPECT_NE(lines.find("OnDisplayInfo1"), std::string::npos);
    EXPECT_EQ(lines.find("OnDisplayInfo2"), std::string::npos);
    EXPECT_TRUE(logged(LOG_INFO, "readInput Switch to Front Panel Test Mode"));
}

TEST_F(InputMachine, ResetAndReadStateReadsAgainAtOnce) {
    mInCtrl.iState = 4;
    loop({"g:info\n"});
    EXPECT_EQ(kernel.standardInput().count(Call::read), 5u);
}

TEST_F(InputMachine, UnknownStateStartsAnew) {
    mInCtrl.iState = 7;
    EXPECT_NE(loop({"g:info\n"}).find("OnDisplayInfo1"), std::string::npos);
}

TEST_F(InputMachine, ReadsAreEchoedAndDumpedAtLevelThree) {
    miPrint = 3;
    testing::internal::CaptureStderr();
    loop({"g:info\n"});
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "stdin data  Len=7\n  0000 : 67 3a 69 6e 66 6f 0a                             g:info.\n\n");
    EXPECT_TRUE(logged(LOG_INFO, "readInput stdin read: iInLen=7"));
    EXPECT_TRUE(logged(LOG_INFO, "readInput stdin read: iInLen=0"));
}

TEST(DumpData, PutsSixteenBytesOnALineWithTheirText) {
    const unsigned char data[] = "0123456789abcdef\x1f ~\x7f";
    testing::internal::CaptureStderr();
    dumpData("t", data, 16);
    dumpData("t", data, 20);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "t  Len=16\n  0000 : 30 31 32 33 34 35 36 37 38 39 61 62 63 64 65 66  0123456789abcdef\n\n"
              "t  Len=20\n  0000 : 30 31 32 33 34 35 36 37 38 39 61 62 63 64 65 66  0123456789abcdef\n"
              "  0010 : 1f 20 7e 7f                                      . ~.\n\n");
}

// The loop

TEST_F(Loop, SleepsWithoutATimeOutWhenNothingBlinks) {
    openPanel();
    loop({});
    EXPECT_EQ(
        kernel.callsOf("select")[0],
        "select stdin /dev/input/event1 /dev/input/event2 /dev/input/event3 /dev/input/event4 timeout=none");
}

TEST_F(Loop, WakesForTheNextBlinkPhase) {
    openPanel();
    kernel.queueSelect({"stdin"});
    kernel.queueSelect({});
    kernel.queueSelect({});
    loop({"a:set 9 3\na:set 203 1500\n"});
    const Lines calls = kernel.callsOf("select");
    EXPECT_NE(calls[1].find("timeout=1500000us"), std::string::npos) << calls[1];
    EXPECT_NE(calls[2].find("timeout=500000us"), std::string::npos) << calls[2];
    EXPECT_EQ(ledWrites(4), (Lines{"0", "82", "0"}));
}

TEST_F(Loop, WaitsForALongBlinkPhaseToTheMillisecond) {
    openPanel();
    kernel.queueSelect({"stdin"});
    kernel.queueSelect({});
    loop({"a:set 9 3\na:set 203 9999\n"});
    const Lines calls = kernel.callsOf("select");
    EXPECT_NE(calls[1].find("timeout=9999000us"), std::string::npos) << calls[1];
}

TEST_F(Loop, GoesOnWhenSelectFails) {
    openPanel();
    kernel.queueSelectError(EINTR);
    EXPECT_NE(loop({"g:info\n"}).find("OnDisplayInfo1"), std::string::npos);
    EXPECT_TRUE(kernel.log().size() == 1u);
}

TEST_F(Loop, LeavesMissingDevicesOut) {
    kernel.device(kEncoders[1]).failAlways(Call::open, ENOENT);
    keys().failAlways(Call::open, EACCES);
    openPanel();
    loop({});
    EXPECT_EQ(kernel.callsOf("select")[0], "select stdin /dev/input/event1 /dev/input/event3 timeout=none");
}

TEST_F(Loop, LeavesDescriptorsOutThatSelectHasNoRoomFor) {
    openPanel();
    const int open = std::exchange(mRenc[1].iFd, FD_SETSIZE);
    fd_set ready;
    EXPECT_LT(watchPanel(ready), FD_SETSIZE);
    EXPECT_FALSE(isReady(mRenc[1].iFd, ready));
    mRenc[1].iFd = open;
}

TEST_F(Loop, StopsWatchingADeviceThatIsGone) {
    openPanel();
    keys().queueReadError(ENODEV);
    loop({});
    EXPECT_TRUE(logged(LOG_ERR, "buttonGetGrpData Error 19: No such device"));
    EXPECT_EQ(kernel.callsOf("select")[1].find(kKeys), std::string::npos);
}

// The panel test: waiting

TEST_F(PanelTest, WatchesEncodersAndKeysButNotStandardInput) {
    passes(1);
    EXPECT_EQ(kernel.callsOf("select"), Lines{"select /dev/input/event1 /dev/input/event2 /dev/input/event3 "
                                              "/dev/input/event4 timeout=25000us"});
}

TEST_F(PanelTest, StartsWithTheFirstReadableDeviceAndStaysAwake) {
    EXPECT_EQ(passes(10), 10);
    EXPECT_EQ(mTest.iActivityDetected, 0);
    kernel.queueSelect({kEncoders[1]});  // readable, whatever it has to tell
    passes(1);
    EXPECT_EQ(mTest.iActivityDetected, 1);
    passes(100);
    EXPECT_EQ(mTest.iActivityDetected, 1);
}

TEST_F(PanelTest, FailedSelectIsNoTouch) {
    kernel.queueSelectError(EINTR);
    EXPECT_EQ(passes(2), 2);
    EXPECT_EQ(mTest.iActivityDetected, 0);
}

TEST_F(PanelTest, IntervalOfASecondOrMoreIsWaitedForInFull) {
    begin(1500);
    EXPECT_EQ(passes(2), 2);
    EXPECT_EQ(timeouts(), (Lines{"1500000us", "1500000us"}));
}

TEST_F(PanelTest, IntervalBelowOneIsWaitedForAsOneMillisecond) {
    for (const int interval : {0, -1, INT_MIN}) {
        begin(interval);
        kernel.clearCalls();
        passes(2);
        EXPECT_EQ(timeouts(), (Lines{"1000us", "1000us"})) << interval;
        EXPECT_EQ(mTest.iCyclesPerLedStep, 500) << interval;
    }
}

TEST_F(PanelTest, IntervalsAboveAMinuteAreAMinute) {
    begin(INT_MAX);
    passes(2);
    EXPECT_EQ(timeouts(), (Lines{"60000000us", "60000000us"}));
    EXPECT_EQ(mTest.iCyclesPerLedStep, 1);
}

TEST_F(PanelTest, WithoutADeviceSleepsTheIntervalBeforeTheInvitation) {
    rencCloseAll(mRenc);
    buttonCloseGrp(&mBtnGrp);
    mBtnGrp.iFd = -1;
    kernel.clearCalls();
    EXPECT_EQ(passes(3), 3);
    EXPECT_EQ(kernel.calls(), (Lines{"usleep 25000", "usleep 25000", "usleep 25000"}));
    EXPECT_TRUE(allLit());
}

TEST_F(PanelTest, WithoutADeviceLongIntervalsAreSleptToo) {
    begin(INT_MAX);
    rencCloseAll(mRenc);
    mBtnGrp.iFd = -1;
    kernel.clearCalls();
    passes(1);
    EXPECT_EQ(kernel.calls(), Lines{"usleep 60000000"});
}

TEST_F(PanelTest, DeviceThatGoesAwayIsNoLongerWatched) {
    kernel.device(kEncoders[0]).queueReadError(ENODEV);
    passes(2);
    EXPECT_TRUE(logged(LOG_ERR, "rencGetChg Error 19: No such device"));
    EXPECT_EQ(kernel.callsOf("select")[1].find(kEncoders[0]), std::string::npos);
}

// The panel test: pace

TEST_F(PanelTest, TimeSpentInAPassDoesNotSlowThePace) {
    touch();
    const long start = now();
    for (int i = 0; i < 400; ++i) {
        kernel.advanceMs(5);
        passes(1);
    }
    EXPECT_EQ(now() - start, 10000);
}

TEST_F(PanelTest, LateAwakeningsDoNotAddUp) {
    touch();
    const long start = now();
    for (int i = 0; i < 40; ++i) {
        passes(1);
        kernel.advanceMs(i % 3);  // select came back that much too late
    }
    EXPECT_LE(now() - start, 40 * 25 + 2);
}

TEST_F(PanelTest, PassLongerThanTheIntervalLeavesAMillisecond) {
    touch();
    kernel.clearCalls();
    for (int i = 0; i < 3; ++i) {
        kernel.advanceMs(40);
        passes(1);
    }
    EXPECT_EQ(timeouts(), (Lines{"1000us", "1000us", "1000us"}));
}

TEST_F(PanelTest, PassThatIsLateByMoreThanAnIntervalIsNotMadeUpFor) {
    touch();
    kernel.advanceMs(1000);
    kernel.clearCalls();
    passes(3);
    EXPECT_EQ(timeouts(), (Lines{"1000us", "25000us", "25000us"}));
}

TEST_F(PanelTest, TouchStartsTheIntervalAnew) {
    passes(1);
    kernel.advanceMs(10);
    touch();
    kernel.clearCalls();
    passes(1);
    EXPECT_EQ(timeouts(), Lines{"25000us"});
}

TEST_F(PanelTest, SteppedClockCostsOneIntervalAtTheMost) {
    touch();
    kernel.setTime(500, 0);
    kernel.clearCalls();
    passes(2);
    kernel.setTime(5000, 0);
    passes(2);
    EXPECT_EQ(timeouts(), (Lines{"25000us", "25000us", "1000us", "25000us"}));
}

TEST_F(PanelTest, UnreadableClockKeepsTheInterval) {
    kernel.failClock(true);
    begin(25);
    passes(3);
    EXPECT_EQ(timeouts(), (Lines{"25000us", "25000us", "25000us"}));
    EXPECT_TRUE(allLit());
}

// The panel test: encoders

TEST_F(PanelTest, EncoderDigitCountsDetentsModuloTen) {
    turn(0, 12);
    EXPECT_EQ(mRenc[0].iCurrPos, 2);
    turn(0, -3);
    EXPECT_EQ(mRenc[0].iCurrPos, 9);
    turn(1, -1);
    EXPECT_EQ(mRenc[1].iCurrPos, 9);
    turn(1, 1);
    EXPECT_EQ(mRenc[1].iCurrPos, 0);
    turn(2, -30);
    EXPECT_EQ(mRenc[2].iCurrPos, 0);
}

TEST_F(PanelTest, EncoderDigitStandsAnyNumberOfSteps) {
    turn(0, 9);
    turn(0, INT_MAX);
    EXPECT_EQ(mRenc[0].iCurrPos, 6);
    turn(0, INT_MIN);
    EXPECT_EQ(mRenc[0].iCurrPos, 8);
}

TEST_F(PanelTest, EncoderLogHasTheKeyCodesCrossed) {
    miPrint = 2;
    turn(0, 12);
    turn(2, -1);
    EXPECT_TRUE(
        logged(LOG_INFO, "fpTest_main renc[0] Left * KeyCode=7,Ext=120,Rot=12,Pos=2,ElapsedMs=1000000"));
    EXPECT_TRUE(
        logged(LOG_INFO, "fpTest_main renc[2] Rear * KeyCode=6,Ext=122,Rot=-1,Pos=9,ElapsedMs=1000000"));
}

TEST_F(PanelTest, EncoderStepsThatCancelOutAreLoggedWithoutAStar) {
    miPrint = 2;
    kernel.device(kEncoders[1]).queueEvent(EV_REL, 7, 1, {1000, 0});
    turn(1, -1);
    EXPECT_TRUE(
        logged(LOG_INFO, "fpTest_main renc[1] Right  KeyCode=8,Ext=121,Rot=0,Pos=0,ElapsedMs=1000000"));
}

// The panel test: keys and exit

TEST_F(PanelTest, KeyLogTellsEveryActiveKeyAndStarsTheChangedOnes) {
    miPrint = 2;
    key(kMenu, 1);
    EXPECT_EQ(kernel.log(),
              (std::vector<LogLine>{
                  {LOG_INFO, "fpTest_main Btn[0] Call_2  KeyCode=100,Ext=4,Val=0,ElapsedMs=0"},
                  {LOG_INFO, "fpTest_main Btn[1] Talk_2  KeyCode=101,Ext=3,Val=0,ElapsedMs=0"},
                  {LOG_INFO, "fpTest_main Btn[2] Menu * KeyCode=102,Ext=5,Val=1,ElapsedMs=1000000"},
                  {LOG_INFO, "fpTest_main Btn[3] Talk_1  KeyCode=103,Ext=1,Val=0,ElapsedMs=0"},
                  {LOG_INFO, "fpTest_main Btn[4] Call_1  KeyCode=104,Ext=2,Val=0,ElapsedMs=0"},
                  {LOG_INFO, "fpTest_main Btn[5] Hp_Detect  KeyCode=105,Ext=99,Val=0,ElapsedMs=0"}}));
}

TEST_F(PanelTest, NothingIsLoggedBelowLevelTwo) {
    miPrint = 1;
    turn(0, 1);
    key(kTalk2, 1);
    key(kCall2, 1);
    passes(200);
    EXPECT_TRUE(kernel.log().empty());
}

TEST_F(PanelTest, ChordHeldForThreeSecondsEndsTheTest) {
    for (const bool callFirst : {true, false}) {
        key(callFirst ? kCall2 : kTalk2, 1);
        EXPECT_EQ(mTest.iExitPending, 0);
        key(callFirst ? kTalk2 : kCall2, 1);
        EXPECT_EQ(mTest.iExitPending, 1);
        // 3000 ms is not more than 3000 ms: the pass after it ends the test.
        EXPECT_EQ(passes(1000), 120) << callFirst;
        key(kTalk2, 0);
        key(kCall2, 0);
    }
}

TEST_F(PanelTest, ReleaseAfterTwoSecondsCancelsTheExit) {
    for (const int released : {kCall2, kTalk2}) {
        key(kTalk2, 1);
        key(kCall2, 1);
        EXPECT_EQ(passes(80), 80);
        key(released, 0);
        EXPECT_EQ(mTest.iExitPending, 0);
        EXPECT_EQ(passes(400), 400);
        key(kTalk2, 0);
        key(kCall2, 0);
    }
}

TEST_F(PanelTest, ChordHeldAgainNeedsItsWholeTime) {
    key(kTalk2, 1);
    key(kCall2, 1);
    passes(80);
    key(kCall2, 0);
    key(kCall2, 1);
    EXPECT_EQ(passes(1000), 120);
}

TEST_F(PanelTest, AutoRepeatNeitherCancelsNorRestartsTheExit) {
    key(kTalk2, 1);
    key(kCall2, 1);
    int count = 0;
    for (; count < 80; count += 10) {
        EXPECT_EQ(passes(10), 10);
        key(count % 20 == 0 ? kCall2 : kTalk2, 2);
    }
    EXPECT_EQ(mTest.iExitPending, 1);
    EXPECT_EQ(passes(1000), 40);
}

TEST_F(PanelTest, RepeatingPartnerCountsAsHeld) {
    key(kTalk2, 1);
    key(kTalk2, 2);
    key(kCall2, 1);
    EXPECT_EQ(mTest.iExitPending, 1);
}

TEST_F(PanelTest, AutoRepeatAloneStartsNoExit) {
    keys().setKeysDown({100, 101});
    buttonCloseGrp(&mBtnGrp);
    buttonOpenGrp(&mBtnGrp);
    key(kCall2, 2);
    EXPECT_EQ(mTest.iExitPending, 0);
}

TEST_F(PanelTest, KeyHeldSinceBeforeTheTestCounts) {
    keys().setKeysDown({101});
    buttonCloseGrp(&mBtnGrp);
    buttonOpenGrp(&mBtnGrp);
    key(kCall2, 1);
    EXPECT_EQ(mTest.iExitPending, 1);
}

TEST_F(PanelTest, PartnerThatIsNotInUseDoesNotCount) {
    key(kTalk2, 1);
    mBtnGrp.btn[kTalk2].iActive = 0;
    key(kCall2, 1);
    EXPECT_EQ(mTest.iExitPending, 0);
}

TEST_F(PanelTest, OtherKeysLeaveThePendingExitAlone) {
    key(kTalk2, 1);
    key(kCall2, 1);
    passes(40);
    key(kMenu, 1);
    key(kMenu, 0);
    turn(0, 1);
    EXPECT_EQ(passes(1000), 80);
}

TEST_F(PanelTest, ChordWithoutPermissionDoesNothing) {
    miAllowTestExit = 0;
    miPrint = 2;
    key(kTalk2, 1);
    kernel.clearLog();
    key(kCall2, 1);
    EXPECT_TRUE(logged(LOG_INFO, "fpTest_main Btn[0],Val=1,ExitPending=0\n"));
    EXPECT_EQ(passes(400), 400);
    kernel.clearLog();
    key(kTalk2, 0);
    EXPECT_EQ(kernel.log().size(), 6u);  // the keys alone
}

TEST_F(PanelTest, ChordIsLogged) {
    miPrint = 2;
    key(kTalk2, 1);
    EXPECT_TRUE(logged(LOG_INFO, "fpTest_main Btn[1],Val=1,ExitPending=0\n"));
    key(kCall2, 1);
    EXPECT_TRUE(logged(LOG_INFO, "fpTest_main Btn[0],Val=1,ExitPending=1\n"));
    key(kTalk2, 0);
    EXPECT_TRUE(logged(LOG_INFO, "fpTest_main Btn[1],Val=0,ExitPending=0\n"));
    key(kTalk2, 1);
    EXPECT_TRUE(logged(LOG_INFO, "fpTest_main Btn[1],Val=1,ExitPending=1\n"));
    passes(1000);
    EXPECT_TRUE(logged(LOG_INFO, "fpTest_main exit: button timeout 3000 ms"));
}

TEST_F(PanelTest, ChordIsHeardWithinASecondAtAnyInterval) {
    begin(INT_MAX);
    key(kTalk2, 1);
    key(kCall2, 1);
    kernel.clearCalls();
    EXPECT_EQ(passes(1000), 3);
    EXPECT_EQ(timeouts(), (Lines{"1000000us", "1000000us", "1000000us", "1000000us"}));
}

// The panel test: lights and contrast

TEST_F(PanelTest, Call2ChoosesTheLedPatternInTurn) {
    EXPECT_EQ(mTest.iLedTestType, -1);
    for (const int type : {0, 1, 2, 3, 4, 0, 1}) {
        key(kCall2, 1);
        EXPECT_EQ(mTest.iLedTestType, type);
        key(kCall2, 2);
        key(kCall2, 0);
        EXPECT_EQ(mTest.iLedTestType, type);
    }
    key(kTalk2, 1);
    EXPECT_EQ(mTest.iLedTestType, 1);
}

TEST_F(PanelTest, FirstStepWithoutCall2IsOfPatternZero) {
    touch();
    passes(18);
    EXPECT_EQ(mTest.iLedTestType, -1);
    passes(1);
    EXPECT_EQ(mTest.iLedTestType, 0);
    key(kCall2, 1);
    EXPECT_EQ(mTest.iLedTestType, 1);
}

TEST_F(PanelTest, LedPatternAdvancesEveryTwentyPasses) {
    passes(100);  // before the first touch nothing counts
    touch();
    passes(18);
    EXPECT_TRUE(ledWrites(0).empty());
    passes(1);
    EXPECT_EQ(ledWrites(0), Lines{"82"});
    EXPECT_EQ(ledWrites(1), Lines{"0"});
    passes(19);
    EXPECT_EQ(ledWrites(1), Lines{"0"});
    passes(1);
    EXPECT_EQ(ledWrites(0), (Lines{"82", "0"}));
    EXPECT_EQ(ledWrites(1), (Lines{"0", "82"}));
}

TEST_F(PanelTest, LedPatternAdvancesAboutTwiceASecondAtAnyInterval) {
    struct {
        int interval, passes;
    } const paces[] = {{100, 5}, {130, 3}, {251, 1}, {500, 1}, {501, 1}, {5000, 1}, {1, 500}};
    for (const auto& pace : paces) {
        begin(pace.interval);
        touch();
        passes(pace.passes - 2);
        EXPECT_EQ(mTest.iLedTestType, pace.passes == 1 ? 0 : -1) << pace.interval;
        passes(1);
        EXPECT_EQ(mTest.iLedTestType, 0) << pace.interval;
    }
}

TEST_F(PanelTest, SteadyPatternsTakeTheContrastThroughItsSteps) {
    begin(500);
    key(kCall2, 1);
    key(kCall2, 0);
    EXPECT_EQ(kernel.device(kCommandBus).transfers(), (std::vector<Bytes>{dim(82), dim(82)}));
    clearOutput();
    key(kCall2, 1);
    passes(7);
    std::vector<Bytes> steps;
    const unsigned char levels[] = {109, 140, 175, 213, 254, 4, 9, 20};
    for (const unsigned char level : levels) {
        steps.push_back(dim(level));
    }
    EXPECT_EQ(kernel.device(kCommandBus).transfers(), steps);
    EXPECT_EQ(ledWrites(1), (Lines{"82", "109", "140", "175", "213", "254", "4", "9", "20"}));
}

TEST_F(PanelTest, BadContrastStepIsLoggedAndShownAsStepFive) {
    int steps[20] = {};
    mLedGrp.iBrtStepTable = steps;
    mLedGrp.iBrtNumSteps = 20;
    begin(500);
    key(kCall2, 1);
    key(kCall2, 0);
    key(kCall2, 1);
    passes(4);
    miPrint = 1;
    clearOutput();
    passes(1);
    EXPECT_EQ(kernel.device(kCommandBus).transfers(), std::vector<Bytes>{dim(82)});
    EXPECT_TRUE(logged(LOG_ERR, "displaySetContrastStep Bad display contrast step 11, use 5\n"));
}

TEST_F(PanelTest, BlinkingPatternsBlinkFromPassToPass) {
    mTest.iLedTestType = 2;
    key(kCall2, 1);  // pattern 3: red blinks
    passes(19);      // its set-up; the phases of 500 ms begin with the next pass
    clearOutput();
    passes(41);
    EXPECT_EQ(ledWrites(1), (Lines{"0", "82", "0"}));
    EXPECT_TRUE(ledWrites(0).empty());
    EXPECT_EQ(kernel.device(kCommandBus).transfers(), (std::vector<Bytes>{dim(82), dim(82)}));
}

TEST_F(PanelTest, LedThatFailsShowsAsMissing) {
    led(0).failAlways(Call::write, EIO);
    begin(500);
    touch();
    EXPECT_EQ(mLedGrp.led[0].iBrtFd, -1);
    IN_A_FRESH_PROCESS({
        EXPECT_EQ(commands([&] { fpTest_drawLeds(gcp, fptestLedBox[0]); }),
                  "g:rect 0 62 30 9 11 white \ng:text 0 64 32 'X' white \n");
    });
}

// The panel test: the screens

TEST_F(PanelTest, InvitationChangesAboutOnceASecond) {
    struct {
        int interval, passes;
    } const paces[] = {{25, 40},     {300, 3},  {1000, 1},  {1500, 1},
                       {INT_MAX, 1}, {1, 1000}, {0, 10000}, {-1, 10000}};
    kernel.limitSelects(1000000);
    for (const auto& pace : paces) {
        begin(pace.interval);
        for (int i = 0; i < 4; ++i) {
            passes(1);
            EXPECT_EQ(allLit(), i % 2 == 0) << pace.interval << " change " << i;
            passes(pace.passes - 1);
            EXPECT_EQ(allLit(), i % 2 == 0) << pace.interval << " change " << i;
        }
    }
}

TEST_F(PanelTest, InvitationIsDrawnWithTheseCommands) {
    IN_A_FRESH_PROCESS({
        EXPECT_EQ(commands([&] { passes(1); }), "g:font 0 'F9x5m'\ng:clear 0 white\ng:flush 0\n");
        EXPECT_EQ(commands([&] { passes(39); }), "");
        EXPECT_EQ(commands([&] { passes(1); }),
                  "g:clear 0\n"
                  "g:text 0 2 2 'FRONT' white\n"
                  "g:text 0 36 2 'PANEL' white\n"
                  "g:text 0 70 2 'TEST' white\n"
                  "g:text 0 2 12 'Press any key' white\n"
                  "g:text 0 2 22 'to continue.' white\n"
                  "g:text 0 2 37 'C2: LED tests' white\n"
                  "g:text 0 2 47 'T2+C2: Exit' white\n"
                  "g:flush 0\n");
        EXPECT_EQ(commands([&] { passes(40); }), "g:clear 0 white\ng:flush 0\n");
    });
}

TEST_F(PanelTest, InvitationHasNoExitLineWithoutPermission) {
    IN_A_FRESH_PROCESS({
        miAllowTestExit = 0;
        passes(40);
        const std::string screen = commands([&] { passes(1); });
        EXPECT_NE(screen.find("'C2: LED tests' white\ng:flush 0\n"), std::string::npos) << screen;
    });
}

TEST_F(PanelTest, PanelIsDrawnWithTheseCommands) {
    IN_A_FRESH_PROCESS({
        EXPECT_EQ(commands([&] { turn(0, 12); }),
                  "g:clear 0\n"
                  "g:font 0 'F9x5m'\n"
                  "g:rect 0 0 49 96 2 white white\n"
                  "g:text 0 0 55 'Rear Panel' white\n"
                  "g:rect 0 0 0 1 5 white white\n"
                  "g:rect 0 70 30 15 11 white \n"
                  "g:text 0 72 32 'C2' white \n"
                  "g:rect 0 62 30 9 11 white \n"
                  "g:text 0 64 32 ' ' white \n"
                  "g:rect 0 70 10 15 16 white \n"
                  "g:text 0 72 15 'T2' white \n"
                  "g:rect 0 62 15 9 11 white \n"
                  "g:text 0 64 17 ' ' white \n"
                  "g:rect 0 34 8 27 11 white \n"
                  "g:text 0 36 10 'Menu' white \n"
                  "g:rect 0 10 10 15 16 white \n"
                  "g:text 0 12 15 'T1' white \n"
                  "g:rect 0 24 15 9 11 white \n"
                  "g:text 0 26 17 ' ' white \n"
                  "g:rect 0 10 30 15 11 white \n"
                  "g:text 0 12 32 'C1' white \n"
                  "g:rect 0 24 30 9 11 white \n"
                  "g:text 0 26 32 ' ' white \n"
                  "g:rect 0 62 53 15 11 white \n"
                  "g:text 0 64 55 'HP' white \n"
                  "g:rect 0 0 20 9 11 white \n"
                  "g:text 0 2 22 '2' white \n"
                  "g:rect 0 86 20 9 11 white \n"
                  "g:text 0 88 22 '0' white \n"
                  "g:rect 0 86 53 9 11 white \n"
                  "g:text 0 88 55 '0' white \n"
                  "g:flush 0\n");
        const std::string second = commands([&] { passes(1); });
        EXPECT_EQ(second.find("font"), std::string::npos);
        EXPECT_NE(second.find("g:rect 0 0 0 2 5 white white\n"), std::string::npos);
    });
}

TEST_F(PanelTest, KeyBoxIsFilledWhilePressedOrRepeating) {
    IN_A_FRESH_PROCESS({
        const std::string filled = "g:rect 0 34 8 27 11 white white\ng:text 0 36 10 'Menu' black white\n";
        EXPECT_NE(commands([&] { key(kMenu, 1); }).find(filled), std::string::npos);
        EXPECT_NE(commands([&] { key(kMenu, 2); }).find(filled), std::string::npos);
        EXPECT_NE(commands([&] {
                      key(kMenu, 0);
                  }).find("g:rect 0 34 8 27 11 white \ng:text 0 36 10 'Menu' white \n"),
                  std::string::npos);
    });
}

TEST_F(PanelTest, KeyThatIsNotInUseShowsXX) {
    IN_A_FRESH_PROCESS({
        key(kMenu, 1);
        mBtnGrp.btn[kMenu].iActive = 0;
        EXPECT_NE(
            commands([&] { passes(1); }).find("g:rect 0 34 8 27 11 white \ng:text 0 36 10 'XX' white \n"),
            std::string::npos);
    });
}

TEST_F(PanelTest, LightBoxTellsWhichLedIsLitOrMissing) {
    struct {
        int greenFd, greenLit, redFd, redLit;
        const char* text;
        bool filled;
    } const boxes[] = {{5, 0, 5, 0, " ", false},  {5, 1, 5, 0, "G", true},    {5, 0, 5, 1, "R", true},
                       {5, 1, 5, 1, "R", true},   {5, 0, -1, 0, "X", false},  {5, 1, -1, 0, "X", true},
                       {5, 0, -1, 1, "X", false}, {-1, 0, 5, 0, "X", false},  {-1, 1, 5, 0, "X", false},
                       {-1, 0, 5, 1, "R", true},  {-1, 0, -1, 0, "X", false}, {0, 0, 0, 0, "X", false},
                       {0, 0, 5, 0, "X", false},  {5, 0, 0, 1, "X", false},   {-1, 1, -1, 0, "X", true}};
    IN_A_FRESH_PROCESS({
        for (const auto& box : boxes) {
            mLedGrp.led[6].iBrtFd = box.greenFd;
            mLedGrp.led[6].iLit = box.greenLit;
            mLedGrp.led[7].iBrtFd = box.redFd;
            mLedGrp.led[7].iLit = box.redLit;
            const std::string text = box.text;
            EXPECT_EQ(commands([&] { fpTest_drawLeds(gcp, fptestLedBox[4]); }),
                      box.filled
                          ? "g:rect 0 24 30 9 11 white white\ng:text 0 26 32 '" + text + "' black white\n"
                          : "g:rect 0 24 30 9 11 white \ng:text 0 26 32 '" + text + "' white \n");
        }
    });
}

TEST_F(PanelTest, MissingEncoderShowsX) {
    IN_A_FRESH_PROCESS({
        mRenc[1].iFd = -1;
        EXPECT_EQ(commands([&] { fpTest_drawEncoder(gcp, fptestRencBox[1], mRenc[1]); }),
                  "g:rect 0 86 20 9 11 white \ng:text 0 88 22 'X' white \n");
    });
}

TEST_F(PanelTest, ActivityBarGrowsFromOneToNinePixels) {
    touch();
    for (int pass = 0; pass < 20; ++pass) {
        const int width = pass % 9 + 1;
        for (const int y : {0, 4}) {
            EXPECT_TRUE(lit(width - 1, y)) << pass;
            EXPECT_FALSE(lit(width, y)) << pass;
        }
        EXPECT_FALSE(lit(0, 5)) << pass;
        passes(1);
    }
}

// Start-up and shutdown

TEST_F(StartUp, UsageGoesToStandardErrorWithoutTouchingADevice) {
    testing::internal::CaptureStderr();
    EXPECT_EQ(daemon({"-x", "-h"}), "");
    EXPECT_EQ(exitStatus, 1);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "Intercom Arvo Beltpack UI Interface Application.\n"
              "Build: " __DATE__
              "\n"
              "\n"
              "Compiled for IMX6 I/O devices.\n"
              "Interface to OLED display, discrete LEDs, buttons, rotary encoders.\n"
              "STDIN sent to output device (display, discrete LEDs, GPOs).\n"
              "Input device activity (button, rotary encoder, GPIs) sent to STDOUT.\n"
              "Front panel OLED screen size: 96W x 64H pixels.\n"
              "\n"
              "Usage: beltpack_fpui [options]\n"
              "\n"
              "  options:\n"
              "  -h       View this help text.\n"
              "  -t       Front Panel Test mode. Show button + rotary encoder + LED\n"
              "           activity on OLED display.\n"
              "  -s ms    Test Mode scan rate interval in msec (default=25)\n"
              "  -p       Print debug info to syslog, appname = \"beltpack_fpui\".\n"
              "  -g       Copy graphics commands to a file in /tmp.\n"
              "\n");
    EXPECT_EQ(kernel.calls(), Lines{"openlog beltpack_fpui 2 0"});
    EXPECT_TRUE(logged(LOG_ERR, "main Command line argument \"-x\" not recognized"));
}

TEST_F(StartUp, ScanIntervalMustBeDigits) {
    for (const Lines& arguments : {Lines{"-s"}, Lines{"-s", "2x"}, Lines{"-s", "-5"}}) {
        testing::internal::CaptureStderr();
        daemon(arguments);
        EXPECT_EQ(exitStatus, 1);
        EXPECT_NE(testing::internal::GetCapturedStderr().find("Usage: "), std::string::npos);
    }
}

TEST_F(StartUp, ScanIntervalMayBeZeroOrEmpty) {
    daemon({"-s", "0"});
    EXPECT_EQ(exitStatus, 0);
    EXPECT_EQ(miScanEveryNMsec, 0);
    miScanEveryNMsec = 25;
    mInCtrl = {};
    daemon({"-s", ""});
    EXPECT_EQ(exitStatus, 0);
    EXPECT_EQ(miScanEveryNMsec, 0);
}

TEST_F(StartUp, UnknownArgumentsAreLoggedAndIgnored) {
    EXPECT_NE(daemon({"-x", "word"}).find("OnFpId"), std::string::npos);
    EXPECT_EQ(exitStatus, 0);
    EXPECT_TRUE(logged(LOG_ERR, "main Command line argument \"-x\" not recognized"));
    EXPECT_TRUE(logged(LOG_ERR, "main Command line argument \"word\" not recognized"));
}

TEST_F(StartUp, DebugLevelIsZeroBeforeTheOptions) {
    EXPECT_EQ(kLevelAtStart, 0);
}

TEST_F(StartUp, OptionsAreLoggedWithThePrintOption) {
    pressExitChord();
    daemon({"-t", "-p", "-p", "-s", "100"});
    EXPECT_TRUE(
        logged(LOG_INFO,
               "Screen 96W x 64H px, TestMode=Y, Allow Test Exit=Y, CopyGfxCmds=N, Test Mode Scan 100 ms\n"));
    EXPECT_TRUE(logged(LOG_INFO, "beltpack_fpui closing app."));
    EXPECT_EQ(mTest.iCyclesPerLedStep, 5) << "a step of the lights takes 500 ms";
}

TEST_F(StartUp, PrintOptionGivenTwiceIsTheSame) {
    for (const Lines& options : {Lines{"-p"}, Lines{"-p", "-p"}}) {
        kernel.standardInput().queueRead("x:\n");
        daemon(options);
        EXPECT_EQ(miPrint, 2);
    }
}

TEST_F(StartUp, OptionsAreNotLoggedWithoutIt) {
    daemon({});
    EXPECT_EQ(kernel.log(), (std::vector<LogLine>{{LOG_ERR, "readInput Abort FSM - ErrCt=4"}}));
}

TEST_F(StartUp, DevicesAreOpenedAndClosedInOrder) {
    IN_A_FRESH_PROCESS({
        daemon({});
        Lines opened = kernel.callsOf("open");
        for (std::string& call : opened) {
            call = call.substr(5, call.find(' ', 5) - 5);
        }
        Lines expected;
        for (const int number : {254, 9, 105, 255}) {
            expected.insert(expected.end(), {"/sys/class/gpio/export", gpioPath(number, "direction"),
                                             gpioPath(number, "value")});
        }
        expected.insert(expected.end(), {kGainBus, kEncoders[0], kEncoders[1], kEncoders[2], kKeys});
        for (int i = 0; i < 8; ++i) {
            expected.push_back(ledPath(i));
        }
        expected.insert(expected.end(), {kCommandBus, kDataBus});
        expected.insert(expected.end(), 4, "/sys/class/gpio/unexport");
        EXPECT_EQ(opened, expected);

        Lines closed = kernel.callsOf("close");
        closed.erase(std::remove_if(closed.begin(), closed.end(),
                                    [](const std::string& call) {
                                        return call.find("export") != std::string::npos ||
                                               call.find("direction") != std::string::npos;
                                    }),
                     closed.end());
        Lines expectedClosed;
        for (const char* path : {kEncoders[0], kEncoders[1], kEncoders[2], kKeys}) {
            expectedClosed.push_back("close " + std::string(path));
        }
        for (int i = 0; i < 8; ++i) {
            expectedClosed.push_back("close " + ledPath(i));
        }
        for (const int number : {254, 9, 105, 255}) {
            expectedClosed.push_back("close " + gpioPath(number, "value"));
        }
        EXPECT_EQ(closed, expectedClosed);
    });
}

TEST_F(StartUp, StartStateIsPutOnThePanelAtStartAndAtTheEnd) {
    IN_A_FRESH_PROCESS({
        daemon({});
        EXPECT_EQ(kernel.callsOf("popen"),
                  (Lines{"popen fw_printenv -n disptype", "popen fw_printenv -n disptype"}));
        for (int i = 0; i < 8; ++i) {
            EXPECT_EQ(ledWrites(i), (Lines{"0", "0"}));
        }
        const auto& commands = kernel.device(kCommandBus).transfers();
        // The set-up, 8 page commands and the contrast; at the end "clear 0" marks the display, so that 8
        // pages and the contrast follow again.
        EXPECT_EQ(commands.size(), 1u + 8u + 1u + 8u + 1u);
        EXPECT_EQ(commands.at(0).size(), 26u);
        EXPECT_EQ(commands.at(1), (Bytes{0xB0, 0x00, 0x12}));
        EXPECT_EQ(commands.at(9), dim(82));
        EXPECT_EQ(commands.at(18), dim(82));
        EXPECT_EQ(kernel.device(kDataBus).transfers().size(), 16u);
    });
}

TEST_F(StartUp, TestLeavesStandardInputAndOutputAlone) {
    kernel.standardInput().queueRead("g:info\n");
    pressExitChord();
    EXPECT_EQ(daemon({"-t"}), "");
    EXPECT_EQ(exitStatus, 0);
    EXPECT_EQ(kernel.standardInput().count(Call::read), 0u);
    EXPECT_TRUE(kernel.log().empty());
}

TEST_F(StartUp, TestEndsWithThePanelResetAndItsEndShown) {
    FakeDevice& copy = kernel.device(kCopyFile);
    IN_A_FRESH_PROCESS({
        pressExitChord();
        daemon({"-t", "-g"});
        EXPECT_NE(copy.written().find("flush 0\n"
                                      "g:clear 0\n"
                                      "g:flush 0\n"
                                      "g:clear 0\n"
                                      "g:text 0 2 2 'FRONT' white\n"
                                      "g:text 0 36 2 'PANEL' white\n"
                                      "g:text 0 70 2 'TEST' white\n"
                                      "g:text 0 2 12 'Test ended.' white\n"
                                      "g:flush 0\n"),
                  std::string::npos);
        for (int i = 0; i < 8; ++i) {
            EXPECT_EQ(ledWrites(i).back(), "0");
        }
        EXPECT_EQ(kernel.callsOf("popen").size(), 2u);
    });
}

TEST_F(StartUp, HandOverToTheTestResetsThePanelFirst) {
    miAllowTestExit = 1;  // else the test would not end; without -t it stays as it is
    kernel.standardInput().queueRead("a:set 9 1\na:set 200 0\n");
    kernel.queueSelect({"stdin"});
    pressExitChord();
    daemon({"-s", "1000"});
    const Lines writes = ledWrites(4);
    ASSERT_GE(writes.size(), 3u);
    EXPECT_EQ((Lines{writes[0], writes[1], writes[2]}), (Lines{"0", "82", "0"}));
    EXPECT_EQ(kernel.callsOf("popen").size(), 3u);
    EXPECT_EQ(miTestMode, 1);
    EXPECT_EQ(miAllowTestExit, 1);
}

TEST_F(StartUp, MissingDevicesAreLoggedAndTheRestWorks) {
    for (const char* path : {kCommandBus, kDataBus, kGainBus, kEncoders[0], kKeys}) {
        kernel.device(path).failAlways(Call::open, ENOENT);
    }
    led(3).failAlways(Call::open, ENOENT);
    kernel.standardInput().queueRead("g:clear 0 white\ng:flush 0\na:set 9 1\na:set 204 40\ng:info\n");
    const std::string lines = daemon({});
    EXPECT_EQ(exitStatus, 0);
    EXPECT_NE(lines.find("OnDisplayInfo1(1,96,64)"), std::string::npos);
    EXPECT_EQ(ledWrites(4), (Lines{"0", "82", "0"}));
    EXPECT_TRUE(logged(LOG_ERR, "rencOpen Error 2: No such file or directory"));
    EXPECT_TRUE(logged(LOG_ERR, "buttonOpenGrp Error 2: No such file or directory"));
    EXPECT_TRUE(logged(LOG_ERR, "ledOpen Error 2: No such file or directory"));
}

TEST_F(StartUp, KeepsAClosedStandardInputFromBeingADevice) {
    IN_A_FRESH_PROCESS({
        syscall(SYS_close, 0);  // the fake kernel keeps this descriptor otherwise
        holdStandardDescriptors();
        EXPECT_EQ(fcntl(0, F_GETFL) & O_ACCMODE, O_RDWR);
        const int next = dup(0);
        EXPECT_GT(next, 2);
        close(next);
    });
}

TEST_F(StartUp, WithoutANullDeviceGoesOn) {
    kernel.device("/dev/null").failAlways(Call::open, ENOENT);
    holdStandardDescriptors();
    EXPECT_EQ(kernel.callsOf("open"), Lines{"open /dev/null O_RDWR = ENOENT"});
    EXPECT_TRUE(kernel.callsOf("close").empty());
}

TEST_F(StartUp, HoldsNoDescriptorWhenTheStandardOnesAreOpen) {
    IN_A_FRESH_PROCESS({
        const int next = dup(0);
        close(next);
        holdStandardDescriptors();
        EXPECT_EQ(dup(0), next);
    });
}

TEST_F(StartUp, IgnoresTheBrokenPipeSignal) {
    IN_A_FRESH_PROCESS({
        std::signal(SIGCHLD, SIG_IGN);
        setSignalDispositions();
        EXPECT_EQ(std::signal(SIGPIPE, SIG_DFL), SIG_IGN);
        EXPECT_EQ(std::signal(SIGCHLD, SIG_DFL), SIG_DFL);
    });
}

TEST_F(StartUp, IgnoresTheBrokenPipeSignalBeforeAnythingElse) {
    IN_A_FRESH_PROCESS({
        std::signal(SIGPIPE, SIG_DFL);
        daemon({"-h"});
        EXPECT_EQ(std::signal(SIGPIPE, SIG_DFL), SIG_IGN);
    });
}

// The panel variant

TEST_F(DisplayType, IsTheBootLoadersNumber) {
    kernel.setCommand(kEnvironment, "1\n", 0);
    EXPECT_EQ(getDisplayType(), 1);
    kernel.setCommand(kEnvironment, "  7 seven\n", 0);
    EXPECT_EQ(getDisplayType(), 7);
    kernel.setCommand(kEnvironment, "2147483647\n", 0);
    EXPECT_EQ(getDisplayType(), 2147483647);
    kernel.setCommand(kEnvironment, "-2147483648\n", 0);
    EXPECT_EQ(getDisplayType(), -2147483647 - 1);
    EXPECT_TRUE(kernel.log().empty());
}

TEST_F(DisplayType, IsZeroForTextThatIsNoNumber) {
    kernel.setCommand(kEnvironment, "none\n", 0);
    EXPECT_EQ(getDisplayType(), 0);
    EXPECT_TRUE(kernel.log().empty());
}

TEST_F(DisplayType, ThatIsMissingIsLogged) {
    kernel.setCommand(kEnvironment, "", 256);
    EXPECT_EQ(getDisplayType(), -1);
    EXPECT_TRUE(logged(LOG_ERR, "getDisplayType no disptype returned from cmd fw_printenv -n disptype"));
    EXPECT_EQ(kernel.callsOf("pclose").size(), 1u);
}

TEST_F(DisplayType, FromAToolThatFailsIsLogged) {
    kernel.setCommand(kEnvironment, "1\n", 3 * 256);
    EXPECT_EQ(getDisplayType(), -1);
    EXPECT_TRUE(logged(LOG_ERR, "getDisplayType cmd fw_printenv -n disptype Ret=3, no disptype found"));
}

TEST_F(DisplayType, FromAToolThatASignalEndsIsLogged) {
    kernel.setCommand(kEnvironment, "1\n", SIGKILL);
    EXPECT_EQ(getDisplayType(), -1);
    EXPECT_TRUE(logged(LOG_ERR, "getDisplayType cmd fw_printenv -n disptype Ret=9, no disptype found"));
}

TEST_F(DisplayType, FromAToolThatCannotBeStartedIsLogged) {
    kernel.failCommand(kEnvironment, ENOMEM);
    EXPECT_EQ(getDisplayType(), -1);
    EXPECT_TRUE(logged(LOG_ERR, "getDisplayType Could not open \"fw_printenv -n disptype\""));
}

TEST_F(DisplayType, FromAToolThatCannotBeWaitedForIsLogged) {
    kernel.setCommand(kEnvironment, "1\n", 0);
    kernel.failCommandClose(kEnvironment, ECHILD);
    EXPECT_EQ(getDisplayType(), -1);
    EXPECT_TRUE(logged(LOG_ERR,
                       "getDisplayType cmd fw_printenv -n disptype, get disptype ERROR: No child processes"));
}

TEST_F(DisplayType, ThatDoesNotFit32BitsIsLogged) {
    for (const std::string text : {"2147483648\n", "99999999999999999999\n"}) {
        kernel.clearLog();
        kernel.setCommand(kEnvironment, text, 0);
        EXPECT_EQ(getDisplayType(), -1);
        EXPECT_TRUE(logged(LOG_ERR,
                           "getDisplayType cmd fw_printenv -n disptype, get disptype Ret=2147483647, "
                           "ERROR=Numerical result out of range, STDOUT=\"" +
                               text + "\""));
    }
}

TEST_F(DisplayType, SelectsTheStartColumnOfTheNextFrame) {
    struct {
        const char* answer;
        Bytes firstPage;
    } const variants[] = {{"0\n", {0xB0, 0x00, 0x12}},
                          {"1\n", {0xB0, 0x0C, 0x11}},
                          {"2\n", {0xB0, 0x00, 0x12}},
                          {"", {0xB0, 0x00, 0x12}}};
    for (const auto& variant : variants) {
        kernel.setCommand(kEnvironment, variant.answer, 0);
        kernel.device(kCommandBus).clearOutput();
        mInCtrl = {};
        daemon({});
        const auto& commands = kernel.device(kCommandBus).transfers();
        const std::size_t first = commands[0].size() == 26 ? 1 : 0;
        EXPECT_EQ(commands[first], variant.firstPage) << variant.answer;
    }
}
