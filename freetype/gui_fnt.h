// Scalable text: fonts that are loaded through FreeType or from a glyph cache file, measuring of UTF-8 text,
// and drawing of it with 8-bit coverage into 32-bit images. Lengths are pixels, x grows to the right and y
// down. Not to be used by two threads at once: the FreeType library behind it is one for the process.
//
// Text is UTF-8, decoded up to a code 0. Sequences of two to six bytes count, also overlong ones and
// surrogates; a byte that begins no sequence (a stray continuation byte with those after it, FE, FF) stands
// for one "?", and so does a sequence that ends early, without the byte that ended it. Nothing behind the NUL
// is read.
//
// A line's top is 0: the baseline lies the face's ascender below it, a glyph's bitmap `ox` right of the pen
// and `oy` below the line's top. The pen moves by the glyph's advance and by the face's kerning with the
// character before.
#pragma once

#include <ft2build.h>
#include FT_FREETYPE_H

#include <cstdarg>
#include <cstddef>
#include <cstdint>

constexpr std::size_t kFntSlots = 256;          // glyphs that a font keeps, by code modulo this
constexpr std::size_t kFntNameSize = 64;        // bytes of a name with its NUL
constexpr long kFntMaxEmPixels = 4096;          // fonts are not loaded at larger sizes
constexpr std::uint32_t kFntEllipsis = 0x2026;  // ends a line that was cut

// One character's slot. It owns nothing.
typedef struct fchar_s {
    short ax;          // advance
    short ox;          // from the pen to the bitmap's left edge
    short oy;          // from the line's top to the bitmap's top
    unsigned short w;  // of the bitmap
    unsigned short h;
    std::uint32_t offset;  // cache file: the bitmap's place in the glyph data. FreeType: the code that the
                           // slot holds, 0 for none (code 0 ends every text, so no slot ever holds it)
    const unsigned char* data;  // w x h coverage bytes, row-major: 0 empty, 255 full; FreeType: null while
                                // the slot holds nothing, and for a glyph without a bitmap
} fchar_t;

typedef struct font_s {
    fchar_t ch[kFntSlots];
    int ay;                   // from one line's top to the next
    int sy;                   // rows of a glyph cell: ascender to descender
    std::uint32_t data_sz;    // bytes of the glyph data block of a cache file, 0 for a FreeType font
    unsigned char* data;      // the block, owned
    FT_Face face;             // owned; null for a cache-file font
    FT_Bitmap bitmap;         // work space for glyphs that are not 8-bit grey, owned
    char name[kFntNameSize];  // as given when loading, cut to 63 characters
    std::uint32_t hash;       // these two are free for a caller's lookup list: 0 and null after loading
    struct font_s* next;
    struct fnt_glyphs_s* glyphs;  // what is remembered of the face, owned; null for a cache-file font
} font_t;

// The image that is drawn into. The caller owns all of it.
typedef struct image_s {
    char name[kFntNameSize];  // name, hash, next, alpha and hwbuf are not read
    std::uint32_t hash;
    struct image_s* next;
    int alpha;
    int prea;  // non-zero: the pixels are premultiplied by alpha
    int w;
    int h;
    int stride;  // bytes from one row to the next, at least 4 * w
    void* hwbuf;
    unsigned char* data;  // h rows of w pixels of 4 bytes: blue, green, red, alpha
} image_t;

typedef struct rect_s {
    int x;
    int y;
    int w;
    int h;
} rect_t;

// The bits of Fnt_RenderText's flags. 64 and 128 (callers set 128 always) change nothing.
constexpr unsigned int kFntCentre = 0x1;  // each line in the middle of the target; wins over kFntRight
constexpr unsigned int kFntRight = 0x2;   // each line at the target's right edge
constexpr unsigned int kFntMiddle = 0x4;  // the text halfway down the target; wins over kFntBottom
constexpr unsigned int kFntBottom = 0x8;  // the text at the target's bottom
constexpr unsigned int kFntLines = 0x10;  // a newline begins a line; otherwise it is a character
constexpr unsigned int kFntWrap = 0x20;   // spaces become newlines so that lines fit; needs kFntLines
constexpr unsigned int kFntWideFromLeft = 0x1000;  // a line that is too wide begins at the target's left edge
constexpr unsigned int kFntCut = 0x2000;  // ... and ends with an ellipsis. With kFntCentre or kFntRight it
                                          // needs kFntWideFromLeft
constexpr unsigned int kFntTallFromAbove = 0x4000;  // a text that is too tall begins above the target

