// Makes glyph cache files: the bytes of tests/data/font/small.font, and those of bad ones.
#pragma once

#include <array>
#include <cstdint>
#include <cstring>
#include <string>

struct GlyphRecord {
    std::uint32_t ax, ox, oy, w, h, offset;
};

struct GlyphCache {
    std::string magic = "FNT2";
    std::array<GlyphRecord, 256> glyphs{};
    std::uint32_t lineAdvance = 0;
    std::uint32_t dataSize = 0;  // as told in the file; makeSmallFont() tells the truth
    std::string data;

    [[nodiscard]] std::string bytes() const {
        std::string file = magic;
        for (const GlyphRecord& glyph : glyphs) {
            for (const std::uint32_t number :
                 {glyph.ax, glyph.ox, glyph.oy, glyph.w, glyph.h, glyph.offset}) {
                append(&file, number);
            }
        }
        append(&file, lineAdvance);
        append(&file, dataSize);
        return file + data;
    }

private:
    static void append(std::string* file, std::uint32_t number) {
        for (int shift = 0; shift < 32; shift += 8) {
            file->push_back(static_cast<char>(number >> shift & 0xFF));
        }
    }
};

// The small font: lines of 8 rows. Characters from '!' on are full blocks of 5 x 6 pixels, 1 row below the
// line's top, with an advance of 6, but for
//   space, newline  6 and 4 wide, nothing of the first and a block of 3 x 3 of the second to be seen
//   'W'             a block of 9 x 6, wider than its advance of 6
//   'j'             a block of 5 x 6 that begins 2 left of the pen
//   '?'             an advance of 7
//   '~'             16 x 16 coverages 0 .. 255 in order, advance 16
inline GlyphCache makeSmallFont() {
    constexpr std::uint32_t kLeft2 = 0xFFFFFFFE;
    constexpr std::uint32_t kBlock = 9 * 6;  // the gradient lies behind the largest block
    GlyphCache font;
    for (std::uint32_t code = '!'; code < 256; ++code) {
        font.glyphs[code] = {6, 0, 1, 5, 6, 0};
    }
    font.glyphs[' '] = {6, 0, 0, 0, 0, 0};
    font.glyphs['\n'] = {4, 0, 1, 3, 3, 0};
    font.glyphs['W'].w = 9;
    font.glyphs['j'].ox = kLeft2;
    font.glyphs['?'].ax = 7;
    font.glyphs['~'] = {16, 0, 0, 16, 16, kBlock};
    font.lineAdvance = 8;
    font.data.assign(kBlock, '\xFF');
    for (int level = 0; level < 256; ++level) {
        font.data.push_back(static_cast<char>(level));
    }
    font.dataSize = static_cast<std::uint32_t>(font.data.size());
    return font;
}
