#include "sim/script/ScriptParser.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>

#include "tests/unit/sim/TemporaryFolder.h"

namespace {

using Words = std::vector<std::string>;

// The one step of a one-line script; an empty word when it is refused.
sim::Step stepOf(const std::string& line) {
    sim::Script script;
    const std::string error = sim::parseScript("s", line + '\n', script);
    return error.empty() && script.steps.size() == 1 ? script.steps[0] : sim::Step{};
}

std::string errorOf(const std::string& text) {
    sim::Script script;
    return sim::parseScript("s", text, script);
}

TEST(ScriptParser, CommentsAndEmptyLinesAreNoSteps) {
    sim::Script script;
    EXPECT_EQ(sim::parseScript("s", "# comment\n\n  \t\n  close\n", script), "");
    ASSERT_EQ(script.steps.size(), 1U);
    EXPECT_EQ(script.steps[0].line, 4);
    EXPECT_EQ(script.steps[0].source, "close");
}

TEST(ScriptParser, LastLineMayHaveNoLineFeed) {
    sim::Script script;
    EXPECT_EQ(sim::parseScript("s", "close", script), "");
    EXPECT_EQ(script.steps.size(), 1U);
}

TEST(ScriptParser, TextIsTheRestOfTheLineAsItStands) {
    EXPECT_EQ(stepOf("send g:text 0 0 0 \"a  b\" # no comment ").arguments,
              Words{"g:text 0 0 0 \"a  b\" # no comment "});
    EXPECT_EQ(stepOf("send  two blanks").arguments, Words{" two blanks"});
    EXPECT_EQ(stepOf("send").arguments, Words{""});
    EXPECT_EQ(stepOf("expect line").arguments, Words{""});
}

TEST(ScriptParser, LongestWordWins) {
    EXPECT_EQ(stepOf("expect line OnFpId").word, "expect line");
    EXPECT_EQ(stepOf("expect line~ OnFp*").word, "expect line~");
    EXPECT_EQ(stepOf("expect no log spi *").word, "expect no log");
}

TEST(ScriptParser, WordsMayBeQuoted) {
    EXPECT_EQ(stepOf("expect output \"Vibration Motor\" 1").arguments, (Words{"Vibration Motor", "1"}));
    EXPECT_EQ(stepOf("start -s \"\" -t").arguments, (Words{"-s", "", "-t"}));
}

TEST(ScriptParser, QuotedWordsKnowEscapes) {
    EXPECT_EQ(stepOf(R"(raw "a\n\\\"\x41\0b")").arguments, Words{std::string("a\n\\\"A\0b", 7)});
    for (const char* bad : {"raw \"open", R"(raw "\q")", R"(raw "\x4")", R"(raw "\xGG")", R"(raw "\)"}) {
        EXPECT_EQ(errorOf(bad), "s:1: bad quotes") << bad;
    }
}

TEST(ScriptParser, RepeatIsForKeysAndForBytes) {
    EXPECT_EQ(stepOf("repeat Talk_1").word, "repeat");
    const sim::Step bytes = stepOf("repeat 1600 raw \"x y\"");
    EXPECT_EQ(bytes.word, "repeat raw");
    EXPECT_EQ(bytes.arguments, (Words{"1600", "x y"}));
}

TEST(ScriptParser, UnknownStepsAreRefusedWithTheirLine) {
    EXPECT_EQ(errorOf("close\njump 2\n"), "s:2: unknown step \"jump 2\"");
    EXPECT_EQ(errorOf("wait\n"), "s:1: unknown step \"wait\"");
    EXPECT_EQ(errorOf("closer\n"), "s:1: unknown step \"closer\"");
}

TEST(ScriptParser, ArgumentsAreCounted) {
    EXPECT_EQ(errorOf("press\n"), "s:1: press: an argument is missing");
    EXPECT_EQ(errorOf("wait line\n"), "s:1: wait line: an argument is missing");
    EXPECT_EQ(errorOf("close now\n"), "s:1: close: too many arguments");
    EXPECT_EQ(errorOf("turn Left 1 2 3\n"), "s:1: turn: too many arguments");
}

TEST(ScriptParser, ArgumentsAreOfTheirKind) {
    for (const char* bad :
         {"press Talk_9",     "turn Up 1",        "turn Left one", "wait led grn:c3 1", "wait led grn:c2 256",
          "wait output 10 1", "wait output 9 2",  "wait frame -1", "expect exit 256",   "expect display dim",
          "timeout 0",        "pause 1s",         "kill SEGV",     "kill 15",           "kill term",
          "expect gain x",    "disptype 1 256",   "hold Talk_9 1", "hold Menu -1",      "expect silence soon",
          "advance -1",       "pause 1000000001", "speed 0",       "speed fast",        "speed 2x",
          "speed 1001"}) {
        EXPECT_NE(errorOf(bad).find("bad argument"), std::string::npos) << bad;
    }
    for (const char* good : {"press Hp_Detect",
                             "turn Rear -5 1",
                             "wait led red:t1 255",
                             "wait output \"Power LED\" 1",
                             "wait output 105 0",
                             "wait frame",
                             "wait frame 3",
                             "wait exit",
                             "expect exit 255",
                             "expect display off",
                             "timeout 60",
                             "pause 0",
                             "expect gain 31",
                             "kill",
                             "kill INT",
                             "disptype unset",
                             "disptype 1 3",
                             "expect quiet",
                             "hold Menu 3000",
                             "expect silence 0",
                             "advance 86400000",
                             "speed 0.5",
                             "speed 1000",
                             "fault select EINTR nth 2 times always"}) {
        EXPECT_EQ(errorOf(good), "") << good;
    }
}

