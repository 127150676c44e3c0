// Grey pictures that are held against kept ones with a tolerance.
#pragma once

#include <string>
#include <vector>

struct GreyPicture {
    int w = 0;
    int h = 0;
    std::vector<unsigned char> pixels;  // w x h, row-major
};

// How far two pictures may be apart: enough for another release of the font renderer's rounding, not for a
// stroke that moved by a pixel.
struct Tolerance {
    double mean = 0.5;  // levels a pixel
    int most = 40;      // levels of any one pixel
};

// Empty when both agree within the tolerance; otherwise what is different.
[[nodiscard]] std::string difference(const GreyPicture& expected, const GreyPicture& got,
                                     Tolerance tolerance = {});

// Reads and writes PNG files. Reading gives a picture of 0 x 0 when there is none.
[[nodiscard]] GreyPicture loadGrey(const std::string& path);
[[nodiscard]] bool saveGrey(const std::string& path, const GreyPicture& picture);

// Holds `got` against tests/data/text/NAME.png. Empty when they agree; otherwise what is different, and
// NAME.got.png and NAME.diff.png (grey: equal, brighter and darker where it is) stand in the build folder.
// With the environment variable BELTPACK_UPDATE_DATA the kept picture is written instead: look at it before
// you keep it.
[[nodiscard]] std::string checkGrey(const std::string& name, const GreyPicture& got);
