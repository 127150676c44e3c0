#include "graphics/qdbmp.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <utility>

#include "graphics/RegularFile.h"

namespace {

constexpr std::uint16_t kMagic = 0x4D42;
constexpr std::uint32_t kFileHeaderBytes = 14;
constexpr std::uint32_t kInfoHeaderBytes = 40;
constexpr std::uint32_t kPaletteBytes = 1024;

constexpr const char* BMP_ERROR_STRING[BMP_ERROR_NUM] = {
    "",
    "General error",
    "Could not allocate enough memory to complete the operation",
    "File input/output error",
    "File not found",
    "File is not a supported BMP variant (must be uncompressed 8, 24 or 32 BPP)",
    "File is not a valid BMP image",
    "An argument is invalid or out of range",
    "The requested action is not compatible with the BMP's type",
};

BMP_STATUS lastError = BMP_OK;

struct ImageFree {
    void operator()(BMP* bmp) const { BMP_Free(bmp); }
};
using Image = std::unique_ptr<BMP, ImageFree>;

// Leaves the outcome as the last error. Returns true for BMP_OK.
bool report(BMP_STATUS status) {
    lastError = status;
    return status == BMP_OK;
}

bool isSupportedDepth(std::uint16_t depth) {
    return depth == 8 || depth == 24 || depth == 32;
}

bool hasPalette(const BMP* bmp) {
    return bmp->Header.BitsPerPixel == 8 && bmp->Palette != nullptr;
}

std::uint8_t* allocateZeroed(std::uint32_t bytes) {
    return static_cast<std::uint8_t*>(std::calloc(bytes, 1));
}

// ---- Files

// Calls visit(field) for the fields in file order until one call returns false; returns whether none did.
template <typename Header, typename Visit>
bool forEachField(Header& h, Visit visit) {
    return visit(h.Magic) && visit(h.FileSize) && visit(h.Reserved1) && visit(h.Reserved2) &&
           visit(h.DataOffset) && visit(h.HeaderSize) && visit(h.Width) && visit(h.Height) &&
           visit(h.Planes) && visit(h.BitsPerPixel) && visit(h.CompressionType) && visit(h.ImageDataSize) &&
           visit(h.HPixelsPerMeter) && visit(h.VPixelsPerMeter) && visit(h.ColorsUsed) &&
           visit(h.ColorsRequired);
}

template <typename UInt>
bool readField(std::FILE* file, UInt& field) {
    unsigned char bytes[sizeof(UInt)];
    if (!readAll(file, bytes, sizeof(bytes))) {
        return false;
    }
    std::uint32_t value = 0;
    for (std::size_t i = 0; i < sizeof(UInt); ++i) {
        value |= std::uint32_t{bytes[i]} << 8 * i;
    }
    field = static_cast<UInt>(value);
    return true;
}

template <typename UInt>
bool writeField(std::FILE* file, UInt field) {
    unsigned char bytes[sizeof(UInt)];
    for (std::size_t i = 0; i < sizeof(UInt); ++i) {
        bytes[i] = static_cast<unsigned char>(field >> 8 * i);
    }
    return writeAll(file, bytes, sizeof(bytes));
}

BMP_STATUS readHeader(std::FILE* file, BMP_Header& header) {
    const bool whole = forEachField(header, [file](auto& field) { return readField(file, field); });
    if (!whole || header.Magic != kMagic) {
        return BMP_FILE_INVALID;
    }
    if (!isSupportedDepth(header.BitsPerPixel) || header.CompressionType != 0 ||
        header.HeaderSize != kInfoHeaderBytes) {
        return BMP_FILE_NOT_SUPPORTED;
    }
    return BMP_OK;
}

// Reads the next `size` bytes into a new block; 0 bytes need none. `left` counts down what the file still
// holds: a size beyond it fails before anything is allocated.
BMP_STATUS readBlock(std::FILE* file, std::uint32_t size, std::uint64_t& left, std::uint8_t*& block) {
    if (size > left) {
        return BMP_FILE_INVALID;
    }
    left -= size;
    if (size == 0) {
        return BMP_OK;
    }
    block = static_cast<std::uint8_t*>(std::malloc(size));
    if (block == nullptr) {
        return BMP_OUT_OF_MEMORY;
    }
    return readAll(file, block, size) ? BMP_OK : BMP_FILE_INVALID;
}

// Required, do not mend: the file is read from front to back and DataOffset is not looked at. A file with
// further bytes before its palette or pixels is misread; the panel's pictures are made without such bytes.
BMP_STATUS readImage(const char* path, BMP& bmp) {
    const File file = openRegularFile(path);
    if (file == nullptr) {
        return BMP_FILE_NOT_FOUND;
    }
    const BMP_STATUS status = readHeader(file.get(), bmp.Header);
    if (status != BMP_OK) {
        return status;
    }
    const std::uint64_t size = regularFileSize(file.get());
    const std::uint64_t head = kFileHeaderBytes + kInfoHeaderBytes;
    std::uint64_t left = size > head ? size - head : 0;
    if (bmp.Header.BitsPerPixel == 8) {
        const BMP_STATUS palette = readBlock(file.get(), kPaletteBytes, left, bmp.Palette);
        if (palette != BMP_OK) {
            return palette;
        }
    }
    return readBlock(file.get(), bmp.Header.ImageDataSize, left, bmp.Data);
}

bool writeBlock(std::FILE* file, const std::uint8_t* block, std::uint32_t size) {
    return block == nullptr || writeAll(file, block, size);
}

bool writeImage(std::FILE* file, const BMP& bmp) {
    return forEachField(bmp.Header, [file](auto field) { return writeField(file, field); }) &&
           writeBlock(file, bmp.Palette, kPaletteBytes) &&
           writeBlock(file, bmp.Data, bmp.Header.ImageDataSize);
}

// ---- Pixels

// A row's bytes and how many of its pixels lie in the image and its data.
struct Row {
    std::uint8_t* bytes = nullptr;
    std::uint32_t pixels = 0;
};

std::uint32_t bytesPerPixel(const BMP* bmp) {
    return isSupportedDepth(bmp->Header.BitsPerPixel) ? bmp->Header.BitsPerPixel / 8U : 0;
}

// The stride is what the header tells, not what the width needs: a header that does not fit shears the
// picture, and the bound of the data is what keeps its pixels in memory.
Row rowAt(const BMP* bmp, std::uint32_t y) {
    const std::uint32_t pixelBytes = bmp != nullptr ? bytesPerPixel(bmp) : 0;
    if (pixelBytes == 0 || bmp->Data == nullptr || y >= bmp->Header.Height) {
        return {};
    }
    const BMP_Header& h = bmp->Header;
    const std::uint32_t offset = h.ImageDataSize / h.Height * (h.Height - 1 - y);  // at most ImageDataSize
    const std::uint32_t pixels = std::min(h.Width, (h.ImageDataSize - offset) / pixelBytes);
    return pixels > 0 ? Row{bmp->Data + offset, pixels} : Row{};
}

// The bytes of a pixel; null when it is not in the image.
std::uint8_t* pixelAt(const BMP* bmp, std::uint32_t x, std::uint32_t y) {
    const Row row = rowAt(bmp, y);
    return x < row.pixels ? row.bytes + std::size_t{x} * bytesPerPixel(bmp) : nullptr;
}

// The bytes that hold a pixel's colour: its own or those of its palette entry.
const std::uint8_t* colorAt(const BMP* bmp, std::uint32_t x, std::uint32_t y) {
    const std::uint8_t* const pixel = pixelAt(bmp, x, y);
    if (pixel == nullptr || bmp->Header.BitsPerPixel != 8) {
        return pixel;
    }
    return hasPalette(bmp) ? bmp->Palette + std::size_t{4} * *pixel : nullptr;
}

void store(std::uint8_t* to, std::uint8_t value) {
    if (to != nullptr) {
        *to = value;
    }
}

void storeColor(const std::uint8_t* color, std::uint8_t* r, std::uint8_t* g, std::uint8_t* b) {
    store(r, color[2]);
    store(g, color[1]);
    store(b, color[0]);
}

void setColor(std::uint8_t* color, std::uint8_t r, std::uint8_t g, std::uint8_t b) {
    color[2] = r;
    color[1] = g;
    color[0] = b;
}

// The bytes of a pixel that the caller may use, or null with the reason as the last error: the pixel must be
// in the image, and the image have indexes or colours as wanted.
std::uint8_t* usablePixel(const BMP* bmp, std::uint32_t x, std::uint32_t y, bool indexed) {
    std::uint8_t* const pixel = pixelAt(bmp, x, y);
    if (pixel == nullptr) {
        report(BMP_INVALID_ARGUMENT);
        return nullptr;
    }
    return report((bmp->Header.BitsPerPixel == 8) == indexed ? BMP_OK : BMP_TYPE_MISMATCH) ? pixel : nullptr;
}

// The same for a palette entry.
std::uint8_t* usableEntry(const BMP* bmp, std::uint8_t index) {
    if (bmp == nullptr) {
        report(BMP_INVALID_ARGUMENT);
        return nullptr;
    }
    return report(hasPalette(bmp) ? BMP_OK : BMP_TYPE_MISMATCH) ? bmp->Palette + std::size_t{4} * index
                                                                : nullptr;
}

// Reports whether there is an image to ask.
bool isImage(const BMP* bmp) {
    return report(bmp != nullptr ? BMP_OK : BMP_INVALID_ARGUMENT);
}

// Fills the header and allocates palette and data. The sides are not 0 and the depth is known.
BMP_STATUS createImage(BMP& bmp, std::uint32_t width, std::uint32_t height, std::uint16_t depth) {
    BMP_Header& h = bmp.Header;
    const std::uint64_t rowBytes = (std::uint64_t{width} * (depth / 8U) + 3) / 4 * 4;
    const std::uint32_t paletteBytes = depth == 8 ? kPaletteBytes : 0;
    h.DataOffset = kFileHeaderBytes + kInfoHeaderBytes + paletteBytes;
    if (rowBytes > (UINT32_MAX - h.DataOffset) / height) {
        return BMP_INVALID_ARGUMENT;  // the header has no room for the sizes
    }
    h.ImageDataSize = static_cast<std::uint32_t>(rowBytes) * height;
    h.Magic = kMagic;
    h.FileSize = h.ImageDataSize + h.DataOffset;
    h.HeaderSize = kInfoHeaderBytes;
    h.Width = width;
    h.Height = height;
    h.Planes = 1;
    h.BitsPerPixel = depth;
    bmp.Data = allocateZeroed(h.ImageDataSize);
    bmp.Palette = paletteBytes > 0 ? allocateZeroed(paletteBytes) : nullptr;
    return bmp.Data != nullptr && (paletteBytes == 0 || bmp.Palette != nullptr) ? BMP_OK : BMP_OUT_OF_MEMORY;
}

// Fills a new record by fill(BMP&) and hands it to the caller; null, freed and reported, when that fails.
template <typename Fill>
BMP* newImage(Fill fill) {
    Image bmp(static_cast<BMP*>(std::calloc(1, sizeof(BMP))));
    const BMP_STATUS status = bmp != nullptr ? fill(*bmp) : BMP_OUT_OF_MEMORY;
    if (status != BMP_OK) {
        bmp.reset();
    }
    report(status);  // last: freeing reports too
    return bmp.release();
}

}  // namespace

