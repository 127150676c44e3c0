// The device nodes of the panel: what can be unplugged as a whole.
#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <string_view>

namespace sim {

// The input devices in the order of InputDevice, then display commands, display data, microphone gain.
constexpr std::array<std::string_view, 7> kDevicePaths = {
    "/dev/input/event1", "/dev/input/event2", "/dev/input/event3", "/dev/input/event4",
    "/dev/spidev3.0",    "/dev/spidev3.1",    "/dev/spidev4.0"};
constexpr std::size_t kDisplayCommandBus = 4;
constexpr std::size_t kDisplayDataBus = 5;
constexpr std::size_t kMicGainBus = 6;

// Where the path stands in kDevicePaths.
[[nodiscard]] constexpr std::optional<std::size_t> deviceIndex(std::string_view path) {
    for (std::size_t index = 0; index < kDevicePaths.size(); ++index) {
        if (kDevicePaths[index] == path) {
            return index;
        }
    }
    return std::nullopt;
}

}  // namespace sim
