// What the wearer's hands do: six keys and three rotary encoders.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string_view>

#include "sim/panel/PanelListener.h"

namespace sim {

class InputModel {
public:
    // Index i has the key code kFirstKeyCode + i.
    static constexpr std::array<std::string_view, 6> kKeyNames = {"Call_2", "Talk_2", "Menu",
                                                                  "Talk_1", "Call_1", "Hp_Detect"};
    static constexpr std::uint16_t kFirstKeyCode = 100;
    // In the order of InputDevice.
    static constexpr std::array<std::string_view, 3> kEncoderNames = {"Left", "Right", "Rear"};

    static constexpr int kMaxDetents = 10000;  // of one turn, either way: for those who check

    // The listener is not owned.
    explicit InputModel(PanelListener& listener) : m_listener(listener) {}

    [[nodiscard]] static std::optional<std::uint16_t> keyCode(std::string_view name);
    [[nodiscard]] static std::optional<InputDevice> encoder(std::string_view name);

    // code: one of the six. Like the kernel's input layer, a press of a held key and a release of a free one
    // report nothing.
    void press(std::uint16_t code) { change(code, true); }
    void release(std::uint16_t code) { change(code, false); }
    // Auto-repeat; reports whether the key is held or not.
    void repeat(std::uint16_t code);

    // Turns an encoder by steps detents (negative: counter-clockwise), told at one time in so many reports,
    // as evenly as they divide; reports below 1 is taken as 1, above the detents as one report a detent. 0
    // steps: nothing.
    void turn(InputDevice encoder, int steps, int reports);

    // False for codes that are no key of the panel.
    [[nodiscard]] bool held(unsigned code) const;

private:
    void change(std::uint16_t code, bool held);

    PanelListener& m_listener;
    std::array<bool, kKeyNames.size()> m_held{};
};

}  // namespace sim
