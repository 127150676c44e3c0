// The project's BMP codec as a program, for holding its files against those of other programs.
//   bmp_tool write DEPTH WIDTH HEIGHT FILE   writes a test picture of 8, 24 or 32 bits a pixel
//   bmp_tool dump FILE                       sends its pixels, from the top left, to standard output: 4 bytes
//   each
//                                            of red, green, blue and alpha
// Exit status 1, with the codec's text on standard error, when the codec fails; 2 when the arguments are
// wrong.
//
// Pixel (x, y) of the picture is red 7x + 13y, green 3x + 5y + 1, blue x + 11y + 2, alpha 5x + 3y + 4, modulo
// 256. With 8 bits it has the palette entry 5x + 3y + 4; entry i is red i, green 255 - i, blue 7i.

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "graphics/qdbmp.h"

namespace {

std::uint8_t byte(std::uint32_t value) {
    return static_cast<std::uint8_t>(value);
}

std::uint32_t number(const char* text) {
    return static_cast<std::uint32_t>(std::strtoul(text, nullptr, 10));
}

int codecStatus() {
    const char* const error = BMP_GetErrorDescription();
    if (error != nullptr) {
        std::fprintf(stderr, "%s\n", error);
    }
    return error == nullptr ? 0 : 1;
}

void paintPalette(BMP* image) {
    for (std::uint32_t i = 0; i < 256; ++i) {
        BMP_SetPaletteColor(image, byte(i), byte(i), byte(255 - i), byte(7 * i));
    }
}

void paintPixel(BMP* image, std::uint32_t x, std::uint32_t y) {
    const std::uint8_t alpha = byte(5 * x + 3 * y + 4);
    if (BMP_GetDepth(image) == 8) {
        BMP_SetPixelIndex(image, x, y, alpha);
        return;
    }
    BMP_SetPixelRGB(image, x, y, byte(7 * x + 13 * y), byte(3 * x + 5 * y + 1), byte(x + 11 * y + 2));
    if (BMP_GetDepth(image) == 32) {
        // Setting a colour leaves alpha alone, so it goes where the format keeps it.
        const std::size_t row = BMP_GetHeight(image) - 1 - y;
        image->Data[4 * (row * BMP_GetWidth(image) + x) + 3] = alpha;
    }
}

int write(std::uint16_t depth, std::uint32_t width, std::uint32_t height, const char* path) {
    BMP* const image = BMP_Create(width, height, depth);
    if (image == nullptr) {
        return codecStatus();
    }
    if (depth == 8) {
        paintPalette(image);
    }
    for (std::uint32_t y = 0; y < height; ++y) {
        for (std::uint32_t x = 0; x < width; ++x) {
            paintPixel(image, x, y);
        }
    }
    BMP_WriteFile(image, path);
    const int status = codecStatus();
    BMP_Free(image);
    return status;
}

int dump(const char* path) {
    BMP* const image = BMP_ReadFile(path);
    if (image == nullptr) {
        return codecStatus();
    }
    const std::uint32_t width = BMP_GetWidth(image);
    const std::uint32_t height = BMP_GetHeight(image);
    std::vector<std::uint8_t> row(std::size_t{4} * width);
    for (std::uint32_t y = 0; y < height; ++y) {
        for (std::uint32_t x = 0; x < width; ++x) {
            std::uint8_t* const out = &row[std::size_t{4} * x];
            BMP_GetPixelARGB(image, x, y, out + 3, out, out + 1, out + 2);
        }
        std::fwrite(row.data(), 1, row.size(), stdout);
    }
    const int status = codecStatus();
    BMP_Free(image);
    return status;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc == 6 && std::strcmp(argv[1], "write") == 0) {
        return write(static_cast<std::uint16_t>(number(argv[2])), number(argv[3]), number(argv[4]), argv[5]);
    }
    if (argc == 3 && std::strcmp(argv[1], "dump") == 0) {
        return dump(argv[2]);
    }
    std::fprintf(stderr, "usage: %s write DEPTH WIDTH HEIGHT FILE | dump FILE\n", argv[0]);
    return 2;
}
