#include "graphics/GrShape.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <new>
#include <utility>

#include "graphics/GrRaster.h"
#include "graphics/RegularFile.h"

namespace VelaGraphics {
namespace {

constexpr std::array<unsigned char, 4> kMagic = {'S', 'H', 'P', 'E'};
using Head = std::array<unsigned char, kMagic.size() + 4>;  // magic, width, height

using Bytes = std::unique_ptr<unsigned char[]>;

std::int32_t side(const Head& head, std::size_t at) {
    return head[at] | head[at + 1] << 8;
}
void putSide(Head& head, std::size_t at, std::int32_t value) {
    const auto low = static_cast<std::uint32_t>(value);
    head[at] = static_cast<unsigned char>(low);
    head[at + 1] = static_cast<unsigned char>(low >> 8);
}

// The mask's bytes. A size of a file fits 32 bits, since its sides have 16 each.
std::size_t area(const Size& size) {
    return size.isReal() ? static_cast<std::size_t>(size.w) * static_cast<std::size_t>(size.h) : 0;
}

// Reads the magic and both sides. False when they are not there.
bool readHead(std::FILE* file, Head& head) {
    return readAll(file, head.data(), head.size()) && std::equal(kMagic.begin(), kMagic.end(), head.begin());
}

// The next `size` bytes. Null when the file has fewer, without taking memory for them, or when memory runs
// out.
Bytes readBytes(std::FILE* file, std::uint64_t fileSize, std::size_t size) {
    if (fileSize < sizeof(Head) || size > fileSize - sizeof(Head)) {
        return nullptr;
    }
    Bytes bytes(new (std::nothrow) unsigned char[size]);
    return bytes != nullptr && readAll(file, bytes.get(), size) ? std::move(bytes) : nullptr;
}

}  // namespace

void Rectangle::draw(bool usePos, const Position& pos, DisplayBuffer& buffer) const {
    const Position& from = usePos ? pos : p1;
    drawOutline(buffer, from, size, borderColor);
    if (fillRectangle) {
        fillInterior(buffer, from, size, fillColor);
    }
}

void Line::draw(bool usePos, const Position& pos, DisplayBuffer& buffer) const {
    if (usePos) {
        drawLine(buffer, pos, pos + (pp2 - pp1), color);
    } else {
        drawLine(buffer, pp1, pp2, color);
    }
}

void Shape::draw(bool usePos, const Position& pos, DisplayBuffer& buffer) const {
    if (mask != nullptr) {
        drawMask(buffer, usePos ? pos : p1, sz, mask, fg);
    }
}

void Shape::deleteData() {
    if (ownsData) {
        delete[] mask;
        mask = nullptr;
        sz = Size();
        ownsData = false;
    }
}

bool Shape::loadFromFile(const char* path) {
    deleteData();
    const File file = openRegularFile(path);
    Head head;
    if (file == nullptr || !readHead(file.get(), head)) {
        return false;
    }
    const Size extent(side(head, 4), side(head, 6));
    mask = readBytes(file.get(), regularFileSize(file.get()), area(extent)).release();
    ownsData = mask != nullptr;
    sz = ownsData ? extent : Size();
    return ownsData;
}

bool Shape::saveToFile(const char* path) const {
    const std::size_t count = area(sz);
    if (sz.isZero() || (mask == nullptr && count > 0)) {
        return false;
    }
    File file = createFile(path);
    if (file == nullptr) {
        return false;
    }
    Head head{};
    std::copy(kMagic.begin(), kMagic.end(), head.begin());
    putSide(head, 4, sz.w);
    putSide(head, 6, sz.h);
    const bool written = writeAll(file.get(), head.data(), head.size()) && writeAll(file.get(), mask, count);
    return finish(std::move(file)) && written;
}

}  // namespace VelaGraphics
