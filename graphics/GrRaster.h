// The pixel rules that drawing commands and drawables share: blocks, outlines, lines, masks and block copies.
//
// Every rule plots points (x, y) at the 32-bit unsigned index x + y * width and drops those at or above the
// pixel count (see DisplayBuffer). What comes out is exactly what plotting each point one by one would give,
// also where an index wraps past 2^32 back into the display, but spans and edges that miss the display are
// skipped by arithmetic: no call takes longer than the display's size explains, whatever its numbers.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "graphics/GrBase.h"
#include "graphics/GrDisplayBuffer.h"

namespace VelaGraphics {

// Sets `count` pixels that lie one behind the other.
inline void fillPixels(Pixel* first, std::size_t count, Pixel color) {
    constexpr std::size_t kBlock = 16;  // a few whole vectors at a time, on every processor
    for (; count >= kBlock; count -= kBlock, first += kBlock) {
        for (std::size_t i = 0; i < kBlock; ++i) {
            first[i] = color;
        }
    }
    std::fill_n(first, count, color);
}

// Plots `columns` x `rows` points whose first one is (from.x, from.y).
void fillBlock(DisplayBuffer& buffer, const Position& from, std::uint32_t columns, std::uint32_t rows,
               Pixel color);

// The outline of the rectangle with corners (from.x, from.y) and (from.x + w - 1, from.y + h - 1), sums
// wrapping at 32 bits: both horizontal edges when the right corner lies right of the left one, both vertical
// edges when the lower lies below the upper, and in any case the lower right corner. Required, do not mend: a
// rectangle of 0 x 0 still plots its corner, at (from.x - 1, from.y - 1).
void drawOutline(DisplayBuffer& buffer, const Position& from, const Size& extent, Pixel color);

// The inside of that outline: nothing unless both sides are at least 3.
void fillInterior(DisplayBuffer& buffer, const Position& from, const Size& extent, Pixel color);

// An integer Bresenham line that plots `from` and stops before `to`.
// Required, do not mend: the end point is not drawn, so that consecutive segments plot a shared point once,
// and a line of no length draws nothing.
void drawLine(DisplayBuffer& buffer, const Position& from, const Position& to, Pixel color);

// Plots the point (from.x + c, from.y + r) for every mask byte r * extent.w + c that is not 0; `mask` has
// extent.w * extent.h bytes. Nothing happens when `extent` is not real.
void drawMask(DisplayBuffer& buffer, const Position& from, const Size& extent, const unsigned char* mask,
              Pixel color);

// Writes `extent` pixels of a source, `source` being the first of them and `pitch` the source's width in
// pixels, to the block at `to` (both coordinates >= 0). Row by row, left to right, each pixel read at the
// moment it is written: when both lie in one array an overlap smears. Nothing happens when `extent` is not
// real.
void copyBlock(DisplayBuffer& target, const Position& to, const Pixel* source, std::int32_t pitch,
               const Size& extent);

}  // namespace VelaGraphics
