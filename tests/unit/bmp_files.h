// BMP files and images for the tests, put together byte by byte without the codec.
#pragma once

#include <cstddef>
#include <cstdint>
#include <fstream>
#include <string>
#include <utility>
#include <vector>

#include "graphics/qdbmp.h"

using Bytes = std::vector<std::uint8_t>;

constexpr std::size_t kBmpHeaderBytes = 54;
constexpr std::size_t kBmpPaletteBytes = 1024;

inline std::uint32_t littleEndian(const Bytes& bytes, std::size_t offset, int count) {
    std::uint32_t value = 0;
    for (int i = count - 1; i >= 0; --i) {
        value = value << 8 | bytes.at(offset + static_cast<std::size_t>(i));
    }
    return value;
}

inline void append(Bytes& bytes, std::uint32_t value, int count) {
    for (; count > 0; --count, value >>= 8) {
        bytes.push_back(static_cast<std::uint8_t>(value));
    }
}

// The header of a file whose rows have `stride` bytes.
struct BmpHeader {
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    std::uint32_t depth = 0;
    std::uint32_t imageSize = 0;
    std::uint32_t magic = 0x4D42;
    std::uint32_t headerSize = 40;
    std::uint32_t compression = 0;

    [[nodiscard]] Bytes bytes() const {
        const std::uint32_t offset = depth == 8 ? 1078 : 54;
        Bytes b;
        append(b, magic, 2);
        append(b, offset + imageSize, 4);
        append(b, 0, 4);
        append(b, offset, 4);
        append(b, headerSize, 4);
        append(b, width, 4);
        append(b, height, 4);
        append(b, 1, 2);
        append(b, depth, 2);
        append(b, compression, 4);
        append(b, imageSize, 4);
        append(b, 0, 16);
        b.resize(kBmpHeaderBytes);
        return b;
    }
};

// The header of a file that fits together.
inline BmpHeader fittingHeader(std::uint32_t width, std::uint32_t height, std::uint32_t depth) {
    BmpHeader h;
    h.width = width;
    h.height = height;
    h.depth = depth;
    h.imageSize = (width * depth / 8 + 3) / 4 * 4 * height;
    return h;
}

// A whole file: the header, for 8 bits a palette, and as many pixel bytes as the header tells, all different
// from their neighbours.
inline Bytes fileBytes(const BmpHeader& header) {
    Bytes b = header.bytes();
    const std::size_t palette = header.depth == 8 ? kBmpPaletteBytes : 0;
    for (std::size_t i = 0; i < palette + header.imageSize; ++i) {
        b.push_back(static_cast<std::uint8_t>(i * 7 + i / 256 * 3 + 1));
    }
    return b;
}

inline Bytes fileBytes(std::uint32_t width, std::uint32_t height, std::uint32_t depth) {
    return fileBytes(fittingHeader(width, height, depth));
}

inline void writeBytes(const std::string& path, const Bytes& bytes) {
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

// A file of which single bytes are overwritten in place: much faster than writing it anew.
class EditedFile {
public:
    EditedFile(const std::string& path, const Bytes& bytes) : m_bytes(bytes) {
        writeBytes(path, bytes);
        m_stream.open(path, std::ios::binary | std::ios::in | std::ios::out);
    }

    [[nodiscard]] const Bytes& bytes() const { return m_bytes; }

    void put(std::size_t offset, std::uint8_t value) {
        m_bytes.at(offset) = value;
        m_stream.seekp(static_cast<std::streamoff>(offset));
        m_stream.put(static_cast<char>(value));
        m_stream.flush();
    }

private:
    Bytes m_bytes;
    std::fstream m_stream;
};

// Frees the image that it holds.
class Image {
public:
    explicit Image(BMP* bmp) : m_bmp(bmp) {}
    ~Image() { BMP_Free(m_bmp); }
    Image(Image&& other) noexcept : m_bmp(std::exchange(other.m_bmp, nullptr)) {}
    Image(const Image&) = delete;
    Image& operator=(const Image&) = delete;
    Image& operator=(Image&&) = delete;

    [[nodiscard]] BMP* get() const { return m_bmp; }
    BMP* operator->() const { return m_bmp; }

private:
    BMP* m_bmp;
};

// A colour as a test sees it.
struct Argb {
    std::uint8_t a = 0;
    std::uint8_t r = 0;
    std::uint8_t g = 0;
    std::uint8_t b = 0;

    friend bool operator==(const Argb& x, const Argb& y) {
        return x.a == y.a && x.r == y.r && x.g == y.g && x.b == y.b;
    }
};

inline Argb argbAt(BMP* bmp, std::uint32_t x, std::uint32_t y) {
    Argb c;
    BMP_GetPixelARGB(bmp, x, y, &c.a, &c.r, &c.g, &c.b);
    return c;
}
