// The glyphs of a font: metrics, kerning and coverage, each asked of FreeType once and then remembered.
#pragma once

#include <array>
#include <cstdint>
#include <memory>

#include "freetype/gui_fnt.h"

namespace fnt {

// The slot of a code, and the place of whatever else is remembered by code.
[[nodiscard]] constexpr std::size_t slotOf(std::uint32_t code) {
    return code % kFntSlots;
}

struct Metrics {
    int ax = 0;      // advance
    int extent = 0;  // from the pen to the bitmap's right edge
};

// The metrics of a code; zeros when the font has none.
Metrics metricsOf(font_t* font, std::uint32_t code);

// Pixels between the characters `left` and `right`; 0 when `left` is 0, that is at the beginning of a line,
// and for a font without kerning.
int kerning(font_t* font, std::uint32_t left, std::uint32_t right);

// The glyph of a code, coverage included; null when the font has none or it cannot be loaded. Valid until the
// next call for this font.
const fchar_t* glyphOf(font_t* font, std::uint32_t code);

}  // namespace fnt

// What a font remembers of its FreeType face besides the slots. Measuring does not fill a slot, since that
// takes a rendered glyph; its results are kept here, so that measuring one text again and again loads nothing
// either.
struct fnt_glyphs_s {
    struct Measured {
        std::uint32_t code = 0;  // 0: none
        fnt::Metrics metrics;
    };
    struct Pair {
        std::uint32_t left = 0;  // 0: none
        std::uint32_t right = 0;
        int kerning = 0;
    };
    using Coverage = std::unique_ptr<unsigned char[]>;

    int ascender = 0;                          // of the baseline below the line's top
    std::array<Measured, kFntSlots> measured;  // by slotOf(code)
    std::array<Pair, kFntSlots> pairs;         // by a mix of both codes
    std::array<Coverage, kFntSlots> coverage;  // what the slots' `data` point to
    fchar_t passing = {};                      // a glyph that is too large for a slot
    Coverage passingCoverage;
};
