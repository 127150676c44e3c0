// What bitmaps draw is checked against plotting pixel by pixel, the way it is defined.

#include "graphics/GrBmp.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "bmp_files.h"
#include "graphics/GrVirtualDisplay.h"
#include "tests/unit/sim/TemporaryFolder.h"

using VelaGraphics::Bmp;
using VelaGraphics::DisplayBuffer;
using VelaGraphics::ETH_NO_TRANSPARENCY;
using VelaGraphics::ETH_USE_ALPHA;
using VelaGraphics::ETH_USE_COLOR;
using VelaGraphics::ETranparencyHandling;
using VelaGraphics::Pixel;
using VelaGraphics::Position;
using VelaGraphics::Size;
using VelaGraphics::VirtualDisplay;

namespace {

constexpr std::uint32_t kColor = 0x00FFFFFF;
const std::vector<std::uint16_t> kDepths = {8, 24, 32};

// A surface of exactly its pixels, so that the address sanitizer sees what leaves it.
struct Surface {
    Surface(std::int32_t w, std::int32_t h, Pixel color = Pixel())
        : pixels(static_cast<std::size_t>(w) * static_cast<std::size_t>(h), color), size(w, h) {}

    DisplayBuffer buffer() { return {pixels.data(), size}; }
    [[nodiscard]] std::uint32_t at(std::int32_t x, std::int32_t y) { return buffer().get(Position(x, y)).px; }
    [[nodiscard]] std::vector<std::uint32_t> values() const {
        std::vector<std::uint32_t> result;
        for (const Pixel& p : pixels) {
            result.push_back(p.px);
        }
        return result;
    }