// ---- The codec's functions, in the order of the header

BMP* BMP_Create(uint32_t width, uint32_t height, uint16_t depth) {
    if (width == 0 || height == 0) {
        report(BMP_INVALID_ARGUMENT);
        return nullptr;
    }
    if (!isSupportedDepth(depth)) {
        report(BMP_FILE_NOT_SUPPORTED);
        return nullptr;
    }
    return newImage([&](BMP& bmp) { return createImage(bmp, width, height, depth); });
}

void BMP_Free(BMP* bmp) {
    if (bmp == nullptr) {
        return;
    }
    std::free(bmp->Palette);
    std::free(bmp->Data);
    std::free(bmp);
    report(BMP_OK);
}

BMP* BMP_ReadFile(const char* path) {
    if (path == nullptr) {
        report(BMP_INVALID_ARGUMENT);
        return nullptr;
    }
    return newImage([path](BMP& bmp) { return readImage(path, bmp); });
}

void BMP_WriteFile(BMP* bmp, const char* path) {
    if (path == nullptr) {
        report(BMP_INVALID_ARGUMENT);
        return;
    }
    File file = createFile(path, bmp == nullptr);
    if (file == nullptr) {
        report(BMP_FILE_NOT_FOUND);
        return;
    }
    const bool written = bmp != nullptr && writeImage(file.get(), *bmp);
    const bool closed = finish(std::move(file));
    report(written && closed ? BMP_OK : BMP_IO_ERROR);
}

