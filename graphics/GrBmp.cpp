#include "graphics/GrBmp.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "graphics/GrRows.h"

namespace VelaGraphics {
namespace {

constexpr std::uint32_t kOpaque = 0xFF000000;
constexpr std::uint32_t kColor = 0x00FFFFFF;
constexpr std::uint32_t kChunk = 64;

// A few pixels that are worked on at a time, as plain numbers: the compiler does several of these at once.
using Chunk = std::uint32_t[kChunk];

// ---- From an image's bytes to a chunk: `count` pixels, at least 1, with alpha set to 255 where `alpha` is
// kOpaque.

static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__,
              "blue, green, red, alpha in a file is a Pixel in memory");
inline std::uint32_t fourBytes(const std::uint8_t* bytes) {
    std::uint32_t value = 0;
    std::memcpy(&value, bytes, sizeof(value));
    return value;
}

void fromIndexes(const BMP& image, const std::uint8_t* in, std::uint32_t count, std::uint32_t, Chunk& out) {
    const std::uint8_t* const palette = image.Palette;
    for (std::uint32_t i = 0; i < count; ++i) {
        out[i] = fourBytes(palette + std::size_t{4} * in[i]) | kOpaque;
    }
}

// Each pixel is read with the first byte of the next one, which alpha then covers; the last one, behind which
// the data may end, by itself.
void fromTriples(const BMP&, const std::uint8_t* in, std::uint32_t count, std::uint32_t, Chunk& out) {
    const std::uint32_t last = count - 1;
    for (std::uint32_t i = 0; i < last; ++i, in += 3) {
        out[i] = fourBytes(in) | kOpaque;
    }
    out[last] = Pixel(255, in[2], in[1], in[0]).px;
}

void fromQuads(const BMP&, const std::uint8_t* in, std::uint32_t count, std::uint32_t alpha, Chunk& out) {
    for (std::uint32_t i = 0; i < count; ++i) {
        out[i] = fourBytes(in + std::size_t{4} * i) | alpha;
    }
}

using Decode = void (*)(const BMP& image, const std::uint8_t* in, std::uint32_t count, std::uint32_t alpha,
                        Chunk& out);

// Null for an image that has no colours to draw.
Decode decoderOf(BMP* image) {
    switch (BMP_GetDepth(image)) {
        case 8:
            return image->Palette != nullptr ? fromIndexes : nullptr;
        case 24:
            return fromTriples;
        case 32:
            return fromQuads;
        default:
            return nullptr;
    }
}

// ---- Finding what is on the display

// A part of one image row that lies on the display.
struct Run {
    const std::uint8_t* bytes;  // of the image
    std::uint32_t x;            // in the image
    std::uint32_t y;
    std::uint32_t index;  // in the display
    std::uint32_t count;  // pixels, at least 1
};

// Calls paint(run) for all parts of the image that lie on the display, in the order in which plotting pixel
// by pixel would come to them.
template <typename Paint>
void forEachRun(BMP* image, const Position& from, const DisplayBuffer& buffer, Paint paint) {
    const std::uint32_t height = BMP_GetHeight(image);
    const std::uint32_t pixelBytes = BMP_GetDepth(image) / 8U;
    std::uint32_t columns = 0;  // the bottom row is the first of the data: no row has more pixels
    if (buffer.length == 0 || BMP_GetRow(image, height - 1, &columns) == nullptr) {
        return;
    }
    const auto left = static_cast<std::uint32_t>(from.x);
    const auto top = static_cast<std::uint32_t>(from.y);
    const Rows block{buffer.index(left, top), static_cast<std::uint32_t>(buffer.size.w), columns, height};
    forEachPiece(
        block, buffer.length,
        [&](std::uint64_t row, std::uint64_t column, std::uint32_t index, std::uint32_t count) {
            // Both are below 2^32, as the image's sides are.
            const auto x = static_cast<std::uint32_t>(column);
            const auto y = static_cast<std::uint32_t>(row);
            std::uint32_t present = 0;
            const std::uint8_t* const bytes = BMP_GetRow(image, y, &present);
            if (x < present) {
                paint(Run{bytes + std::size_t{x} * pixelBytes, x, y, index, std::min(count, present - x)});
            }
        });
}

// Calls paint(place, pixels, count) for each chunk of each run; `place` tells where the chunk begins.
template <typename Paint>
void forEachChunk(BMP* image, const Position& from, const DisplayBuffer& buffer, std::uint32_t alpha,
                  Paint paint) {
    const Decode decode = decoderOf(image);
    if (decode == nullptr) {
        return;
    }
    const std::uint32_t pixelBytes = BMP_GetDepth(image) / 8U;
    forEachRun(image, from, buffer, [&](Run run) {
        Chunk pixels;
        while (run.count > 0) {
            const std::uint32_t count = std::min(run.count, kChunk);
            decode(*image, run.bytes, count, alpha, pixels);
            paint(run, pixels, count);
            run.bytes += std::size_t{count} * pixelBytes;
            run.x += count;
            run.index += count;
            run.count -= count;
        }
    });
}

// ---- From a chunk to the display

void load(Chunk& to, const Pixel* from, std::uint32_t count) {
    std::memcpy(to, from, count * sizeof(Pixel));
}

void store(Pixel* to, const Chunk& from, std::uint32_t count) {
    std::memcpy(to, from, count * sizeof(Pixel));
}

// Leaves the display as it is where the chunk has the colour `key`.
void storeUnlike(std::uint32_t key, Pixel* to, Chunk& pixels, std::uint32_t count) {
    Chunk before;
    load(before, to, count);
    for (std::uint32_t i = 0; i < count; ++i) {
        pixels[i] = ((pixels[i] ^ key) & kColor) == 0 ? before[i] : pixels[i];
    }
    store(to, pixels, count);
}

constexpr std::uint32_t kLanes = 0x00FF00FF;  // two channels at a time, each with 16 bits to grow into

// Both lanes divided by 255 and rounded down; exact for lanes up to 255 * 255.
constexpr std::uint32_t lanesBy255(std::uint32_t v) {
    return (v + ((v >> 8) & kLanes) + 0x00010001) >> 8 & kLanes;
}

constexpr std::uint32_t mixed(std::uint32_t image, std::uint32_t back) {
    const std::uint32_t alpha = image >> 24;
    const std::uint32_t rest = 255 - alpha;
    const std::uint32_t redBlue = lanesBy255((image & kLanes) * alpha + (back & kLanes) * rest);
    const std::uint32_t green = lanesBy255((image >> 8 & 0xFF) * alpha + (back >> 8 & 0xFF) * rest);
    return kOpaque | redBlue | green << 8;
}

// Reads the display from an index on, which may lie or end outside it.
void loadAnywhere(Chunk& to, const DisplayBuffer& buffer, std::uint32_t index, std::uint32_t count) {
    if (std::uint64_t{index} + count <= buffer.length) {
        load(to, buffer.vdb + index, count);
        return;
    }
    for (std::uint32_t i = 0; i < count; ++i) {
        to[i] = buffer.get(index + i, 0).px;
    }
}

// Mixes the chunk with the display from index `back` on and writes it from index `to` on.
void storeMixed(DisplayBuffer& buffer, std::uint32_t to, std::uint32_t back, const Chunk& pixels,
                std::uint32_t count) {
    // A pixel that is written here is the background of the one `ahead` pixels further on, which must be read
    // after it.
    const std::uint32_t ahead = to - back;
    const std::uint32_t most = ahead == 0 ? count : std::min(count, ahead);
    Chunk result;
    for (std::uint32_t done = 0, n = 0; done < count; done += n) {
        n = std::min(most, count - done);
        loadAnywhere(result, buffer, back + done, n);
        for (std::uint32_t i = 0; i < n; ++i) {
            result[i] = mixed(pixels[done + i], result[i]);
        }
        store(buffer.vdb + to + done, result, n);
    }
}

}  // namespace

