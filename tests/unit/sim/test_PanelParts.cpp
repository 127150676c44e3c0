#include <gtest/gtest.h>
#include <linux/input-event-codes.h>

#include <cerrno>
#include <utility>
#include <vector>

#include "sim/panel/Panel.h"

namespace {

using sim::InputDevice;
using sim::InputEvent;

struct Watcher : sim::PanelListener {
    void onLed(std::size_t index, unsigned level) override { leds.emplace_back(index, level); }
    void onOutput(int number, int level) override { outputs.emplace_back(number, level); }
    void onGain(unsigned code) override { gains.push_back(code); }
    void onInput(InputDevice device, const std::vector<InputEvent>& reported) override {
        devices.push_back(device);
        events.insert(events.end(), reported.begin(), reported.end());
    }

    std::vector<std::pair<std::size_t, unsigned>> leds;
    std::vector<std::pair<int, int>> outputs;
    std::vector<unsigned> gains;
    std::vector<InputDevice> devices;
    std::vector<InputEvent> events;
};

class PanelParts : public ::testing::Test {
protected:
    PanelParts() { panel.listen(watcher); }

    [[nodiscard]] std::vector<int> values(int type) const {
        std::vector<int> found;
        for (const InputEvent& event : watcher.events) {
            if (event.type == type) {
                found.push_back(event.value);
            }
        }
        return found;
    }

