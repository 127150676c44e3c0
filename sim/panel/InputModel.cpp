#include "sim/panel/InputModel.h"

#include <linux/input-event-codes.h>

#include <algorithm>
#include <cstdlib>

namespace sim {
namespace {

constexpr InputEvent kEndOfReport = {EV_SYN, SYN_REPORT, 0};
constexpr int kReleased = 0;
constexpr int kPressed = 1;
constexpr int kRepeated = 2;

template <std::size_t Size>
std::optional<std::size_t> indexIn(const std::array<std::string_view, Size>& names, std::string_view name) {
    const auto* const found = std::find(names.begin(), names.end(), name);
    if (found == names.end()) {
        return std::nullopt;
    }
    return static_cast<std::size_t>(found - names.begin());
}

}  // namespace

std::optional<std::uint16_t> InputModel::keyCode(std::string_view name) {
    const auto index = indexIn(kKeyNames, name);
    if (!index) {
        return std::nullopt;
    }
    return static_cast<std::uint16_t>(kFirstKeyCode + *index);
}

std::optional<InputDevice> InputModel::encoder(std::string_view name) {
    const auto index = indexIn(kEncoderNames, name);
    if (!index) {
        return std::nullopt;
    }
    return static_cast<InputDevice>(*index);
}

bool InputModel::held(unsigned code) const {
    return code >= kFirstKeyCode && code - kFirstKeyCode < m_held.size() && m_held[code - kFirstKeyCode];
}

void InputModel::change(std::uint16_t code, bool held) {
    bool& now = m_held[code - kFirstKeyCode];
    if (now == held) {
        return;
    }
    now = held;
    m_listener.onInput(InputDevice::Keys, {{EV_KEY, code, held ? kPressed : kReleased}, kEndOfReport});
}

void InputModel::repeat(std::uint16_t code) {
    m_listener.onInput(InputDevice::Keys, {{EV_KEY, code, kRepeated}, kEndOfReport});
}

void InputModel::turn(InputDevice encoder, int steps, int reports) {
    const int detents = std::abs(steps);
    const int count = std::clamp(reports, std::min(1, detents), detents);
    const int direction = steps < 0 ? -1 : 1;
    std::vector<InputEvent> events;
    for (int i = 0; i < count; ++i) {
        const int share = detents / count + (i < detents % count ? 1 : 0);
        events.push_back({EV_REL, REL_X, direction * share});
        events.push_back(kEndOfReport);
    }
    if (!events.empty()) {
        m_listener.onInput(encoder, events);
    }
}

}  // namespace sim
