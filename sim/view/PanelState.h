// What a view shows: the state of the panel and of the program at one moment, as plain values.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>

#include "sim/panel/DevicePaths.h"
#include "sim/panel/GpioModel.h"
#include "sim/panel/InputModel.h"
#include "sim/panel/LedModel.h"
#include "sim/panel/Picture.h"

namespace sim {

// A copy, free of ties to the simulator: it may go to other threads and outlive the session. The order of
// each array, and the names to show, are those of the constants that give its size.
struct PanelState {
    Picture picture;     // the glass now: dark while the display is off, half drawn between two pages
    unsigned frame = 0;  // number of the last whole frame; 0: none yet
    bool displayOn = false;
    int contrast = 0;  // 0 .. 255
    int variant = 0;   // the fitted display, 0 or 1

    std::array<unsigned, LedModel::kNames.size()> leds{};  // levels, 0 .. LedModel::kMaxLevel
    std::array<int, GpioModel::kLineCount> outputs{};      // levels, 0 or 1; GpioModel::kPowerOn
    unsigned gainCode = 0;                                 // 0 .. 31
    std::array<bool, InputModel::kKeyNames.size()> keysHeld{};
    std::array<long, InputModel::kEncoderNames.size()>
        detents{};  // turned since power-on; clockwise positive
    std::array<bool, kDevicePaths.size()> plugged{};

    bool running = false;           // the program that the simulator started
    std::optional<int> exitStatus;  // of the one that ended last; 128 + n: by signal n

    std::uint64_t transfers = 0;  // on the three buses
    std::uint64_t busBytes = 0;   // in these transfers
    std::uint64_t linesIn = 0;    // into the daemon
    std::uint64_t linesOut = 0;   // out of the daemon
    std::uint64_t errors = 0;     // OnError lines among these
};

}  // namespace sim
