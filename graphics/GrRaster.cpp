#include "graphics/GrRaster.h"

#include <algorithm>
#include <cstddef>

#include "graphics/GrRows.h"

namespace VelaGraphics {
namespace {

// Lines up to this many points are walked one by one; longer ones are searched for what meets the display.
constexpr std::uint64_t kPlainWalkPoints = 16384;

[[nodiscard]] std::uint32_t asUnsigned(std::int32_t v) {
    return static_cast<std::uint32_t>(v);
}

[[nodiscard]] std::uint32_t indexOf(const DisplayBuffer& buffer, const Position& p) {
    return buffer.index(asUnsigned(p.x), asUnsigned(p.y));
}

// True when no point of the block leaves the surface.
[[nodiscard]] bool isWithin(const Size& size, const Position& from, std::uint32_t columns,
                            std::uint32_t rows) {
    return size.isInside(from) && columns <= asUnsigned(size.w - from.x) &&
           rows <= asUnsigned(size.h - from.y);
}

// Sets those of `count` pixels whose mask byte is not 0.
void paintMasked(Pixel* out, const unsigned char* mask, std::uint32_t count, Pixel color) {
    for (std::uint32_t i = 0; i < count; ++i) {
        if (mask[i] != 0) {
            out[i] = color;
        }
    }
}

// A line as steps along its longer axis; ties count as steep (down or up).
class LinePath {
public:
    LinePath(const Position& from, const Position& to, std::int32_t displayWidth)
        : m_from(from), m_width(displayWidth) {
        const std::int64_t dx = std::int64_t{to.x} - from.x;
        const std::int64_t dy = std::int64_t{to.y} - from.y;
        m_sx = dx < 0 ? -1 : 1;
        m_sy = dy < 0 ? -1 : 1;
        const auto across = static_cast<std::uint64_t>(dx < 0 ? -dx : dx);
        const auto down = static_cast<std::uint64_t>(dy < 0 ? -dy : dy);
        m_steep = across <= down;
        m_major = std::max(across, down);
        m_minor = std::min(across, down);
    }

    // The number of points, the end point excluded.
    [[nodiscard]] std::uint64_t points() const { return m_major; }

    // Plots every point in turn.
    void walk(DisplayBuffer& buffer, Pixel color) const {
        const auto right = static_cast<std::uint32_t>(m_sx);
        const std::uint32_t down = static_cast<std::uint32_t>(m_sy) * asUnsigned(m_width);
        const std::uint32_t along = m_steep ? down : right;
        const std::uint32_t aside = m_steep ? right : down;
        const auto major = static_cast<std::int64_t>(m_major);
        const auto minor = static_cast<std::int64_t>(m_minor);
        std::int64_t err = 2 * minor - major;
        std::uint32_t index = indexOf(buffer, m_from);
        for (std::uint64_t left = m_major; left > 0; --left) {
            if (index < buffer.length) {
                buffer.vdb[index] = color;
            }
            if (err >= 0) {
                index += aside;
                err -= 2 * major;
            }
            err += 2 * minor;
            index += along;
        }
    }

    // The same points for a line of any length, in time that depends on the display alone.
    void search(DisplayBuffer& buffer, Pixel color) const {
        if (returnsToEveryPixel()) {
            fillHull(buffer, color);
        } else {
            searchRange(buffer, color, pointAt(0), pointAt(m_major - 1));
        }
    }

private:
    struct Point {
        std::uint64_t step;     // along the longer axis, from 0
        std::uint64_t sideway;  // steps made along the shorter axis so far
        std::int64_t x;
        std::int64_t y;
    };

    [[nodiscard]] Point pointAt(std::uint64_t step) const {
        // The walk's error term has made floor((2 * minor * step + major) / (2 * major)) sideway steps by
        // then.
        const std::uint64_t quotient = m_minor * step / m_major;
        const std::uint64_t rest = m_minor * step % m_major;
        const std::uint64_t sideway = quotient + (2 * rest >= m_major ? 1 : 0);
        const auto across = static_cast<std::int64_t>(m_steep ? sideway : step);
        const auto down = static_cast<std::int64_t>(m_steep ? step : sideway);
        return {step, sideway, m_from.x + m_sx * across, m_from.y + m_sy * down};
    }

