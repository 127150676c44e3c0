// The panel's glass as characters.
#pragma once

#include <string>
#include <vector>

#include "sim/panel/Picture.h"
#include "sim/term/CellGrid.h"

namespace sim {

// Which characters a terminal can show.
enum class Charset {
    Ascii,
    Blocks,  // and lines and block elements, but no braille: the console of Linux
    Full,
};

enum class GlassStyle {
    HalfBlocks,    // 1 x 2 pixels a character
    AsciiHalves,   // likewise
    Braille,       // 2 x 4 pixels a character
    AsciiQuarters  // likewise, drawn as 2 x 2: of two pixels one above the other, either lights its quarter
};

// Columns and rows that the glass takes.
[[nodiscard]] Size glassSize(GlassStyle style);
// The finer style that fits into so many columns and rows, or the smaller one.
[[nodiscard]] GlassStyle glassStyleFor(Size room, Charset charset);

// The glass row by row, from the top. A cell without a lit pixel is a blank in every style.
[[nodiscard]] std::vector<std::u32string> glassRows(const Picture& picture, GlassStyle style);

}  // namespace sim
