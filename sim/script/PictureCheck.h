// Comparison of the panel's picture with one that is kept as a file.
#pragma once

#include <optional>
#include <string>

#include "sim/panel/Picture.h"

namespace sim {

struct PictureSettings {
    std::string artifacts = ".";  // folder for pictures of what went wrong
    unsigned scale = 4;           // of the pictures written
    bool update = false;          // write the kept picture anew instead of comparing
};

// Nothing when the picture equals the file's, pixel for pixel. Otherwise what is different; then
// NAME.got.png, and when the kept picture can be read NAME.diff.png, stand in the artifacts folder.
[[nodiscard]] std::optional<std::string> checkPicture(const std::string& file, const Picture& got,
                                                      const PictureSettings& settings);

}  // namespace sim
