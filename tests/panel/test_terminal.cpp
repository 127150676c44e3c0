// The panel in a terminal, with the real daemon: what is shown, and what the keys do.
#include "tests/panel/TmuxTerminal.h"

namespace {

constexpr char kSimulator[] = "'" BELTPACK_SIM_PATH "' --term";
constexpr char kLastAtStart[] = "> OnFpKey(99,-1,-1)";  // the daemon's last line before it waits
// The counters after a key has been pressed, and released; the daemon's start writes seven lines.
constexpr char kOneMoreLine[] = "Lines: in 0, out 8,";
constexpr char kTwoMoreLines[] = "Lines: in 0, out 9,";

class TerminalTest : public ::testing::Test {
protected:
    void begin(int width = 80, int height = 24) {
        terminal.start(kSimulator, width, height);
        ASSERT_TRUE(terminal.waitFor(kLastAtStart));
    }
    // Through the prompt.
    void send(const std::string& line) {
        terminal.type(":" + line);
        terminal.keys("Enter Enter");
    }
    // The daemon's start writes a line like that of a release, too, but it stands above.
    [[nodiscard]] bool talkWasPressedAndReleased() {
        const std::string screen = terminal.screen();
        const auto press = screen.find("> OnFpKey(1,1,");
        return press != std::string::npos && screen.find("> OnFpKey(1,-1,", press) != std::string::npos;
    }
    TmuxTerminal terminal;
};

TEST_F(TerminalTest, ShowsWhatIsDrawn) {
    begin();
    send("g:rect 0 0 0 96 64 white");
    send("g:flush 0");
    ASSERT_TRUE(terminal.waitFor("Display 0, on, frame 2"));
    EXPECT_TRUE(terminal.waitFor("│⡏⠉⠉⠉"));
    const std::string screen = terminal.screen();
    EXPECT_NE(screen.find("⠉⠉⠉⢹│"), std::string::npos) << screen;
    EXPECT_NE(screen.find("│⣇⣀⣀⣀"), std::string::npos) << screen;
    EXPECT_NE(screen.find("⣀⣀⣀⣸│"), std::string::npos) << screen;
}

TEST_F(TerminalTest, ShowsLightsContrastAndOutputs) {
    begin();
    send("a:set 9 1");
    send("a:set 10 2");
    send("a:set 201 10");
    EXPECT_TRUE(terminal.waitFor("a  Talk_1      82 █··"));
    EXPECT_TRUE(terminal.waitFor("Contrast 254 ████████████████"));
    EXPECT_TRUE(terminal.shows("OLED Display Reset_N high"));
}

TEST_F(TerminalTest, TapIsAPressAndARelease) {
    begin();
    terminal.keys("a");
    EXPECT_TRUE(terminal.waitFor(kTwoMoreLines));
    EXPECT_TRUE(talkWasPressedAndReleased());
}

TEST_F(TerminalTest, HeldKeyIsShownUntilItIsLetGo) {
    begin();
    terminal.keys("A");
    EXPECT_TRUE(terminal.waitFor("> OnFpKey(1,1,"));
    EXPECT_TRUE(terminal.waitFor("a [Talk_1]"));
    EXPECT_TRUE(terminal.shows(kOneMoreLine));
    terminal.keys("A");
    EXPECT_TRUE(terminal.waitFor(kTwoMoreLines));
    EXPECT_TRUE(talkWasPressedAndReleased());
    EXPECT_TRUE(terminal.waitUntilGone("[Talk_1]"));
}

TEST_F(TerminalTest, HeadphoneSwitchTurnsOnAndOff) {
    begin();
    terminal.keys("h");
    EXPECT_TRUE(terminal.waitFor("> OnFpKey(99,1,"));
    EXPECT_TRUE(terminal.waitFor("h [Hp_Detect]"));
    terminal.keys("h");
    EXPECT_TRUE(terminal.waitUntilGone("[Hp_Detect]"));
}

TEST_F(TerminalTest, KnobsTurnByLettersAndArrows) {
    begin();
    terminal.keys("x");
    EXPECT_TRUE(terminal.waitFor("> OnFpKey(7,2,"));
    EXPECT_TRUE(terminal.waitFor("z x Left        1"));
    terminal.keys("Left Left");
    EXPECT_TRUE(terminal.waitFor("> OnFpKey(7,-2,"));
    EXPECT_TRUE(terminal.waitFor("z x Left       -1"));
    terminal.keys("V");
    EXPECT_TRUE(terminal.waitFor("c v Right       5"));
    terminal.keys("PPage");
    EXPECT_TRUE(terminal.waitFor("b n Rear        1"));
}

TEST_F(TerminalTest, ErrorsAreMarked) {
    begin();
    send("g:nonsense");
    EXPECT_TRUE(terminal.waitFor("< g:nonsense"));
    EXPECT_TRUE(terminal.waitFor("! OnError("));
    EXPECT_TRUE(terminal.waitFor("errors 1"));
}

TEST_F(TerminalTest, PromptShowsWhatIsTypedAndPressesNoKeys) {
    begin();
    terminal.type(":aAq");
    EXPECT_TRUE(terminal.waitFor("Line: aAq"));
    EXPECT_EQ(terminal.value("#{cursor_flag} #{cursor_x} #{cursor_y}"), "1 9 22");
    EXPECT_FALSE(terminal.shows("[Talk_1]"));
    terminal.keys("Escape");
    EXPECT_TRUE(terminal.waitFor("? help"));
    EXPECT_EQ(terminal.value("#{cursor_flag}"), "0");
    EXPECT_TRUE(terminal.shows("in 0,"));
}

TEST_F(TerminalTest, HelpIsShownUntilAKey) {
    begin();
    terminal.keys("'?'");
    EXPECT_TRUE(terminal.waitFor("The keys of this page"));
    EXPECT_FALSE(terminal.shows("Contrast"));
    terminal.keys("a");
    EXPECT_TRUE(terminal.waitFor("Contrast"));
    EXPECT_TRUE(terminal.shows("Lines: in 0, out 7,"));
    EXPECT_FALSE(terminal.shows("[Talk_1]"));
}

TEST_F(TerminalTest, FollowsTheSize) {
    begin();
    send("g:rect 0 0 0 96 64 white");
    send("g:flush 0");
    ASSERT_TRUE(terminal.waitFor("│⡏⠉⠉⠉"));
    terminal.resize(130, 42);
    EXPECT_TRUE(terminal.waitFor("│█▀▀▀▀"));
    EXPECT_TRUE(terminal.waitFor("▄▄▄▄█│"));
    terminal.resize(60, 10);
    EXPECT_TRUE(terminal.waitFor("Too small: 60 x 10\nNeeded: 80 x 24\n"));
    terminal.resize(80, 24);
    EXPECT_TRUE(terminal.waitFor("│⡏⠉⠉⠉"));
    EXPECT_FALSE(terminal.shows("Too small"));
}

TEST_F(TerminalTest, LeavesTheTerminalAsItWas) {
    begin();
    EXPECT_EQ(terminal.value("#{alternate_on}"), "1");
    terminal.keys("q");
    EXPECT_EQ(terminal.status(), 0);
    EXPECT_TRUE(terminal.waitFor("before\nbeltpack_sim: beltpack_fpui ended with status 0\n"));
    EXPECT_EQ(terminal.value("#{alternate_on} #{cursor_flag} #{keypad_cursor_flag} #{keypad_flag}"),
              "0 1 0 0");
    EXPECT_NE(terminal.files.read("settings_before"), "");
    EXPECT_EQ(terminal.files.read("settings_before"), terminal.files.read("settings_after"));
}

// Curses sets the region by a size of its own before it is told the terminal's.
TEST_F(TerminalTest, ScrollingRegionIsTheWholeTerminal) {
    begin(100, 40);
    EXPECT_EQ(terminal.value("#{scroll_region_upper} #{scroll_region_lower}"), "0 39");
    terminal.keys("q");
    EXPECT_EQ(terminal.status(), 0);
    EXPECT_EQ(terminal.value("#{scroll_region_upper} #{scroll_region_lower}"), "0 39");
}

TEST_F(TerminalTest, QuitAsksTheProgramThenKillsIt) {
    terminal.start(std::string(kSimulator) + " -- sh -c 'trap \"\" TERM; while :; do sleep 0.05; done'");
    ASSERT_TRUE(terminal.waitFor("? help"));
    terminal.keys("q");
    ASSERT_TRUE(terminal.waitFor("input has been closed"));
    terminal.keys("q");
    ASSERT_TRUE(terminal.waitFor("has been asked to end"));
    terminal.keys("q");
    EXPECT_EQ(terminal.status(), 137);
    EXPECT_TRUE(terminal.waitFor("sh ended by signal 9 (Killed), status 137"));
}

TEST_F(TerminalTest, CrashOfTheProgramIsToldAfterLeaving) {
    terminal.start(std::string(kSimulator) +
                   " --daemon bash -- bash -c 'echo ready; read word; kill -SEGV $$'");
    ASSERT_TRUE(terminal.waitFor("> ready"));
    send("now");
    EXPECT_EQ(terminal.status(), 139);
    EXPECT_TRUE(
        terminal.waitFor("before\nbeltpack_sim: bash ended by signal 11 (Segmentation fault), status 139"));
    EXPECT_EQ(terminal.value("#{alternate_on}"), "0");
    EXPECT_EQ(terminal.files.read("settings_before"), terminal.files.read("settings_after"));
}

TEST_F(TerminalTest, StandardErrorIsShownAfterLeaving) {
    terminal.start(std::string(kSimulator) + " -- ./no_such_program");
    EXPECT_EQ(terminal.status(), 127);
    EXPECT_TRUE(
        terminal.waitFor("before\nbeltpack_sim: cannot run ./no_such_program: No such file or directory\n"
                         "beltpack_sim: no_such_program ended with status 127\n"));
}

TEST_F(TerminalTest, StandardInputAndOutputStayFree) {
    terminal.start("echo 'g:info 0' | " + std::string(kSimulator) + " | cat >output");
    EXPECT_EQ(terminal.status(), 0);
    EXPECT_EQ(terminal.files.read("output").find("OnFpId(\"beltpack\",1,96,64)\n"), 0U);
    EXPECT_NE(terminal.files.read("output").find("OnDisplayInfo"), std::string::npos);
    EXPECT_TRUE(terminal.waitFor("before\nbeltpack_sim: beltpack_fpui ended with status 0\n"));
}

TEST_F(TerminalTest, KeysWorkBesideAController) {
    terminal.start("mkfifo in; sleep 60 >in & " + std::string(kSimulator) + " <in >output; kill $!");
    ASSERT_TRUE(terminal.waitFor(kLastAtStart));
    terminal.keys("m");
    EXPECT_TRUE(terminal.waitFor(kTwoMoreLines));
    EXPECT_NE(terminal.files.read("output").find("OnFpKey(5,1,"), std::string::npos);
    terminal.keys("q");  // the input is not the terminal's to close
    EXPECT_TRUE(terminal.waitFor("ended by signal 15 (Terminated), status 143"));
}

TEST_F(TerminalTest, ScriptCanBeWatched) {
    terminal.files.write("s.script",
                         "wait frame 1\nsend g:rect 0 0 0 96 64 white\nsend g:flush 0\nwait frame 2\n"
                         "wait line OnFpKey(5,1,*\n");
    terminal.start(std::string(kSimulator) + " --timeout 30 --script s.script");
    ASSERT_TRUE(terminal.waitFor("Display 0, on, frame 2"));
    terminal.keys("m");
    EXPECT_EQ(terminal.status(), 0);
}

TEST_F(TerminalTest, PlainTerminalsGetAscii) {
    terminal.start(kSimulator, 80, 24, "TERM=vt100 LC_ALL=C");
    ASSERT_TRUE(terminal.waitFor(kLastAtStart));
    send("g:rect 0 0 0 96 64 white");
    send("g:flush 0");
    EXPECT_TRUE(terminal.waitFor("|F\"\"\"\"\""));
    EXPECT_TRUE(terminal.waitFor("_____J|"));
    for (const char byte : terminal.screen()) {
        EXPECT_TRUE((byte >= ' ' && byte <= '~') || byte == '\n') << static_cast<int>(byte);
    }
}

TEST_F(TerminalTest, ConsoleOfLinuxGetsNoBraille) {
    terminal.start(kSimulator, 80, 24, "TERM=linux LC_ALL=C.UTF-8");
    ASSERT_TRUE(terminal.waitFor(kLastAtStart));
    send("g:rect 0 0 0 96 64 white");
    send("g:flush 0");
    EXPECT_TRUE(terminal.waitFor("│F\"\"\"\"\""));
}

TEST_F(TerminalTest, TerminalThatCannotShowThePageIsRefused) {
    terminal.start(kSimulator, 80, 24, "TERM=dumb");
    EXPECT_EQ(terminal.status(), 2);
    EXPECT_TRUE(terminal.waitFor(
        "before\nbeltpack_sim: this kind of terminal cannot place its cursor: TERM is \"dumb\""));
    EXPECT_EQ(terminal.files.read("settings_before"), terminal.files.read("settings_after"));
}

TEST_F(TerminalTest, UnknownKindOfTerminalIsRefused) {
    terminal.start(kSimulator, 80, 24, "TERM=no-such-terminal");
    EXPECT_EQ(terminal.status(), 2);
    EXPECT_TRUE(terminal.waitFor("unknown kind of terminal: TERM is \"no-such-terminal\""));
}

}  // namespace
