// The pixel rules by plain arithmetic: a point (x, y) is the 32-bit index x + y * width, and is dropped when
// that is not below the pixel count. Edges and lines of any length are worked out from the few of their
// points that hit the display.
#pragma once

#include <cstdint>

#include "wrong_input/language.h"

namespace wrong_input {

struct Point {
    std::int32_t x;
    std::int32_t y;
};

// The corners of a rectangle, both inside.
struct Box {
    Box(std::int32_t left, std::int32_t top, std::int32_t width, std::int32_t height);

    std::int32_t x1, y1, x2, y2;
    std::int32_t w, h;
};

// The low 32 bits.
std::int32_t wrapped(std::int64_t value);

void plot(Surface& surface, std::int32_t x, std::int32_t y, std::uint32_t color);
void plotOutline(Surface& surface, const Box& box, std::uint32_t color);
void plotInside(Surface& surface, const Box& box, std::uint32_t color);
// Without its end point.
void plotLine(Surface& surface, Point from, Point to, std::uint32_t color);

}  // namespace wrong_input