    sim::Panel panel{0};
    Watcher watcher;
};

TEST_F(PanelParts, LedTellsItsLevelOnceForEachChange) {
    panel.leds.setLevel(0, 82);
    panel.leds.setLevel(0, 82);
    panel.leds.setLevel(7, 1);
    EXPECT_EQ(panel.leds.level(0), 82U);
    EXPECT_EQ(watcher.leds, (std::vector<std::pair<std::size_t, unsigned>>{{0, 82}, {7, 1}}));
}

TEST_F(PanelParts, LedLevelIsBounded) {
    panel.leds.setLevel(1, 256);
    EXPECT_EQ(panel.leds.level(1), 255U);
}

TEST_F(PanelParts, LedsAreFoundByName) {
    EXPECT_EQ(sim::LedModel::indexOf("grn:c2"), 0U);
    EXPECT_EQ(sim::LedModel::indexOf("red:c1"), 7U);
    EXPECT_FALSE(sim::LedModel::indexOf("blu:c1"));
}

TEST_F(PanelParts, LinesAreFoundByNameAndNumber) {
    EXPECT_EQ(sim::GpioModel::numberOf("Vibration Motor"), 9);
    EXPECT_EQ(sim::GpioModel::numberOf("255"), 255);
    EXPECT_FALSE(sim::GpioModel::numberOf("7"));
}

TEST_F(PanelParts, ExportIsRefusedTwiceAndForUnknownLines) {
    EXPECT_EQ(panel.gpio.exportLine(254), 0);
    EXPECT_EQ(panel.gpio.exportLine(254), EBUSY);
    EXPECT_EQ(panel.gpio.exportLine(253), EINVAL);
    EXPECT_EQ(panel.gpio.unexportLine(254), 0);
    EXPECT_EQ(panel.gpio.unexportLine(254), EINVAL);
}

TEST_F(PanelParts, LineKeepsLevelAndDirectionOverUnexport) {
    ASSERT_EQ(panel.gpio.exportLine(254), 0);
    EXPECT_EQ(panel.gpio.setLevel(254, 1), EPERM);
    EXPECT_EQ(panel.gpio.makeOutput(254, 1), 0);
    EXPECT_EQ(panel.gpio.unexportLine(254), 0);
    EXPECT_EQ(panel.gpio.setLevel(254, 0), ENODEV);
    EXPECT_EQ(panel.gpio.makeInput(254), ENODEV);
    EXPECT_EQ(panel.gpio.line(254)->level, 1);
    EXPECT_TRUE(panel.gpio.line(254)->output);
    EXPECT_EQ(watcher.outputs, (std::vector<std::pair<int, int>>{{254, 1}}));
}

TEST_F(PanelParts, DisplayResetLineResetsTheDisplay) {
    const std::uint8_t on = 0xAF;
    panel.oled.command(&on, 1);
    ASSERT_TRUE(panel.oled.displayOn());
    ASSERT_EQ(panel.gpio.exportLine(255), 0);
    EXPECT_EQ(panel.gpio.makeOutput(255, 0), 0);
    EXPECT_FALSE(panel.oled.displayOn());
    panel.oled.command(&on, 1);
    EXPECT_FALSE(panel.oled.displayOn());
    EXPECT_EQ(panel.gpio.setLevel(255, 1), 0);
    panel.oled.command(&on, 1);
    EXPECT_TRUE(panel.oled.displayOn());
}

TEST_F(PanelParts, GainIsTheLowFiveBitsOfEachWord) {
    const std::uint8_t words[] = {0xFF, 0x01, 0x21, 0x00, 0x07};
    panel.micGain.transfer(words, sizeof words);
    EXPECT_EQ(panel.micGain.code(), 1U);
    EXPECT_EQ(panel.micGain.words(), 2U);
    EXPECT_EQ(watcher.gains, (std::vector<unsigned>{31, 1}));
}

TEST_F(PanelParts, KeyReportsPressAndReleaseEachWithItsEnd) {
    const auto code = *sim::InputModel::keyCode("Talk_1");
    EXPECT_EQ(code, 103);
    panel.inputs.press(code);
    EXPECT_TRUE(panel.inputs.held(code));
    panel.inputs.release(code);
    EXPECT_FALSE(panel.inputs.held(code));
    EXPECT_EQ(watcher.devices, (std::vector<InputDevice>{InputDevice::Keys, InputDevice::Keys}));
    EXPECT_EQ(values(EV_KEY), (std::vector<int>{1, 0}));
    EXPECT_EQ(values(EV_SYN).size(), 2U);
    EXPECT_EQ(watcher.events[0].code, 103);
}

TEST_F(PanelParts, PressOfAHeldKeyReportsNothing) {
    panel.inputs.press(100);
    panel.inputs.press(100);
    panel.inputs.release(105);
    EXPECT_EQ(values(EV_KEY), std::vector<int>{1});
}

TEST_F(PanelParts, RepeatChangesNoState) {
    panel.inputs.repeat(102);
    EXPECT_FALSE(panel.inputs.held(102));
    EXPECT_EQ(values(EV_KEY), std::vector<int>{2});
}

TEST_F(PanelParts, KeysBeyondThePanelAreNeverHeld) {
    EXPECT_FALSE(panel.inputs.held(99));
    EXPECT_FALSE(panel.inputs.held(106));
    EXPECT_FALSE(sim::InputModel::keyCode("Talk_9"));
}

TEST_F(PanelParts, TurnIsOneReportADetent) {
    panel.inputs.turn(InputDevice::Rear, -3, 3);
    EXPECT_EQ(watcher.devices, std::vector<InputDevice>{InputDevice::Rear});
    EXPECT_EQ(values(EV_REL), (std::vector<int>{-1, -1, -1}));
    EXPECT_EQ(values(EV_SYN).size(), 3U);
}

TEST_F(PanelParts, TurnIsSpreadOverItsReports) {
    panel.inputs.turn(InputDevice::Left, 5, 2);
    EXPECT_EQ(values(EV_REL), (std::vector<int>{3, 2}));
}

TEST_F(PanelParts, TurnHasNoEmptyReports) {
    panel.inputs.turn(InputDevice::Left, 2, 9);
    panel.inputs.turn(InputDevice::Left, 4, 0);
    panel.inputs.turn(InputDevice::Left, 0, 3);
    EXPECT_EQ(values(EV_REL), (std::vector<int>{1, 1, 4}));
    EXPECT_EQ(watcher.devices.size(), 2U);
}

}  // namespace
