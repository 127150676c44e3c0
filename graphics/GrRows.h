// Finds which parts of a block of rows lie on a display, for drawing them piece by piece instead of point by
// point. Internal to the drawing of blocks and bitmaps.
#pragma once

#include <algorithm>
#include <cstdint>

namespace VelaGraphics {

constexpr std::uint64_t kIndexRange = std::uint64_t{1} << 32;  // pixel indexes wrap here

// A block of rows in a numbering that does not wrap: row j covers [first + j * pitch, ... + columns).
struct Rows {
    std::uint64_t first;
    std::uint64_t pitch;
    std::uint64_t columns;
    std::uint64_t count;
};

// Calls piece(row, column, index, pixels) for every part of the rows that lies in a window [k * 2^32, k *
// 2^32 + length): the parts of which a plotted index is below `length`. Windows and rows come in ascending
// order.
template <typename Piece>
void forEachPiece(const Rows& rows, std::uint32_t length, Piece piece) {
    const std::uint64_t last = rows.first + (rows.count - 1) * rows.pitch + rows.columns - 1;
    for (std::uint64_t window = 0; window <= last; window += kIndexRange) {
        const std::uint64_t end = window + length;
        const std::uint64_t reach = rows.first + rows.columns;
        std::uint64_t row = window < reach ? 0 : (window - reach) / rows.pitch + 1;
        std::uint64_t start = rows.first + row * rows.pitch;
        for (; row < rows.count && start < end; ++row, start += rows.pitch) {
            const std::uint64_t from = std::max(start, window);
            const std::uint64_t to = std::min(start + rows.columns, end);
            // Both fit: they count pixels of the display.
            piece(row, from - start, static_cast<std::uint32_t>(from - window),
                  static_cast<std::uint32_t>(to - from));
        }
    }
}

}  // namespace VelaGraphics
