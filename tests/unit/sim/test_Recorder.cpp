// What a recorder writes, and how it ends.
#include "sim/record/Recorder.h"

#include <sys/stat.h>

#include <cerrno>
#include <csignal>
#include <optional>
#include <sstream>
#include <vector>

#include "sim/record/RecordingReader.h"
#include "tests/unit/sim/recording_fixture.h"

namespace {

constexpr char kKeys[] = "/dev/input/event4";

class Recorder : public RecordedPanel {
protected:
    Recorder() {
        recorder.whenItEnds([this](const std::string& why) { ends.push_back(why); });
    }
    // The lines of a recording behind its heading, without their times.
    [[nodiscard]] std::vector<std::string> lines(const std::string& name = "r") const {
        std::istringstream text(work.read(name));
        std::vector<std::string> all;
        std::string line;
        std::getline(text, line);
        while (std::getline(text, line)) {
            all.push_back(line.substr(0, line.rfind(",\"ms\":")));
        }
        return all;
    }
    [[nodiscard]] std::string check(const std::string& name = "r") {
        summary = {};
        return sim::checkRecording(work.file(name), summary);
    }

    sim::RecordingSource source{
        "beltpack_fpui",
        [this] { return program; },
        [this](sim::InputDevice device) { return devices.unreadEvents(device); },
    };
    sim::RecordingSource::Program program{{"/usr/bin/beltpack_fpui", "-p"}, {}};
    sim::Recorder recorder{panel, keeper, source, [this] { return now; }};
    std::vector<std::string> ends;
    sim::RecordingSummary summary;
};

TEST_F(Recorder, WritesEachThingAsItHappens) {
    ASSERT_EQ(recorder.start(work.file("r")), "");
    const std::vector<std::pair<std::function<void()>, std::string>> happenings = {
        {[&] { panel.listeners().onStart("beltpack_fpui -p"); },
         R"({"event":"start","command":"beltpack_fpui -p","arguments":["-p"],)"
         R"("disptype":{"answer":"value","value":"","status":0})"},
        {[&] { panel.listeners().onLineIn("g:info"); }, R"({"event":"line-in","text":"g:info")"},
        {[&] { panel.listeners().onLineOut("OnX"); }, R"({"event":"line-out","text":"OnX")"},
        {[&] { EXPECT_EQ(controls.press("Menu"), ""); },
         R"({"event":"key","key":"Menu","value":1,"joined":false)"},
        {[&] { EXPECT_EQ(controls.turn("Rear", -5, 2), ""); },
         R"({"event":"turn","encoder":"Rear","detents":-5,"reports":2,"joined":false)"},
        {[&] { EXPECT_EQ(controls.unplug(kKeys), ""); },
         R"({"event":"plug","path":"/dev/input/event4","plugged":false)"},
        {[&] { EXPECT_EQ(controls.failNextTransfer("/dev/spidev4.0"), ""); },
         R"({"event":"fault","fault":"ioctl /dev/spidev4.0 EIO")"},
        {[&] { panel.leds.setLevel(4, 82); }, R"({"event":"led","led":"grn:t1","level":82)"},
        {[&] { panel.listeners().onOutput(9, 1); }, R"({"event":"output","output":9,"level":1)"},
        {[&] { panel.listeners().onGain(7); }, R"({"event":"gain","code":7)"},
        {[&] { panel.listeners().onContrast(82); }, R"({"event":"contrast","level":82)"},
        {[&] { panel.listeners().onProtocolError("x"); }, R"({"event":"protocol-error","what":"x")"},
        {[&] { panel.listeners().onInputEnd(); }, R"({"event":"input-end")"},
        {[&] { panel.listeners().onExit(0); }, R"({"event":"exit","status":0)"},
    };
    std::vector<std::string> expected;
    for (const auto& [happen, line] : happenings) {
        happen();
        expected.push_back(line);
        ASSERT_EQ(lines(), expected);  // in the file already
    }
    EXPECT_EQ(recorder.stop(), "");
    EXPECT_EQ(check(), "");
}

TEST_F(Recorder, TimesAreMillisecondsSinceItsStart) {
    now = 5000.0;
    ASSERT_EQ(recorder.start(work.file("r")), "");
    now += 12.3456;
    panel.listeners().onExit(0);
    EXPECT_NE(work.read("r").find("{\"event\":\"exit\",\"status\":0,\"ms\":12.346}\n"), std::string::npos);
}

TEST_F(Recorder, FrameCarriesAPictureOnlyWhenItHasChanged) {
    ASSERT_EQ(recorder.start(work.file("r")), "");
    for (const sim::Picture& picture : {sim::Picture(), dot(1, 2), dot(1, 2), sim::Picture()}) {
        showFrame(picture);
    }
    EXPECT_EQ(recorder.stop(), "");
    std::vector<bool> written;
    for (const std::string& line : lines()) {
        if (line.find("\"frame\"") != std::string::npos) {
            written.push_back(line.find("\"picture\"") != std::string::npos);
        }
    }
    EXPECT_EQ(written, (std::vector<bool>{false, true, false, true}));
    sim::RecordingReader recording(work.file("r"));
    std::vector<sim::Picture> pictures;
    while (const auto record = recording.next()) {
        if (const auto* frame = std::get_if<sim::recorded::Frame>(&record->content)) {
            pictures.push_back(*frame->picture);
        }
    }
    EXPECT_EQ(pictures, (std::vector<sim::Picture>{sim::Picture(), dot(1, 2), dot(1, 2), sim::Picture()}));
}

TEST_F(Recorder, EventIsJoinedToOneThatWaitsUnreadForItsDevice) {
    openDevice(kKeys);
    ASSERT_EQ(recorder.start(work.file("r")), "");
    EXPECT_EQ(controls.press("Menu"), "");
    EXPECT_EQ(controls.release("Menu"), "");
    EXPECT_EQ(controls.turn("Left", 1), "");  // another device
    char events[4 * 24];
    ASSERT_EQ(::read(reader.get(), events, sizeof events), static_cast<ssize_t>(sizeof events));
    EXPECT_EQ(controls.press("Menu"), "");
    EXPECT_EQ(recorder.stop(), "");
    EXPECT_EQ(check(), "");
    EXPECT_EQ(summary.heldBack, (std::set<int>{2}));
}

TEST_F(Recorder, FaultsOfPathsThatAreNotThePanelsAreNoFaults) {
    ASSERT_EQ(recorder.start(work.file("r")), "");
    sim::Fault fault;
    fault.path = "/dev/not a path";
    fault.error = EIO;
    devices.order(fault);
    EXPECT_TRUE(lines().empty());
}

TEST_F(Recorder, ControllersArgumentsAreNotTheDaemons) {
    program.words = {"./controller", "beltpack_fpui"};
    ASSERT_EQ(recorder.start(work.file("r")), "");
    panel.listeners().onStart("controller beltpack_fpui");
    EXPECT_EQ(lines()[0].find("arguments"), std::string::npos);
}

TEST_F(Recorder, RecordingOfALaterPartTellsThePanelsState) {
    panel.leds.setLevel(2, 40);
    EXPECT_EQ(controls.press("Talk_1"), "");
    EXPECT_EQ(controls.unplug("/dev/spidev4.0"), "");
    showFrame(dot(9, 9));
    ASSERT_EQ(recorder.start(work.file("r")), "");
    showFrame(dot(9, 9));
    EXPECT_EQ(recorder.stop(), "");
    ASSERT_EQ(check(), "");
    const sim::PanelState& state = summary.heading.state;
    EXPECT_FALSE(summary.heading.whole);
    EXPECT_EQ(state.leds[2], 40U);
    EXPECT_TRUE(state.keysHeld[3]);
    EXPECT_FALSE(state.plugged[6]);
    EXPECT_EQ(state.frame, 1U);
    EXPECT_EQ(state.picture, dot(9, 9));
    EXPECT_EQ(work.read("r").find("\"picture\""),
              work.read("r").rfind("\"picture\""));  // the heading's alone
}

TEST_F(Recorder, RecordsOneAfterTheOther) {
    EXPECT_FALSE(recorder.recording());
    EXPECT_EQ(recorder.stop(), "");
    panel.listeners().onLineOut("before");
    ASSERT_EQ(recorder.start(work.file("r")), "");
    EXPECT_TRUE(recorder.recording());
    panel.listeners().onLineOut("first");
    ASSERT_EQ(recorder.start(work.file("s")), "");
    panel.listeners().onLineOut("second");
    EXPECT_EQ(recorder.stop(), "");
    panel.listeners().onLineOut("behind");
    EXPECT_EQ(lines("r"), (std::vector<std::string>{R"({"event":"line-out","text":"first")",
                                                    R"({"event":"end","limit":false)"}));
    EXPECT_EQ(lines("s"), (std::vector<std::string>{R"({"event":"line-out","text":"second")",
                                                    R"({"event":"end","limit":false)"}));
    EXPECT_EQ(recorder.bytes(), work.read("s").size());
}

TEST_F(Recorder, EndsInOrderAtItsLimit) {
    for (std::uint64_t limit = sim::Recorder::kSmallestLimit; limit < 4200; limit += 7) {
        ASSERT_EQ(recorder.start(work.file("r"), limit), "");
        for (int i = 0; recorder.recording() && i < 1000; ++i) {
            panel.listeners().onLineOut(std::string(static_cast<std::size_t>(i % 50), 'x'));
        }
        ASSERT_FALSE(recorder.recording());
        EXPECT_EQ(recorder.stop(), "");
        EXPECT_LE(work.read("r").size(), limit);
        EXPECT_GT(work.read("r").size() + 200, limit);
        ASSERT_EQ(check(), "");
        EXPECT_EQ(lines().back(), R"({"event":"end","limit":true)");
        ASSERT_EQ(ends.size(), 1U);
        EXPECT_EQ(ends[0], "the recording ends here: it has reached " + std::to_string(limit) + " bytes");
        ends.clear();
    }
}

TEST_F(Recorder, FileThatCannotBeMadeIsTold) {
    EXPECT_EQ(recorder.start("/nowhere/r"), "cannot write /nowhere/r: No such file or directory");
    EXPECT_EQ(recorder.start("/dev/full"), "cannot write /dev/full: No space left on device");
    EXPECT_FALSE(recorder.recording());
    panel.listeners().onExit(0);
    EXPECT_TRUE(ends.empty());
}

// A pipe without a reader stands for a disk that fails while the session runs.
TEST_F(Recorder, FailureOnTheWayIsToldOnceAndTheSessionGoesOn) {
    ::signal(SIGPIPE, SIG_IGN);
    const std::string fifo = work.file("fifo");
    ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
    sim::UniqueFd end(::open(fifo.c_str(), O_RDONLY | O_NONBLOCK));
    ASSERT_EQ(recorder.start(fifo), "");
    panel.listeners().onLineOut("one");
    EXPECT_TRUE(ends.empty());
    end.reset();
    panel.listeners().onLineOut("two");
    panel.listeners().onLineOut("three");
    EXPECT_EQ(ends, (std::vector<std::string>{"cannot write " + fifo + ": Broken pipe"}));
    EXPECT_EQ(recorder.stop(), "");
    ASSERT_EQ(recorder.start(work.file("r")), "");
    EXPECT_EQ(recorder.stop(), "");
    EXPECT_EQ(check(), "");
}

}  // namespace
