// The two fonts that are part of the program: ASCII shapes in a cell of 9 rows, 7 above the baseline and 2
// below.
#pragma once

#include <cstddef>

namespace VelaGraphics {

// Header and glyphs for the codes 32 .. 127 as class Font reads them; 127 is blank. Both are fonts of one
// byte a row, so a glyph takes 9 bytes, and one more for the width in the proportional font.
constexpr std::size_t kF9x5mSize = 6 + 96 * 9;
constexpr std::size_t kF9x5pSize = 6 + 96 * 10;

// Every glyph is 5 pixels wide, narrow shapes sit in its middle.
extern const unsigned char (&F9x5m)[kF9x5mSize];
// The same shapes 1 .. 5 pixels wide, each from its first column on.
extern const unsigned char (&F9x5p)[kF9x5pSize];

}  // namespace VelaGraphics
