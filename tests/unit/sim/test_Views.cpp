#include "sim/view/Views.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cerrno>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace {

constexpr char kCommands[] = "/dev/spidev3.0";
constexpr char kData[] = "/dev/spidev3.1";
constexpr char kKeys[] = "/dev/input/event4";

class ViewsTest : public ::testing::Test {
protected:
    ViewsTest() { EXPECT_TRUE(log.writeTo("/dev/null")); }

    // Opens a file of the panel, which is file then; 0 or an errno.
    int open(const std::string& path) {
        sim::Request request;
        request.head.operation = BELTPACK_OPEN;
        request.head.argument = O_RDWR;
        request.head.event_size = 24;
        request.payload = path;
        file = devices.handle(request);
        return file.result.error;
    }

    sim::EventLoop loop;
    sim::EventLog log;
    sim::Panel panel{0};
    sim::DeviceServer devices{loop, panel, log};
    std::vector<std::string> sent;
    sim::Controls controls{panel, devices, [this](const std::string& text) {
                               sent.push_back(text);
                               return std::string();
                           }};
    double now = 0;
    sim::StateKeeper keeper{panel, 1, [this] { return now; }};
    sim::Reply file;
};

// ---- StateKeeper ----

using StateKeeper = ViewsTest;

TEST_F(StateKeeper, StartsWithThePanelAtPowerOn) {
    const sim::PanelState state = keeper.state();
    EXPECT_EQ(keeper.version(), 1U);
    EXPECT_EQ(state.variant, 1);
    EXPECT_EQ(state.frame, 0U);
    EXPECT_FALSE(state.displayOn);
    EXPECT_EQ(state.outputs, (std::array<int, 4>{0, 0, 1, 1}));
    EXPECT_FALSE(state.running);
    EXPECT_EQ(state.exitStatus, std::nullopt);
    for (const bool plugged : state.plugged) {
        EXPECT_TRUE(plugged);
    }
}

TEST_F(StateKeeper, ShowsWhatThePanelDoes) {
    panel.leds.setLevel(4, 82);
    EXPECT_EQ(panel.gpio.exportLine(9), 0);
    EXPECT_EQ(panel.gpio.makeOutput(9, 1), 0);
    const std::uint8_t gain[] = {7, 0};
    panel.micGain.transfer(gain, sizeof gain);
    const std::uint8_t commands[] = {0xAF, 0x81, 0x52};
    panel.oled.command(commands, sizeof commands);
    EXPECT_EQ(controls.press("Talk_1"), "");
    EXPECT_EQ(controls.turn("Right", -3), "");
    EXPECT_EQ(controls.turn("Right", 1), "");
    const sim::PanelState state = keeper.state();
    EXPECT_EQ(state.leds[4], 82U);
    EXPECT_EQ(state.outputs[1], 1);
    EXPECT_EQ(state.gainCode, 7U);
    EXPECT_TRUE(state.displayOn);
    EXPECT_EQ(state.contrast, 0x52);
    EXPECT_EQ(state.keysHeld, (std::array<bool, 6>{false, false, false, true, false, false}));
    EXPECT_EQ(state.detents, (std::array<long, 3>{0, -2, 0}));
}

TEST_F(StateKeeper, EachChangeMakesANewVersion) {
    const std::vector<std::function<void()>> changes = {
        [this] { panel.leds.setLevel(0, 1); },
        [this] { EXPECT_EQ(controls.press("Menu"), ""); },
        [this] { EXPECT_EQ(controls.unplug(kKeys), ""); },
        [this] { panel.listeners().onLineIn("g:info"); },
        [this] { panel.listeners().onLineOut("OnDisplayInfo1(1,96,64)"); },
        [this] { panel.listeners().onTransfer(kData, "\x01"); },
        [this] { panel.listeners().onStart("beltpack_fpui"); },
        [this] { panel.listeners().onExit(0); },
    };
    for (const auto& change : changes) {
        const std::uint64_t before = keeper.version();
        change();
        EXPECT_GT(keeper.version(), before);
    }
    const std::uint64_t before = keeper.version();
    panel.leds.setLevel(0, 1);  // as it is
    EXPECT_EQ(keeper.version(), before);
}

TEST_F(StateKeeper, ShowsTheGlassAsItIsDrawn) {
    const std::uint8_t on[] = {0xA1, 0xAF, 0xB0, 0x00, 0x12};
    panel.oled.command(on, sizeof on);
    const std::uint8_t column[] = {0x81};
    panel.oled.data(column, sizeof column);
    const sim::Picture picture = keeper.state().picture;
    EXPECT_EQ(picture.litCount(), 2U);
    EXPECT_EQ(keeper.state().frame, 0U);
}