Bmp::~Bmp() {
    BMP_Free(bmp);
}

void Bmp::deleteData() {
    BMP_Free(bmp);
    bmp = nullptr;
}

bool Bmp::loadFromFile(const char* path, bool useAlpha) {
    deleteData();
    bmp = BMP_ReadFile(path);
    if (bmp == nullptr) {
        return false;
    }
    if (useAlpha && BMP_GetDepth(bmp) != 32) {
        deleteData();
        return false;
    }
    th = useAlpha ? ETH_USE_ALPHA : ETH_NO_TRANSPARENCY;
    return true;
}

bool Bmp::loadFromFileWithTransparentColor(const char* path, Pixel color) {
    if (!loadFromFile(path, false)) {
        return false;
    }
    transparentColor = color;
    th = ETH_USE_COLOR;
    return true;
}

void Bmp::draw(bool usePos, const Position& pos, DisplayBuffer& buffer) const {
    if (bmp == nullptr) {
        return;
    }
    const Position& from = usePos ? pos : p1;
    switch (th) {
        case ETH_NO_TRANSPARENCY:
            drawNoTransparency(from, buffer);
            break;
        case ETH_USE_ALPHA:
            drawAlphaTransparency(from, buffer);
            break;
        case ETH_USE_COLOR:
            drawColorTransparency(from, buffer);
            break;
    }
}

void Bmp::drawNoTransparency(const Position& from, DisplayBuffer& buffer) const {
    forEachChunk(bmp, from, buffer, kOpaque, [&](const Run& place, const Chunk& pixels, std::uint32_t count) {
        store(buffer.vdb + place.index, pixels, count);
    });
}

void Bmp::drawColorTransparency(const Position& from, DisplayBuffer& buffer) const {
    forEachChunk(bmp, from, buffer, kOpaque, [&](const Run& place, Chunk& pixels, std::uint32_t count) {
        storeUnlike(transparentColor.px, buffer.vdb + place.index, pixels, count);
    });
}

void Bmp::drawAlphaTransparency(const Position& from, DisplayBuffer& buffer) const {
    forEachChunk(bmp, from, buffer, 0, [&](const Run& place, const Chunk& pixels, std::uint32_t count) {
        storeMixed(buffer, place.index, buffer.index(place.x, place.y), pixels, count);
    });
}

}  // namespace VelaGraphics
