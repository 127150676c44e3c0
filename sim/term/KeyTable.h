// What the keys of the terminal do.
#pragma once

#include <array>
#include <string_view>

#include "sim/term/KeyDecoder.h"

namespace sim {

enum class Action { Tap, Hold, Turn, Prompt, Help, Redraw, Quit };

struct Binding {
    Key key;
    Action action;
    std::string_view target = {};  // a key of the panel, or an encoder
    int detents = 0;
};

constexpr int kFastDetents = 5;

constexpr std::array kBindings = {
    Binding{'a', Action::Tap, "Talk_1"},
    Binding{'s', Action::Tap, "Talk_2"},
    Binding{'d', Action::Tap, "Call_1"},
    Binding{'f', Action::Tap, "Call_2"},
    Binding{'m', Action::Tap, "Menu"},
    Binding{'A', Action::Hold, "Talk_1"},
    Binding{'S', Action::Hold, "Talk_2"},
    Binding{'D', Action::Hold, "Call_1"},
    Binding{'F', Action::Hold, "Call_2"},
    Binding{'M', Action::Hold, "Menu"},
    Binding{'h', Action::Hold, "Hp_Detect"},
    Binding{'z', Action::Turn, "Left", -1},
    Binding{'x', Action::Turn, "Left", 1},
    Binding{'c', Action::Turn, "Right", -1},
    Binding{'v', Action::Turn, "Right", 1},
    Binding{'b', Action::Turn, "Rear", -1},
    Binding{'n', Action::Turn, "Rear", 1},
    Binding{'Z', Action::Turn, "Left", -kFastDetents},
    Binding{'X', Action::Turn, "Left", kFastDetents},
    Binding{'C', Action::Turn, "Right", -kFastDetents},
    Binding{'V', Action::Turn, "Right", kFastDetents},
    Binding{'B', Action::Turn, "Rear", -kFastDetents},
    Binding{'N', Action::Turn, "Rear", kFastDetents},
    Binding{kLeft, Action::Turn, "Left", -1},
    Binding{kRight, Action::Turn, "Left", 1},
    Binding{kDown, Action::Turn, "Right", -1},
    Binding{kUp, Action::Turn, "Right", 1},
    Binding{kPageDown, Action::Turn, "Rear", -1},
    Binding{kPageUp, Action::Turn, "Rear", 1},
    Binding{':', Action::Prompt},
    Binding{'?', Action::Help},
    Binding{controlKey('L'), Action::Redraw},
    Binding{'q', Action::Quit},
};

// nullptr: the key does nothing.
[[nodiscard]] constexpr const Binding* bindingOf(Key key) {
    for (const Binding& binding : kBindings) {
        if (binding.key == key) {
            return &binding;
        }
    }
    return nullptr;
}

// The first key that does something with this target, to be shown beside it. detents: of a turn.
[[nodiscard]] constexpr Key keyFor(std::string_view target, int detents = 0) {
    for (const Binding& binding : kBindings) {
        if (binding.target == target && binding.detents == detents) {
            return binding.key;
        }
    }
    return 0;
}

}  // namespace sim