// Loads a font. Returns null on any failure; the caller gives the font back to Fnt_CloseFont.
//
//   "ft:FILE"         FreeType, font/FILE, 10 points at 96 dpi (so does "ft:FILE:")
//   "ft:FILE:SIZE"    SIZE points, a decimal number such as 12 or 10.5
//   "ft:FILE:SIZEpx"  SIZE pixels, a whole number
//   "NAME"            the glyph cache file font/NAME.font
//
// Paths are relative to the working directory; those of FreeType fonts are cut to 255 characters. Sizes below
// 1, and what is no number, give the smallest size, 1; sizes over kFntMaxEmPixels fail. Only regular files
// are opened.
//
// Two failures are told, on standard output and without a line feed, so that A CONTROLLER SEES THEM IN FRONT
// OF THE NEXT EVENT LINE: "img: unable to init freetype", and "img: unable to load font %s error: %d" with
// the path and FreeType's error number, which is 1 ("cannot open resource") for a missing file and for what
// is no regular file. All others are silent: a size that the face does not have, a bad cache file, no memory.
//
// A glyph cache file holds 32-bit little-endian integers: "FNT2" or "FNT3"; for each code 0 .. 255 ax, ox,
// oy, w, h (of which the low 16 bits count) and the bitmap's offset in the glyph data; the line advance (`ay`
// and `sy`); the bytes of glyph data; the glyph data. A file is refused when a bitmap reaches beyond the
// glyph data, or the glyph data beyond the file.
font_t* Fnt_LoadFont(const char* name);

// The same.
font_t* Fnt_Get(const char* name);

// Frees the font and all that it owns. Null is ignored.
void Fnt_CloseFont(font_t* font);

// The width of the text up to its end or first newline, exactly what drawing moves the pen by; at the limits
// of int it stays there. `height`, when given, receives the font's `ay`. Returns 0, and leaves `height`
// alone, for a null font; a null text is empty.
int Fnt_MeasureText(font_t* font, const char* utf8, int* height);

// The number of bytes of the longest beginning of the text, in whole characters, that is at most maxWidth
// pixels wide; all of the text when it fits. One pass over the text. A null font measures nothing, so that
// everything fits.
std::size_t Fnt_FitText(font_t* font, const char* utf8, int maxWidth);

// Draws a text into a rectangle of the image; null stands for the whole image. The text is placed in the
// rectangle as it is given, also where that leaves the image, so that centred text is centred in what was
// asked for; no pixel outside the rectangle or the image is touched. Without flags it begins in the
// rectangle's top left corner. Nothing happens without an image (or its data), a font or a text, or when the
// rectangle is narrower or lower than 1.
//
// `color` points to blue, green, red and alpha. Plain images blend to it and keep their alpha, premultiplied
// ones blend all four bytes. Null is mask mode: the coverage is added to the alpha bytes, up to 255, and
// nothing else changes. `reserved` is not read; pass 0.
//
// `flags` are the bits above. Each line is aligned by itself; the text's height is `sy`, and with kFntLines
// `ay` more for every newline. A word that is wider than the rectangle is never broken.
void Fnt_RenderText(image_t* image, const rect_t* rect, font_t* font, const char* utf8,
                    const unsigned char* color, int reserved, unsigned int flags);

// The number of characters (not bytes) of the first line that fit into maxWidth pixels with an ellipsis
// behind them, kerning included. For a line that fits as a whole: one less than its characters, and 0 for an
// empty one. The ellipsis has the width 0 in a cache-file font. Returns 0 for a null font or text. `flags`
// are not read.
int fnt_get_num_chars_we(font_t* font, const char* utf8, int maxWidth, unsigned int flags);

// In a namespace, because newer C libraries declare a strlcpy of their own with C linkage: a global one of
// C++ would be a conflicting declaration there, and a global one of C would take the library's place in the
// whole process.
namespace fnt {

// Copies as much of `from` as fits into `to` of `size` bytes, always with a NUL (nothing for size 0). Returns
// strlen(from): the text was cut when that is not below `size`.
std::size_t strlcpy(char* to, const char* from, std::size_t size);

// Formats like printf into `to` of `size` bytes, cutting what does not fit, always with a NUL (nothing for
// size 0). Returns the characters written, without the NUL; 0, with an empty text, when the format fails.
[[gnu::format(printf, 3, 4)]] int slprintf(char* to, std::size_t size, const char* format, ...);
[[gnu::format(printf, 3, 0)]] int vslprintf(char* to, std::size_t size, const char* format, va_list args);

}  // namespace fnt