    // The index without the wrap at 2^32; it may be negative.
    [[nodiscard]] std::int64_t flat(std::int64_t x, std::int64_t y) const { return x + y * m_width; }
    [[nodiscard]] std::int64_t flat(const Point& p) const { return flat(p.x, p.y); }

    // Fills the flat indexes low .. high, as far as they are on the display.
    static void fillFlat(DisplayBuffer& buffer, std::int64_t low, std::int64_t high, Pixel color) {
        const auto columns = static_cast<std::uint64_t>(high - low) + 1;
        const Rows row{static_cast<std::uint32_t>(low), 1, std::min(columns, 2 * kIndexRange), 1};
        forEachPiece(row, buffer.length,
                     [&](std::uint64_t, std::uint64_t, std::uint32_t index, std::uint32_t n) {
                         fillPixels(buffer.vdb + index, n, color);
                     });
    }

    // True when some flat index of low .. high is on the display.
    [[nodiscard]] static bool meets(const DisplayBuffer& buffer, std::int64_t low, std::int64_t high) {
        const std::uint64_t first = static_cast<std::uint32_t>(low);
        const std::uint64_t last = first + static_cast<std::uint64_t>(high - low);
        return first < buffer.length || last >= kIndexRange;
    }

    // Halves the range of points until a part misses the display or is one span of one row.
    void searchRange(DisplayBuffer& buffer, Pixel color, const Point& from, const Point& to) const {
        const std::int64_t low = flat(std::min(from.x, to.x), std::min(from.y, to.y));
        const std::int64_t high = flat(std::max(from.x, to.x), std::max(from.y, to.y));
        if (!meets(buffer, low, high)) {
            return;
        }
        if (from.y == to.y) {
            fillFlat(buffer, low, high, color);
            return;
        }
        const std::uint64_t middle = from.step + (to.step - from.step) / 2;
        searchRange(buffer, color, from, pointAt(middle));
        searchRange(buffer, color, pointAt(middle + 1), to);
    }

    // A shallow line that climbs to the right, or to the left, goes back a display's width at each row. When
    // its rows are at least a width less one long, it comes back onto its own pixels, possibly millions of
    // times, and what it plots is everything between its smallest and its greatest flat index.
    [[nodiscard]] bool returnsToEveryPixel() const {
        return !m_steep && m_minor > 0 && m_sx != m_sy && m_major >= m_minor * (asUnsigned(m_width) - 1ULL);
    }

    // The first step of the line's nth row, n in 1 .. m_minor: ceil((2 * n - 1) * major / (2 * minor)).
    [[nodiscard]] std::uint64_t firstStepOfRow(std::uint64_t n) const {
        const auto major = static_cast<std::int64_t>(m_major);
        const auto twice = static_cast<std::int64_t>(2 * m_minor);
        const auto rest = static_cast<std::int64_t>(2 * (m_major * n % m_minor)) - major;
        const std::int64_t ceiling = rest > 0 ? (rest + twice - 1) / twice : rest / twice;
        return static_cast<std::uint64_t>(static_cast<std::int64_t>(m_major * n / m_minor) + ceiling);
    }

    // Row starts drift in one direction, so the extremes are at the ends of the first and the last rows. Only
    // long lines are searched, so the last point is never on row 0.
    void fillHull(DisplayBuffer& buffer, Pixel color) const {
        const std::uint64_t last = m_major - 1;
        std::int64_t low = std::min(flat(pointAt(0)), flat(pointAt(last)));
        std::int64_t high = std::max(flat(pointAt(0)), flat(pointAt(last)));
        for (const std::uint64_t row : {std::uint64_t{1}, pointAt(last).sideway}) {
            const std::uint64_t step = firstStepOfRow(row);
            low = std::min({low, flat(pointAt(step)), flat(pointAt(step - 1))});
            high = std::max({high, flat(pointAt(step)), flat(pointAt(step - 1))});
        }
        fillFlat(buffer, low, high, color);
    }

