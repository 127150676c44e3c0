#include "sim/program/Pictures.h"

#include <png.h>

#include <cstddef>
#include <cstdint>
#include <vector>

namespace sim {
namespace {

constexpr std::uint8_t kHalf = 128;

struct Colour {
    std::uint8_t red;
    std::uint8_t green;
    std::uint8_t blue;
};
constexpr Colour kLit = {255, 255, 255};
constexpr Colour kDark = {0, 0, 0};
constexpr Colour kAgreedDark = {48, 48, 48};
constexpr Colour kMissing = {255, 0, 0};
constexpr Colour kUnwanted = {0, 64, 255};

png_image imageOf(std::size_t width, std::size_t height, png_uint_32 format) {
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    image.width = static_cast<png_uint_32>(width);
    image.height = static_cast<png_uint_32>(height);
    image.format = format;
    return image;
}

template <typename ColourAt>
std::vector<Colour> enlarged(unsigned scale, ColourAt colourAt) {
    const std::size_t width = Picture::kWidth * scale;
    const std::size_t height = Picture::kHeight * scale;
    std::vector<Colour> pixels;
    pixels.reserve(width * height);
    for (std::size_t y = 0; y < height; ++y) {
        for (std::size_t x = 0; x < width; ++x) {
            pixels.push_back(colourAt(x / scale, y / scale));
        }
    }
    return pixels;
}

std::vector<Colour> enlarged(const Picture& picture, unsigned scale) {
    return enlarged(scale, [&](std::size_t x, std::size_t y) { return picture.lit(x, y) ? kLit : kDark; });
}

png_image enlargedImage(unsigned scale) {
    return imageOf(Picture::kWidth * scale, Picture::kHeight * scale, PNG_FORMAT_RGB);
}

bool save(const std::string& file, unsigned scale, const std::vector<Colour>& pixels) {
    png_image image = enlargedImage(scale);
    return png_image_write_to_file(&image, file.c_str(), 0, pixels.data(), 0, nullptr) != 0;
}

}  // namespace

bool savePicture(const std::string& file, const Picture& picture, unsigned scale) {
    return save(file, scale, enlarged(picture, scale));
}

std::string pngOf(const Picture& picture, unsigned scale) {
    const std::vector<Colour> pixels = enlarged(picture, scale);
    png_image image = enlargedImage(scale);
    png_alloc_size_t size = PNG_IMAGE_PNG_SIZE_MAX(image);
    std::string bytes(size, '\0');
    if (png_image_write_to_memory(&image, bytes.data(), &size, 0, pixels.data(), 0, nullptr) == 0) {
        size = 0;
    }
    bytes.resize(size);
    return bytes;
}

bool saveDifference(const std::string& file, const Picture& expected, const Picture& got, unsigned scale) {
    const auto colourAt = [&](std::size_t x, std::size_t y) {
        if (expected.lit(x, y) == got.lit(x, y)) {
            return got.lit(x, y) ? kLit : kAgreedDark;
        }
        return expected.lit(x, y) ? kMissing : kUnwanted;
    };
    return save(file, scale, enlarged(scale, colourAt));
}

std::optional<Picture> loadPicture(const std::string& file) {
    png_image image = imageOf(0, 0, 0);
    if (png_image_begin_read_from_file(&image, file.c_str()) == 0) {
        return std::nullopt;
    }
    image.format = PNG_FORMAT_GRAY;
    std::vector<std::uint8_t> pixels(PNG_IMAGE_SIZE(image));
    const std::size_t scale = image.width / Picture::kWidth;
    const bool fits =
        scale > 0 && image.width == scale * Picture::kWidth && image.height == scale * Picture::kHeight;
    const png_color black{};
    if (png_image_finish_read(&image, &black, pixels.data(), 0, nullptr) == 0 || !fits) {
        png_image_free(&image);
        return std::nullopt;
    }
    Picture picture;
    for (std::size_t y = 0; y < Picture::kHeight; ++y) {
        for (std::size_t x = 0; x < Picture::kWidth; ++x) {
            picture.set(x, y, pixels[(y * image.width + x) * scale] >= kHalf);
        }
    }
    return picture;
}

}  // namespace sim
