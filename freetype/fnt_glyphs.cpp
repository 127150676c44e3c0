#include "freetype/fnt_glyphs.h"

#include FT_BITMAP_H

#include <algorithm>
#include <limits>
#include <new>
#include <utility>

namespace fnt {
namespace {

// Larger glyphs are rendered anew each time, so that a font never holds more than 16 MB of coverage.
constexpr std::size_t kLargestKept = std::size_t{64} * 1024;

constexpr int kFractionBits = 6;  // FreeType's lengths are 26.6

template <typename Int>
Int clampTo(long value) {
    return static_cast<Int>(
        std::clamp<long>(value, std::numeric_limits<Int>::min(), std::numeric_limits<Int>::max()));
}

short wholePixels(FT_Pos length) {
    return clampTo<short>(length >> kFractionBits);
}

Metrics metricsOf(const fchar_t& glyph) {
    return {glyph.ax, glyph.ox + glyph.w};
}

// FreeType sets the bitmap's place and size also for a glyph that it has not rendered.
fchar_t describe(const FT_GlyphSlotRec& glyph, int ascender) {
    fchar_t record = {};
    record.ax = wholePixels(glyph.advance.x);
    record.ox = clampTo<short>(glyph.bitmap_left);
    record.oy = clampTo<short>(long{ascender} - glyph.bitmap_top);
    record.w = clampTo<unsigned short>(static_cast<long>(glyph.bitmap.width));
    record.h = clampTo<unsigned short>(static_cast<long>(glyph.bitmap.rows));
    return record;
}

// The rows of a grey bitmap from the top, without padding, its levels stretched to 0 .. 255.
void copyCoverage(const FT_Bitmap& from, unsigned char* to) {
    const int pitch = from.pitch;
    const unsigned char* row = from.buffer;
    if (pitch < 0) {  // the lowest row comes first
        row -= std::ptrdiff_t{pitch} * (static_cast<std::ptrdiff_t>(from.rows) - 1);
    }
    const int stretch = from.num_grays > 1 ? 255 / (from.num_grays - 1) : 1;
    for (unsigned int y = 0; y < from.rows; ++y, row += pitch) {
        to = std::transform(row, row + from.width, to, [stretch](unsigned char level) {
            return static_cast<unsigned char>(level * stretch);
        });
    }
}

// The glyph's bitmap as 8-bit grey, which may be a copy in the font's work bitmap; null when that fails.
const FT_Bitmap* greyBitmap(font_t* font) {
    const FT_GlyphSlot glyph = font->face->glyph;
    if (glyph->bitmap.pixel_mode == FT_PIXEL_MODE_GRAY) {
        return &glyph->bitmap;
    }
    const bool converted = FT_Bitmap_Convert(glyph->library, &glyph->bitmap, &font->bitmap, 1) == 0;
    return converted ? &font->bitmap : nullptr;
}

// Makes `record` and `coverage` of the glyph that FreeType has just rendered. False: no bits or no memory.
bool takeRendered(font_t* font, fchar_t* record, fnt_glyphs_s::Coverage* coverage) {
    *record = describe(*font->face->glyph, font->glyphs->ascender);
    const std::size_t size = std::size_t{record->w} * record->h;
    if (size == 0) {
        return true;
    }
    if (font->face->glyph->bitmap.buffer == nullptr) {
        return false;  // a damaged bitmap font can give a glyph a size and no bits
    }
    const FT_Bitmap* const bitmap = greyBitmap(font);
    if (bitmap == nullptr || bitmap->width != record->w || bitmap->rows != record->h) {
        return false;
    }
    coverage->reset(new (std::nothrow) unsigned char[size]);
    if (*coverage == nullptr) {
        return false;
    }
    copyCoverage(*bitmap, coverage->get());
    record->data = coverage->get();
    return true;
}

const fchar_t* loadGlyph(font_t* font, std::uint32_t code) {
    fchar_t record;
    fnt_glyphs_s::Coverage coverage;
    if (FT_Load_Char(font->face, code, FT_LOAD_RENDER) != 0 || !takeRendered(font, &record, &coverage)) {
        return nullptr;
    }
    fnt_glyphs_s& glyphs = *font->glyphs;
    if (std::size_t{record.w} * record.h > kLargestKept) {
        glyphs.passing = record;
        glyphs.passingCoverage = std::move(coverage);
        return &glyphs.passing;
    }
    record.offset = code;
    font->ch[slotOf(code)] = record;
    glyphs.coverage[slotOf(code)] = std::move(coverage);
    return &font->ch[slotOf(code)];
}

Metrics measureGlyph(font_t* font, std::uint32_t code) {
    fnt_glyphs_s::Measured& measured = font->glyphs->measured[slotOf(code)];
    if (measured.code != code) {
        // Hinted like a rendered glyph, so that both have the same advance.
        if (FT_Load_Char(font->face, code, FT_LOAD_DEFAULT) != 0) {
            return {};
        }
        measured = {code, metricsOf(describe(*font->face->glyph, font->glyphs->ascender))};
    }
    return measured.metrics;
}

// Neighbours in a text seldom meet in one place.
std::size_t placeOf(std::uint32_t left, std::uint32_t right) {
    constexpr std::uint32_t kGoldenRatio = 0x9E3779B9;
    return ((left * kGoldenRatio) ^ right) * kGoldenRatio >> 24;
}
static_assert(kFntSlots == 256, "a place has 8 bits");

int faceKerning(FT_Face face, std::uint32_t left, std::uint32_t right) {
    FT_Vector distance = {};
    const FT_Error error = FT_Get_Kerning(face, FT_Get_Char_Index(face, left), FT_Get_Char_Index(face, right),
                                          FT_KERNING_DEFAULT, &distance);
    return error == 0 ? wholePixels(distance.x) : 0;
}

}  // namespace

Metrics metricsOf(font_t* font, std::uint32_t code) {
    if (font->face == nullptr) {
        return code < kFntSlots ? metricsOf(font->ch[code]) : Metrics();
    }
    const fchar_t& slot = font->ch[slotOf(code)];
    return slot.offset == code ? metricsOf(slot) : measureGlyph(font, code);
}

int kerning(font_t* font, std::uint32_t left, std::uint32_t right) {
    if (left == 0 || font->face == nullptr || !FT_HAS_KERNING(font->face)) {
        return 0;
    }
    fnt_glyphs_s::Pair& pair = font->glyphs->pairs[placeOf(left, right)];
    if (pair.left != left || pair.right != right) {
        pair = {left, right, faceKerning(font->face, left, right)};
    }
    return pair.kerning;
}

const fchar_t* glyphOf(font_t* font, std::uint32_t code) {
    if (font->face == nullptr) {
        return code < kFntSlots ? &font->ch[code] : nullptr;
    }
    const fchar_t& slot = font->ch[slotOf(code)];
    return slot.offset == code ? &slot : loadGlyph(font, code);
}

}  // namespace fnt