uint32_t BMP_GetWidth(BMP* bmp) {
    return isImage(bmp) ? bmp->Header.Width : 0;
}

uint32_t BMP_GetHeight(BMP* bmp) {
    return isImage(bmp) ? bmp->Header.Height : 0;
}

uint16_t BMP_GetDepth(BMP* bmp) {
    return isImage(bmp) ? bmp->Header.BitsPerPixel : std::uint16_t{0};
}

void BMP_GetPixelRGB(BMP* bmp, uint32_t x, uint32_t y, uint8_t* r, uint8_t* g, uint8_t* b) {
    const std::uint8_t* const color = colorAt(bmp, x, y);
    if (report(color != nullptr ? BMP_OK : BMP_INVALID_ARGUMENT)) {
        storeColor(color, r, g, b);
    }
}

void BMP_GetPixelARGB(BMP* bmp, uint32_t x, uint32_t y, uint8_t* a, uint8_t* r, uint8_t* g, uint8_t* b) {
    store(a, 255);
    const std::uint8_t* const color = colorAt(bmp, x, y);
    if (!report(color != nullptr ? BMP_OK : BMP_INVALID_ARGUMENT)) {
        return;
    }
    if (bmp->Header.BitsPerPixel == 32) {
        store(a, color[3]);
    }
    storeColor(color, r, g, b);
}

