// The input is a display's size, a position, colours, a text, and behind them a bitmap font file.

#include <algorithm>
#include <cstring>

#include "fuzz/FuzzFiles.h"
#include "fuzz/FuzzTarget.h"
#include "fuzz/Surface.h"
#include "graphics/GrFont.h"

using VelaGraphics::DisplayBuffer;
using VelaGraphics::Font;
using VelaGraphics::Pixel;
using VelaGraphics::Position;

namespace {

constexpr int kVisibleColumns = 64;  // of a glyph

struct Job {
    Position at;
    Pixel fg{0xFFFFFFFF};
    Pixel bg;
    Font::EOrientation orientation = Font::EORIENT_HORIZONTAL;
    int spacing = 0;
    std::string text;
};

Job readJob(FuzzInput& input) {
    Job job;
    job.at.x = input.coordinate();
    job.at.y = input.coordinate();
    const unsigned int kind = input.byte();
    job.bg = Pixel((kind & 1) != 0 ? 0xFF102030 : 0);
    job.orientation = (kind & 2) != 0 ? Font::EORIENT_VERTICAL : Font::EORIENT_HORIZONTAL;
    job.spacing = (kind & 4) != 0 ? input.coordinate() : 1;
    job.text = input.text();
    return job;
}

// The rows of a glyph, null for none, by the layout of the file alone.
const unsigned char* rowsOf(const Font& font, int code) {
    const Font::FontInfoHeader& head = *font.info();
    if (code < head.f_minascii || code > head.f_maxascii || head.f_byPline < 1) {
        return nullptr;
    }
    const int widthByte = head.f_width == 0 ? 1 : 0;
    const int bytes = head.f_byPline * head.f_height + widthByte;
    return font.fontData() + sizeof head + (code - head.f_minascii) * bytes + widthByte;
}

int widthOf(const Font& font, const unsigned char* rows) {
    return font.info()->f_width != 0 ? font.info()->f_width : rows[-1];
}

// Pixel by pixel: a start beyond the right or lower edge counts as the last column or row.
void drawSlowly(const Font& font, int code, const Position& at, const Job& job, DisplayBuffer buffer) {
    const unsigned char* const rows = rowsOf(font, code);
    const int rowBytes = font.info()->f_byPline;
    const std::int64_t left = std::min(at.x, buffer.width() - 1);
    const std::int64_t top = std::min(at.y, buffer.height() - 1);
    for (int row = 0; rows != nullptr && row < font.charHeight(); ++row) {
        for (int column = 0; column < widthOf(font, rows); ++column) {
            const std::int64_t x = left + column;
            const std::int64_t y = top + row;
            const bool there = column < std::min(kVisibleColumns, 8 * rowBytes);
            const bool set = there && (rows[row * rowBytes + column / 8] << column % 8 & 0x80) != 0;
            if (x >= 0 && x < buffer.width() && y >= 0 && y < buffer.height() &&
                (set || !job.bg.isTransparent())) {
                buffer.set(static_cast<unsigned int>(x), static_cast<unsigned int>(y), set ? job.fg : job.bg);
            }
        }
    }
}

void checkText(const Font& font, const Job& job, Surface& surface) {
    DisplayBuffer buffer = surface.drawn();
    font.drawText(job.text.c_str(), buffer, job.at, job.orientation, job.spacing, job.fg, job.bg);
    Position at = job.at;
    std::vector<Pixel> unseen(surface.drawn().length);
    for (const char c : job.text) {
        const int code = static_cast<unsigned char>(c);
        drawSlowly(font, code, at, job, surface.model());
        DisplayBuffer other(unseen.data(), surface.size());
        font.drawChar(code, other, at, job.orientation, job.spacing, job.fg,
                      job.bg);  // moves the position on
    }
    surface.requireSame("a text's pixels stand where its glyphs have them");
}

void checkLengths(const Font& font, const Job& job) {
    const int length = font.textLength(job.text.c_str(), job.spacing);
    const int most = job.at.x;
    const int cut = font.textFit(job.text.c_str(), job.spacing, most, "..");
    require(cut >= -1 && cut <= static_cast<int>(job.text.size()), "a text is cut inside");
    require(job.spacing < 0 || job.text.empty() || font.info()->f_width < 0 || length >= 0, "lengths add up");
    require(font.maxWidth() >= -128 && font.maxWidth() <= 255, "no glyph is wider than its byte can tell");
}

void checkSaved(const Font& font) {
    static FuzzFile copy;
    Font again;
    require(font.saveToFile(copy.path()), "a valid font can be saved");
    require(again.loadFromFile(copy.path()), "a saved font can be loaded");
    require(again.fontDatasize() == font.fontDatasize() &&
                std::memcmp(again.fontData(), font.fontData(), font.fontDatasize()) == 0,
            "a saved font is the same");
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static FuzzFile file;
    FuzzInput input(data, size);
    Surface surface(input);
    const Job job = readJob(input);
    file.put(input.rest());
    Font font;
    const bool loaded = font.loadFromFile(file.path());
    require(loaded == font.isValid(), "a font that was loaded is valid");
    if (font.fontData() != nullptr) {
        checkText(font, job, surface);
        checkLengths(font, job);
    }
    if (loaded) {
        checkSaved(font);
    }
    return 0;
}
