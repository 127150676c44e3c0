#include "wrong_input/plotting.h"

#include <algorithm>
#include <cstdlib>
#include <functional>

namespace wrong_input {
namespace {

constexpr std::int64_t kTurn = 0x100000000;  // where an index begins anew

std::int64_t divideDown(std::int64_t a, std::int64_t b) {
    return a / b - (a % b != 0 && (a < 0) != (b < 0) ? 1 : 0);
}

std::int64_t divideUp(std::int64_t a, std::int64_t b) {
    return -divideDown(-a, b);
}

// Sets the pixels at the indexes base + t * step, modulo 2^32, for t = first .. last.
void plotEvery(Surface& surface, std::int64_t base, std::int64_t step, std::int64_t first, std::int64_t last,
               std::uint32_t color) {
    const auto count = static_cast<std::int64_t>(surface.pixels.size());
    if (first > last) {
        return;
    }
    const std::int64_t turnOfLast = divideDown(base + last * step, kTurn);
    for (std::int64_t turn = divideDown(base + first * step, kTurn); turn <= turnOfLast; ++turn) {
        const std::int64_t from = std::max(first, divideUp(turn * kTurn - base, step));
        const std::int64_t to = std::min(last, divideDown(turn * kTurn + count - 1 - base, step));
        for (std::int64_t t = from; t <= to; ++t) {
            surface.pixels[static_cast<std::size_t>(base + t * step - turn * kTurn)] = color;
        }
    }
}

// Columns first .. last of a row, and rows first .. last of a column.

void plotRow(Surface& surface, std::int64_t y, std::int64_t first, std::int64_t last, std::uint32_t color) {
    plotEvery(surface, y * surface.width, 1, first, last, color);
}

void plotColumn(Surface& surface, std::int64_t x, std::int64_t first, std::int64_t last,
                std::uint32_t color) {
    plotEvery(surface, x, surface.width, first, last, color);
}

// A line takes `major` steps along its longer side, with minor <= major along the other. After k steps it is
// (2 * minor * k + major) / (2 * major) aside: calls `part` for each distance aside with its steps first ..
// last.
void walk(std::int64_t major, std::int64_t minor,
          const std::function<void(std::int64_t aside, std::int64_t first, std::int64_t last)>& part) {
    for (std::int64_t aside = 0; aside <= minor && major > 0; ++aside) {
        std::int64_t first = 0;
        std::int64_t last = major - 1;
        if (minor > 0) {
            first = std::max(first, divideUp(2 * major * aside - major, 2 * minor));
            last = std::min(last, divideUp(2 * major * (aside + 1) - major, 2 * minor) - 1);
        }
        part(aside, first, last);
    }
}

}  // namespace

std::int32_t wrapped(std::int64_t value) {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(value));
}

Box::Box(std::int32_t left, std::int32_t top, std::int32_t width, std::int32_t height)
    : x1(left),
      y1(top),
      x2(wrapped(std::int64_t{left} + width - 1)),
      y2(wrapped(std::int64_t{top} + height - 1)),
      w(width),
      h(height) {}

void plot(Surface& surface, std::int32_t x, std::int32_t y, std::uint32_t color) {
    plotRow(surface, y, x, x, color);
}

void plotOutline(Surface& surface, const Box& box, std::uint32_t color) {
    for (const std::int32_t y : {box.y1, box.y2}) {
        plotRow(surface, y, box.x1, std::int64_t{box.x2} - 1, color);
    }
    for (const std::int32_t x : {box.x1, box.x2}) {
        plotColumn(surface, x, box.y1, std::int64_t{box.y2} - 1, color);
    }
    plot(surface, box.x2, box.y2, color);
}

void plotInside(Surface& surface, const Box& box, std::uint32_t color) {
    if (box.w < 3 || box.h < 3) {
        return;
    }
    const std::int64_t left = std::int64_t{box.x1} + 1;
    const std::int64_t right = std::int64_t{box.x2} - 1;
    const std::int64_t top = std::int64_t{box.y1} + 1;
    const std::int64_t bottom = std::int64_t{box.y2} - 1;
    if (bottom - top < right - left) {
        for (std::int64_t y = top; y <= bottom; ++y) {
            plotRow(surface, y, left, right, color);
        }
    } else {
        for (std::int64_t x = left; x <= right; ++x) {
            plotColumn(surface, x, top, bottom, color);
        }
    }
}

void plotLine(Surface& surface, Point from, Point to, std::uint32_t color) {
    const std::int64_t dx = std::int64_t{to.x} - from.x;
    const std::int64_t dy = std::int64_t{to.y} - from.y;
    const std::int64_t right = dx < 0 ? -1 : 1;
    const std::int64_t down = dy < 0 ? -1 : 1;
    const auto ordered = [](std::int64_t start, std::int64_t direction, std::int64_t first,
                            std::int64_t last) {
        return std::minmax({start + direction * first, start + direction * last});
    };
    if (std::abs(dx) <= std::abs(dy)) {
        walk(std::abs(dy), std::abs(dx), [&](std::int64_t aside, std::int64_t first, std::int64_t last) {
            const auto rows = ordered(from.y, down, first, last);
            if (first <= last) {
                plotColumn(surface, from.x + right * aside, rows.first, rows.second, color);
            }
        });
    } else {
        walk(std::abs(dx), std::abs(dy), [&](std::int64_t aside, std::int64_t first, std::int64_t last) {
            const auto columns = ordered(from.x, right, first, last);
            if (first <= last) {
                plotRow(surface, from.y + down * aside, columns.first, columns.second, color);
            }
        });
    }
}

}  // namespace wrong_input
