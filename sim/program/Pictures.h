// Panel pictures as PNG files.
#pragma once

#include <optional>
#include <string>

#include "sim/panel/Picture.h"

namespace sim {

// Every panel pixel becomes a square of scale x scale pixels: lit white, dark black. False: the file cannot
// be written.
[[nodiscard]] bool savePicture(const std::string& file, const Picture& picture, unsigned scale);

// The same as the bytes of a PNG file; none when there is no memory for it.
[[nodiscard]] std::string pngOf(const Picture& picture, unsigned scale);

// A difference picture: equal pixels white and dark grey, missing light red, light that should not be there
// blue.
[[nodiscard]] bool saveDifference(const std::string& file, const Picture& expected, const Picture& got,
                                  unsigned scale);

// Reads a picture of any whole scale; each square counts by its top left pixel, lit when it is brighter than
// half. Nothing: the file cannot be read, or its size is no multiple of the panel's.
[[nodiscard]] std::optional<Picture> loadPicture(const std::string& file);

}  // namespace sim
