// The fixed-height bitmap font with which all text on the panel is drawn, and its file.
#pragma once

#include <cstdint>
#include <cstdio>

#include "graphics/GrBase.h"
#include "graphics/GrDisplayBuffer.h"

namespace VelaGraphics {

// One block of bytes: a FontInfoHeader, then one glyph for each code f_minascii .. f_maxascii. A glyph is
//   1 width byte, in pixels (only in a proportional font, that is one with f_width 0), and
//   f_height rows, top row first, of f_byPline bytes each; the leftmost pixel is the highest bit of the first
//   byte, a set bit is foreground.
// Bits beyond the glyph's width are ignored. Columns beyond the bits of the row, and beyond 64, count as
// clear.
//
// A font is empty, borrows a table that outlives it, or owns the data that it loaded. A borrowed table has no
// known length and must be as long as its header says (fontDatasize). Data that fails the validity test stays
// where it is and draws as far as it goes; with an f_byPline below 1 it has no glyphs: every code then has
// the width 0 and draws nothing.
//
// The characters of a text are codes 0 .. 255: pass a char on as unsigned char. Not to be shared by threads.
class Font {
public:
    struct FontInfoHeader {
        std::uint8_t f_height;    // rows of the cell, 3 .. 128
        std::int8_t f_ucut;       // rows below the baseline, less than f_height; not used when drawing
        std::int8_t f_width;      // pixels of every glyph, up to 64; 0 marks a proportional font
        std::int8_t f_byPline;    // bytes of a row, 1 .. 8, enough for f_width
        std::uint8_t f_minascii;  // first code
        std::uint8_t f_maxascii;  // last code, not below the first
    };

    // Where the position goes after a character: to the right or down.
    enum EOrientation { EORIENT_HORIZONTAL = 0, EORIENT_VERTICAL = 1 };

    Font() = default;
    // Borrows `data` (null: an empty font) without testing it.
    explicit Font(const unsigned char* data);
    virtual ~Font();
    Font(const Font&) = delete;
    Font& operator=(const Font&) = delete;

    // Lets go of the present data and borrows `data`. Returns isValid().
    bool setFont(const unsigned char* data);

    // Reads a font file: "font", the 32-bit little-endian length of the font data, the font data. Owned data
    // is freed first, whatever follows; a borrowed table stays in use when the file cannot be opened (only
    // regular files can), lacks the magic or has a length below 6, and when memory runs out. Every other
    // failure leaves the font empty, but for data of the right length that fails the validity test: it is
    // kept. Returns true when the font was read and is valid. Never blocks, and reads nothing into memory
    // that the file does not hold.
    bool loadFromFile(const char* path);

    // Writes the font as such a file (an existing one is overwritten). Returns false, and leaves the file
    // alone, when the font is not valid; false also when the file cannot be opened or not all of it can be
    // written.
    bool saveToFile(const char* path) const;

    // Works out the bytes a glyph and the widest glyph anew. Returns isValid().
    bool updateFontInfo();

    // True when the header holds only values of the ranges above. The upper bounds alone are tested for
    // f_width and f_ucut. False without data.
    [[nodiscard]] bool isValid() const;

    // The header, null without data.
    [[nodiscard]] const FontInfoHeader* info() const {
        return reinterpret_cast<const FontInfoHeader*>(m_data);
    }
    // The whole block, null without data.
    [[nodiscard]] const unsigned char* fontData() const { return m_data; }
    // Bytes of the block by its header, modulo 2^32; 0 without data.
    [[nodiscard]] unsigned fontDatasize() const;
    // Pixels of the widest glyph, 0 without data.
    [[nodiscard]] int maxWidth() const { return maxwi; }
    // Rows of every glyph, 0 without data.
    [[nodiscard]] int charHeight() const { return m_data != nullptr ? info()->f_height : 0; }
    // False without data.
    [[nodiscard]] bool isProportional() const { return m_data != nullptr && info()->f_width == 0; }
    // Pixels of the glyph, 0 for a code that the font does not have.
    [[nodiscard]] int charWidth(int ch) const {
        const unsigned char* const glyph = glyphData(ch);
        return glyph != nullptr ? glyphWidth(glyph) : 0;
    }

    // Draws a glyph with its top left corner at `pos` into `buf`, bufWidth x bufHeight pixels, row by row.
    // Clear bits are painted in `bg`, or left alone when `bg` is 0x00000000.
    // A start beyond the right or lower edge is moved onto the last column or row, where one column or row of
    // the glyph shows; what runs over these edges is cut. Columns left of 0 and rows above 0 are cut as well.
    // Returns the glyph's width in pixels, cut or not; 0 for a code that the font does not have.
    int drawChar(int ch, std::int32_t bufWidth, std::int32_t bufHeight, Pixel* buf, const Position& pos,
                 Pixel fg, Pixel bg) const;

    // Draws into `buf` likewise, then moves `pos` on by the glyph's width or height and by `spacing` pixels,
    // stopping at the 32-bit limits. A code without a glyph, or with one of width 0, does not move it at all.
    void drawChar(int ch, DisplayBuffer& buf, Position& pos, EOrientation o, int spacing, Pixel fg,
                  Pixel bg) const;

    // Draws the characters of a text in turn, each where the one before it left the position. Draws nothing
    // for a null text.
    void drawText(const char* text, DisplayBuffer& buf, const Position& pos, EOrientation o, int spacing,
                  Pixel fg, Pixel bg) const;

    // Pixels of a text, with `spacing` pixels after every character, also after the last and after those that
    // the font does not have. Stops at the limits of int; 0 without data or for a null text.
    [[nodiscard]] int textLength(const char* text, int spacing) const;

    // Where to cut a text so that it fits, followed by `suffix` (may be null), into maxWidth pixels: the
    // index of the first character to drop. -1 when the text fits as it is, also if the suffix would not fit
    // behind it.
    [[nodiscard]] int textFit(const char* text, int spacing, int maxWidth, const char* suffix) const;

protected:
    bool ownsFontData = false;              // m_data came from new[] in loadFromFile
    const unsigned char* m_data = nullptr;  // header and glyphs
    short charsize = 0;                     // bytes of a glyph
    short maxwi = 0;                        // pixels of the widest glyph

private:
    // The first byte of the glyph, null for a code that the font does not have.
    [[nodiscard]] const unsigned char* glyphData(int ch) const {
        if (m_data == nullptr) {
            return nullptr;
        }
        const FontInfoHeader& head = *info();
        if (ch < head.f_minascii || ch > head.f_maxascii || head.f_byPline < 1) {
            return nullptr;
        }
        return m_data + sizeof(FontInfoHeader) + (ch - head.f_minascii) * charsize;
    }
    [[nodiscard]] int glyphWidth(const unsigned char* glyph) const {
        const int fixed = info()->f_width;
        return fixed != 0 ? fixed : *glyph;
    }
    [[nodiscard]] int widestGlyph() const;
    [[nodiscard]] std::int64_t exactLength(const char* text, int spacing) const;
    // drawChar without moving the position.
    int paint(int ch, const Size& extent, Pixel* buf, const Position& pos, Pixel fg, Pixel bg) const;
    void paintClipped(const unsigned char* rows, int width, const Size& extent, Pixel* buf,
                      const Position& pos, Pixel fg, Pixel bg) const;
    // The rest of loading: `length` bytes of font data. `length` is at least the header's size.
    bool adoptFrom(std::FILE* file, std::uint32_t length);
    // Frees owned data and empties the font.
    void release();
};
static_assert(sizeof(Font::FontInfoHeader) == 6, "the header is the first six bytes of a font file's data");

}  // namespace VelaGraphics
