// The view of a pixel array that drawables draw into.
#pragma once

#include "graphics/GrBase.h"

namespace VelaGraphics {

// A borrowed, row-major array of size.w x size.h pixels (row 0 first, no padding between rows).
//
// The whole clipping is one linear test: a pixel is written when x + y * w, in unsigned 32-bit arithmetic, is
// below `length`. Required, do not mend: controllers rely on a point right of the right edge landing on the
// next row, and on negative coordinates becoming huge indexes that are dropped (so (-1, 1) is the last pixel
// of row 0).
struct DisplayBuffer {
    Pixel* vdb;
    Size size;
    unsigned int length;  // number of pixels

    // `vdb` is not owned and must hold width x height pixels; an extent that is not real has length 0.
    DisplayBuffer(Pixel* pixels, const Size& extent)
        : vdb(pixels), size(extent), length(extent.isReal() ? static_cast<unsigned int>(extent.area()) : 0) {}

    // The element of pixel (x, y), modulo 2^32. It may lie outside the buffer.
    [[nodiscard]] unsigned int index(unsigned int x, unsigned int y) const {
        return x + y * static_cast<unsigned int>(size.w);
    }

    void set(unsigned int x, unsigned int y, Pixel p) {
        const unsigned int i = index(x, y);
        if (i < length) {
            vdb[i] = p;
        }
    }
    void set(const Position& p, Pixel c) {
        set(static_cast<unsigned int>(p.x), static_cast<unsigned int>(p.y), c);
    }

    // The pixel, or 0x00000000 for an index outside the buffer.
    [[nodiscard]] Pixel get(unsigned int x, unsigned int y) const {
        const unsigned int i = index(x, y);
        return i < length ? vdb[i] : Pixel();
    }
    [[nodiscard]] Pixel get(const Position& p) const {
        return get(static_cast<unsigned int>(p.x), static_cast<unsigned int>(p.y));
    }

    [[nodiscard]] std::int32_t width() const { return size.w; }
    [[nodiscard]] std::int32_t height() const { return size.h; }
    [[nodiscard]] Pixel* getvdb() const { return vdb; }
};

}  // namespace VelaGraphics
