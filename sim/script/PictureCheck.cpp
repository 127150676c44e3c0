#include "sim/script/PictureCheck.h"

#include <filesystem>

#include "sim/program/Pictures.h"

namespace sim {
namespace {

std::size_t differences(const Picture& one, const Picture& other) {
    std::size_t count = 0;
    for (std::size_t y = 0; y < Picture::kHeight; ++y) {
        for (std::size_t x = 0; x < Picture::kWidth; ++x) {
            count += one.lit(x, y) != other.lit(x, y) ? 1 : 0;
        }
    }
    return count;
}

std::optional<std::string> update(const std::string& file, const Picture& got, unsigned scale) {
    if (savePicture(file, got, scale)) {
        return std::nullopt;
    }
    return "cannot write " + file;
}

}  // namespace

std::optional<std::string> checkPicture(const std::string& file, const Picture& got,
                                        const PictureSettings& settings) {
    if (settings.update) {
        return update(file, got, settings.scale);
    }
    const auto expected = loadPicture(file);
    if (expected && *expected == got) {
        return std::nullopt;
    }
    const std::string name = std::filesystem::path(settings.artifacts) / std::filesystem::path(file).stem();
    const std::string gotFile = name + ".got.png";
    bool written = savePicture(gotFile, got, settings.scale);
    std::string what = std::filesystem::exists(file)
                           ? "cannot read it as a panel picture"
                           : "there is no such picture; --update-pictures writes it";
    if (expected) {
        written = saveDifference(name + ".diff.png", *expected, got, settings.scale) && written;
        what = std::to_string(differences(*expected, got)) + " different pixels";
    }
    return what +
           (written ? ", see " + gotFile : ", and no picture could be written to " + settings.artifacts);
}

}  // namespace sim