    std::vector<Pixel> pixels;
    Size size;
};

// ---- The definition

std::uint32_t mixedChannel(std::uint32_t image, std::uint32_t back, std::uint32_t alpha, int shift) {
    const std::uint32_t i = image >> shift & 0xFF;
    const std::uint32_t b = back >> shift & 0xFF;
    return (i * alpha + b * (255 - alpha)) / 255 << shift;
}

Pixel mixedByDefinition(std::uint32_t image, std::uint32_t back) {
    const std::uint32_t alpha = image >> 24;
    return Pixel(0xFF000000 | mixedChannel(image, back, alpha, 16) | mixedChannel(image, back, alpha, 8) |
                 mixedChannel(image, back, alpha, 0));
}

void plotByDefinition(const Bmp& bitmap, std::uint32_t x, std::uint32_t y, const Position& from,
                      DisplayBuffer& buffer) {
    const Argb c = argbAt(bitmap.bmp, x, y);
    if (BMP_GetError() != BMP_OK) {
        return;
    }
    const std::uint32_t toX = static_cast<std::uint32_t>(from.x) + x;
    const std::uint32_t toY = static_cast<std::uint32_t>(from.y) + y;
    const Pixel opaque(255, c.r, c.g, c.b);
    switch (bitmap.th) {
        case ETH_NO_TRANSPARENCY:
            buffer.set(toX, toY, opaque);
            break;
        case ETH_USE_COLOR:
            if ((opaque.px & kColor) != (bitmap.transparentColor.px & kColor)) {
                buffer.set(toX, toY, opaque);
            }
            break;
        case ETH_USE_ALPHA:
            buffer.set(toX, toY, mixedByDefinition(Pixel(c.a, c.r, c.g, c.b).px, buffer.get(x, y).px));
            break;
    }
}

void drawByDefinition(const Bmp& bitmap, const Position& from, DisplayBuffer& buffer) {
    const std::uint32_t width = BMP_GetWidth(bitmap.bmp);
    const std::uint32_t height = BMP_GetHeight(bitmap.bmp);
    for (std::uint32_t y = 0; y < height; ++y) {
        for (std::uint32_t x = 0; x < width; ++x) {
            plotByDefinition(bitmap, x, y, from, buffer);
        }
    }
}

// Draws both ways on equal surfaces.
void expectDrawnAsDefined(const Bmp& bitmap, const Position& from, const Surface& before) {
    Surface drawn = before;
    Surface expected = before;
    DisplayBuffer target = drawn.buffer();
    bitmap.draw(true, from, target);
    DisplayBuffer reference = expected.buffer();
    drawByDefinition(bitmap, from, reference);
    ASSERT_EQ(drawn.values(), expected.values());
}

// ---- Images

// Any bytes, as many as an image of these sides has.
void fillWithNoise(BMP* image, std::mt19937& random) {
    const auto anyByte = [&random] { return static_cast<std::uint8_t>(random()); };
    std::generate_n(image->Data, image->Header.ImageDataSize, anyByte);
    if (image->Palette != nullptr) {
        std::generate_n(image->Palette, kBmpPaletteBytes, anyByte);
    }
}

void fillWithNoise(Surface& surface, std::mt19937& random) {
    std::generate(surface.pixels.begin(), surface.pixels.end(),
                  [&random] { return Pixel(static_cast<std::uint32_t>(random())); });
}

void makeNoise(Bmp& bitmap, std::uint32_t width, std::uint32_t height, std::uint16_t depth,
               std::mt19937& random) {
    bitmap.deleteData();
    bitmap.bmp = BMP_Create(width, height, depth);
    ASSERT_NE(bitmap.bmp, nullptr);
    fillWithNoise(bitmap.bmp, random);
}

// A 32-bit image of these colours, row by row from the top.
void makeImage(Bmp& bitmap, std::uint32_t width, const std::vector<std::uint32_t>& colors) {
    const auto height = static_cast<std::uint32_t>(colors.size()) / width;
    bitmap.bmp = BMP_Create(width, height, 32);
    for (std::uint32_t i = 0; i < colors.size(); ++i) {
        const Pixel color(colors[i]);
        const std::uint32_t x = i % width;
        const std::uint32_t y = i / width;
        BMP_SetPixelRGB(bitmap.bmp, x, y, color.red(), color.green(), color.blue());
        bitmap.bmp->Data[std::size_t{4} * (width * (height - 1 - y) + x) + 3] = color.alpha();
    }
}

void draw(const Bmp& bitmap, std::int32_t x, std::int32_t y, Surface& surface) {
    DisplayBuffer buffer = surface.buffer();
    bitmap.draw(true, Position(x, y), buffer);
}

// ---- Loading

class BmpLoading : public ::testing::Test {
protected:
    [[nodiscard]] std::string file(std::uint32_t depth) const {
        const std::string path = m_folder.file(std::to_string(depth) + ".bmp");
        writeBytes(path, fileBytes(3, 2, depth));
        return path;
    }

