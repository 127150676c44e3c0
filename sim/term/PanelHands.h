// Hands for the panel that a terminal lends: it tells what is typed, but not when a key is let go.
#pragma once

#include <array>
#include <chrono>
#include <memory>
#include <string>
#include <string_view>

#include "sim/base/Alarm.h"
#include "sim/panel/InputModel.h"
#include "sim/term/KeyTable.h"
#include "sim/view/Controls.h"

namespace sim {

class PanelHands {
public:
    static constexpr std::chrono::milliseconds kTapTime{100};  // a key that is tapped is down so long

    // Nothing is owned.
    PanelHands(EventLoop& loop, Controls& controls, const InputModel& inputs);

    // Carries out Tap, Hold and Turn; other actions do nothing. What is wrong, or an empty text.
    //
    // Tap: presses a free key and releases it after kTapTime; of a key that is still down from the tap before
    // it ends that first, so that so many taps are so many presses. A held key is released. Hold: presses a
    // free key, keeps one down that is being tapped, and releases a held one.
    [[nodiscard]] std::string perform(const Binding& binding);

private:
    [[nodiscard]] std::string tap(std::string_view key);
    [[nodiscard]] std::string hold(std::string_view key);
    [[nodiscard]] bool held(std::string_view key) const;
    // Rings when the tap of this key ends.
    [[nodiscard]] Alarm& alarmOf(std::string_view key);

    Controls& m_controls;
    const InputModel& m_inputs;
    std::array<std::unique_ptr<Alarm>, InputModel::kKeyNames.size()> m_tapEnds;
};

}  // namespace sim
