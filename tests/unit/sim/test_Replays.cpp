// Sessions of the simulator program, recorded and played again, with the probe as the daemon.
#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <vector>

#include "sim/program/Pictures.h"
#include "sim/record/ComparedLine.h"
#include "sim/record/PictureText.h"
#include "sim/record/Recording.h"
#include "tests/unit/sim/simulator_fixture.h"

namespace {

using namespace sim::recorded;

class Replay : public Simulator {
protected:
    // Records a script on one of the probe's scenarios; the exit status.
    int record(const std::string& script, const std::string& scenario) {
        return play(script, scenario, "--daemon shim_probe --record '" + work.file("r") + "'");
    }
    int replay(const std::string& options = "--speed max") {
        return shell("'" BELTPACK_SIM_PATH "' --replay '" + work.file("r") + "' --artifacts '" + work.path() +
                     "' " + options + " -- '" BELTPACK_PROBE_PATH "'");
    }
    // Replaces the text's first occurrence in the recording.
    void change(const std::string& from, const std::string& to) {
        std::string text = work.read("r");
        const auto at = text.find(from);
        ASSERT_NE(at, std::string::npos) << "no " << from << " in " << text;
        work.write("r", text.replace(at, from.size(), to));
    }
    // Writes a recording of a scenario, from its start to its end with status 0.
    void write(const std::string& scenario, const std::vector<Content>& contents) {
        Heading heading;
        heading.daemon = "shim_probe";
        heading.whole = true;
        std::string text = encode({heading, 0});
        text += encode({Start{"shim_probe " + scenario, std::vector<std::string>{scenario}, {}}, 0});
        for (const Content& content : contents) {
            text += encode({content, 1});
        }
        for (const Content& content : {Content(InputEnd{}), Content(Exit{0}), Content(End{})}) {
            text += encode({content, 2});
        }
        work.write("r", text);
    }
};

const char kEchoScript[] = "send one\nwait line one\npause 200\nsend two\nsend three\nwait line three\n";

TEST_F(Replay, IsEqualAsFastAsCanBe) {
    ASSERT_EQ(record(kEchoScript, "echo"), 0) << err();
    EXPECT_EQ(replay(), 0) << err();
    expectContains(out(), "r: equal, 5 inputs, 3 lines, 0 frames\n");
    EXPECT_TRUE(temporary.empty());
}

TEST_F(Replay, InTimeIsNeverFasterThanItsSpeed) {
    ASSERT_EQ(record(kEchoScript, "echo"), 0) << err();
    for (const auto& [options, least] : {std::pair("", 200), std::pair("--speed 2", 100)}) {
        const auto before = std::chrono::steady_clock::now();
        EXPECT_EQ(replay(options), 0) << err();
        EXPECT_GE(std::chrono::steady_clock::now() - before, std::chrono::milliseconds(least));
    }
}

TEST_F(Replay, AsFastAsCanBeDoesNotWaitForTime) {
    write("echo", {LineIn{"one"}, LineOut{"one"}});
    change(R"({"event":"input-end","ms":2.0})", R"({"event":"input-end","ms":3600000})");
    change(R"("status":0,"ms":2.0})", R"("status":0,"ms":3600000})");
    change(R"("limit":false,"ms":2.0})", R"("limit":false,"ms":3600000})");
    EXPECT_EQ(replay(), 0) << err();
}

TEST_F(Replay, InputWaitsForTheLinesBeforeIt) {
    // Given at once the two events would be read together, as "events 4".
    write("keys", {LineOut{"ready"}, Key{103, 1, false}, LineOut{"events 2"}, LineOut{"event 1 103 1"},
                   Key{103, 0, false}, LineOut{"events 2"}, LineOut{"event 1 103 0"}});
    EXPECT_EQ(replay(), 0) << err();
}

TEST_F(Replay, EventsThatWereReadOneByOneAreGivenOneByOne) {
    write("keys", {LineOut{"ready"}, Key{103, 1, false}, Key{103, 0, false}, LineOut{"events 2"},
                   LineOut{"event 1 103 1"}, LineOut{"events 2"}, LineOut{"event 1 103 0"}});
    EXPECT_EQ(replay(), 0) << err();
}

TEST_F(Replay, EventsThatOneReadGaveAreGivenTogether) {
    write("keys", {LineOut{"ready"}, Key{103, 1, false}, Key{103, 0, true}, LineOut{"events 4"},
                   LineOut{"event 1 103 1"}, LineOut{"event 1 103 0"}});
    EXPECT_EQ(replay(), 0) << err();
}

TEST_F(Replay, LongTurnsOverflowNoDevice) {
    std::vector<Content> contents = {LineOut{"ready"}};
    for (int i = 0; i < 200; ++i) {
        contents.push_back(Turn{sim::InputDevice::Rear, 20, 20, false});  // 960 bytes, of a pipe of 65536
    }
    for (int i = 0; i < 200; ++i) {
        contents.push_back(LineOut{"events 40"});
        contents.insert(contents.end(), 20, LineOut{"event 2 0 1"});
    }
    write("rear", contents);
    EXPECT_EQ(replay(), 0) << err();
}

TEST_F(Replay, StateBeforeTheStartIsGivenBeforeTheStart) {
    ASSERT_EQ(
        record(
            "press Menu\nstart\nwait line ready\nclose\nwait exit 0\nrelease Menu\nstart\nwait line ready\n",
            "keys"),
        0)
        << err();
    EXPECT_EQ(replay(), 0) << err();
    change("{\"event\":\"key\",\"key\":\"Menu\",\"value\":1",
           "{\"event\":\"key\",\"key\":\"Menu\",\"value\":0");
    EXPECT_EQ(replay(), 1);
    expectContains(err(), "expected: line held 102\n  got:      line ready\n");
}

TEST_F(Replay, UnplugsAndFaultsArePlayedToo) {
    ASSERT_EQ(
        record("start\nwait line ready\nfault read /dev/input/event4 EIO\npress Menu\nwait line error *\n"
               "wait exit 0\nunplug /dev/input/event4\nstart\nwait exit\n",
               "keys"),
        0)
        << err();
    EXPECT_EQ(replay(), 0) << err();
}

TEST_F(Replay, BootLoadersAnswerIsTheRecordedOne) {
    work.write("s.script", "wait line 1\nwait exit 0\n");
    ASSERT_EQ(shell("'" BELTPACK_SIM_PATH "' --disptype unset --record '" + work.file("r") + "' --script '" +
                    work.file("s.script") + "' --daemon sh -- sh -c 'fw_printenv -n disptype; echo $?'"),
              0)
        << err();
    const std::string again = "'" BELTPACK_SIM_PATH "' --replay '" + work.file("r") + "' --speed max ";
    EXPECT_EQ(shell(again + "-- sh"), 0) << err();
    EXPECT_EQ(shell(again + "--disptype 1 -- sh"), 1);
    expectContains(err(), "expected: no further line\n  got:      line 0\n");
}

// ---- Differences ----

TEST_F(Replay, FirstLineThatDiffersIsToldWithItsRecord) {
    ASSERT_EQ(record(kEchoScript, "echo"), 0) << err();
    change(R"({"event":"line-out","text":"two")", R"({"event":"line-out","text":"2")");
    EXPECT_EQ(replay(), 1);
    expectContains(
        err(), "not as recorded, after line three (record 6)\n  expected: line 2\n  got:      line two\n");
}

TEST_F(Replay, LineTooManyIsADifference) {
    write("echo", {LineIn{"one"}});
    EXPECT_EQ(replay(), 1);
    expectContains(err(), "expected: no further line\n  got:      line one\n");
}

TEST_F(Replay, LineThatDoesNotComeIsATimeOut) {
    write("echo", {LineIn{"one"}, LineOut{"one"}, LineOut{"two"}});
    EXPECT_EQ(replay("--speed max --timeout 1"), 42);
    expectContains(err(), "expected: line two\n  got:      nothing within 1 s\n");
}

TEST_F(Replay, DaemonThatEndsByItselfIsStatusThree) {
    write("ends", {LineOut{"line"}});
    EXPECT_EQ(replay(), 3);
    expectContains(err(), "got:      the end of the daemon, exit 7\n");
}

TEST_F(Replay, OtherExitStatusIsADifference) {
    ASSERT_EQ(record("wait exit 7\n", "ends"), 0) << err();
    EXPECT_EQ(replay(), 0) << err();
    change("{\"event\":\"exit\",\"status\":7", "{\"event\":\"exit\",\"status\":0");
    EXPECT_EQ(replay(), 1);
    expectContains(err(), "expected: exit 0\n  got:      exit 7\n");
}

TEST_F(Replay, DifferentFrameIsToldAndDrawn) {
    ASSERT_EQ(record("wait frame\nwait line drawn\n", "frame"), 0) << err();
    EXPECT_EQ(replay(), 0) << err();
    expectContains(out(), "1 frames\n");
    EXPECT_EQ(replay("--speed max --panel 1"), 1);
    expectContains(err(), "expected: frame 1, see " + work.file("r.frame-1.png"));
    expectContains(err(), "different pixels, see " + work.file("r.frame-1.got.png"));
    const auto expected = sim::loadPicture(work.file("r.frame-1.png"));
    const auto got = sim::loadPicture(work.file("r.frame-1.got.png"));
    const auto both = sim::loadPicture(work.file("r.frame-1.diff.png"));  // what differs is no bright colour
    ASSERT_TRUE(expected && got && both);
    expectContains(work.read("r"), '"' + sim::pictureText(*expected) + '"');
    EXPECT_NE(*expected, *got);
    for (std::size_t i = 0; i < sim::Picture::kWidth * sim::Picture::kHeight; ++i) {
        const std::size_t x = i % sim::Picture::kWidth;
        const std::size_t y = i / sim::Picture::kWidth;
        ASSERT_EQ(both->lit(x, y), expected->lit(x, y) && got->lit(x, y)) << x << ", " << y;
    }
}

// ---- What cannot be played ----

TEST_F(Replay, WhatIsNoWholeRecordingIsStatusTwo) {
    ASSERT_EQ(record(kEchoScript, "echo"), 0) << err();
    const std::string whole = work.read("r");
    work.write("r", whole.substr(0, whole.size() - 20));
    EXPECT_EQ(replay(), 2);
    expectContains(err(), "r:11: the recording is cut off");
    work.write("r", whole);
    change("\"whole\":true", "\"whole\":false");
    EXPECT_EQ(replay(), 2);
    expectContains(err(), "cannot be played");
    work.write("r", "nonsense\n");
    EXPECT_EQ(replay(), 2);
    expectContains(err(), "r:1: no JSON object");
}

TEST_F(Replay, BadUsageIsStatusTwo) {
    ASSERT_EQ(record(kEchoScript, "echo"), 0) << err();
    for (const char* const speed :
         {"--speed 0", "--speed -1", "--speed 1001", "--speed fast", "--speed nan"}) {
        EXPECT_EQ(replay(speed), 2) << speed;
    }
    EXPECT_EQ(run("--speed 2", "echo"), 2);
    EXPECT_EQ(run("--replay /nowhere", "echo"), 2);
    EXPECT_EQ(play("", "echo", "--replay '" + work.file("r") + "'"), 2);
    EXPECT_EQ(replay("--record /nowhere/r"), 2);
}

TEST_F(Replay, SecondRunOfAControllersDaemonIsRefused) {
    write("echo", {InputEnd{}, LineIn{"again"}});
    EXPECT_EQ(replay(), 2);
    expectContains(err(), "a controller has started it again");
}

// ---- What is recorded ----

TEST_F(Replay, DaemonOfAControllerIsPlayedByItself) {
    ASSERT_EQ(shell("'" BELTPACK_SIM_PATH "' --daemon shim_probe --record '" + work.file("r") +
                    "' -- sh -c 'echo one | \"" BELTPACK_PROBE_PATH "\" echo; exit 5'"),
              5);
    EXPECT_EQ(out(), "one\n");
    EXPECT_EQ(shell("'" BELTPACK_SIM_PATH "' --speed max --replay '" + work.file("r") +
                    "' -- '" BELTPACK_PROBE_PATH "' echo"),
              0)
        << err();
    expectContains(out(), "1 lines");
}

TEST_F(Replay, SessionThatASignalEndedIsPlayedToThere) {
    const std::string input = work.file("input");  // open, and silent
    ASSERT_EQ(shell("mkfifo '" + input + "'; '" BELTPACK_SIM_PATH "' --daemon shim_probe --record '" +
                    work.file("r") + "' -- '" BELTPACK_PROBE_PATH "' keys <>'" + input +
                    "' & until grep -q ready '" + work.file("r") +
                    "' 2>/dev/null; do sleep 0.05; done; kill -TERM $!; wait $!"),
              128 + SIGTERM);
    EXPECT_EQ(replay(), 0) << err();
    expectContains(out(), "1 lines");
}

TEST_F(Replay, CanBeRecordedAgain) {
    ASSERT_EQ(record(kEchoScript, "echo"), 0) << err();
    EXPECT_EQ(replay("--speed max --record '" + work.file("again") + "'"), 0) << err();
    work.write("r", work.read("again"));
    EXPECT_EQ(replay(), 0) << err();
}

TEST_F(Replay, DiskThatIsFullIsToldAndTheSessionGoesOn) {
    const std::string full =
        "trap '' XFSZ; ulimit -f 4; seq 1 1000 | '" BELTPACK_SIM_PATH "' --daemon shim_probe --record '" +
        work.file("r") + "' -- '" BELTPACK_PROBE_PATH "' echo | tail -n 1; exit ${PIPESTATUS[1]}";
    work.write("full.sh", full);
    EXPECT_EQ(shell("bash '" + work.file("full.sh") + "'"), 2);
    EXPECT_EQ(out(), "1000\n");
    expectContains(err(), "beltpack_sim: cannot write " + work.file("r") + ": File too large\n");
}

// ---- Lines ----

TEST(ComparedLine, MillisecondsOfAnEventAreMasked) {
    EXPECT_EQ(sim::comparedLine("OnFpKey(1,1,250)", true).text, "OnFpKey(1,1,MS)");
    EXPECT_EQ(sim::comparedLine("OnFpKey(99,-1,0)", true).text, "OnFpKey(99,-1,MS)");
    EXPECT_EQ(sim::comparedLine("OnFpKey(1,1,-1)", true).text, "OnFpKey(1,1,-1)");
    EXPECT_EQ(sim::comparedLine("OnFpKey(1,1,250)", false).text, "OnFpKey(1,1,250)");
}

TEST(ComparedLine, KeysAndOtherLinesAreStreamsOfTheirOwn) {
    EXPECT_EQ(sim::comparedLine("OnFpKey(7,2,40)", true).stream, "7");
    EXPECT_EQ(sim::comparedLine("OnFpKey(99,-1,-1)", true).stream, "99");
    for (const char* const line : {"OnFpKey(1,1)", "OnFpKey(1,1,250", "OnFpKey(1,1,250)x", "OnFpKey(,1,2)",
                                   "OnFpKey(-,1,2)", "OnFpKey(1,1,2", "OnFpKey(1 ,1,2)", "OnFpId(1)", ""}) {
        EXPECT_EQ(sim::comparedLine(line, true).stream, "") << line;
        EXPECT_EQ(sim::comparedLine(line, true).text, line);
    }
}

}  // namespace
