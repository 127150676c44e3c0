// The input is a display's size, a position, a kind of transparency, a pixel to set, and behind them a BMP
// file. A palette of zeros stands in an 8-bit file that does not bring one: a whole one would be most of the
// input.

#include <array>
#include <cstring>

#include "fuzz/FuzzFiles.h"
#include "fuzz/FuzzTarget.h"
#include "fuzz/Surface.h"
#include "graphics/GrBmp.h"

using VelaGraphics::Bmp;
using VelaGraphics::DisplayBuffer;
using VelaGraphics::Pixel;
using VelaGraphics::Position;

namespace {

constexpr std::size_t kHeaderBytes = 54;
constexpr std::size_t kPaletteBytes = 1024;
constexpr std::size_t kShortPaletteBytes = 16;
constexpr std::size_t kDepthAt = 28;
constexpr std::uint64_t kMostModelPixels = 1000;
const Pixel kKey{0x00102030};

// Puts the rest of the palette, zeros, behind its first entries.
std::string withPalette(std::string file) {
    if (file.size() >= kHeaderBytes + kShortPaletteBytes && file[kDepthAt] == 8) {
        file.insert(kHeaderBytes + kShortPaletteBytes, kPaletteBytes - kShortPaletteBytes, '\0');
    }
    return file;
}

bool load(Bmp& bitmap, const char* path, unsigned int kind) {
    switch (kind % 3) {
        case 0:
            return bitmap.loadFromFile(path, false);
        case 1:
            return bitmap.loadFromFile(path, true);
        default:
            return bitmap.loadFromFileWithTransparentColor(path, kKey);
    }
}

std::uint8_t mixed(std::uint8_t image, std::uint8_t back, std::uint8_t alpha) {
    return static_cast<std::uint8_t>((image * alpha + back * (255 - alpha)) / 255);
}

// One pixel by the rules of Bmp.
void plotSlowly(const Bmp& bitmap, std::uint32_t x, std::uint32_t y, const Position& at,
                DisplayBuffer& buffer) {
    std::array<std::uint8_t, 4> c{};  // alpha, red, green, blue
    BMP_GetPixelARGB(bitmap.bmp, x, y, &c[0], &c[1], &c[2], &c[3]);
    if (BMP_GetError() != BMP_OK) {
        return;
    }
    Pixel color(255, c[1], c[2], c[3]);
    if (bitmap.th == VelaGraphics::ETH_USE_COLOR && ((color.px ^ kKey.px) & 0xFFFFFF) == 0) {
        return;
    }
    if (bitmap.th == VelaGraphics::ETH_USE_ALPHA) {
        const Pixel back = buffer.get(x, y);  // wherever the bitmap is drawn
        color = Pixel(255, mixed(c[1], back.red(), c[0]), mixed(c[2], back.green(), c[0]),
                      mixed(c[3], back.blue(), c[0]));
    }
    buffer.set(static_cast<std::uint32_t>(at.x) + x, static_cast<std::uint32_t>(at.y) + y, color);
}

void checkDrawn(const Bmp& bitmap, const Position& at, Surface& surface) {
    DisplayBuffer buffer = surface.drawn();
    bitmap.draw(true, at, buffer);
    const std::uint32_t width = BMP_GetWidth(bitmap.bmp);
    const std::uint32_t height = BMP_GetHeight(bitmap.bmp);
    if (width == 0 || std::uint64_t{width} * height > kMostModelPixels) {
        return;
    }
    DisplayBuffer model = surface.model();
    for (std::uint32_t y = 0; y < height; ++y) {
        for (std::uint32_t x = 0; x < width; ++x) {
            plotSlowly(bitmap, x, y, at, model);
        }
    }
    surface.requireSame("a bitmap's pixels stand where its file has them");
}

// A pixel that was set is read as it was set.
void checkPixel(BMP* image, std::uint32_t x, std::uint32_t y) {
    std::uint8_t r = 0;
    std::uint8_t g = 0;
    std::uint8_t b = 0;
    if (BMP_GetDepth(image) == 8) {
        BMP_SetPixelIndex(image, x, y, 7);
        BMP_SetPaletteColor(image, 7, 1, 2, 3);
    } else {
        BMP_SetPixelRGB(image, x, y, 1, 2, 3);
    }
    BMP_GetPixelRGB(image, x, y, &r, &g, &b);
    const bool inside = BMP_GetError() == BMP_OK;
    require(!inside || (r == 1 && g == 2 && b == 3), "a pixel has the colour that was set");
    require(inside || BMP_GetError() == BMP_INVALID_ARGUMENT, "only a pixel outside the image fails");
    require((BMP_GetErrorDescription() == nullptr) == inside, "every error has a text");
}

void checkWritten(BMP* image) {
    static FuzzFile copy;
    BMP_WriteFile(image, copy.path());
    require(BMP_GetError() == BMP_OK, "an image can be written");
    BMP* const again = BMP_ReadFile(copy.path());
    require(again != nullptr, "a written image can be read");
    require(std::memcmp(&again->Header, &image->Header, sizeof image->Header) == 0,
            "a written header is the same");
    require(image->Data == nullptr || std::memcmp(again->Data, image->Data, image->Header.ImageDataSize) == 0,
            "written pixels are the same");
    BMP_Free(again);
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static FuzzFile file;
    FuzzInput input(data, size);
    Surface surface(input);
    Position at;
    at.x = input.coordinate();
    at.y = input.coordinate();
    const unsigned int kind = input.byte();
    const std::uint32_t x = input.byte();
    const std::uint32_t y = input.byte();
    const std::string bytes = input.rest();
    file.put((kind & 0x80) != 0 ? bytes : withPalette(bytes));
    Bmp bitmap;
    if (!load(bitmap, file.path(), kind)) {
        require(bitmap.bmp == nullptr, "what could not be loaded holds no image");
        return 0;
    }
    checkDrawn(bitmap, at, surface);
    checkPixel(bitmap.bmp, x, y);
    checkWritten(bitmap.bmp);
    return 0;
}
