// Reading of glyph cache files.
#pragma once

#include "freetype/gui_fnt.h"

namespace fnt {

// Reads the glyph cache file font/NAME.font into a record that is all zeros: slots, line advance, glyph data.
// False: there is no good file of this name, and the record owns at most a block in `data`.
bool readCacheFile(const char* name, font_t* font);

}  // namespace fnt
