#include "graphics/BuiltinFonts.h"

#include <array>
#include <string_view>

#include "graphics/GrFont.h"

namespace VelaGraphics {
namespace {

constexpr int kRows = 9;
constexpr int kColumns = 5;
constexpr int kFirst = 32;
constexpr int kGlyphs = 96;
constexpr int kPerBand = 16;
constexpr int kPitch = kColumns + 1;  // from glyph to glyph in a band

using Band = std::array<std::string_view, kRows>;

// clang-format off
// Rows 0 .. 6 stand on the baseline, rows 7 and 8 are below it.
constexpr std::array<Band, kGlyphs / kPerBand> kArt = {{
    {{
        // sp    !     "     #     $     %     &     '     (     )     *     +     ,     -     .     /
        "..... ..#.. .#.#. .#.#. ..#.. ##... .##.. .##.. ...#. .#... ..... ..... ..... ..... ..... ....#",
        "..... ..#.. .#.#. .#.#. .#### ##..# #..#. ..#.. ..#.. ..#.. ..#.. ..#.. ..... ..... ..... ....#",
        "..... ..#.. .#.#. ##### #.#.. ...#. #.#.. .#... .#... ...#. #.#.# ..#.. ..... ..... ..... ...#.",
        "..... ..#.. ..... .#.#. .###. ..#.. .#... ..... .#... ...#. .###. ##### ..... ##### ..... ..#..",
        "..... ..#.. ..... ##### ..#.# .#... #.#.# ..... .#... ...#. #.#.# ..#.. ..... ..... ..... .#...",
        "..... ..... ..... .#.#. ####. #..## #..#. ..... ..#.. ..#.. ..#.. ..#.. .##.. ..... .##.. #....",
        "..... ..#.. ..... .#.#. ..#.. ...## .##.# ..... ...#. .#... ..... ..... ..#.. ..... .##.. #....",
        "..... ..... ..... ..... ..... ..... ..... ..... ..... ..... ..... ..... .#... ..... ..... .....",
        "..... ..... ..... ..... ..... ..... ..... ..... ..... ..... ..... ..... ..... ..... ..... .....",
    }},
    {{
        // 0     1     2     3     4     5     6     7     8     9     :     ;     <     =     >     ?
        ".###. ..#.. .###. .###. ...#. ##### ..##. ##### .###. .###. ..... ..... ...#. ..... #.... .###.",
        "#...# .##.. #...# #...# ..##. #.... .#... ....# #...# #...# ..... ..... ..#.. ..... .#... #...#",
        "#..## ..#.. ....# ....# .#.#. ####. #.... ...#. #...# #...# .##.. .##.. .#... ##### ..#.. ....#",
        "#.#.# ..#.. ...#. ..##. #..#. ....# ####. ...#. .###. .#### .##.. .##.. #.... ..... ...#. ...#.",
        "##..# ..#.. ..#.. ....# ##### ....# #...# ..#.. #...# ....# ..... ..... .#... ##### ..#.. ..#..",
        "#...# ..#.. .#... #...# ...#. #...# #...# ..#.. #...# ...#. .##.. .##.. ..#.. ..... .#... .....",
        ".###. .###. ##### .###. ...#. .###. .###. ..#.. .###. .##.. .##.. ..#.. ...#. ..... #.... ..#..",
        "..... ..... ..... ..... ..... ..... ..... ..... ..... ..... ..... .#... ..... ..... ..... .....",
        "..... ..... ..... ..... ..... ..... ..... ..... ..... ..... ..... ..... ..... ..... ..... .....",
    }},
    {{
        // @     A     B     C     D     E     F     G     H     I     J     K     L     M     N     O
        ".###. .###. ####. .###. ####. ##### ##### .###. #...# .###. ..### #...# #.... #...# #...# .###.",
        "#...# #...# #...# #...# #...# #.... #.... #...# #...# ..#.. ...#. #..#. #.... ##.## #...# #...#",
        "#.### #...# #...# #.... #...# #.... #.... #.... #...# ..#.. ...#. #.#.. #.... #.#.# ##..# #...#",
        "#.#.# ##### ####. #.... #...# ####. ####. #.### ##### ..#.. ...#. ##... #.... #.#.# #.#.# #...#",
        "#.### #...# #...# #.... #...# #.... #.... #...# #...# ..#.. ...#. #.#.. #.... #...# #..## #...#",
        "#.... #...# #...# #...# #...# #.... #.... #...# #...# ..#.. #..#. #..#. #.... #...# #...# #...#",
        ".###. #...# ####. .###. ####. ##### #.... .###. #...# .###. .##.. #...# ##### #...# #...# .###.",
        "..... ..... ..... ..... ..... ..... ..... ..... ..... ..... ..... ..... ..... ..... ..... .....",
        "..... ..... ..... ..... ..... ..... ..... ..... ..... ..... ..... ..... ..... ..... ..... .....",
    }},
    {{
        // P     Q     R     S     T     U     V     W     X     Y     Z     [     \     ]     ^     _
        "####. .###. ####. .#### ##### #...# #...# #...# #...# #...# ##### .###. #.... .###. ..#.. .....",
        "#...# #...# #...# #.... ..#.. #...# #...# #...# #...# #...# ....# .#... #.... ...#. .#.#. .....",
        "#...# #...# #...# #.... ..#.. #...# #...# #...# .#.#. .#.#. ...#. .#... .#... ...#. ..... .....",
        "####. #...# ####. .###. ..#.. #...# #...# #.#.# ..#.. ..#.. ..#.. .#... ..#.. ...#. ..... .....",
        "#.... #.#.# #.#.. ....# ..#.. #...# .#.#. #.#.# .#.#. ..#.. .#... .#... ...#. ...#. ..... .....",
        "#.... #..#. #..#. ....# ..#.. #...# .#.#. #.#.# #...# ..#.. #.... .#... ....# ...#. ..... .....",
        "#.... .##.# #...# ####. ..#.. .###. ..#.. .#.#. #...# ..#.. ##### .###. ....# .###. ..... .....",
        "..... ..... ..... ..... ..... ..... ..... ..... ..... ..... ..... ..... ..... ..... ..... #####",
        "..... ..... ..... ..... ..... ..... ..... ..... ..... ..... ..... ..... ..... ..... ..... .....",
    }},
    {{
        // `     a     b     c     d     e     f     g     h     i     j     k     l     m     n     o
        ".#... ..... #.... ..... ....# ..... ..##. ..... #.... ..#.. ...#. #.... .##.. ..... ..... .....",
        "..#.. ..... #.... ..... ....# ..... .#... ..... #.... ..... ..... #.... ..#.. ..... ..... .....",
        "..... .###. #.##. .###. .##.# .###. ####. .#### #.##. .##.. ..##. #..#. ..#.. ##.#. #.##. .###.",
        "..... ....# ##..# #...# #..## #...# .#... #...# ##..# ..#.. ...#. #.#.. ..#.. #.#.# ##..# #...#",
        "..... .#### #...# #.... #...# ##### .#... #...# #...# ..#.. ...#. ##... ..#.. #.#.# #...# #...#",
        "..... #...# #...# #...# #...# #.... .#... #..## #...# ..#.. ...#. #.#.. ..#.. #.#.# #...# #...#",
        "..... .#### ####. .###. .#### .###. .#... .##.# #...# .###. ...#. #..#. ...#. #.#.# #...# .###.",
        "..... ..... ..... ..... ..... ..... ..... ....# ..... ..... #..#. ..... ..... ..... ..... .....",
        "..... ..... ..... ..... ..... ..... ..... .###. ..... ..... .##.. ..... ..... ..... ..... .....",
    }},
    {{
        // p     q     r     s     t     u     v     w     x     y     z     {     |     }     ~     del
        "..... ..... ..... ..... .#... ..... ..... ..... ..... ..... ..... ..##. ..#.. ##... ..... .....",
        "..... ..... ..... ..... .#... ..... ..... ..... ..... ..... ..... ..#.. ..#.. .#... ..... .....",
        "####. .#### #.##. .#### ####. #...# #...# #...# #...# #...# ##### ..#.. ..#.. .#... ..... .....",
        "#...# #...# ##..# #.... .#... #...# #...# #...# .#.#. #...# ...#. ##... ..#.. ..##. .#.#. .....",
        "#...# #...# #.... .###. .#... #...# #...# #.#.# ..#.. #...# ..#.. ..#.. ..#.. .#... #.#.. .....",
        "##..# #..## #.... ....# .#... #..## .#.#. #.#.# .#.#. #..## .#... ..#.. ..#.. .#... ..... .....",
        "#.##. .##.# #.... ####. ..##. .##.# ..#.. .#.#. #...# .##.# ##### ..##. ..#.. ##... ..... .....",
        "#.... ....# ..... ..... ..... ..... ..... ..... ..... ....# ..... ..... ..#.. ..... ..... .....",
        "#.... ....# ..... ..... ..... ..... ..... ..... ..... .###. ..... ..... ..#.. ..... ..... .....",
    }},
}};

// Pixels of each glyph of F9x5p. Screens are laid out by them, so a new shape must keep its width.
constexpr std::array<std::array<unsigned char, kPerBand>, kGlyphs / kPerBand> kWidths = {{
    {{5, 1, 3, 5, 5, 5, 5, 2, 3, 3, 5, 5, 2, 5, 2, 5}},
    {{5, 3, 5, 5, 5, 5, 5, 5, 5, 5, 2, 2, 4, 5, 4, 5}},
    {{5, 5, 5, 5, 5, 5, 5, 5, 5, 3, 5, 5, 5, 5, 5, 5}},
    {{5, 5, 5, 5, 5, 5, 5, 5, 5, 5, 5, 3, 5, 3, 3, 5}},
    {{2, 5, 5, 5, 5, 5, 4, 5, 5, 3, 4, 4, 3, 5, 5, 5}},
    {{5, 5, 5, 5, 4, 5, 5, 5, 5, 5, 5, 4, 1, 4, 4, 5}},
}};
// clang-format on

constexpr std::string_view artRow(int glyph, int row) {
    const auto band = static_cast<std::size_t>(glyph / kPerBand);
    const auto column = static_cast<std::size_t>(glyph % kPerBand) * kPitch;
    return kArt[band][static_cast<std::size_t>(row)].substr(column, kColumns);
}

constexpr int widthOf(int glyph) {
    return kWidths[static_cast<std::size_t>(glyph / kPerBand)][static_cast<std::size_t>(glyph % kPerBand)];
}

// A row as a glyph byte: its leftmost pixel is the highest bit.
constexpr unsigned rowBits(int glyph, int row) {
    unsigned bits = 0;
    for (const char pixel : artRow(glyph, row)) {
        bits = bits << 1 | (pixel == '#' ? 1U : 0U);
    }
    return bits << (8 - kColumns);
}

// The columns with ink in any row, as such a byte.
constexpr unsigned inkOf(int glyph) {
    unsigned ink = 0;
    for (int row = 0; row < kRows; ++row) {
        ink |= rowBits(glyph, row);
    }
    return ink;
}

// Columns before the ink.
constexpr int leftMargin(int glyph) {
    int margin = 0;
    for (unsigned ink = inkOf(glyph); ink != 0 && (ink & 0x80U) == 0; ink <<= 1) {
        ++margin;
    }
    return margin;
}

constexpr bool isRowOfCells(std::string_view row) {
    if (row.size() != kPerBand * kPitch - 1) {
        return false;
    }
    for (std::size_t i = 0; i < row.size(); ++i) {
        const bool gap = i % kPitch == kColumns;
        if (gap ? row[i] != ' ' : row[i] != '#' && row[i] != '.') {
            return false;
        }
    }
    return true;
}

constexpr bool isDrawnInCells() {
    for (const Band& band : kArt) {
        for (const std::string_view row : band) {
            if (!isRowOfCells(row)) {
                return false;
            }
        }
    }
    return true;
}
static_assert(isDrawnInCells(), "rows of sixteen cells of # and ., with one blank between two cells");

// Every shape starts and ends with ink, so that its extent is its width.
constexpr bool shapesHaveTheirWidths() {
    for (int glyph = 0; glyph < kGlyphs; ++glyph) {
        const unsigned ink = inkOf(glyph) << leftMargin(glyph);
        const unsigned lastColumn = 0x100U >> widthOf(glyph);
        if (ink != 0 && ((ink & lastColumn) == 0 || (ink & (lastColumn - 1)) != 0)) {
            return false;
        }
    }
    return true;
}
static_assert(shapesHaveTheirWidths(), "the columns from the first to the last ink are the listed width");

template <std::size_t size>
struct Table {
    unsigned char bytes[size];
};

template <std::size_t size, bool proportional>
constexpr Table<size> makeTable() {
    Table<size> table{{kRows, 2, proportional ? 0 : kColumns, 1, kFirst, kFirst + kGlyphs - 1}};
    std::size_t at = sizeof(Font::FontInfoHeader);
    for (int glyph = 0; glyph < kGlyphs; ++glyph) {
        if (proportional) {
            table.bytes[at++] = static_cast<unsigned char>(widthOf(glyph));
        }
        const int shift = proportional ? leftMargin(glyph) : 0;
        for (int row = 0; row < kRows; ++row) {
            table.bytes[at++] = static_cast<unsigned char>(rowBits(glyph, row) << shift);
        }
    }
    return table;
}

constexpr auto kMonospaced = makeTable<kF9x5mSize, false>();
constexpr auto kProportional = makeTable<kF9x5pSize, true>();

}  // namespace

const unsigned char (&F9x5m)[kF9x5mSize] = kMonospaced.bytes;
const unsigned char (&F9x5p)[kF9x5pSize] = kProportional.bytes;

}  // namespace VelaGraphics
