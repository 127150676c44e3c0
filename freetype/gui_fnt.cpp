#include "freetype/gui_fnt.h"

#include FT_BITMAP_H

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <limits>
#include <memory>
#include <new>

#include "freetype/fnt_cache_file.h"
#include "freetype/fnt_face.h"
#include "freetype/fnt_glyphs.h"

namespace {

constexpr char kFreeTypePrefix[] = "ft:";
constexpr std::size_t kPrefixLength = sizeof kFreeTypePrefix - 1;

struct FontCloser {
    void operator()(font_t* font) const { Fnt_CloseFont(font); }
};
using FontPtr = std::unique_ptr<font_t, FontCloser>;

FontPtr newRecord(const char* name) {
    FontPtr font(new (std::nothrow) font_t());
    if (font != nullptr) {
        fnt::strlcpy(font->name, name, sizeof font->name);
    }
    return font;
}

// 26.6 to whole pixels.
int roundedPixels(std::int64_t length) {
    return static_cast<int>(std::clamp<std::int64_t>((length + 31) >> 6, std::numeric_limits<int>::min(),
                                                     std::numeric_limits<int>::max()));
}

void takeMetrics(font_t* font) {
    const FT_Size_Metrics& metrics = font->face->size->metrics;
    font->ay = roundedPixels(metrics.height);
    font->sy = roundedPixels(std::int64_t{metrics.ascender} - metrics.descender);
    font->glyphs->ascender = roundedPixels(metrics.ascender);
}

font_t* loadFace(const char* name) {
    FontPtr font = newRecord(name);
    if (font == nullptr) {
        return nullptr;
    }
    FT_Bitmap_Init(&font->bitmap);
    font->glyphs = new (std::nothrow) fnt_glyphs_s();
    font->face = font->glyphs != nullptr ? fnt::openFace(name + kPrefixLength) : nullptr;
    if (font->face == nullptr) {
        return nullptr;
    }
    takeMetrics(font.get());
    return font.release();
}

font_t* loadCacheFile(const char* name) {
    FontPtr font = newRecord(name);
    return font != nullptr && fnt::readCacheFile(name, font.get()) ? font.release() : nullptr;
}

}  // namespace

font_t* Fnt_LoadFont(const char* name) {
    if (name == nullptr) {
        return nullptr;
    }
    const bool outline = std::strncmp(name, kFreeTypePrefix, kPrefixLength) == 0;
    return outline ? loadFace(name) : loadCacheFile(name);
}

font_t* Fnt_Get(const char* name) {
    return Fnt_LoadFont(name);
}

void Fnt_CloseFont(font_t* font) {
    if (font == nullptr) {
        return;
    }
    if (font->face != nullptr) {
        FT_Bitmap_Done(font->face->glyph->library, &font->bitmap);
        FT_Done_Face(font->face);
    }
    delete font->glyphs;
    delete[] font->data;
    delete font;
}

namespace fnt {

std::size_t strlcpy(char* to, const char* from, std::size_t size) {
    const std::size_t length = std::strlen(from);
    if (size > 0) {
        const std::size_t kept = std::min(length, size - 1);
        std::memcpy(to, from, kept);
        to[kept] = '\0';
    }
    return length;
}

int vslprintf(char* to, std::size_t size, const char* format, va_list args) {
    if (size == 0) {
        return 0;
    }
    const int length = std::vsnprintf(to, size, format, args);
    if (length < 0) {
        *to = '\0';
        return 0;
    }
    return static_cast<std::size_t>(length) < size ? length : static_cast<int>(size - 1);
}

int slprintf(char* to, std::size_t size, const char* format, ...) {
    va_list args;
    va_start(args, format);
    const int written = vslprintf(to, size, format, args);
    va_end(args);
    return written;
}

}  // namespace fnt
