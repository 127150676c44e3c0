#include "freetype/fnt_blend.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>

namespace {

constexpr unsigned int kFull = 255;
constexpr std::ptrdiff_t kPixelBytes = 4;
constexpr std::size_t kAlpha = 3;  // after blue, green and red

// Each blend takes one pixel and its coverage, or two pixels next to each other, not both empty.

// Adds the coverage to the alpha bytes.
struct Mask {
    void one(unsigned char* p, unsigned int c) const {
        p[kAlpha] = static_cast<unsigned char>(std::min(kFull, p[kAlpha] + c));
    }
    void two(unsigned char* p, const unsigned char* c) const {
        one(p, c[0]);
        one(p + kPixelBytes, c[1]);
    }
};

// The channels of two pixels as the vector unit takes them, 8 bits as they are stored and 16 to calculate
// with.
typedef unsigned char Bytes __attribute__((vector_size(8)));
typedef std::uint16_t Words __attribute__((vector_size(16)));
struct Weights {
    std::uint16_t of[kPixelBytes];
};

// How far a coverage moves each channel toward the colour, in 256ths: c + 1, but 0 for 0 and for alpha.
constexpr std::array<Weights, kFull + 1> makeWeights() {
    std::array<Weights, kFull + 1> weights{};
    for (unsigned int c = 1; c <= kFull; ++c) {
        const auto weight = static_cast<std::uint16_t>(c + 1);
        weights[c] = {{weight, weight, weight, 0}};
    }
    return weights;
}
constexpr std::array<Weights, kFull + 1> kWeights = makeWeights();

// dest + ((c + 1) * (colour - dest) >> 8) for each colour channel, with the shift of negative products going
// down. Multiplied out, modulo 2^16, nothing is negative. Coverage 0 and 255 need no case of their own: the
// weight 0 leaves the channel, and 256 gives the colour.
class Plain {
public:
    explicit Plain(const unsigned char* color) {
        std::memcpy(m_color, color, kPixelBytes);
        std::memcpy(m_color + kPixelBytes, color, kPixelBytes);
    }

    void one(unsigned char* p, unsigned int c) const {
        const unsigned int weight = kWeights[c].of[0];
        for (std::size_t channel = 0; channel < kAlpha; ++channel) {
            p[channel] = static_cast<unsigned char>(
                (p[channel] * (kFull + 1 - weight) + m_color[channel] * weight) >> 8);
        }
    }
    void two(unsigned char* p, const unsigned char* c) const {
        const Weights both[] = {kWeights[c[0]], kWeights[c[1]]};
        Words weights;
        Bytes dest8;
        Bytes color8;
        std::memcpy(&weights, both, sizeof weights);
        std::memcpy(&dest8, p, sizeof dest8);
        std::memcpy(&color8, m_color, sizeof color8);
        const Words dest = __builtin_convertvector(dest8, Words);
        const Words color = __builtin_convertvector(color8, Words);
        const Words blended = ((dest << 8) + (color - dest) * weights) >> 8;
        dest8 = __builtin_convertvector(blended, Bytes);
        std::memcpy(p, &dest8, sizeof dest8);
    }

private:
    unsigned char m_color[2 * kPixelBytes];
};

// Each channel becomes the colour scaled by c / 255, rounded, plus dest * (256 - c) >> 8, at most 255
// together. The alpha of the colour counts for full coverage only, which copies it: otherwise c itself takes
// its place.
class Premultiplied {
public:
    explicit Premultiplied(const unsigned char* color) : m_color(color) {}

    void one(unsigned char* p, unsigned int c) const {
        if (c == 0) {
            return;
        }
        if (c == kFull) {
            std::memcpy(p, m_color, kPixelBytes);
            return;
        }
        for (std::size_t channel = 0; channel < kAlpha; ++channel) {
            const unsigned int t = m_color[channel] * c + 128;
            p[channel] = blend((t + (t >> 8)) >> 8, p[channel], c);
        }
        p[kAlpha] = blend(c, p[kAlpha], c);
    }
    void two(unsigned char* p, const unsigned char* c) const {
        one(p, c[0]);
        one(p + kPixelBytes, c[1]);
    }

private:
    static unsigned char blend(unsigned int scaled, unsigned int dest, unsigned int c) {
        return static_cast<unsigned char>(scaled + (dest * (kFull + 1 - c) >> 8));
    }

    const unsigned char* m_color;
};

// The part of one axis of a glyph that a rectangle shows.
struct Span {
    std::int64_t skip;   // columns or rows that lie before the rectangle
    std::int64_t count;  // those that are shown; below 1: none
    Span(int start, int extent, int limit)
        : skip(std::max<std::int64_t>(-std::int64_t{start}, 0)),
          count(std::min<std::int64_t>(extent, std::int64_t{limit} - start) - skip) {}
};

struct Block {
    const unsigned char* coverage;
    std::ptrdiff_t pitch;  // bytes from one coverage row to the next
    unsigned char* pixels;
    std::ptrdiff_t stride;
    std::ptrdiff_t columns;
    std::ptrdiff_t rows;
};

template <typename Blend>
void blendRow(const unsigned char* coverage, unsigned char* pixel, std::ptrdiff_t columns,
              const Blend& blend) {
    for (; columns >= 2; columns -= 2, coverage += 2, pixel += 2 * kPixelBytes) {
        if ((coverage[0] | coverage[1]) != 0) {
            blend.two(pixel, coverage);
        }
    }
    if (columns > 0) {
        blend.one(pixel, *coverage);
    }
}

template <typename Blend>
void blendBlock(Block block, const Blend& blend) {
    for (;; block.coverage += block.pitch, block.pixels += block.stride) {
        blendRow(block.coverage, block.pixels, block.columns, blend);
        if (--block.rows == 0) {
            break;  // no step beyond the image
        }
    }
}

}  // namespace

void fnt_RenderChar(image_t* image, const rect_t* rect, const unsigned char* coverage, int w, int h, int x,
                    int y, const unsigned char* color) {
    const Span across(x, w, rect->w);
    const Span down(y, h, rect->h);
    if (across.count < 1 || down.count < 1) {
        return;
    }
    const auto left = static_cast<std::ptrdiff_t>(rect->x + x + across.skip);
    const auto top = static_cast<std::ptrdiff_t>(rect->y + y + down.skip);
    const std::ptrdiff_t stride = image->stride;
    const Block block = {
        coverage + down.skip * w + across.skip,          w,
        image->data + top * stride + left * kPixelBytes, stride,
        static_cast<std::ptrdiff_t>(across.count),       static_cast<std::ptrdiff_t>(down.count)};
    if (color == nullptr) {
        blendBlock(block, Mask());
    } else if (image->prea != 0) {
        blendBlock(block, Premultiplied(color));
    } else {
        blendBlock(block, Plain(color));
    }
}