    TemporaryFolder m_folder;
    Bmp m_bitmap;
};

TEST(BmpObject, IsAllZeroAtFirst) {
    const Bmp bitmap;
    EXPECT_TRUE(bitmap.p1.isZero());
    EXPECT_EQ(bitmap.bmp, nullptr);
    EXPECT_EQ(bitmap.th, ETH_NO_TRANSPARENCY);
    EXPECT_EQ(bitmap.transparentColor, Pixel(0));
}

TEST(BmpObject, NumbersItsHandlingsAsTheCommandsKnowThem) {
    EXPECT_EQ(ETH_NO_TRANSPARENCY, 0);
    EXPECT_EQ(ETH_USE_ALPHA, 1);
    EXPECT_EQ(ETH_USE_COLOR, 2);
}

TEST_F(BmpLoading, OfAnyDepthWithoutAlphaDrawsWithoutTransparency) {
    for (const std::uint32_t depth : kDepths) {
        m_bitmap.th = ETH_USE_COLOR;
        ASSERT_TRUE(m_bitmap.loadFromFile(file(depth).c_str(), false));
        ASSERT_NE(m_bitmap.bmp, nullptr);
        EXPECT_EQ(BMP_GetDepth(m_bitmap.bmp), depth);
        EXPECT_EQ(m_bitmap.th, ETH_NO_TRANSPARENCY);
    }
}

TEST_F(BmpLoading, Of32BitsWithAlphaDrawsWithAlpha) {
    ASSERT_TRUE(m_bitmap.loadFromFile(file(32).c_str(), true));
    EXPECT_EQ(m_bitmap.th, ETH_USE_ALPHA);
}

TEST_F(BmpLoading, OfOtherDepthsWithAlphaFailsAndLeavesNoImage) {
    for (const std::uint32_t depth : {8U, 24U}) {
        ASSERT_TRUE(m_bitmap.loadFromFile(file(32).c_str(), true));
        EXPECT_FALSE(m_bitmap.loadFromFile(file(depth).c_str(), true));
        EXPECT_EQ(m_bitmap.bmp, nullptr);
    }
}

TEST_F(BmpLoading, OfAMissingFileFailsAndLeavesNoImage) {
    ASSERT_TRUE(m_bitmap.loadFromFile(file(24).c_str(), false));
    EXPECT_FALSE(m_bitmap.loadFromFile(m_folder.file("nothing").c_str(), false));
    EXPECT_EQ(m_bitmap.bmp, nullptr);
    EXPECT_FALSE(m_bitmap.loadFromFile(nullptr, false));
}

TEST_F(BmpLoading, WithAColourLeavesThatColourOut) {
    for (const std::uint32_t depth : kDepths) {
        ASSERT_TRUE(
            m_bitmap.loadFromFileWithTransparentColor(file(depth).c_str(), Pixel(0x12345678 + depth)));
        EXPECT_EQ(m_bitmap.th, ETH_USE_COLOR);
        EXPECT_EQ(m_bitmap.transparentColor, Pixel(0x12345678 + depth));
    }
}

TEST_F(BmpLoading, WithAColourThatFailsKeepsTheColourAndLeavesNoImage) {
    m_bitmap.transparentColor = Pixel(1);
    EXPECT_FALSE(m_bitmap.loadFromFileWithTransparentColor(m_folder.path().c_str(), Pixel(2)));
    EXPECT_EQ(m_bitmap.transparentColor, Pixel(1));
    EXPECT_EQ(m_bitmap.bmp, nullptr);
}

TEST_F(BmpLoading, IsUndoneByDeletingTheData) {
    ASSERT_TRUE(m_bitmap.loadFromFile(file(24).c_str(), false));
    m_bitmap.deleteData();
    EXPECT_EQ(m_bitmap.bmp, nullptr);
    m_bitmap.deleteData();
}

TEST_F(BmpLoading, IsFollowedByDrawingWhatTheFileShows) {
    std::mt19937 random(1);
    for (const std::uint16_t depth : kDepths) {
        ASSERT_TRUE(m_bitmap.loadFromFile(file(depth).c_str(), false));
        Surface surface(6, 5);
        fillWithNoise(surface, random);
        ASSERT_NO_FATAL_FAILURE(expectDrawnAsDefined(m_bitmap, Position(2, 1), surface));
    }
}

// ---- Drawing

TEST(BmpDrawing, StartsAtTheGivenPositionOrAtItsOwn) {
    Bmp bitmap;
    makeImage(bitmap, 1, {0x00123456});
    bitmap.setPosition(Position(3, 2));
    VirtualDisplay display(5, 4);
    display.draw(bitmap);
    EXPECT_EQ(display.pixel(3, 2), Pixel(0xFF123456));
    display.drawAt(Position(1, 1), bitmap);
    EXPECT_EQ(display.pixel(1, 1), Pixel(0xFF123456));
    EXPECT_TRUE(display.changed());
}

TEST(BmpDrawing, WithoutAnImageLeavesAllAlone) {
    Surface surface(3, 3, Pixel(7));
    Bmp bitmap;
    for (const int handling : {0, 1, 2, 3}) {
        bitmap.th = static_cast<ETranparencyHandling>(handling);
        draw(bitmap, 0, 0, surface);
    }
    EXPECT_EQ(surface.values(), Surface(3, 3, Pixel(7)).values());
}

TEST(BmpDrawing, WithAnUnknownHandlingLeavesAllAlone) {
    Surface surface(3, 3, Pixel(7));
    Bmp bitmap;
    makeImage(bitmap, 1, {0xFFFFFFFF});
    for (const int handling : {-1, 3, 4, 1000}) {
        bitmap.th = static_cast<ETranparencyHandling>(handling);
        draw(bitmap, 0, 0, surface);
    }
    EXPECT_EQ(surface.values(), Surface(3, 3, Pixel(7)).values());
}

TEST(BmpDrawing, OnAnEmptyDisplayDoesNothing) {
    Bmp bitmap;
    makeImage(bitmap, 1, {0xFFFFFFFF});
    for (const int handling : {0, 1, 2}) {
        bitmap.th = static_cast<ETranparencyHandling>(handling);
        DisplayBuffer none(nullptr, Size(0, 0));
        bitmap.draw(true, Position(0, 0), none);
    }
    EXPECT_NE(bitmap.bmp, nullptr);
}

TEST(BmpDrawing, WithoutTransparencySetsEveryPixelOpaque) {
    Bmp bitmap;
    makeImage(bitmap, 2, {0x00102030, 0x80405060, 0xFF708090, 0x00000000});
    Surface surface(2, 2, Pixel(0x11111111));
    draw(bitmap, 0, 0, surface);
    EXPECT_EQ(surface.values(), (std::vector<std::uint32_t>{0xFF102030, 0xFF405060, 0xFF708090, 0xFF000000}));
}

TEST(BmpDrawing, PastTheRightEdgeLandsOnTheNextRow) {
    Bmp bitmap;
    makeImage(bitmap, 3, {1, 2, 3});
    Surface surface(4, 2);
    draw(bitmap, 2, 0, surface);
    EXPECT_EQ(surface.values(),
              (std::vector<std::uint32_t>{0, 0, 0xFF000001, 0xFF000002, 0xFF000003, 0, 0, 0}));
}

TEST(BmpDrawing, LeftOfTheDisplayEndsTheRowAbove) {
    Bmp bitmap;
    makeImage(bitmap, 2, {1, 2});
    Surface surface(3, 2);
    draw(bitmap, -1, 1, surface);
    EXPECT_EQ(surface.values(), (std::vector<std::uint32_t>{0, 0, 0xFF000001, 0xFF000002, 0, 0}));
    Surface dropped(3, 2);
    draw(bitmap, -1, 0, dropped);
    EXPECT_EQ(dropped.values(), (std::vector<std::uint32_t>{0xFF000002, 0, 0, 0, 0, 0}));
}

TEST(BmpDrawing, WithATransparentMagentaSkipsMagentaOfEveryAlpha) {
    Bmp bitmap;
    makeImage(bitmap, 4, {0xFFFF00FF, 0x00FF00FF, 0x80FF00FF, 0xFFFF00FE});
    bitmap.th = ETH_USE_COLOR;
    for (const std::uint32_t alpha : {0U, 0xFFU, 0x42U}) {
        bitmap.transparentColor = Pixel(alpha << 24 | 0x00FF00FF);
        Surface surface(4, 1, Pixel(5));
        draw(bitmap, 0, 0, surface);
        EXPECT_EQ(surface.values(), (std::vector<std::uint32_t>{5, 5, 5, 0xFFFF00FE}));
    }
}

TEST(BmpDrawing, WithAlphaAtX10MixesWithThePixelsFromX0On) {
    Bmp bitmap;
    makeImage(bitmap, 2, {0x80FF0000, 0x00FFFFFF});
    bitmap.th = ETH_USE_ALPHA;
    Surface surface(12, 1, Pixel(0xFF00FF00));  // green where it is drawn
    surface.pixels[0] = Pixel(0x00000010);
    surface.pixels[1] = Pixel(0x00203040);
    draw(bitmap, 10, 0, surface);
    EXPECT_EQ(surface.at(10, 0), 0xFF800007U);  // 255 * 128 / 255 and 16 * 127 / 255
    EXPECT_EQ(surface.at(11, 0), 0xFF203040U);
    EXPECT_EQ(surface.at(0, 0), 0x00000010U);
}

TEST(BmpDrawing, WithAlphaMixesWithBlackWhereItsOwnPlaceIsOutsideTheDisplay) {
    Bmp bitmap;
    makeImage(bitmap, 1, {0, 0, 0x80FFFFFF});  // its row 2 is below a display of two rows
    bitmap.th = ETH_USE_ALPHA;
    Surface surface(1, 2, Pixel(0xFFFFFFFF));
    draw(bitmap, 0, -1, surface);
    EXPECT_EQ(surface.at(0, 1), 0xFF808080U);
}

TEST(BmpDrawing, WithAlphaMixesWithWhatItHasDrawnItself) {
    Bmp bitmap;
    makeImage(bitmap, 3, {0x00000000, 0x00000000, 0x00000000});  // takes over the background
    bitmap.th = ETH_USE_ALPHA;
    Surface surface(4, 1);
    surface.pixels[0] = Pixel(0x00ABCDEF);
    draw(bitmap, 1, 0, surface);
    EXPECT_EQ(surface.values(), (std::vector<std::uint32_t>{0x00ABCDEF, 0xFFABCDEF, 0xFFABCDEF, 0xFFABCDEF}));
}

TEST(BmpDrawing, WithAlphaRoundsDownForEveryColourBackgroundAndAlpha) {
    Bmp bitmap;
    std::vector<std::uint32_t> colors;
    for (std::uint32_t alpha = 0; alpha < 256; ++alpha) {
        for (std::uint32_t v = 0; v < 256; ++v) {
            colors.push_back(alpha << 24 | v << 16 | (255 - v) << 8 | v);
        }
    }
    makeImage(bitmap, 256, colors);
    bitmap.th = ETH_USE_ALPHA;
    for (std::uint32_t back = 0; back < 256; ++back) {
        const std::uint32_t before = back << 16 | back << 8 | (255 - back);
        Surface surface(256, 256, Pixel(before));
        draw(bitmap, 0, 0, surface);
        std::size_t wrong = 0;
        for (std::size_t i = 0; i < colors.size(); ++i) {
            wrong += surface.pixels[i] != mixedByDefinition(colors[i], before) ? 1 : 0;
        }
        ASSERT_EQ(wrong, 0U) << back;
    }
}

TEST(BmpDrawing, WithAlphaAtEveryDistanceFromItsBackgroundIsAsDefined) {
    std::mt19937 random(7);
    Bmp bitmap;
    makeNoise(bitmap, 150, 2, 32, random);
    bitmap.th = ETH_USE_ALPHA;
    Surface surface(160, 3);
    fillWithNoise(surface, random);
    for (std::int32_t x = -160; x <= 160; ++x) {
        ASSERT_NO_FATAL_FAILURE(expectDrawnAsDefined(bitmap, Position(x, 0), surface)) << x;
    }
}

// ---- Any drawing against the definition

class RandomDrawing {
public:
    explicit RandomDrawing(unsigned seed) : m_random(seed) {}