TEST(ScriptParser, SignalsAreKnownByName) {
    EXPECT_EQ(sim::parseSignal("TERM"), SIGTERM);
    EXPECT_EQ(sim::parseSignal("KILL"), SIGKILL);
    EXPECT_EQ(sim::parseSignal("INT"), SIGINT);
    EXPECT_EQ(sim::parseSignal("HUP"), SIGHUP);
    EXPECT_EQ(sim::parseSignal("SIGTERM"), std::nullopt);
    EXPECT_EQ(sim::parseSignal(""), std::nullopt);
}

TEST(ScriptParser, FaultHasDefaults) {
    const auto fault = sim::parseFault({"open", "/dev/spidev3.0", "EACCES"});
    ASSERT_TRUE(fault);
    EXPECT_EQ(fault->call, sim::DeviceCall::Open);
    EXPECT_EQ(fault->path, "/dev/spidev3.0");
    EXPECT_EQ(fault->error, EACCES);
    EXPECT_EQ(fault->nth, 1U);
    EXPECT_EQ(fault->times, 1U);
}

TEST(ScriptParser, FaultTakesNthAndTimes) {
    const auto some = sim::parseFault({"ioctl", "/dev/x", "EIO", "nth", "4", "times", "2"});
    ASSERT_TRUE(some);
    EXPECT_EQ(some->nth, 4U);
    EXPECT_EQ(some->times, 2U);
    const auto always = sim::parseFault({"write", "/dev/x", "short", "1", "times", "always"});
    ASSERT_TRUE(always);
    EXPECT_EQ(always->error, 0);
    EXPECT_EQ(always->shortCount, 1U);
    EXPECT_EQ(always->times, sim::Fault::kAlways);
}

TEST(ScriptParser, FaultIsToldInItsOwnWords) {
    for (const char* words : {"open /dev/spidev3.0 EACCES", "ioctl /dev/x EIO nth 4 times 2",
                              "write /dev/x short 0 times always"}) {
        const auto fault = sim::parseFault(*sim::splitWords(words));
        ASSERT_TRUE(fault) << words;
        EXPECT_EQ(fault->words(), words);
    }
}

TEST(ScriptParser, BadFaultsAreRefused) {
    for (const char* bad :
         {"fault close /dev/x EIO", "fault open /dev/x EWHAT", "fault open /dev/x",
          "fault open /dev/x EIO nth", "fault open /dev/x EIO nth 0", "fault open /dev/x EIO nth always",
          "fault open /dev/x EIO for 3", "fault read /dev/x short 1", "fault write /dev/x short",
          "fault write /dev/x short -1", "fault select", "fault select short 1",
          "fault select /dev/x EINTR"}) {
        EXPECT_NE(errorOf(bad), "") << bad;
    }
}

TEST(ScriptParser, IncludedStepsStandInTheirPlace) {
    const TemporaryFolder folder;
    folder.write("outer", "press Menu\ninclude inner.inc\nrelease Menu\n");
    folder.write("inner.inc", "# common\nturn Left 1\ninclude \"last one\"\n");
    folder.write("last one", "close");
    sim::Script script;
    ASSERT_EQ(sim::parseScriptFile(folder.file("outer"), script), "");
    ASSERT_EQ(script.steps.size(), 4U);
    EXPECT_EQ(script.file, folder.file("outer"));
    EXPECT_EQ(script.steps[1].word, "turn");
    EXPECT_EQ(script.steps[1].file, folder.file("inner.inc"));
    EXPECT_EQ(script.steps[1].line, 2);
    EXPECT_EQ(script.steps[2].word, "close");
    EXPECT_EQ(script.steps[3].file, folder.file("outer"));
    EXPECT_EQ(script.steps[3].line, 3);
}

TEST(ScriptParser, BadIncludesAreRefusedWithTheirPlace) {
    const TemporaryFolder folder;
    folder.write("outer", "\ninclude inner.inc\n");
    sim::Script script;
    EXPECT_EQ(sim::parseScriptFile(folder.file("outer"), script),
              folder.file("outer") + ":2: cannot read " + folder.file("inner.inc"));
    folder.write("inner.inc", "close\njump\n");
    EXPECT_EQ(sim::parseScriptFile(folder.file("outer"), script),
              folder.file("inner.inc") + ":2: unknown step \"jump\"");
    folder.write("inner.inc", "include inner.inc\n");
    EXPECT_EQ(sim::parseScriptFile(folder.file("outer"), script),
              folder.file("inner.inc") + ":1: include: nested too deep");
    EXPECT_EQ(errorOf("include\n"), "s:1: include: an argument is missing");
}

TEST(ScriptParser, MissingFileIsAnError) {
    sim::Script script;
    EXPECT_EQ(sim::parseScriptFile("/nowhere/a.script", script), "cannot read /nowhere/a.script");
}

}  // namespace
