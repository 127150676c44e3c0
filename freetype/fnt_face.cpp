#include "freetype/fnt_face.h"

#include <fcntl.h>

#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <system_error>

#include "freetype/fnt_file.h"

namespace fnt {
namespace {

// Required: the messages below have no line feed and stand on standard output, in front of the next event
// line. Controllers were written against that; do not mend.

constexpr std::size_t kPathSize = 256;  // bytes with the NUL
constexpr FT_UInt kDpi = 96;
constexpr int kPointsPerInch = 72;
constexpr int kUnitsPerPoint = 64;  // 26.6
constexpr FT_F26Dot6 kDefaultHeight = FT_F26Dot6{10} * kUnitsPerPoint;
constexpr double kMaxPoints = static_cast<double>(kFntMaxEmPixels * kPointsPerInch) / kDpi;

struct Request {
    char path[kPathSize];
    const char* size;  // empty: the default size
};

Request parse(const char* text) {
    Request request;
    const std::size_t file = std::strcspn(text, ":");
    std::snprintf(request.path, sizeof request.path, "font/%.*s", static_cast<int>(file), text);
    request.size = text[file] == ':' ? text + file + 1 : text + file;
    return request;
}

// The library of the process, made at the first call and kept; null when it cannot be made.
FT_Library library() {
    static FT_Library instance = nullptr;
    if (instance == nullptr && FT_Init_FreeType(&instance) != 0) {
        instance = nullptr;
        std::printf("img: unable to init freetype");
    }
    return instance;
}

FT_Face openFile(const char* path) {
    const FT_Library freetype = library();
    if (freetype == nullptr) {
        return nullptr;
    }
    FT_Face face = nullptr;
    const FT_Error error =
        regularFileSize(AT_FDCWD, path, 0) >= 0  // FreeType would wait for the writer of a FIFO
            ? FT_New_Face(freetype, path, 0, &face)
            : FT_Err_Cannot_Open_Resource;
    if (error != 0) {
        std::printf("img: unable to load font %s error: %d", path, error);
        return nullptr;
    }
    return face;
}

bool setPixels(FT_Face face, const char* size) {
    const long pixels = std::strtol(size, nullptr, 10);
    if (pixels > kFntMaxEmPixels) {
        return false;
    }
    return FT_Set_Pixel_Sizes(face, 0, pixels > 0 ? static_cast<FT_UInt>(pixels) : 0) == 0;
}

// The number at the beginning of the text, whatever the locale; 0 when there is none.
double decimal(const char* text) {
    double value = 0;
    const auto result = std::from_chars(text, text + std::strlen(text), value, std::chars_format::fixed);
    return result.ec == std::errc::result_out_of_range ? std::numeric_limits<double>::infinity() : value;
}

bool setPoints(FT_Face face, FT_F26Dot6 height) {
    return FT_Set_Char_Size(face, 0, height, kDpi, kDpi) == 0;
}

bool setPoints(FT_Face face, const char* size) {
    const double points = decimal(size);
    if (points > kMaxPoints) {
        return false;
    }
    return setPoints(face, points > 0 ? static_cast<FT_F26Dot6>(points * kUnitsPerPoint) : 0);
}

bool setSize(FT_Face face, const char* size) {
    if (*size == '\0') {
        return setPoints(face, kDefaultHeight);
    }
    return std::strstr(size, "px") != nullptr ? setPixels(face, size) : setPoints(face, size);
}

}  // namespace

FT_Face openFace(const char* text) {
    const Request request = parse(text);
    const FT_Face face = openFile(request.path);
    if (face != nullptr && !setSize(face, request.size)) {
        FT_Done_Face(face);
        return nullptr;
    }
    return face;
}

}  // namespace fnt
