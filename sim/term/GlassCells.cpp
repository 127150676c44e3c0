#include "sim/term/GlassCells.h"

#include <array>
#include <string_view>

namespace sim {
namespace {

// lit: a bit a pixel of the cell, row by row from the top left one, which is bit 0.
using GlyphOf = char32_t (*)(unsigned lit);

constexpr std::u32string_view kHalfBlocks = U" ▀▄█";
constexpr std::u32string_view kAsciiHalves = U" '.#";
// Bit 0 top left, 1 top right, 2 bottom left, 3 bottom right.
constexpr std::u32string_view kAsciiQuarters = U" `'\",[/F.\\]7_LJ#";

// Braille numbers its dots down the left column, down the right one, and then the fourth row.
constexpr char32_t kNoDots = 0x2800;
constexpr std::array<unsigned, 8> kDots = {0x01, 0x08, 0x02, 0x10, 0x04, 0x20, 0x40, 0x80};

constexpr unsigned kTopHalf = 0x0F;  // of a cell of 2 x 4
constexpr unsigned kTopLeft = 0x05;  // of a half of 2 x 2
constexpr unsigned kTopRight = 0x0A;

char32_t halfBlock(unsigned lit) {
    return kHalfBlocks[lit];
}

char32_t asciiHalf(unsigned lit) {
    return kAsciiHalves[lit];
}

char32_t braille(unsigned lit) {
    char32_t glyph = kNoDots;
    for (std::size_t pixel = 0; pixel < kDots.size(); ++pixel) {
        glyph |= (lit >> pixel & 1U) != 0 ? kDots[pixel] : 0;
    }
    return lit != 0 ? glyph : U' ';
}

// 1: left quarter lit, 2: right one.
unsigned quarters(unsigned half) {
    return ((half & kTopLeft) != 0 ? 1U : 0U) | ((half & kTopRight) != 0 ? 2U : 0U);
}

char32_t asciiQuarter(unsigned lit) {
    return kAsciiQuarters[quarters(lit & kTopHalf) | quarters(lit >> 4U) << 2U];
}

struct Shape {
    std::size_t width;   // px
    std::size_t height;  // px
    GlyphOf glyph;
};

// In the order of GlassStyle.
constexpr std::array<Shape, 4> kShapes = {
    {{1, 2, halfBlock}, {1, 2, asciiHalf}, {2, 4, braille}, {2, 4, asciiQuarter}}};

const Shape& shapeOf(GlassStyle style) {
    return kShapes[static_cast<std::size_t>(style)];
}

unsigned litPixels(const Picture& picture, const Shape& shape, std::size_t left, std::size_t top) {
    unsigned lit = 0;
    for (std::size_t pixel = 0; pixel < shape.width * shape.height; ++pixel) {
        const bool on = picture.lit(left + pixel % shape.width, top + pixel / shape.width);
        lit |= (on ? 1U : 0U) << pixel;
    }
    return lit;
}

bool fits(Size inner, Size room) {
    return inner.width <= room.width && inner.height <= room.height;
}

}  // namespace

Size glassSize(GlassStyle style) {
    const Shape& shape = shapeOf(style);
    return {static_cast<int>(Picture::kWidth / shape.width),
            static_cast<int>(Picture::kHeight / shape.height)};
}

GlassStyle glassStyleFor(Size room, Charset charset) {
    if (fits(glassSize(GlassStyle::HalfBlocks), room)) {
        return charset == Charset::Ascii ? GlassStyle::AsciiHalves : GlassStyle::HalfBlocks;
    }
    return charset == Charset::Full ? GlassStyle::Braille : GlassStyle::AsciiQuarters;
}

std::vector<std::u32string> glassRows(const Picture& picture, GlassStyle style) {
    const Shape& shape = shapeOf(style);
    std::vector<std::u32string> rows;
    for (std::size_t top = 0; top < Picture::kHeight; top += shape.height) {
        std::u32string& row = rows.emplace_back();
        for (std::size_t left = 0; left < Picture::kWidth; left += shape.width) {
            row += shape.glyph(litPixels(picture, shape, left, top));
        }
    }
    return rows;
}

}  // namespace sim