    Position m_from;
    std::int32_t m_width;
    std::int64_t m_sx;
    std::int64_t m_sy;
    std::uint64_t m_major;
    std::uint64_t m_minor;
    bool m_steep;
};

}  // namespace

void fillBlock(DisplayBuffer& buffer, const Position& from, std::uint32_t columns, std::uint32_t rows,
               Pixel color) {
    if (isWithin(buffer.size, from, columns, rows)) {
        for (Pixel* row = buffer.vdb + indexOf(buffer, from); rows > 0; row += buffer.size.w) {
            if (columns == 1) {  // a vertical edge
                *row = color;
            } else {
                fillPixels(row, columns, color);
            }
            if (--rows == 0) {
                break;  // no step beyond the buffer
            }
        }
        return;
    }
    if (columns == 0 || rows == 0 || buffer.length == 0) {
        return;
    }
    const std::uint64_t pitch = asUnsigned(buffer.size.w);
    Rows block{indexOf(buffer, from), pitch, columns, rows};
    if (columns >= pitch) {
        // Each row reaches the next one: together they are one span, which need not be longer than all
        // indexes.
        block = {block.first, pitch, std::min(columns + (rows - 1) * pitch, 2 * kIndexRange), 1};
    }
    forEachPiece(block, buffer.length,
                 [&](std::uint64_t, std::uint64_t, std::uint32_t index, std::uint32_t n) {
                     fillPixels(buffer.vdb + index, n, color);
                 });
}

void drawOutline(DisplayBuffer& buffer, const Position& from, const Size& extent, Pixel color) {
    const Position to(wrapSub(wrapAdd(from.x, extent.w), 1), wrapSub(wrapAdd(from.y, extent.h), 1));
    if (to.x > from.x) {
        const std::uint32_t columns = asUnsigned(to.x) - asUnsigned(from.x);
        fillBlock(buffer, from, columns, 1, color);
        fillBlock(buffer, Position(from.x, to.y), columns, 1, color);
    }
    if (to.y > from.y) {
        const std::uint32_t rows = asUnsigned(to.y) - asUnsigned(from.y);
        fillBlock(buffer, from, 1, rows, color);
        fillBlock(buffer, Position(to.x, from.y), 1, rows, color);
    }
    buffer.set(to, color);
}

void fillInterior(DisplayBuffer& buffer, const Position& from, const Size& extent, Pixel color) {
    const Position to(wrapSub(wrapAdd(from.x, extent.w), 1), wrapSub(wrapAdd(from.y, extent.h), 1));
    if (extent.w < 3 || extent.h < 3 || to.x < from.x || to.y < from.y) {
        return;
    }
    fillBlock(buffer, from + Position(1, 1), asUnsigned(extent.w) - 2, asUnsigned(extent.h) - 2, color);
}

void drawLine(DisplayBuffer& buffer, const Position& from, const Position& to, Pixel color) {
    const LinePath path(from, to, buffer.size.w);
    if (path.points() <= kPlainWalkPoints) {
        path.walk(buffer, color);
    } else if (buffer.length > 0) {
        path.search(buffer, color);
    }
}

void drawMask(DisplayBuffer& buffer, const Position& from, const Size& extent, const unsigned char* mask,
              Pixel color) {
    if (!extent.isReal() || buffer.length == 0) {
        return;
    }
    const std::uint32_t columns = asUnsigned(extent.w);
    std::uint32_t rows = asUnsigned(extent.h);
    if (isWithin(buffer.size, from, columns, rows)) {
        for (Pixel* out = buffer.vdb + indexOf(buffer, from);; out += buffer.size.w, mask += columns) {
            paintMasked(out, mask, columns, color);
            if (--rows == 0) {
                break;  // no step beyond the buffer
            }
        }
        return;
    }
    const Rows block{indexOf(buffer, from), asUnsigned(buffer.size.w), columns, rows};
    forEachPiece(block, buffer.length,
                 [&](std::uint64_t row, std::uint64_t column, std::uint32_t index, std::uint32_t n) {
                     paintMasked(buffer.vdb + index, mask + row * columns + column, n, color);
                 });
}

void copyBlock(DisplayBuffer& target, const Position& to, const Pixel* source, std::int32_t pitch,
               const Size& extent) {
    if (!extent.isReal() || target.length == 0) {
        return;
    }
    const Rows block{indexOf(target, to), asUnsigned(target.size.w), asUnsigned(extent.w),
                     asUnsigned(extent.h)};
    const std::uint64_t sourcePitch = asUnsigned(pitch);
    forEachPiece(block, target.length,
                 [&](std::uint64_t row, std::uint64_t column, std::uint32_t index, std::uint32_t n) {
                     const Pixel* in = source + row * sourcePitch + column;
                     Pixel* out = target.vdb + index;
                     for (std::uint32_t i = 0; i < n; ++i) {
                         out[i] = in[i];
                     }
                 });
}

}  // namespace VelaGraphics