    // Numbers from low to high.
    std::int32_t between(std::int32_t low, std::int32_t high) {
        return std::uniform_int_distribution<std::int32_t>(low, high)(m_random);
    }
    bool oneIn(int n) { return between(1, n) == 1; }
    std::mt19937& engine() { return m_random; }

    // On, at or just over the edges; sometimes where indexes wrap, sometimes anywhere.
    std::int32_t coordinate(std::int32_t image, std::int32_t display) {
        switch (between(0, 9)) {
            case 0:
                return between(std::numeric_limits<std::int32_t>::min(),
                               std::numeric_limits<std::int32_t>::max());
            case 1:
                return std::numeric_limits<std::int32_t>::max() - between(0, 3);
            case 2:
                return std::numeric_limits<std::int32_t>::min() + between(0, 3);
            default:
                return between(-image - 2, display + 2);
        }
    }

    std::uint32_t side() { return static_cast<std::uint32_t>(oneIn(4) ? between(1, 140) : between(1, 9)); }

    // An image whose header need not fit its data, which stays as long as the header says.
    void remake(Bmp& bitmap) {
        makeNoise(bitmap, side(), side(), kDepths[static_cast<std::size_t>(between(0, 2))], m_random);
        BMP_Header& h = bitmap.bmp->Header;
        if (oneIn(3)) {
            h.Width = static_cast<std::uint32_t>(between(0, 2 * static_cast<std::int32_t>(h.Width)));
        }
        if (oneIn(3)) {
            h.Height = static_cast<std::uint32_t>(between(0, 3 * static_cast<std::int32_t>(h.Height)));
        }
        if (oneIn(3)) {
            shorten(*bitmap.bmp);
        }
        bitmap.th = static_cast<ETranparencyHandling>(between(0, 2));
        bitmap.transparentColor = anyColorOf(bitmap.bmp);
    }

private:
    // Cuts the data, so that the address sanitizer knows its new end.
    void shorten(BMP& image) {
        const std::int32_t most = static_cast<std::int32_t>(image.Header.ImageDataSize);
        image.Header.ImageDataSize = static_cast<std::uint32_t>(between(1, most));
        const auto shorter = std::realloc(image.Data, image.Header.ImageDataSize);
        ASSERT_NE(shorter, nullptr);
        image.Data = static_cast<std::uint8_t*>(shorter);
    }

