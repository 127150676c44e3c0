#include "graphics/qdbmp.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <map>
#include <string>
#include <tuple>
#include <vector>

#include "bmp_files.h"
#include "tests/unit/sim/TemporaryFolder.h"

// ---- The allocations of the codec, seen and refused at link time (see CMakeLists.txt)

namespace {

struct Heap {
    bool watched = false;
    std::map<void*, std::size_t> blocks;  // live, allocated while watched
    std::size_t bytes = 0;                // of all allocations while watched
    int allocations = 0;
    int refused = 0;  // the nth allocation fails; 0: none
};

// Never destroyed: blocks are freed after everything else.
Heap& heap() {
    static Heap& only = *new Heap;
    return only;
}

bool isRefused(std::size_t bytes) {
    Heap& h = heap();
    h.bytes += bytes;
    return ++h.allocations == h.refused;
}

void* remembered(void* block, std::size_t bytes) {
    if (block != nullptr) {
        heap().blocks[block] = bytes;
    }
    return block;
}

}  // namespace

extern "C" {
void* __real_malloc(std::size_t size);
void* __real_calloc(std::size_t count, std::size_t size);
void __real_free(void* block);

void* __wrap_malloc(std::size_t size) {
    if (!heap().watched) {
        return __real_malloc(size);
    }
    return isRefused(size) ? nullptr : remembered(__real_malloc(size), size);
}

void* __wrap_calloc(std::size_t count, std::size_t size) {
    if (!heap().watched) {
        return __real_calloc(count, size);
    }
    return isRefused(count * size) ? nullptr : remembered(__real_calloc(count, size), count * size);
}

void __wrap_free(void* block) {
    if (heap().watched) {
        heap().blocks.erase(block);
    }
    __real_free(block);
}
}

namespace {

// Watches the codec's allocations, of which the nth may be refused.
class HeapWatch {
public:
    explicit HeapWatch(int refused = 0) {
        heap() = Heap();
        heap().refused = refused;
        heap().watched = true;
    }
    ~HeapWatch() { heap().watched = false; }
    HeapWatch(const HeapWatch&) = delete;
    HeapWatch& operator=(const HeapWatch&) = delete;

    [[nodiscard]] std::size_t liveBlocks() const { return heap().blocks.size(); }
    [[nodiscard]] std::size_t bytes() const { return heap().bytes; }
    [[nodiscard]] int allocations() const { return heap().allocations; }
};

class BmpFile : public ::testing::Test {
protected:
    [[nodiscard]] std::string path(const std::string& name = "image.bmp") const {
        return m_folder.file(name);
    }

    // Reads a file of these bytes.
    [[nodiscard]] Image read(const Bytes& bytes) const {
        writeBytes(path(), bytes);
        return Image(BMP_ReadFile(path().c_str()));
    }
    // What reading a file of these bytes ends with.
    [[nodiscard]] BMP_STATUS outcome(const Bytes& bytes) const {
        const Image image = read(bytes);
        const BMP_STATUS status = BMP_GetError();
        EXPECT_EQ(image.get() != nullptr, status == BMP_OK);
        return status;
    }
    [[nodiscard]] Bytes contents(const std::string& name = "image.bmp") const {
        std::ifstream stream(path(name), std::ios::binary);
        return {std::istreambuf_iterator<char>(stream), {}};
    }