void BMP_SetPixelRGB(BMP* bmp, uint32_t x, uint32_t y, uint8_t r, uint8_t g, uint8_t b) {
    if (std::uint8_t* const pixel = usablePixel(bmp, x, y, false)) {
        setColor(pixel, r, g, b);
    }
}

void BMP_GetPixelIndex(BMP* bmp, uint32_t x, uint32_t y, uint8_t* val) {
    if (const std::uint8_t* const pixel = usablePixel(bmp, x, y, true)) {
        store(val, *pixel);
    }
}

void BMP_SetPixelIndex(BMP* bmp, uint32_t x, uint32_t y, uint8_t val) {
    if (std::uint8_t* const pixel = usablePixel(bmp, x, y, true)) {
        *pixel = val;
    }
}

void BMP_GetPaletteColor(BMP* bmp, uint8_t index, uint8_t* r, uint8_t* g, uint8_t* b) {
    if (const std::uint8_t* const entry = usableEntry(bmp, index)) {
        storeColor(entry, r, g, b);
    }
}

void BMP_SetPaletteColor(BMP* bmp, uint8_t index, uint8_t r, uint8_t g, uint8_t b) {
    if (std::uint8_t* const entry = usableEntry(bmp, index)) {
        setColor(entry, r, g, b);
    }
}

const uint8_t* BMP_GetRow(BMP* bmp, uint32_t y, uint32_t* pixels) {
    const Row row = rowAt(bmp, y);
    report(row.pixels > 0 ? BMP_OK : BMP_INVALID_ARGUMENT);
    *pixels = row.pixels;
    return row.bytes;
}

BMP_STATUS BMP_GetError(void) {
    return lastError;
}

const char* BMP_GetErrorDescription(void) {
    return lastError > BMP_OK && lastError < BMP_ERROR_NUM ? BMP_ERROR_STRING[lastError] : nullptr;
}
