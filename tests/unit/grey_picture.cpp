#include "grey_picture.h"

#include <png.h>

#include <algorithm>
#include <cstdlib>

namespace {

png_image imageOf(int w, int h) {
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    image.width = static_cast<png_uint_32>(w);
    image.height = static_cast<png_uint_32>(h);
    image.format = PNG_FORMAT_GRAY;
    return image;
}

GreyPicture differencePicture(const GreyPicture& expected, const GreyPicture& got) {
    GreyPicture picture = got;
    for (std::size_t i = 0; i < picture.pixels.size(); ++i) {
        const int apart = got.pixels[i] - expected.pixels[i];
        picture.pixels[i] = static_cast<unsigned char>(128 + apart / 2);
    }
    return picture;
}

}  // namespace

std::string difference(const GreyPicture& expected, const GreyPicture& got, Tolerance tolerance) {
    if (expected.w != got.w || expected.h != got.h) {
        return "the size is " + std::to_string(got.w) + " x " + std::to_string(got.h);
    }
    double sum = 0;
    int most = 0;
    for (std::size_t i = 0; i < got.pixels.size(); ++i) {
        const int apart = std::abs(got.pixels[i] - expected.pixels[i]);
        sum += apart;
        most = std::max(most, apart);
    }
    const double mean = got.pixels.empty() ? 0 : sum / static_cast<double>(got.pixels.size());
    if (mean <= tolerance.mean && most <= tolerance.most) {
        return "";
    }
    return "pixels are " + std::to_string(mean) + " apart in the mean and " + std::to_string(most) +
           " at most";
}

GreyPicture loadGrey(const std::string& path) {
    png_image image = imageOf(0, 0);
    if (png_image_begin_read_from_file(&image, path.c_str()) == 0) {
        return {};
    }
    image.format = PNG_FORMAT_GRAY;
    GreyPicture picture = {static_cast<int>(image.width), static_cast<int>(image.height), {}};
    picture.pixels.resize(PNG_IMAGE_SIZE(image));
    const png_color black{};
    return png_image_finish_read(&image, &black, picture.pixels.data(), 0, nullptr) != 0 ? picture
                                                                                         : GreyPicture();
}

bool saveGrey(const std::string& path, const GreyPicture& picture) {
    png_image image = imageOf(picture.w, picture.h);
    return png_image_write_to_file(&image, path.c_str(), 0, picture.pixels.data(), 0, nullptr) != 0;
}

std::string checkGrey(const std::string& name, const GreyPicture& got) {
    const std::string path = std::string(BELTPACK_TEST_DATA) + "/text/" + name + ".png";
    if (std::getenv("BELTPACK_UPDATE_DATA") != nullptr) {
        return saveGrey(path, got) ? "" : "cannot write " + path;
    }
    const GreyPicture expected = loadGrey(path);
    const std::string what = difference(expected, got);
    if (what.empty()) {
        return "";
    }
    const std::string artifact = std::string(BELTPACK_TEST_ARTIFACTS) + '/' + name;
    bool written = saveGrey(artifact + ".got.png", got);
    if (expected.w == got.w && expected.h == got.h) {
        written = saveGrey(artifact + ".diff.png", differencePicture(expected, got)) && written;
    }
    return what + (written ? ", see " : ", and this could not be written: ") + artifact + ".got.png";
}