    // A colour of the image, and any alpha.
    Pixel anyColorOf(BMP* image) {
        const Argb c = argbAt(image, 0, BMP_GetHeight(image) / 2);
        return Pixel(static_cast<unsigned char>(between(0, 255)), c.r, c.g, c.b);
    }

    std::mt19937 m_random;
};

TEST(BmpDrawing, OfAnyImageAnywhereIsAsDefined) {
    RandomDrawing any(20240607);
    Bmp bitmap;
    for (int round = 0; round < 8000; ++round) {
        const std::int32_t w = any.oneIn(4) ? any.between(1, 150) : any.between(1, 12);
        const std::int32_t h = any.between(1, 12);
        Surface surface(w, h);
        fillWithNoise(surface, any.engine());
        ASSERT_NO_FATAL_FAILURE(any.remake(bitmap));
        const Position from(any.coordinate(static_cast<std::int32_t>(BMP_GetWidth(bitmap.bmp)), w),
                            any.coordinate(static_cast<std::int32_t>(BMP_GetHeight(bitmap.bmp)), h));
        ASSERT_NO_FATAL_FAILURE(expectDrawnAsDefined(bitmap, from, surface))
            << "round " << round << ": depth " << BMP_GetDepth(bitmap.bmp) << ", handling " << bitmap.th
            << ", " << BMP_GetWidth(bitmap.bmp) << " x " << BMP_GetHeight(bitmap.bmp) << " of "
            << bitmap.bmp->Header.ImageDataSize << " bytes at " << from.x << ", " << from.y << " on " << w
            << " x " << h;
    }
}

TEST(BmpDrawing, OfAnImageSoHighThatIndexesWrapIsAsDefined) {
    std::mt19937 random(3);
    Bmp bitmap;
    makeNoise(bitmap, 3, 17000, 32, random);
    Surface surface(1 << 18, 2);  // 16384 rows on, an index is 0 again
    for (const int handling : {0, 1, 2}) {
        bitmap.th = static_cast<ETranparencyHandling>(handling);
        for (const Position& from :
             {Position(0, 0), Position(-1, 0), Position(1 << 18, -3), Position(5, -16385)}) {
            ASSERT_NO_FATAL_FAILURE(expectDrawnAsDefined(bitmap, from, surface));
        }
    }
}

TEST(BmpDrawing, OfAHugeImageByAFalseHeaderIsDoneAtOnce) {
    // Two pixels, which 2^32 - 1 rows share. Their indexes, modulo 2^32, are the multiples of 32 and the next
    // ones: the columns 0, 1, 32, 33, 64 and 65.
    Bmp bitmap;
    bitmap.bmp = BMP_Create(2, 1, 24);
    BMP_SetPixelRGB(bitmap.bmp, 0, 0, 1, 2, 3);
    BMP_SetPixelRGB(bitmap.bmp, 1, 0, 1, 2, 3);
    bitmap.bmp->Header.ImageDataSize = 6;
    bitmap.bmp->Header.Width = 0xFFFFFFFF;
    bitmap.bmp->Header.Height = 0xFFFFFFFF;
    Surface surface(96, 64, Pixel(5));
    for (const int handling : {0, 1, 2}) {
        bitmap.th = static_cast<ETranparencyHandling>(handling);
        bitmap.transparentColor = Pixel(0x00112233);
        std::fill(surface.pixels.begin(), surface.pixels.end(), Pixel(5));
        draw(bitmap, 0, 0, surface);
        for (std::int32_t y = 0; y < 64; ++y) {
            for (std::int32_t x = 0; x < 96; ++x) {
                ASSERT_EQ(surface.at(x, y), x % 32 < 2 ? 0xFF010203U : 5U) << x << ", " << y;
            }
        }
    }
}

TEST(BmpDrawing, OfAnImageWithoutPixelsDrawsNothing) {
    for (const std::uint16_t depth : kDepths) {
        for (const int handling : {0, 1, 2}) {
            Bmp bitmap;
            bitmap.bmp = BMP_Create(2, 2, depth);
            bitmap.th = static_cast<ETranparencyHandling>(handling);
            bitmap.transparentColor = Pixel(0xFFFFFF);
            Surface surface(3, 3, Pixel(9));
            bitmap.bmp->Header.ImageDataSize = 0;
            draw(bitmap, 0, 0, surface);
            bitmap.bmp->Header.ImageDataSize = 4;
            bitmap.bmp->Header.Height = 0;
            draw(bitmap, 0, 0, surface);
            EXPECT_EQ(surface.values(), Surface(3, 3, Pixel(9)).values());
        }
    }
}

TEST(BmpDrawing, OfAnImageWithoutColoursDrawsNothing) {
    Bmp bitmap;
    bitmap.bmp = BMP_Create(2, 2, 24);
    bitmap.bmp->Header.BitsPerPixel = 16;  // no file can tell so
    Surface surface(3, 3, Pixel(9));
    draw(bitmap, 0, 0, surface);
    bitmap.bmp->Header.BitsPerPixel = 8;  // without a palette
    draw(bitmap, 0, 0, surface);
    EXPECT_EQ(surface.values(), Surface(3, 3, Pixel(9)).values());
}

// Loads what can be loaded and draws it; as defined, where the definition comes to an end in good time.
void expectFileDrawnAsDefined(Bmp& bitmap, const std::string& path, bool useAlpha, const Position& from) {
    if (!bitmap.loadFromFile(path.c_str(), useAlpha)) {
        return;
    }
    Surface surface(5, 3);
    draw(bitmap, from.x, from.y, surface);
    if (std::uint64_t{BMP_GetWidth(bitmap.bmp)} * BMP_GetHeight(bitmap.bmp) < 4000) {
        expectDrawnAsDefined(bitmap, from, Surface(5, 3));
    }
}

TEST_F(BmpLoading, OfAFileWithAnyOtherHeaderByteDrawsWithinTheDisplay) {
    const std::string path = m_folder.file("other.bmp");
    for (const std::uint16_t depth : kDepths) {
        EditedFile file(path, fileBytes(3, 2, depth));
        for (std::size_t i = 0; i < kBmpHeaderBytes; ++i) {
            const std::uint8_t before = file.bytes()[i];
            for (int flip = 1; flip < 256; ++flip) {
                file.put(i, static_cast<std::uint8_t>(before ^ flip));
                ASSERT_NO_FATAL_FAILURE(expectFileDrawnAsDefined(m_bitmap, path, flip % 2 == 0 && depth == 32,
                                                                 Position(flip % 4 - 1, 0)));
            }
            file.put(i, before);
        }
    }
}

}  // namespace
