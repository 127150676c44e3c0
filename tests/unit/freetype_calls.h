// Watches the calls that the font renderer makes to FreeType, to read and to strdup, and lets them fail. The
// test's program is linked with --wrap for each of them, see CMakeLists.txt.
#pragma once

#include <ft2build.h>
#include FT_FREETYPE_H

#include <deque>
#include <functional>
#include <string>
#include <vector>

struct FreeTypeCalls {
    int newFaces = 0;   // FT_New_Face
    int doneFaces = 0;  // FT_Done_Face
    int charIndexes = 0;
    std::vector<std::string> sizes;  // e.g. "pixels 0 16", "char 0 768 96 96"
    std::vector<std::string> loads;  // of FT_Load_Char: e.g. "65 render", "65 measure"

    FT_Error (*init)(FT_Library*) = nullptr;  // in place of FT_Init_FreeType
    bool initFails = false;
    bool loadsFail = false;
    bool kerningFails = false;
    bool convertsFail = false;
    bool strdupFails = false;
    std::deque<int> reads;  // what the next ones do: fail with an error number, 0 for the end of the file

    std::function<void(FT_GlyphSlot)> onLoad;  // may change what was loaded
};

// All zeros at the start of a test that calls this.
FreeTypeCalls& resetFreeTypeCalls();
FreeTypeCalls& freeTypeCalls();
