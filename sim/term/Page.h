// The page that a terminal shows: the panel, its program, and what can be done.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "sim/term/CellGrid.h"
#include "sim/term/GlassCells.h"
#include "sim/view/LineRing.h"
#include "sim/view/PanelState.h"

namespace sim {

constexpr Size kSmallestPage = {80, 24};

struct Page {
    PanelState state;
    std::vector<ShownLine> lines;  // oldest first; as many of the last ones as there is room for are shown
    std::optional<std::string> prompt;  // what has been typed into it, while it is open
    std::string notice;                 // what has gone wrong, or will happen; empty: nothing
    bool help = false;
};

struct DrawnPage {
    struct Place {
        int x;
        int y;
    };

    CellGrid cells;
    std::optional<Place> cursor;  // none: hidden
};

// At every size; below kSmallestPage a message stands in the page's place.
[[nodiscard]] DrawnPage drawPage(const Page& page, Size size, Charset charset);

}  // namespace sim