TEST_F(StateKeeper, NumbersLinesOverBothDirectionsAndMarksErrors) {
    now = 2.5;
    panel.listeners().onLineIn("g:foo");
    now = 3.5;
    panel.listeners().onLineOut("OnError(\"no\")");
    panel.listeners().onLineIn("OnError(\"not from the daemon\")");
    const auto lines = keeper.lines().since(0).lines;
    ASSERT_EQ(lines.size(), 3U);
    EXPECT_EQ(lines[0].number, 1U);
    EXPECT_FALSE(lines[0].out);
    EXPECT_DOUBLE_EQ(lines[0].ms, 2.5);
    EXPECT_TRUE(lines[1].out);
    EXPECT_TRUE(lines[1].error);
    EXPECT_EQ(lines[1].text, "OnError(\"no\")");
    EXPECT_FALSE(lines[2].error);
    EXPECT_EQ(keeper.state().linesIn, 2U);
    EXPECT_EQ(keeper.state().linesOut, 1U);
    EXPECT_EQ(keeper.state().errors, 1U);
}

TEST_F(StateKeeper, CountsWhatTheBusesTake) {
    panel.listeners().onTransfer(kCommands, "\x01\x02\x03");
    EXPECT_EQ(keeper.state().transfers, 1U);
    EXPECT_EQ(keeper.state().busBytes, 3U);
}

TEST_F(StateKeeper, KnowsTheProgram) {
    panel.listeners().onStart("beltpack_fpui");
    EXPECT_TRUE(keeper.state().running);
    panel.listeners().onExit(139);
    EXPECT_FALSE(keeper.state().running);
    EXPECT_EQ(keeper.state().exitStatus, 139);
    panel.listeners().onStart("beltpack_fpui");
    EXPECT_EQ(keeper.state().exitStatus, std::nullopt);
}

// ---- Controls ----

using Controls = ViewsTest;

TEST_F(Controls, UnknownNamesAreToldAndChangeNothing) {
    EXPECT_EQ(controls.press("Talk_9"), "no key \"Talk_9\"");
    EXPECT_EQ(controls.release(""), "no key \"\"");
    EXPECT_EQ(controls.repeat("menu"), "no key \"menu\"");
    EXPECT_EQ(controls.turn("Front", 1), "no encoder \"Front\"");
    EXPECT_EQ(controls.unplug("/dev/null"), "no path of the panel \"/dev/null\"");
    EXPECT_EQ(controls.plug("/dev/null"), "no path of the panel \"/dev/null\"");
    EXPECT_EQ(controls.failNextTransfer(kKeys), std::string("no bus \"") + kKeys + '"');
    EXPECT_EQ(keeper.version(), 1U);
}

TEST_F(Controls, KeysAreHeldUntilReleased) {
    EXPECT_EQ(controls.press("Menu"), "");
    EXPECT_EQ(controls.press("Menu"), "");
    EXPECT_TRUE(panel.inputs.held(102));
    EXPECT_EQ(controls.repeat("Menu"), "");
    EXPECT_EQ(controls.release("Menu"), "");
    EXPECT_FALSE(panel.inputs.held(102));
}

TEST_F(Controls, TurnIsBounded) {
    EXPECT_EQ(controls.turn("Left", 10000), "");
    EXPECT_EQ(controls.turn("Left", 10001), "more than 10000 detents");
    EXPECT_EQ(controls.turn("Left", -2147483647 - 1), "more than 10000 detents");
    EXPECT_EQ(keeper.state().detents[0], 10000);
}

TEST_F(Controls, OnlyWholeLinesAreSent) {
    const std::string longest(1500, 'x');
    EXPECT_EQ(controls.sendLine("g:info"), "");
    EXPECT_EQ(controls.sendLine(""), "");
    EXPECT_EQ(controls.sendLine(longest), "");
    EXPECT_NE(controls.sendLine(longest + 'x'), "");
    EXPECT_NE(controls.sendLine("g:info\ng:info"), "");
    EXPECT_NE(controls.sendLine(std::string("g:\0info", 7)), "");
    EXPECT_EQ(sent, (std::vector<std::string>{"g:info", "", longest}));
}

TEST_F(Controls, UnpluggedDeviceIsGoneUntilItIsBack) {
    EXPECT_EQ(controls.unplug(kKeys), "");
    EXPECT_FALSE(keeper.state().plugged[3]);
    EXPECT_EQ(open(kKeys), ENOENT);
    EXPECT_EQ(controls.plug(kKeys), "");
    EXPECT_TRUE(keeper.state().plugged[3]);
    EXPECT_EQ(open(kKeys), 0);
    EXPECT_EQ(controls.unplug("/sys/class/leds/pca963x:grn:c2/brightness"), "");
}

