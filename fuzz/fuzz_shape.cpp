// The input is a display's size and a position, and behind them a shape file.

#include <cstring>

#include "fuzz/FuzzFiles.h"
#include "fuzz/FuzzTarget.h"
#include "fuzz/Surface.h"
#include "graphics/GrShape.h"

using VelaGraphics::Pixel;
using VelaGraphics::Position;
using VelaGraphics::Shape;

namespace {

constexpr std::size_t kHeadBytes = 8;
const Pixel kInk{0xFFABCDEF};

std::int32_t side(const std::string& file, std::size_t at) {
    return static_cast<unsigned char>(file[at]) | static_cast<unsigned char>(file[at + 1]) << 8;
}

bool isShapeFile(const std::string& file) {
    return file.size() >= kHeadBytes && file.compare(0, 4, "SHPE") == 0 &&
           std::uint64_t{static_cast<std::uint32_t>(side(file, 4))} *
                   static_cast<std::uint32_t>(side(file, 6)) <=
               file.size() - kHeadBytes;
}

// Point by point.
void drawSlowly(const std::string& file, const Position& at, VelaGraphics::DisplayBuffer buffer) {
    const auto width = static_cast<std::uint32_t>(side(file, 4));
    const auto height = static_cast<std::uint32_t>(side(file, 6));
    for (std::uint32_t y = 0; y < height && width > 0; ++y) {
        for (std::uint32_t x = 0; x < width; ++x) {
            if (file[kHeadBytes + std::size_t{y} * width + x] != 0) {
                buffer.set(static_cast<std::uint32_t>(at.x) + x, static_cast<std::uint32_t>(at.y) + y, kInk);
            }
        }
    }
}

// A shape that was written is read as it was.
void checkSaved(const Shape& shape) {
    static FuzzFile copy;
    Shape again;
    const bool saved = shape.saveToFile(copy.path());
    require(saved == !shape.size().isZero(), "every shape but the empty one can be saved");
    if (saved) {
        require(again.loadFromFile(copy.path()) && again.size() == shape.size(),
                "a saved shape can be loaded");
        const auto bytes = static_cast<std::size_t>(shape.size().area());
        require(std::memcmp(again.data(), shape.data(), bytes) == 0, "a saved mask is the same");
    }
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static FuzzFile file;
    FuzzInput input(data, size);
    Surface surface(input);
    Position at;
    at.x = input.coordinate();
    at.y = input.coordinate();
    const std::string bytes = input.rest();
    file.put(bytes);
    Shape shape;
    shape.setFg(kInk);
    const bool loaded = shape.loadFromFile(file.path());
    require(loaded == isShapeFile(bytes), "exactly shape files are loaded");
    VelaGraphics::DisplayBuffer buffer = surface.drawn();
    shape.draw(true, at, buffer);
    if (loaded) {
        drawSlowly(bytes, at, surface.model());
        checkSaved(shape);
    }
    surface.requireSame("a shape's pixels stand where its mask has them");
    return 0;
}
