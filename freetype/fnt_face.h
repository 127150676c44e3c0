// Opening of FreeType faces.
#pragma once

#include "freetype/gui_fnt.h"

namespace fnt {

// Opens and sizes the face that "FILE", "FILE:SIZE" or "FILE:SIZEpx" names, as told at Fnt_LoadFont, and
// prints that function's two messages. Null on failure; the caller gives the face back to FT_Done_Face.
FT_Face openFace(const char* text);

}  // namespace fnt
