// Value types of the graphics model: colours, points and extents. All are 32 bits wide on every host.
#pragma once

#include <cstdint>

namespace VelaGraphics {

// One colour: 32-bit ARGB, alpha in the top byte, blue in the lowest. 0x00000000 is the colour "transparent".
// A Pixel is the unit of every surface, so it must stay 4 bytes without padding.
union Pixel {
    // The channels as they lie in memory on the little-endian target. Read them through the accessors below:
    // they work on `px`, whichever member was written last.
    struct Channels {
        unsigned char b;
        unsigned char g;
        unsigned char r;
        unsigned char a;
    };

    std::uint32_t px;
    Channels argb;

    constexpr Pixel() : px(0) {}
    constexpr explicit Pixel(std::uint32_t color) : px(color) {}
    constexpr Pixel(unsigned char alpha, unsigned char red, unsigned char green, unsigned char blue)
        : px(std::uint32_t{alpha} << 24 | std::uint32_t{red} << 16 | std::uint32_t{green} << 8 | blue) {}

    [[nodiscard]] constexpr std::uint32_t color() const { return px; }
    [[nodiscard]] constexpr unsigned char alpha() const { return static_cast<unsigned char>(px >> 24); }
    [[nodiscard]] constexpr unsigned char red() const { return static_cast<unsigned char>(px >> 16); }
    [[nodiscard]] constexpr unsigned char green() const { return static_cast<unsigned char>(px >> 8); }
    [[nodiscard]] constexpr unsigned char blue() const { return static_cast<unsigned char>(px); }

    // True only for the colour 0x00000000: any other value with alpha 0 still overwrites what is below it.
    [[nodiscard]] constexpr bool isTransparent() const { return px == 0; }

    [[nodiscard]] friend constexpr bool operator==(Pixel a, Pixel b) { return a.px == b.px; }
    [[nodiscard]] friend constexpr bool operator!=(Pixel a, Pixel b) { return a.px != b.px; }
};
static_assert(sizeof(Pixel) == 4, "a pixel is 4 bytes on every host");

// Adds and subtracts as a 32-bit two's-complement machine does, without the undefined overflow of signed
// types.
[[nodiscard]] constexpr std::int32_t wrapAdd(std::int32_t a, std::int32_t b) {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(a) + static_cast<std::uint32_t>(b));
}
[[nodiscard]] constexpr std::int32_t wrapSub(std::int32_t a, std::int32_t b) {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(a) - static_cast<std::uint32_t>(b));
}

// A point in pixels: x to the right, y down from the top-left corner. Its arithmetic wraps at 32 bits.
struct Position {
    std::int32_t x = 0;
    std::int32_t y = 0;

    constexpr Position() = default;
    constexpr Position(std::int32_t px, std::int32_t py) : x(px), y(py) {}

    // True when the point can be on a surface: neither coordinate is negative.
    [[nodiscard]] constexpr bool isReal() const { return x >= 0 && y >= 0; }
    [[nodiscard]] constexpr bool isZero() const { return x == 0 && y == 0; }

    constexpr Position& operator+=(const Position& o) {
        x = wrapAdd(x, o.x);
        y = wrapAdd(y, o.y);
        return *this;
    }
    constexpr Position& operator-=(const Position& o) {
        x = wrapSub(x, o.x);
        y = wrapSub(y, o.y);
        return *this;
    }
    constexpr Position& operator+=(std::int32_t d) { return *this += Position(d, d); }
    constexpr Position& operator-=(std::int32_t d) { return *this -= Position(d, d); }

    [[nodiscard]] friend constexpr Position operator+(Position a, const Position& b) { return a += b; }
    [[nodiscard]] friend constexpr Position operator-(Position a, const Position& b) { return a -= b; }
    [[nodiscard]] friend constexpr bool operator==(const Position& a, const Position& b) {
        return a.x == b.x && a.y == b.y;
    }
    [[nodiscard]] friend constexpr bool operator!=(const Position& a, const Position& b) { return !(a == b); }
};

// An extent in pixels. Its arithmetic wraps at 32 bits.
struct Size {
    std::int32_t w = 0;
    std::int32_t h = 0;

    constexpr Size() = default;
    constexpr Size(std::int32_t width, std::int32_t height) : w(width), h(height) {}

    // True when the extent holds at least one pixel.
    [[nodiscard]] constexpr bool isReal() const { return w > 0 && h > 0; }
    [[nodiscard]] constexpr bool isZero() const { return w == 0 && h == 0; }
    [[nodiscard]] constexpr std::int32_t width() const { return w; }
    [[nodiscard]] constexpr std::int32_t height() const { return h; }
    // w x h in pixels, modulo 2^32.
    [[nodiscard]] constexpr std::int32_t area() const {
        return static_cast<std::int32_t>(static_cast<std::uint32_t>(w) * static_cast<std::uint32_t>(h));
    }

    constexpr Size& operator=(const Size&) = default;
    constexpr Size(const Size&) = default;
    constexpr Size& operator=(std::int32_t both) {
        w = h = both;
        return *this;
    }
    constexpr Size& operator+=(const Size& o) {
        w = wrapAdd(w, o.w);
        h = wrapAdd(h, o.h);
        return *this;
    }
    constexpr Size& operator+=(std::int32_t d) { return *this += Size(d, d); }
    constexpr Size& operator-=(std::int32_t d) {
        w = wrapSub(w, d);
        h = wrapSub(h, d);
        return *this;
    }
    [[nodiscard]] friend constexpr bool operator==(const Size& a, const Size& b) {
        return a.w == b.w && a.h == b.h;
    }
    [[nodiscard]] friend constexpr bool operator!=(const Size& a, const Size& b) { return !(a == b); }

    // True for a point of the surface of this extent: 0 <= x < w and 0 <= y < h.
    [[nodiscard]] constexpr bool isInside(const Position& p) const {
        return p.x >= 0 && p.x < w && p.y >= 0 && p.y < h;
    }
    // The other extent, each side cut to 0 .. this extent's side.
    [[nodiscard]] constexpr Size clip(const Size& o) const { return {cut(o.w, w), cut(o.h, h)}; }
    // The point, each coordinate brought to 0 .. extent - 1 (0 for an empty extent).
    [[nodiscard]] constexpr Position clip(const Position& p) const {
        return {cut(p.x, wrapSub(w, 1)), cut(p.y, wrapSub(h, 1))};
    }

private:
    [[nodiscard]] static constexpr std::int32_t cut(std::int32_t v, std::int32_t most) {
        if (v > most) {
            v = most;
        }
        return v < 0 ? 0 : v;
    }
};

}  // namespace VelaGraphics
