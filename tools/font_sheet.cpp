// font_sheet: shows a bitmap font as a PNG picture, every glyph in its cell and some lines of text, enlarged.
//
// usage: font_sheet FONT OUT.png [TEXT ...]
//   FONT   F9x5m, F9x5p or the path of a font file
//   TEXT   lines to set instead of the usual ones
// Exit status: 0 done, 1 the font or the picture failed, 2 wrong usage.
#include <png.h>

#include <algorithm>
#include <cstdio>
#include <iterator>
#include <string>
#include <vector>

#include "graphics/BuiltinFonts.h"
#include "graphics/GrFont.h"

namespace {

using VelaGraphics::DisplayBuffer;
using VelaGraphics::Font;
using VelaGraphics::Pixel;
using VelaGraphics::Position;
using VelaGraphics::Size;

constexpr int kScale = 8;
constexpr int kPerLine = 16;
constexpr int kMargin = 4;  // pixels between cells and around them
constexpr Pixel kPaper(0xFF101418);
constexpr Pixel kCell(0xFF202830);
constexpr Pixel kInk(0xFFFFF4D8);

const char* const kSamples[] = {
    "The quick brown fox jumps over the lazy dog",
    "PACK MY BOX WITH FIVE DOZEN LIQUOR JUGS",
    "Channel 1 Talk   Volume -12 dBu",
    "Mic gain 40 dB   Party line: AB",
    "Call_2 waiting   IP 10.0.12.345",
    "0123456789  $9.99; 50% (a+b)*{c} = [d/e]",
    "Ill1| O0 5S 8B 2Z rn m uv VU gq9 6b cl d",
    "\"It's\" `ok`, #4 <you@home> ~x^2 & \\y?!",
};

struct Canvas {
    explicit Canvas(const Size& extent)
        : pixels(static_cast<std::size_t>(extent.area()), kPaper), view(pixels.data(), extent) {}
    std::vector<Pixel> pixels;
    DisplayBuffer view;
};

void drawText(Canvas& canvas, const Font& font, Position at, const std::string& text) {
    for (const char c : text) {
        font.drawChar(static_cast<unsigned char>(c), canvas.view, at, Font::EORIENT_HORIZONTAL, 1, kInk,
                      Pixel());
    }
}

Canvas makeSheet(const Font& font, const std::vector<std::string>& lines) {
    const Font::FontInfoHeader& head = *font.info();
    const int across = font.maxWidth() + kMargin;
    const int down = font.charHeight() + kMargin;
    const int glyphRows = (head.f_maxascii - head.f_minascii) / kPerLine + 1;
    int width = kPerLine * across;
    for (const std::string& line : lines) {
        width = std::max(width, font.textLength(line.c_str(), 1));
    }
    Canvas canvas({width + kMargin, (glyphRows + static_cast<int>(lines.size())) * down + kMargin});
    for (int code = head.f_minascii; code <= head.f_maxascii; ++code) {
        const int cell = code - head.f_minascii;
        Position at(kMargin + cell % kPerLine * across, kMargin + cell / kPerLine * down);
        font.drawChar(code, canvas.view, at, Font::EORIENT_HORIZONTAL, 1, kInk, kCell);
    }
    Position at(kMargin, kMargin + glyphRows * down);
    for (const std::string& line : lines) {
        drawText(canvas, font, at, line);
        at.y += down;
    }
    return canvas;
}

std::vector<png_byte> enlarge(const Canvas& canvas) {
    std::vector<png_byte> rgb;
    for (std::int32_t y = 0; y < canvas.view.height() * kScale; ++y) {
        for (std::int32_t x = 0; x < canvas.view.width() * kScale; ++x) {
            const Pixel p = canvas.view.get({x / kScale, y / kScale});
            rgb.insert(rgb.end(), {p.red(), p.green(), p.blue()});
        }
    }
    return rgb;
}

bool writePng(const char* path, const Canvas& canvas) {
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    image.width = static_cast<png_uint_32>(canvas.view.width() * kScale);
    image.height = static_cast<png_uint_32>(canvas.view.height() * kScale);
    image.format = PNG_FORMAT_RGB;
    return png_image_write_to_file(&image, path, 0, enlarge(canvas).data(), 0, nullptr) != 0;
}

bool openFont(Font& font, const std::string& name) {
    if (name == "F9x5m") {
        return font.setFont(VelaGraphics::F9x5m);
    }
    if (name == "F9x5p") {
        return font.setFont(VelaGraphics::F9x5p);
    }
    return font.loadFromFile(name.c_str());
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 3) {
        std::fprintf(stderr, "usage: font_sheet FONT OUT.png [TEXT ...]\n");
        return 2;
    }
    Font font;
    if (!openFont(font, argv[1])) {
        std::fprintf(stderr, "font_sheet: no font %s\n", argv[1]);
        return 1;
    }
    std::vector<std::string> lines(argv + 3, argv + argc);
    if (lines.empty()) {
        lines.assign(std::begin(kSamples), std::end(kSamples));
    }
    if (!writePng(argv[2], makeSheet(font, lines))) {
        std::fprintf(stderr, "font_sheet: cannot write %s\n", argv[2]);
        return 1;
    }
    return 0;
}