TEST_F(Controls, OneTransferFails) {
    ASSERT_EQ(controls.failNextTransfer(kCommands), "");
    ASSERT_EQ(open(kCommands), 0);
    struct stat status {};
    ASSERT_EQ(fstat(file.fd.get(), &status), 0);
    const auto transfer = [&] {
        sim::Request request;
        request.head.operation = BELTPACK_TRANSFER;
        request.head.device = status.st_dev;
        request.head.inode = status.st_ino;
        request.head.offset = 1;
        request.payload = std::string("\x01\0\0\0\xAF", 5);
        return devices.handle(request).result.error;
    };
    EXPECT_EQ(transfer(), EIO);
    EXPECT_EQ(keeper.state().transfers, 0U);
    EXPECT_EQ(transfer(), 0);
    EXPECT_EQ(keeper.state().transfers, 1U);
    EXPECT_TRUE(keeper.state().displayOn);
}

// ---- Views ----

// Writes down what is asked of it.
class NotedView final : public sim::View {
public:
    NotedView(std::string name, std::vector<std::string>& notes, std::string error = "", bool lines = true)
        : m_name(std::move(name)), m_notes(notes), m_error(std::move(error)), m_lines(lines) {}
    bool wantsLines() const override { return m_lines; }
    std::string start(const sim::ViewSeam& seam) override {
        m_notes.push_back("start " + m_name);
        m_seam.emplace(seam);
        return m_error;
    }
    void stop() override {
        m_notes.push_back("stop " + m_name);
        EXPECT_TRUE(m_seam->snapshots.closed());
        EXPECT_FALSE(m_seam->mailbox.post([] {}));
        EXPECT_EQ(m_seam->snapshots.latest(0).version, m_seam->keeper.version());
    }
    [[nodiscard]] const sim::ViewSeam& seam() const { return *m_seam; }

private:
    const std::string m_name;
    std::vector<std::string>& m_notes;
    const std::string m_error;
    const bool m_lines;
    std::optional<sim::ViewSeam> m_seam;
};

class Views : public ViewsTest {
protected:
    std::vector<std::string> notes;
    int publishes = 0;
    sim::Views views{loop, panel, controls, 0, [this] { return now; }};
};

TEST_F(Views, StartInTheirOrderAndStopInTheOther) {
    views.add(std::make_unique<NotedView>("one", notes));
    views.add(std::make_unique<NotedView>("two", notes));
    EXPECT_EQ(views.start(), "");
    panel.leds.setLevel(0, 9);
    views.stop();
    views.stop();
    EXPECT_EQ(notes, (std::vector<std::string>{"start one", "start two", "stop two", "stop one"}));
}

TEST_F(Views, FailedStartIsToldAndStopsThoseBeforeIt) {
    views.add(std::make_unique<NotedView>("one", notes));
    views.add(std::make_unique<NotedView>("two", notes, "no port"));
    views.add(std::make_unique<NotedView>("three", notes));
    EXPECT_EQ(views.start(), "no port");
    views.stop();
    EXPECT_EQ(notes, (std::vector<std::string>{"start one", "start two", "stop one"}));
}

TEST_F(Views, LinesAreWantedByAnyOfThem) {
    EXPECT_FALSE(views.wantLines());
    views.add(std::make_unique<NotedView>("one", notes, "", false));
    EXPECT_FALSE(views.wantLines());
    views.add(std::make_unique<NotedView>("two", notes));
    EXPECT_TRUE(views.wantLines());
}

TEST_F(Views, FirstChangeIsPublishedAtOnceAndTheRestTogether) {
    auto made = std::make_unique<NotedView>("one", notes);
    const NotedView& view = *made;
    views.add(std::move(made));
    ASSERT_EQ(views.start(), "");
    const auto version = [&] { return view.seam().snapshots.latest(0).version; };
    view.seam().snapshots.onNews([&] { ++publishes; });
    views.afterRound();
    EXPECT_EQ(version(), 1U);
    for (int i = 1; i <= 200; ++i) {
        panel.leds.setLevel(0, static_cast<unsigned>(i));
        views.afterRound();
    }
    while (version() != view.seam().keeper.version()) {
        ASSERT_TRUE(loop.runOnce(10000));  // the timer
        views.afterRound();
    }
    EXPECT_EQ(publishes, 2);
    EXPECT_EQ(view.seam().snapshots.latest(0).state.leds[0], 200U);
}

}  // namespace
