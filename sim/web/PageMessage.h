// What a page sends.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "sim/view/Controls.h"

namespace sim {

// One message of a page: a JSON object with the verb in "do", a number of the page's in "id" (0 without it),
// and what the verb needs.
struct PageMessage {
    enum class Verb {
        Press,    // "key"
        Release,  // "key"
        Turn,     // "encoder", "detents": negative is counter-clockwise
        Line,     // "text": to the daemon
        Unplug,   // "path"
        Plug,     // "path"
        Fail,     // "path": of a bus, whose next transfer fails
        Record,   // "on"
        Drawn,    // "update": the page has drawn everything up to this one
    };

    Verb verb = Verb::Drawn;
    std::uint64_t id = 0;
    std::string text;  // key, encoder, text or path
    int detents = 0;   // at most InputModel::kMaxDetents either way
    bool on = false;
    std::uint64_t update = 0;

    // Nothing: no such message. Names are not looked up here.
    [[nodiscard]] static std::optional<PageMessage> parse(std::string_view json);

    // Carries out what Controls can do: all but Record and Drawn. An error text to be shown, or an empty one.
    [[nodiscard]] std::string carryOut(Controls& controls) const;
};

}  // namespace sim