    TemporaryFolder m_folder;
};

// What a file must end with, from its bytes alone.
BMP_STATUS expectedOutcome(const Bytes& file) {
    if (file.size() < kBmpHeaderBytes || littleEndian(file, 0, 2) != 0x4D42) {
        return BMP_FILE_INVALID;
    }
    const std::uint32_t depth = littleEndian(file, 28, 2);
    if ((depth != 8 && depth != 24 && depth != 32) || littleEndian(file, 30, 4) != 0 ||
        littleEndian(file, 14, 4) != 40) {
        return BMP_FILE_NOT_SUPPORTED;
    }
    const std::uint64_t palette = depth == 8 ? kBmpPaletteBytes : 0;
    return file.size() < kBmpHeaderBytes + palette + littleEndian(file, 34, 4) ? BMP_FILE_INVALID : BMP_OK;
}

// The bytes of a pixel by the definition of its address; empty when it is not in the image or its data.
Bytes expectedPixel(const Bytes& file, std::uint32_t x, std::uint32_t y) {
    const std::uint64_t width = littleEndian(file, 18, 4);
    const std::uint64_t height = littleEndian(file, 22, 4);
    const std::uint64_t depth = littleEndian(file, 28, 2);
    const std::uint64_t size = littleEndian(file, 34, 4);
    if (x >= width || y >= height) {
        return {};
    }
    const std::uint64_t offset = x * (depth / 8) + size / height * (height - 1 - y);
    if (offset + depth / 8 > size) {
        return {};
    }
    const std::size_t data = kBmpHeaderBytes + (depth == 8 ? kBmpPaletteBytes : 0);
    const auto first = file.begin() + static_cast<std::ptrdiff_t>(data + offset);
    Bytes pixel(first, first + static_cast<std::ptrdiff_t>(depth / 8));
    if (depth == 8) {
        const auto entry =
            file.begin() + static_cast<std::ptrdiff_t>(kBmpHeaderBytes + std::size_t{4} * pixel[0]);
        pixel.assign(entry, entry + 3);
    }
    return pixel;
}

// Columns or rows at which an image of this side is looked at.
std::vector<std::uint32_t> placesOf(std::uint32_t side) {
    return {0, 1, 2, 3, side / 2, side - 2, side - 1, side, side + 1, 0x7FFFFFFF, 0xFFFFFFFF};
}

void expectPixelAsInFile(BMP* image, const Bytes& file, std::uint32_t x, std::uint32_t y) {
    const Bytes pixel = expectedPixel(file, x, y);
    const Argb found = argbAt(image, x, y);
    if (pixel.empty()) {
        ASSERT_EQ(BMP_GetError(), BMP_INVALID_ARGUMENT) << x << ", " << y;
        ASSERT_EQ(found, (Argb{255, 0, 0, 0}));
        return;
    }
    ASSERT_EQ(BMP_GetError(), BMP_OK) << x << ", " << y;
    const std::uint8_t alpha = pixel.size() == 4 ? pixel[3] : std::uint8_t{255};
    ASSERT_EQ(found, (Argb{alpha, pixel[2], pixel[1], pixel[0]})) << x << ", " << y;
}

// Uses every access to pixels in the image and around it, and holds what is read against the file.
void expectPixelsAsInFile(BMP* image, const Bytes& file) {
    for (const std::uint32_t y : placesOf(BMP_GetHeight(image))) {
        for (const std::uint32_t x : placesOf(BMP_GetWidth(image))) {
            expectPixelAsInFile(image, file, x, y);
        }
    }
    for (const std::uint32_t y : placesOf(BMP_GetHeight(image))) {
        for (const std::uint32_t x : placesOf(BMP_GetWidth(image))) {
            std::uint8_t index = 0;
            BMP_GetPixelIndex(image, x, y, &index);
            BMP_SetPixelIndex(image, x, y, index);
            BMP_SetPixelRGB(image, x, y, 1, 2, 3);
        }
    }
}

const std::vector<std::uint16_t> kDepths = {8, 24, 32};
const std::vector<std::uint16_t> kColorDepths = {24, 32};

// ---- Creating

TEST(CreatedBmp, HasTheHeaderOfItsKind) {
    for (const auto& [depth, offset, size] :
         std::vector<std::tuple<std::uint16_t, std::uint32_t, std::uint32_t>>{
             {8, 1078, 8}, {24, 54, 24}, {32, 54, 24}}) {
        const Image image(BMP_Create(3, 2, depth));
        ASSERT_NE(image.get(), nullptr);
        EXPECT_EQ(BMP_GetError(), BMP_OK);
        const BMP_Header& h = image->Header;
        EXPECT_EQ(h.Magic, 0x4D42);
        EXPECT_EQ(h.FileSize, offset + size);
        EXPECT_EQ(h.DataOffset, offset);
        EXPECT_EQ(h.HeaderSize, 40U);
        EXPECT_EQ(h.Width, 3U);
        EXPECT_EQ(h.Height, 2U);
        EXPECT_EQ(h.Planes, 1);
        EXPECT_EQ(h.BitsPerPixel, depth);
        EXPECT_EQ(h.CompressionType, 0U);
        EXPECT_EQ(h.ImageDataSize, size);
        EXPECT_EQ(h.Reserved1 + h.Reserved2, 0);
        EXPECT_EQ(h.HPixelsPerMeter + h.VPixelsPerMeter + h.ColorsUsed + h.ColorsRequired, 0U);
    }
}

TEST(CreatedBmp, TellsItsSidesAndDepth) {
    const Image image(BMP_Create(5, 7, 24));
    EXPECT_EQ(BMP_GetWidth(image.get()), 5U);
    EXPECT_EQ(BMP_GetHeight(image.get()), 7U);
    EXPECT_EQ(BMP_GetDepth(image.get()), 24);
}

TEST(CreatedBmp, Of24BitsAnd3PixelsHasRowsOf12Bytes) {
    const Image image(BMP_Create(3, 1, 24));
    EXPECT_EQ(image->Header.ImageDataSize, 12U);
}

TEST(CreatedBmp, IsAllZeroes) {
    for (const std::uint16_t depth : kDepths) {
        const Image image(BMP_Create(5, 3, depth));
        for (std::uint32_t i = 0; i < image->Header.ImageDataSize; ++i) {
            ASSERT_EQ(image->Data[i], 0);
        }
        ASSERT_EQ(image->Palette != nullptr, depth == 8);
        for (std::size_t i = 0; depth == 8 && i < kBmpPaletteBytes; ++i) {
            ASSERT_EQ(image->Palette[i], 0);
        }
    }
}

TEST(CreatedBmp, NeedsBothSides) {
    for (const auto& [w, h] : std::vector<std::pair<std::uint32_t, std::uint32_t>>{{0, 1}, {1, 0}, {0, 0}}) {
        EXPECT_EQ(BMP_Create(w, h, 24), nullptr);
        EXPECT_EQ(BMP_GetError(), BMP_INVALID_ARGUMENT);
    }
}

TEST(CreatedBmp, NeedsAKnownDepth) {
    for (const std::uint16_t depth : std::vector<std::uint16_t>{0, 1, 4, 7, 9, 16, 25, 48, 64, 65535}) {
        EXPECT_EQ(BMP_Create(1, 1, depth), nullptr);
        EXPECT_EQ(BMP_GetError(), BMP_FILE_NOT_SUPPORTED);
    }
}

TEST(CreatedBmp, WithASideOf0AndAnUnknownDepthIsAnInvalidArgument) {
    EXPECT_EQ(BMP_Create(0, 1, 16), nullptr);
    EXPECT_EQ(BMP_GetError(), BMP_INVALID_ARGUMENT);
}

TEST(CreatedBmp, BeyondTheSizesOfAFileIsAnInvalidArgumentAndLeaksNothing) {
    const HeapWatch watch;
    struct Case {
        std::uint32_t width;
        std::uint32_t height;
        std::uint16_t depth;
    };
    for (const Case& c :
         {Case{0xFFFFFFFF, 0xFFFFFFFF, 32}, Case{0x40000000, 1, 32}, Case{0x10000, 0x10000, 8},
          Case{1, 0x40000000, 24}, Case{0xFFFFFFFF, 1, 8}, Case{0x3FFFFFFF, 1, 32}}) {
        EXPECT_EQ(BMP_Create(c.width, c.height, c.depth), nullptr) << c.width << " x " << c.height;
        EXPECT_EQ(BMP_GetError(), BMP_INVALID_ARGUMENT) << c.width << " x " << c.height;
    }
    EXPECT_EQ(watch.liveBlocks(), 0U);
    EXPECT_LT(watch.bytes(), 1000U);
}

// 5 rows of 858,993,448 bytes and 54 bytes before them: the next larger image has no size in 32 bits.
TEST(CreatedBmp, AsLargeAsAFileCanBeFailsForNothingButMemory) {
    const HeapWatch watch(2);  // the second: its data
    EXPECT_EQ(BMP_Create(214748362, 5, 32), nullptr);
    EXPECT_EQ(BMP_GetError(), BMP_OUT_OF_MEMORY);
    EXPECT_EQ(BMP_Create(214748363, 5, 32), nullptr);
    EXPECT_EQ(BMP_GetError(), BMP_INVALID_ARGUMENT);
}

TEST(CreatedBmp, LeaksNothingWhenMemoryRunsOut) {
    for (const auto& [depth, allocations] :
         std::vector<std::pair<std::uint16_t, int>>{{8, 3}, {24, 2}, {32, 2}}) {
        for (int refused = 1; refused <= allocations; ++refused) {
            const HeapWatch watch(refused);
            EXPECT_EQ(BMP_Create(3, 2, depth), nullptr);
            EXPECT_EQ(BMP_GetError(), BMP_OUT_OF_MEMORY);
            EXPECT_EQ(watch.liveBlocks(), 0U);
        }
        const HeapWatch watch;
        const Image image(BMP_Create(3, 2, depth));
        EXPECT_EQ(watch.allocations(), allocations);
    }
}

// ---- Freeing

TEST(FreedBmp, GivesBackPaletteDataAndRecord) {
    const HeapWatch watch;
    BMP* const image = BMP_Create(3, 2, 8);
    EXPECT_EQ(watch.liveBlocks(), 3U);
    EXPECT_EQ(watch.bytes(), sizeof(BMP) + 256 * 4 + 2 * 4);
    BMP_Free(image);
    EXPECT_EQ(watch.liveBlocks(), 0U);
}

TEST(FreedBmp, SetsTheLastErrorToOk) {
    BMP* const image = BMP_Create(3, 2, 8);
    BMP_Create(0, 0, 0);
    BMP_Free(image);
    EXPECT_EQ(BMP_GetError(), BMP_OK);
}

TEST(FreedBmp, IsIgnoredWhenNull) {
    BMP_Create(0, 0, 0);
    BMP_Free(nullptr);
    EXPECT_EQ(BMP_GetError(), BMP_INVALID_ARGUMENT);
}

// ---- Reading

TEST_F(BmpFile, IsReadWithEveryHeaderField) {
    Bytes file = fileBytes(3, 2, 24);
    for (const std::size_t i : std::vector<std::size_t>{2, 6, 8, 10, 26, 38, 42, 46, 50}) {
        file[i] = static_cast<std::uint8_t>(0x80 + i);  // the lowest byte of what reading does not look at
        file[i + 1] = static_cast<std::uint8_t>(i);
    }
    const Image image = read(file);
    ASSERT_NE(image.get(), nullptr);
    const BMP_Header& h = image->Header;
    EXPECT_EQ(h.Magic, 0x4D42);
    EXPECT_EQ(h.FileSize, 0x0282U);
    EXPECT_EQ(h.Reserved1, 0x0686);
    EXPECT_EQ(h.Reserved2, 0x0888);
    EXPECT_EQ(h.DataOffset, 0x0A8AU);
    EXPECT_EQ(h.HeaderSize, 40U);
    EXPECT_EQ(h.Width, 3U);
    EXPECT_EQ(h.Height, 2U);
    EXPECT_EQ(h.Planes, 0x1A9A);
    EXPECT_EQ(h.BitsPerPixel, 24);
    EXPECT_EQ(h.CompressionType, 0U);
    EXPECT_EQ(h.ImageDataSize, 24U);
    EXPECT_EQ(h.HPixelsPerMeter, 0x26A6U);
    EXPECT_EQ(h.VPixelsPerMeter, 0x2AAAU);
    EXPECT_EQ(h.ColorsUsed, 0x2EAEU);
    EXPECT_EQ(h.ColorsRequired, 0x32B2U);
}

TEST_F(BmpFile, HasItsRowsFromTheBottomUp) {
    const Bytes file = fileBytes(3, 2, 24);
    const Image image = read(file);
    ASSERT_NE(image.get(), nullptr);
    // Rows of 9 bytes and 3 of padding: pixel (0, 0) is the first one of the last stored row.
    EXPECT_EQ(argbAt(image.get(), 0, 0), (Argb{255, file[54 + 14], file[54 + 13], file[54 + 12]}));
    EXPECT_EQ(argbAt(image.get(), 2, 1), (Argb{255, file[54 + 8], file[54 + 7], file[54 + 6]}));
}

TEST_F(BmpFile, HasThePixelsOfItsBytes) {
    for (const std::uint16_t depth : kDepths) {
        for (std::uint32_t width = 1; width <= 9; ++width) {
            const Bytes file = fileBytes(width, 4, depth);
            const Image image = read(file);
            ASSERT_NE(image.get(), nullptr);
            ASSERT_EQ(BMP_GetError(), BMP_OK);
            expectPixelsAsInFile(image.get(), file);
        }
    }
}

TEST_F(BmpFile, IsReadAlthoughMoreBytesFollow) {
    Bytes file = fileBytes(3, 2, 32);
    file.resize(file.size() + 1000, 0xEE);
    EXPECT_EQ(outcome(file), BMP_OK);
}

TEST_F(BmpFile, IsReadFromFrontToBackWhateverItsDataOffsetSays) {
    Bytes file = fileBytes(2, 1, 32);
    file[10] = 200;
    Image image = read(file);
    ASSERT_NE(image.get(), nullptr);
    expectPixelsAsInFile(image.get(), file);

    // Four more bytes before the pixels are taken for the first pixel.
    const Bytes more = {1, 2, 3, 4};
    file.insert(file.begin() + kBmpHeaderBytes, more.begin(), more.end());
    file[10] = 58;
    const Image shifted = read(file);
    ASSERT_NE(shifted.get(), nullptr);
    EXPECT_EQ(argbAt(shifted.get(), 0, 0), (Argb{4, 3, 2, 1}));
}

TEST_F(BmpFile, OfAnyUnknownDepthIsNotSupported) {
    for (const std::uint32_t depth : {0U, 1U, 4U, 16U, 23U, 64U, 0x0108U, 0x1800U}) {
        BmpHeader header = fittingHeader(3, 2, 32);
        header.depth = depth;
        EXPECT_EQ(outcome(fileBytes(header)), BMP_FILE_NOT_SUPPORTED) << depth;
    }
    EXPECT_STREQ(BMP_GetErrorDescription(),
                 "File is not a supported BMP variant (must be uncompressed 8, 24 or 32 BPP)");
}

TEST_F(BmpFile, ThatIsRunLengthCompressedIsNotSupported) {
    BmpHeader header = fittingHeader(3, 2, 8);
    header.compression = 1;
    EXPECT_EQ(outcome(fileBytes(header)), BMP_FILE_NOT_SUPPORTED);
}

TEST_F(BmpFile, WithALongerOrShorterHeaderIsNotSupported) {
    for (const std::uint32_t size : {0U, 12U, 39U, 41U, 108U, 124U, 40U + 65536U}) {
        BmpHeader header = fittingHeader(3, 2, 24);
        header.headerSize = size;
        EXPECT_EQ(outcome(fileBytes(header)), BMP_FILE_NOT_SUPPORTED) << size;
    }
}

TEST_F(BmpFile, WithOtherFirstBytesThanBMIsInvalid) {
    for (const std::uint32_t magic : {0x424DU, 0x4D43U, 0x0042U, 0U}) {
        BmpHeader header = fittingHeader(3, 2, 24);
        header.magic = magic;
        EXPECT_EQ(outcome(fileBytes(header)), BMP_FILE_INVALID) << magic;
    }
    EXPECT_STREQ(BMP_GetErrorDescription(), "File is not a valid BMP image");
}

TEST_F(BmpFile, WithOtherFirstBytesAndAnUnknownDepthIsInvalid) {
    BmpHeader header = fittingHeader(3, 2, 16);
    header.magic = 0;
    EXPECT_EQ(outcome(fileBytes(header)), BMP_FILE_INVALID);
}

TEST_F(BmpFile, WithoutAnImageSizeHasNoPixels) {
    for (const std::uint16_t depth : kDepths) {
        BmpHeader header = fittingHeader(3, 2, depth);
        header.imageSize = 0;
        const Bytes file = fileBytes(header);
        const Image image = read(file);
        ASSERT_NE(image.get(), nullptr);
        EXPECT_EQ(image->Data, nullptr);
        EXPECT_EQ(BMP_GetWidth(image.get()), 3U);
        expectPixelsAsInFile(image.get(), file);
    }
}

TEST_F(BmpFile, OfHeight0HasNoPixels) {
    for (const std::uint16_t depth : kDepths) {
        BmpHeader header = fittingHeader(3, 2, depth);
        header.height = 0;
        const Bytes file = fileBytes(header);
        const Image image = read(file);
        ASSERT_NE(image.get(), nullptr);
        argbAt(image.get(), 0, 0);
        EXPECT_EQ(BMP_GetError(), BMP_INVALID_ARGUMENT);
        expectPixelsAsInFile(image.get(), file);
    }
}

TEST_F(BmpFile, WithANegativeHeightHasAHugeOneThatItsDataDoesNotFill) {
    BmpHeader header = fittingHeader(3, 2, 24);
    header.height = 0xFFFFFFFE;  // -2
    const Bytes file = fileBytes(header);
    const Image image = read(file);
    ASSERT_NE(image.get(), nullptr);
    EXPECT_EQ(BMP_GetHeight(image.get()), 0xFFFFFFFEU);
    expectPixelsAsInFile(image.get(), file);
}

TEST_F(BmpFile, WithSidesThatItsDataDoesNotFillFailsThePixelsBeyondIt) {
    for (const std::uint16_t depth : kDepths) {
        for (const std::uint32_t width : {4U, 5U, 24U, 25U, 0xFFFFFFFFU}) {
            for (const std::uint32_t height : {1U, 2U, 3U, 24U, 25U, 0x80000000U, 0xFFFFFFFFU}) {
                BmpHeader header = fittingHeader(3, 2, depth);
                header.width = width;
                header.height = height;
                const Bytes file = fileBytes(header);
                const Image image = read(file);
                ASSERT_NE(image.get(), nullptr);
                expectPixelsAsInFile(image.get(), file);
            }
        }
    }
}

TEST_F(BmpFile, CutAtAnyLengthIsInvalidAndLeaksNothing) {
    for (const std::uint16_t depth : kDepths) {
        const Bytes whole = fileBytes(3, 2, depth);
        writeBytes(path(), whole);
        for (std::size_t length = whole.size(); length-- > 0;) {
            std::filesystem::resize_file(path(), length);
            const HeapWatch watch;
            ASSERT_EQ(BMP_ReadFile(path().c_str()), nullptr) << length;
            ASSERT_EQ(BMP_GetError(), BMP_FILE_INVALID) << length;
            ASSERT_EQ(watch.liveBlocks(), 0U);
            ASSERT_LE(watch.allocations(), depth == 8 ? 2 : 1) << length;  // nothing for the pixels
            ASSERT_LE(watch.bytes(), length + 64 * 1024);
        }
    }
}

// Reads the file at `path` and holds outcome, pixels and memory against its bytes.
void expectReadAsItsBytesTell(const std::string& path, const Bytes& file) {
    std::size_t bytes = 0;
    {
        const HeapWatch watch;
        const Image image(BMP_ReadFile(path.c_str()));
        ASSERT_EQ(BMP_GetError(), expectedOutcome(file));
        ASSERT_EQ(image.get() != nullptr, BMP_GetError() == BMP_OK);
        bytes = watch.bytes();
        if (image.get() != nullptr) {
            expectPixelsAsInFile(image.get(), file);
        } else {
            ASSERT_EQ(watch.liveBlocks(), 0U);
        }
    }
    ASSERT_LE(bytes, file.size() + 64 * 1024);
    ASSERT_TRUE(heap().blocks.empty());
}

TEST_F(BmpFile, WithAnyOtherByteIsReadAsItsBytesTell) {
    for (const std::uint16_t depth : kDepths) {
        EditedFile file(path(), fileBytes(3, 2, depth));
        for (std::size_t i = 0; i < file.bytes().size(); ++i) {
            const std::uint8_t before = file.bytes()[i];
            const int step = i < kBmpHeaderBytes ? 1 : 101;
            for (int flip = 1; flip < 256; flip += step) {
                file.put(i, static_cast<std::uint8_t>(before ^ flip));
                ASSERT_NO_FATAL_FAILURE(expectReadAsItsBytesTell(path(), file.bytes())) << i << " ^ " << flip;
            }
            file.put(i, before);
        }
    }
}

TEST_F(BmpFile, Of60BytesThatClaims4GigabytesCostsNoMemory) {
    BmpHeader header = fittingHeader(3, 2, 24);
    header.imageSize = 0xFFFFFFFF;
    Bytes file = header.bytes();
    file.resize(60);
    writeBytes(path(), file);
    const HeapWatch watch;
    EXPECT_EQ(BMP_ReadFile(path().c_str()), nullptr);
    EXPECT_EQ(BMP_GetError(), BMP_FILE_INVALID);
    EXPECT_LT(watch.bytes(), 1000U);
}

TEST_F(BmpFile, LeaksNothingWhenMemoryRunsOut) {
    for (const auto& [depth, allocations] :
         std::vector<std::pair<std::uint32_t, int>>{{8, 3}, {24, 2}, {32, 2}}) {
        writeBytes(path(), fileBytes(3, 2, depth));
        for (int refused = 1; refused <= allocations; ++refused) {
            const HeapWatch watch(refused);
            EXPECT_EQ(BMP_ReadFile(path().c_str()), nullptr);
            EXPECT_EQ(BMP_GetError(), BMP_OUT_OF_MEMORY);
            EXPECT_EQ(watch.liveBlocks(), 0U);
        }
    }
}

TEST_F(BmpFile, ThatIsMissingIsNotFound) {
    const HeapWatch watch;
    EXPECT_EQ(BMP_ReadFile(path("nothing.bmp").c_str()), nullptr);
    EXPECT_EQ(BMP_GetError(), BMP_FILE_NOT_FOUND);
    EXPECT_EQ(watch.liveBlocks(), 0U);
}

TEST_F(BmpFile, ThatIsAFolderAFifoOrADeviceIsNotFound) {
    ASSERT_EQ(::mkfifo(path("fifo").c_str(), 0600), 0);
    for (const std::string& name : {m_folder.path(), path("fifo"), std::string("/dev/zero")}) {
        EXPECT_EQ(BMP_ReadFile(name.c_str()), nullptr) << name;
        EXPECT_EQ(BMP_GetError(), BMP_FILE_NOT_FOUND) << name;
    }
}

TEST_F(BmpFile, IsNotReadFromANullPath) {
    EXPECT_EQ(BMP_ReadFile(nullptr), nullptr);
    EXPECT_EQ(BMP_GetError(), BMP_INVALID_ARGUMENT);
}

TEST_F(BmpFile, LeavesNoFileOpen) {
    const auto openFiles = [] {
        const std::filesystem::directory_iterator files("/proc/self/fd");
        return std::distance(begin(files), end(files));
    };
    const auto before = openFiles();
    EXPECT_EQ(outcome(fileBytes(3, 2, 8)), BMP_OK);
    EXPECT_EQ(outcome(Bytes(60)), BMP_FILE_INVALID);
    EXPECT_EQ(BMP_ReadFile(m_folder.path().c_str()), nullptr);
    const Image image(BMP_Create(1, 1, 8));
    BMP_WriteFile(image.get(), path().c_str());
    BMP_WriteFile(nullptr, path().c_str());
    EXPECT_EQ(openFiles(), before);
}

// ---- Writing

TEST_F(BmpFile, IsWrittenAsItWasRead) {
    for (const std::uint16_t depth : kDepths) {
        Bytes file = fileBytes(5, 3, depth);
        file[6] = 0x34;  // fields that nothing looks at are kept, too
        file[53] = 0x12;
        const Image image = read(file);
        BMP_WriteFile(image.get(), path("copy.bmp").c_str());
        EXPECT_EQ(BMP_GetError(), BMP_OK);
        EXPECT_EQ(contents("copy.bmp"), file);
    }
}

TEST_F(BmpFile, IsWrittenFromACreatedImage) {
    const Image image(BMP_Create(2, 1, 24));
    BMP_SetPixelRGB(image.get(), 0, 0, 1, 2, 3);
    BMP_SetPixelRGB(image.get(), 1, 0, 4, 5, 6);
    BMP_WriteFile(image.get(), path().c_str());
    Bytes expected = fittingHeader(2, 1, 24).bytes();
    const Bytes row = {3, 2, 1, 6, 5, 4, 0, 0};
    expected.insert(expected.end(), row.begin(), row.end());
    EXPECT_EQ(contents(), expected);
}

TEST_F(BmpFile, WithoutPixelsIsWrittenWithoutPixels) {
    BmpHeader header = fittingHeader(3, 2, 24);
    header.imageSize = 0;
    const Bytes file = fileBytes(header);
    const Image image = read(file);
    BMP_WriteFile(image.get(), path("copy.bmp").c_str());
    EXPECT_EQ(BMP_GetError(), BMP_OK);
    EXPECT_EQ(contents("copy.bmp"), file);
}

TEST_F(BmpFile, ReplacesALongerFileWhole) {
    writeBytes(path(), Bytes(5000, 0xAA));
    const Image image(BMP_Create(1, 1, 32));
    BMP_WriteFile(image.get(), path().c_str());
    EXPECT_EQ(contents().size(), 58U);
}

TEST_F(BmpFile, IsNotWrittenToANullPath) {
    const Image image(BMP_Create(1, 1, 8));
    BMP_WriteFile(image.get(), nullptr);
    EXPECT_EQ(BMP_GetError(), BMP_INVALID_ARGUMENT);
    BMP_WriteFile(nullptr, nullptr);
    EXPECT_EQ(BMP_GetError(), BMP_INVALID_ARGUMENT);
}

TEST_F(BmpFile, ThatCannotBeOpenedForWritingIsNotFound) {
    const Image image(BMP_Create(1, 1, 8));
    ASSERT_EQ(::mkfifo(path("fifo").c_str(), 0600), 0);  // without a reader
    for (const std::string& name : {path("no/such/folder"), m_folder.path(), path("fifo")}) {
        BMP_WriteFile(image.get(), name.c_str());
        EXPECT_EQ(BMP_GetError(), BMP_FILE_NOT_FOUND) << name;
    }
}

TEST_F(BmpFile, ThatHasNoRoomIsAnInputOutputError) {
    for (const std::uint32_t side : {1U, 200U}) {  // less than stdio's buffer, and more
        const Image image(BMP_Create(side, side, 24));
        BMP_WriteFile(image.get(), "/dev/full");
        EXPECT_EQ(BMP_GetError(), BMP_IO_ERROR) << side;
    }
}

TEST_F(BmpFile, OfANullImageIsAnInputOutputErrorAndLeavesTheFile) {
    writeBytes(path(), {1, 2, 3});
    BMP_WriteFile(nullptr, path().c_str());
    EXPECT_EQ(BMP_GetError(), BMP_IO_ERROR);
    EXPECT_EQ(contents(), (Bytes{1, 2, 3}));
}

// ---- Pixels

TEST(BmpPixels, AreWrittenWhereTheyAreRead) {
    for (const std::uint16_t depth : kColorDepths) {
        const Image image(BMP_Create(5, 3, depth));
        for (std::uint8_t y = 0; y < 3; ++y) {
            for (std::uint8_t x = 0; x < 5; ++x) {
                BMP_SetPixelRGB(image.get(), x, y, x, y, 200);
                ASSERT_EQ(BMP_GetError(), BMP_OK);
            }
        }
        for (std::uint8_t y = 0; y < 3; ++y) {
            for (std::uint8_t x = 0; x < 5; ++x) {
                std::uint8_t r = 99;
                std::uint8_t g = 99;
                std::uint8_t b = 99;
                BMP_GetPixelRGB(image.get(), x, y, &r, &g, &b);
                ASSERT_EQ(BMP_GetError(), BMP_OK);
                ASSERT_EQ(std::make_tuple(r, g, b), std::make_tuple(x, y, 200));
            }
        }
    }
}

TEST(BmpPixels, OfALowerRowLieFurtherInFrontInTheData) {
    const Image image(BMP_Create(1, 2, 32));
    BMP_SetPixelRGB(image.get(), 0, 1, 11, 12, 13);
    EXPECT_EQ(image->Data[0], 13);
    EXPECT_EQ(image->Data[1], 12);
    EXPECT_EQ(image->Data[2], 11);
}

TEST(BmpPixels, OutsideTheImageAreInvalidArgumentsAndLeaveAllAlone) {
    for (const std::uint16_t depth : kDepths) {
        const Image image(BMP_Create(2, 2, depth));
        for (const auto& [x, y] : std::vector<std::pair<std::uint32_t, std::uint32_t>>{
                 {2, 0}, {0, 2}, {2, 2}, {0xFFFFFFFF, 0}, {0, 0xFFFFFFFF}}) {
            std::uint8_t r = 1;
            std::uint8_t g = 2;
            std::uint8_t b = 3;
            std::uint8_t index = 4;
            BMP_GetPixelRGB(image.get(), x, y, &r, &g, &b);
            EXPECT_EQ(BMP_GetError(), BMP_INVALID_ARGUMENT);
            BMP_GetPixelIndex(image.get(), x, y, &index);
            EXPECT_EQ(BMP_GetError(), BMP_INVALID_ARGUMENT);
            EXPECT_EQ(std::make_tuple(r, g, b, index), std::make_tuple(1, 2, 3, 4));
            BMP_SetPixelRGB(image.get(), x, y, 255, 255, 255);
            EXPECT_EQ(BMP_GetError(), BMP_INVALID_ARGUMENT);
            BMP_SetPixelIndex(image.get(), x, y, 255);
            EXPECT_EQ(BMP_GetError(), BMP_INVALID_ARGUMENT);
        }
        for (std::uint32_t i = 0; i < image->Header.ImageDataSize; ++i) {
            EXPECT_EQ(image->Data[i], 0);
        }
    }
}

TEST(BmpPixels, OfAPaletteImageHaveTheColoursOfTheirEntries) {
    const Image image(BMP_Create(2, 1, 8));
    BMP_SetPixelIndex(image.get(), 1, 0, 255);
    BMP_SetPaletteColor(image.get(), 255, 10, 20, 30);
    EXPECT_EQ(argbAt(image.get(), 1, 0), (Argb{255, 10, 20, 30}));
    EXPECT_EQ(argbAt(image.get(), 0, 0), (Argb{255, 0, 0, 0}));
}

TEST(BmpPixels, Of24BitsHaveAlpha255) {
    const Image image(BMP_Create(1, 1, 24));
    EXPECT_EQ(argbAt(image.get(), 0, 0).a, 255);
}

TEST(BmpPixels, Of32BitsHaveTheirOwnAlphaWhichSettingAColourKeeps) {
    const Image image(BMP_Create(1, 1, 32));
    image->Data[3] = 77;
    BMP_SetPixelRGB(image.get(), 0, 0, 1, 2, 3);
    EXPECT_EQ(argbAt(image.get(), 0, 0), (Argb{77, 1, 2, 3}));
}

TEST(BmpPixels, OutsideTheImageStillGiveAlpha255) {
    const Image image(BMP_Create(1, 1, 32));
    EXPECT_EQ(argbAt(image.get(), 1, 0), (Argb{255, 0, 0, 0}));
    EXPECT_EQ(argbAt(nullptr, 0, 0), (Argb{255, 0, 0, 0}));
}

TEST(BmpPixels, AreStoredThroughThePointersThatAreGiven) {
    for (const std::uint16_t depth : kDepths) {
        const Image image(BMP_Create(1, 1, depth));
        std::uint8_t* const color = depth == 8 ? image->Palette : image->Data;
        color[0] = 3;
        color[1] = 2;
        color[2] = 1;
        std::uint8_t value = 0;
        BMP_GetPixelRGB(image.get(), 0, 0, &value, nullptr, nullptr);
        EXPECT_EQ(value, 1);
        BMP_GetPixelRGB(image.get(), 0, 0, nullptr, &value, nullptr);
        EXPECT_EQ(value, 2);
        BMP_GetPixelRGB(image.get(), 0, 0, nullptr, nullptr, &value);
        EXPECT_EQ(value, 3);
        BMP_GetPixelARGB(image.get(), 0, 0, nullptr, nullptr, nullptr, nullptr);
        EXPECT_EQ(BMP_GetError(), BMP_OK);
    }
    const Image image(BMP_Create(1, 1, 8));
    BMP_GetPixelIndex(image.get(), 0, 0, nullptr);
    EXPECT_EQ(BMP_GetError(), BMP_OK);
    BMP_GetPaletteColor(image.get(), 0, nullptr, nullptr, nullptr);
    EXPECT_EQ(BMP_GetError(), BMP_OK);
}

TEST(BmpPixels, OfAPaletteImageTakeNoColour) {
    const Image image(BMP_Create(1, 1, 8));
    BMP_SetPixelRGB(image.get(), 0, 0, 1, 2, 3);
    EXPECT_EQ(BMP_GetError(), BMP_TYPE_MISMATCH);
    EXPECT_EQ(image->Data[0], 0);
}

TEST(BmpPixels, OfAColourImageHaveNoIndex) {
    for (const std::uint16_t depth : kColorDepths) {
        const Image image(BMP_Create(1, 1, depth));
        std::uint8_t index = 9;
        BMP_GetPixelIndex(image.get(), 0, 0, &index);
        EXPECT_EQ(BMP_GetError(), BMP_TYPE_MISMATCH);
        EXPECT_EQ(index, 9);
        BMP_SetPixelIndex(image.get(), 0, 0, 255);
        EXPECT_EQ(BMP_GetError(), BMP_TYPE_MISMATCH);
        EXPECT_EQ(image->Data[0], 0);
    }
}

TEST(BmpPixels, AreReadAndSetAsIndexes) {
    const Image image(BMP_Create(3, 2, 8));
    BMP_SetPixelIndex(image.get(), 2, 0, 200);
    EXPECT_EQ(BMP_GetError(), BMP_OK);
    EXPECT_EQ(image->Data[4 + 2], 200);
    std::uint8_t index = 0;
    BMP_GetPixelIndex(image.get(), 2, 0, &index);
    EXPECT_EQ(BMP_GetError(), BMP_OK);
    EXPECT_EQ(index, 200);
}

TEST(BmpPixels, OfAnUnknownDepthAreOutsideTheImage) {
    const Image image(BMP_Create(3, 2, 24));
    image->Header.BitsPerPixel = 16;
    EXPECT_EQ(argbAt(image.get(), 0, 0), (Argb{255, 0, 0, 0}));
    EXPECT_EQ(BMP_GetError(), BMP_INVALID_ARGUMENT);
}

TEST(BmpPalette, ThatIsMissingGivesNoColours) {
    const Image image(BMP_Create(3, 2, 24));
    image->Header.BitsPerPixel = 8;
    EXPECT_EQ(argbAt(image.get(), 0, 0), (Argb{255, 0, 0, 0}));
    EXPECT_EQ(BMP_GetError(), BMP_INVALID_ARGUMENT);
    BMP_SetPaletteColor(image.get(), 0, 1, 2, 3);
    EXPECT_EQ(BMP_GetError(), BMP_TYPE_MISMATCH);
}

TEST(BmpPalette, HasFourBytesAnEntry) {
    const Image image(BMP_Create(1, 1, 8));
    BMP_SetPaletteColor(image.get(), 3, 10, 20, 30);
    EXPECT_EQ(BMP_GetError(), BMP_OK);
    EXPECT_EQ(Bytes(image->Palette + 12, image->Palette + 16), (Bytes{30, 20, 10, 0}));
    Argb c;
    BMP_GetPaletteColor(image.get(), 3, &c.r, &c.g, &c.b);
    EXPECT_EQ(BMP_GetError(), BMP_OK);
    EXPECT_EQ(c, (Argb{0, 10, 20, 30}));
}

TEST(BmpPalette, IsMissingInColourImages) {
    for (const std::uint16_t depth : kColorDepths) {
        const Image image(BMP_Create(1, 1, depth));
        std::uint8_t r = 9;
        BMP_GetPaletteColor(image.get(), 0, &r, nullptr, nullptr);
        EXPECT_EQ(BMP_GetError(), BMP_TYPE_MISMATCH);
        EXPECT_EQ(r, 9);
        BMP_SetPaletteColor(image.get(), 0, 1, 2, 3);
        EXPECT_EQ(BMP_GetError(), BMP_TYPE_MISMATCH);
    }
}

TEST(BmpRow, IsTheBytesOfItsPixels) {
    const Image image(BMP_Create(3, 2, 24));
    std::uint32_t pixels = 0;
    EXPECT_EQ(BMP_GetRow(image.get(), 0, &pixels), image->Data + 12);
    EXPECT_EQ(pixels, 3U);
    EXPECT_EQ(BMP_GetRow(image.get(), 1, &pixels), image->Data);
    EXPECT_EQ(BMP_GetError(), BMP_OK);
    EXPECT_EQ(BMP_GetRow(image.get(), 2, &pixels), nullptr);
    EXPECT_EQ(pixels, 0U);
    EXPECT_EQ(BMP_GetError(), BMP_INVALID_ARGUMENT);
}

TEST(BmpRow, EndsWithTheData) {
    const Image image(BMP_Create(3, 2, 24));
    image->Header.Width = 1000;
    std::uint32_t pixels = 0;
    EXPECT_EQ(BMP_GetRow(image.get(), 1, &pixels), image->Data);
    EXPECT_EQ(pixels, 8U);  // 24 bytes
    EXPECT_EQ(BMP_GetRow(image.get(), 0, &pixels), image->Data + 12);
    EXPECT_EQ(pixels, 4U);
}

// ---- Errors

TEST(BmpError, NullImageIsAnInvalidArgumentToEveryAccess) {
    std::uint32_t pixels = 1;
    const std::vector<std::function<void()>> accesses = {
        [] { EXPECT_EQ(BMP_GetWidth(nullptr), 0U); },
        [] { EXPECT_EQ(BMP_GetHeight(nullptr), 0U); },
        [] { EXPECT_EQ(BMP_GetDepth(nullptr), 0U); },
        [] { BMP_GetPixelRGB(nullptr, 0, 0, nullptr, nullptr, nullptr); },
        [] { BMP_GetPixelARGB(nullptr, 0, 0, nullptr, nullptr, nullptr, nullptr); },
        [] { BMP_SetPixelRGB(nullptr, 0, 0, 1, 2, 3); },
        [] { BMP_GetPixelIndex(nullptr, 0, 0, nullptr); },
        [] { BMP_SetPixelIndex(nullptr, 0, 0, 1); },
        [] { BMP_GetPaletteColor(nullptr, 0, nullptr, nullptr, nullptr); },
        [] { BMP_SetPaletteColor(nullptr, 0, 1, 2, 3); },
        [&pixels] { EXPECT_EQ(BMP_GetRow(nullptr, 0, &pixels), nullptr); },
    };
    for (const auto& access : accesses) {
        BMP_Free(BMP_Create(1, 1, 8));
        ASSERT_EQ(BMP_GetError(), BMP_OK);
        access();
        EXPECT_EQ(BMP_GetError(), BMP_INVALID_ARGUMENT);
    }
    EXPECT_EQ(pixels, 0U);
}

TEST(BmpError, IsOkAgainAfterASuccess) {
    const Image image(BMP_Create(1, 1, 8));
    BMP_ReadFile(nullptr);
    BMP_GetWidth(image.get());
    EXPECT_EQ(BMP_GetError(), BMP_OK);
}

TEST(BmpError, HasNoTextWhenOk) {
    BMP_Free(BMP_Create(1, 1, 8));
    EXPECT_EQ(BMP_GetErrorDescription(), nullptr);
}

TEST_F(BmpFile, ErrorsHaveTheirTexts) {
    {
        const HeapWatch watch(1);
        BMP_Create(1, 1, 8);
    }
    EXPECT_STREQ(BMP_GetErrorDescription(), "Could not allocate enough memory to complete the operation");
    BMP_WriteFile(nullptr, path().c_str());
    EXPECT_STREQ(BMP_GetErrorDescription(), "File input/output error");
    BMP_ReadFile(path("nothing").c_str());
    EXPECT_STREQ(BMP_GetErrorDescription(), "File not found");
    BMP_Create(1, 1, 16);
    EXPECT_STREQ(BMP_GetErrorDescription(),
                 "File is not a supported BMP variant (must be uncompressed 8, 24 or 32 BPP)");
    BMP_ReadFile(path().c_str());  // empty
    EXPECT_STREQ(BMP_GetErrorDescription(), "File is not a valid BMP image");
    BMP_ReadFile(nullptr);
    EXPECT_STREQ(BMP_GetErrorDescription(), "An argument is invalid or out of range");
    const Image image(BMP_Create(1, 1, 8));
    BMP_SetPixelRGB(image.get(), 0, 0, 0, 0, 0);
    EXPECT_STREQ(BMP_GetErrorDescription(), "The requested action is not compatible with the BMP's type");
}

TEST(BmpError, CodesAreNumberedAsTheCallersKnowThem) {
    EXPECT_EQ(BMP_OK, 0);
    EXPECT_EQ(BMP_ERROR, 1);
    EXPECT_EQ(BMP_OUT_OF_MEMORY, 2);
    EXPECT_EQ(BMP_IO_ERROR, 3);
    EXPECT_EQ(BMP_FILE_NOT_FOUND, 4);
    EXPECT_EQ(BMP_FILE_NOT_SUPPORTED, 5);
    EXPECT_EQ(BMP_FILE_INVALID, 6);
    EXPECT_EQ(BMP_INVALID_ARGUMENT, 7);
    EXPECT_EQ(BMP_TYPE_MISMATCH, 8);
    EXPECT_EQ(BMP_ERROR_NUM, 9);
}

}  // namespace
