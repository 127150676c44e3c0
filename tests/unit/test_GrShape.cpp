// Rectangle, Line and Shape. What they draw is held against plotting point by point, the way it is defined.

#include "graphics/GrShape.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdint>
#include <fstream>
#include <random>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "allocation_watch.h"
#include "scratch_folder.h"

using VelaGraphics::DisplayBuffer;
using VelaGraphics::Drawable;
using VelaGraphics::Line;
using VelaGraphics::Pixel;
using VelaGraphics::Position;
using VelaGraphics::Rectangle;
using VelaGraphics::Shape;
using VelaGraphics::Size;

namespace {

const Pixel kInk(0xFFFFFFFF);
const Pixel kFill(0xFF800000);
using Points = std::vector<std::pair<int, int>>;
using Bytes = std::vector<unsigned char>;

// A surface of its own pixels.
struct Surface {
    Surface(std::int32_t w, std::int32_t h)
        : pixels(static_cast<std::size_t>(w) * static_cast<std::size_t>(h)), size(w, h) {}

    void paint(const Drawable& d, bool usePos = false, const Position& pos = Position()) {
        DisplayBuffer buffer(pixels.data(), size);
        d.draw(usePos, pos, buffer);
    }
    // Not inline: gcc 12 would warn of the very indexes that the test below keeps out.
    [[gnu::noinline]] void plot(std::uint32_t x, std::uint32_t y, Pixel color) {
        const std::uint32_t index = x + y * static_cast<std::uint32_t>(size.w);
        if (index < pixels.size()) {
            pixels[index] = color;
        }
    }
    // The points of a colour, row by row.
    [[nodiscard]] Points points(Pixel color = kInk) const {
        Points found;
        for (int i = 0; i < static_cast<int>(pixels.size()); ++i) {
            if (pixels[static_cast<std::size_t>(i)] == color) {
                found.emplace_back(i % size.w, i / size.w);
            }
        }
        return found;
    }

    std::vector<Pixel> pixels;
    Size size;
};

Points drawn(const Drawable& d, bool usePos = false, const Position& pos = Position()) {
    Surface s(12, 10);
    s.paint(d, usePos, pos);
    return s.points();
}

std::uint32_t u32(std::int32_t v) {
    return static_cast<std::uint32_t>(v);
}

// The definition: every set byte plots its point.
void plainShape(Surface& s, const Position& at, const Size& extent, const Bytes& mask, Pixel color) {
    std::size_t i = 0;
    for (std::int32_t r = 0; r < extent.h; ++r) {
        for (std::int32_t c = 0; c < extent.w; ++c) {
            if (mask[i++] != 0) {
                s.plot(u32(at.x) + u32(c), u32(at.y) + u32(r), color);
            }
        }
    }
}

class ShapeFile : public testing::Test {
protected:
    ShapeFile() { writeFile("old.shp", shapeFile(2, 2, "\1\1\1\1")); }

    // Loads a file of these bytes into a shape that owned another mask before.
    bool load(const std::string& bytes) {
        writeFile("new.shp", bytes);
        return loadNew();
    }
    bool loadNew() {
        EXPECT_TRUE(shape.loadFromFile("old.shp"));
        return shape.loadFromFile("new.shp");
    }
    // Changes one byte of the file in place.
    static void put(std::size_t at, char byte) {
        std::fstream file("new.shp", std::ios::in | std::ios::out | std::ios::binary);
        file.seekp(static_cast<std::streamoff>(at)).put(byte);
    }
    void expectEmpty() const {
        EXPECT_EQ(shape.size(), Size(0, 0));
        EXPECT_EQ(shape.data(), nullptr);
        EXPECT_TRUE(drawn(shape).empty());
    }

    ScratchFolder folder;
    Shape shape;
};

}  // namespace

TEST(RectangleDrawable, OfOnePixelWritesThatPixel) {
    EXPECT_EQ(drawn(Rectangle(Size(1, 1), kInk), true, Position(3, 2)), (Points{{3, 2}}));
}

TEST(RectangleDrawable, OfOneRowWritesTheRowAndItsCorner) {
    EXPECT_EQ(drawn(Rectangle(Size(5, 1), kInk), true, Position(1, 2)),
              (Points{{1, 2}, {2, 2}, {3, 2}, {4, 2}, {5, 2}}));
}

TEST(RectangleDrawable, OfNoExtentWritesTheCornerBeforeItsPosition) {
    EXPECT_EQ(drawn(Rectangle(Size(0, 0), kInk), true, Position(5, 5)), (Points{{4, 4}}));
}

TEST(RectangleDrawable, OfNegativeExtentWritesOneCorner) {
    EXPECT_EQ(drawn(Rectangle(Size(-2, -1), kInk, kFill), true, Position(6, 6)), (Points{{3, 4}}));
}

TEST(RectangleDrawable, DrawsOnlyItsBorderUnlessItIsFilled) {
    Surface s(6, 6);
    s.paint(Rectangle(Size(4, 3), kInk), true, Position(1, 1));
    EXPECT_EQ(s.points().size(), 10u);
    EXPECT_EQ(s.points(Pixel()).size(), 26u);
}

TEST(RectangleDrawable, FilledShowsItsInterior) {
    Surface s(6, 6);
    s.paint(Rectangle(Size(4, 3), kInk, kFill), true, Position(1, 1));
    EXPECT_EQ(s.points().size(), 10u);
    EXPECT_EQ(s.points(kFill), (Points{{2, 2}, {3, 2}}));
}

TEST(RectangleDrawable, FilledButNarrowerOrLowerThanThreeShowsNoFill) {
    for (const Size& extent : {Size(2, 2), Size(2, 5), Size(5, 2), Size(1, 1)}) {
        Surface s(12, 10);
        s.paint(Rectangle(extent, kInk, kFill), true, Position(2, 2));
        EXPECT_TRUE(s.points(kFill).empty()) << extent.w << 'x' << extent.h;
    }
}

TEST(RectangleDrawable, DrawsAtItsOwnPositionWhenNoneIsGiven) {
    Rectangle box(Size(1, 1), kInk);
    box.p1 = Position(7, 3);
    EXPECT_EQ(drawn(box, false, Position(1, 1)), (Points{{7, 3}}));
    EXPECT_EQ(drawn(box, true, Position(1, 1)), (Points{{1, 1}}));
}

TEST(RectangleDrawable, RightOfTheEdgeLandsOnTheNextRow) {
    EXPECT_EQ(drawn(Rectangle(Size(1, 1), kInk), true, Position(12, 0)), (Points{{0, 1}}));
}

TEST(LineDrawable, LeavesItsEndPointOut) {
    EXPECT_EQ(drawn(Line(Position(0, 0), Position(3, 0), kInk)), (Points{{0, 0}, {1, 0}, {2, 0}}));
    EXPECT_EQ(drawn(Line(Position(3, 0), Position(0, 0), kInk)), (Points{{1, 0}, {2, 0}, {3, 0}}));
}

TEST(LineDrawable, OfNoLengthWritesNothing) {
    EXPECT_TRUE(drawn(Line(Position(2, 2), Position(2, 2), kInk)).empty());
}

TEST(LineDrawable, SteepStepsSidewaysHalfwayBetweenItsRows) {
    EXPECT_EQ(drawn(Line(Position(0, 0), Position(2, 4), kInk)), (Points{{0, 0}, {1, 1}, {1, 2}, {2, 3}}));
}

TEST(LineDrawable, AtAGivenPositionKeepsItsDirectionAndLength) {
    const Line line(Position(9, 9), Position(11, 13), kInk);
    EXPECT_EQ(drawn(line, true, Position(0, 0)), (Points{{0, 0}, {1, 1}, {1, 2}, {2, 3}}));
    EXPECT_EQ(drawn(Line(Position(5, 1), Position(2, 1), kInk), true, Position(4, 4)),
              (Points{{2, 4}, {3, 4}, {4, 4}}));
}

TEST(ShapeDrawable, DrawsItsSetBytesAndLeavesTheOthers) {
    const Bytes mask = {1, 0, 0xFF, 0, 0x80, 0};
    Shape shape(Position(2, 1), Size(3, 2), mask.data());
    shape.setFg(kInk).setBg(kFill);
    Surface s(12, 10);
    s.plot(3, 1, Pixel(7));
    s.paint(shape);
    EXPECT_EQ(s.points(), (Points{{2, 1}, {4, 1}, {3, 2}}));
    EXPECT_EQ(s.points(Pixel(7)), (Points{{3, 1}}));
}

TEST(ShapeDrawable, DoesNotUseItsBackground) {
    const Bytes mask = {0, 1};
    Shape shape(Position(), Size(2, 1), mask.data());
    shape.setFg(kInk).setBg(kFill);
    Surface s(4, 4);
    s.paint(shape);
    EXPECT_TRUE(s.points(kFill).empty());
}

TEST(ShapeDrawable, DrawsAtItsOwnPositionWhenNoneIsGiven) {
    const unsigned char mask = 1;
    Shape shape(Position(5, 6), Size(1, 1), &mask);
    shape.setFg(kInk);
    EXPECT_EQ(drawn(shape, false, Position(1, 1)), (Points{{5, 6}}));
    EXPECT_EQ(drawn(shape, true, Position(1, 1)), (Points{{1, 1}}));
}

TEST(ShapeDrawable, RightOfTheEdgeGoesOnInTheNextRow) {
    const Bytes mask(4, 1);
    Shape shape(Position(10, 0), Size(4, 1), mask.data());
    shape.setFg(kInk);
    EXPECT_EQ(drawn(shape), (Points{{10, 0}, {11, 0}, {0, 1}, {1, 1}}));
}

TEST(ShapeDrawable, UsesTheCallersMaskWithoutCopyingIt) {
    Bytes mask = {0};
    Shape shape(Position(1, 1), Size(1, 1), mask.data());
    shape.setFg(kInk);
    EXPECT_EQ(shape.data(), mask.data());
    EXPECT_TRUE(drawn(shape).empty());
    mask[0] = 1;
    EXPECT_EQ(drawn(shape), (Points{{1, 1}}));
    shape.deleteData();  // not its to delete
    EXPECT_EQ(drawn(shape), (Points{{1, 1}}));
}

TEST(ShapeDrawable, WithoutRowsColumnsOrAMaskDrawsNothing) {
    const unsigned char mask = 1;
    for (const Size& extent : {Size(0, 0), Size(0, 5), Size(5, 0), Size(-1, 1), Size(1, -1)}) {
        Shape shape(Position(), extent, &mask);
        shape.setFg(kInk);
        EXPECT_TRUE(drawn(shape).empty()) << extent.w << 'x' << extent.h;
    }
    Shape shape(Position(), Size(3, 3), nullptr);
    shape.setFg(kInk);
    EXPECT_TRUE(drawn(shape).empty());
    EXPECT_TRUE(drawn(Shape()).empty());
}

TEST(ShapeDrawable, OnAnEmptySurfaceDrawsNothing) {
    const unsigned char mask = 1;
    DisplayBuffer buffer(nullptr, Size(0, 0));
    Shape(Position(), Size(1, 1), &mask).draw(false, Position(), buffer);
    EXPECT_EQ(buffer.length, 0u);
}

TEST(ShapeDrawable, IsNotCopied) {
    EXPECT_FALSE(std::is_copy_constructible_v<Shape>);
    EXPECT_FALSE(std::is_copy_assignable_v<Shape>);
}

// Positions of all kinds: on the surface, over each edge, far outside, and where the index wraps.
class ShapeEverywhere : public testing::Test {
protected:
    std::int32_t in(std::int32_t low, std::int32_t high) {
        return std::uniform_int_distribution<std::int32_t>(low, high)(m_engine);
    }
    std::int32_t coordinate() {
        switch (in(0, 4)) {
            case 0:
                return in(INT32_MIN, INT32_MAX);
            case 1:
                return in(0, 1) == 0 ? INT32_MAX - in(0, 3) : INT32_MIN + in(0, 3);
            default:
                return in(-70, 130);
        }
    }
    Bytes mask(const Size& extent) {
        Bytes bytes(static_cast<std::size_t>(extent.w) * static_cast<std::size_t>(extent.h));
        for (unsigned char& byte : bytes) {
            byte = static_cast<unsigned char>(in(0, 1) * in(0, 255));
        }
        return bytes;
    }
    void expectSame(const Size& surface, const Position& at, const Size& extent) {
        const Bytes bytes = mask(extent);
        Shape shape(Position(), extent, bytes.data());
        shape.setFg(kInk);
        Surface got(surface.w, surface.h);
        Surface expected(surface.w, surface.h);
        got.paint(shape, true, at);
        plainShape(expected, at, extent, bytes, kInk);
        ASSERT_EQ(got.points(), expected.points()) << extent.w << 'x' << extent.h << " at " << at.x << ','
                                                   << at.y << " on " << surface.w << 'x' << surface.h;
    }

private:
    std::mt19937 m_engine{20};
};

TEST_F(ShapeEverywhere, MatchesPlottingEachPoint) {
    for (const Size& surface : {Size(96, 64), Size(7, 5), Size(1, 40), Size(40, 1), Size(2, 2)}) {
        for (int i = 0; i < 600; ++i) {
            expectSame(surface, Position(coordinate(), coordinate()), Size(in(0, 45), in(0, 45)));
        }
    }
}

TEST_F(ShapeEverywhere, WiderThanTheDisplayMatchesPlottingEachPoint) {
    for (int i = 0; i < 100; ++i) {
        expectSame(Size(9, 11), Position(in(-60, 20), in(-20, 20)), Size(in(20, 60), in(1, 30)));
    }
}

TEST_F(ShapeEverywhere, OnAWideSurfaceMeetsItAtEveryWrapOfTheIndex) {
    // 65536 rows down the index of a surface of 65536 columns starts anew.
    expectSame(Size(65536, 2), Position(3, -65535), Size(2, 65535));
    expectSame(Size(65536, 2), Position(-1, 65535), Size(2, 4));
    expectSame(Size(65536, 2), Position(5, INT32_MIN), Size(3, 5));
}

TEST_F(ShapeFile, IsReadRowByRowFromTheTop) {
    ASSERT_TRUE(load(shapeFile(3, 2, std::string("\1\0\xFF\0\x80\0", 6))));
    EXPECT_EQ(shape.size(), Size(3, 2));
    shape.setFg(kInk);
    EXPECT_EQ(drawn(shape), (Points{{0, 0}, {2, 0}, {1, 1}}));
}

TEST_F(ShapeFile, SetBytesAreAllThatAreNotZero) {
    ASSERT_TRUE(load(shapeFile(4, 1, std::string("\x01\xFF\x00\x80", 4))));
    shape.setFg(kInk);
    EXPECT_EQ(drawn(shape), (Points{{0, 0}, {1, 0}, {3, 0}}));
}

TEST_F(ShapeFile, SidesAreUnsignedAndLittleEndian) {
    ASSERT_TRUE(load(shapeFile(0x0102, 1, std::string(0x0102, '\1'))));
    EXPECT_EQ(shape.size(), Size(0x0102, 1));
    ASSERT_TRUE(load(shapeFile(1, 0xFFFF, std::string(0xFFFF, '\1'))));
    EXPECT_EQ(shape.size(), Size(1, 0xFFFF));
}

TEST_F(ShapeFile, WithAnotherMagicIsRejected) {
    EXPECT_FALSE(load("SHPX" + shapeFile(1, 1, "\1").substr(4)));
    expectEmpty();
    EXPECT_FALSE(load("shpe" + shapeFile(1, 1, "\1").substr(4)));
    expectEmpty();
}

TEST_F(ShapeFile, WithAnotherMagicIsRejectedBeforeAnythingIsAllocated) {
    writeFile("new.shp", "SHPX" + shapeFile(100, 100, std::string(10000, '\1')).substr(4));
    AllocationWatch::largest = 0;
    EXPECT_FALSE(shape.loadFromFile("new.shp"));
    EXPECT_EQ(AllocationWatch::largest, 0U);
}

TEST_F(ShapeFile, WithOneMaskByteTooFewIsRejectedAndLeavesTheShapeEmpty) {
    EXPECT_FALSE(load(shapeFile(3, 2, "\1\1\1\1\1")));
    expectEmpty();
}

TEST_F(ShapeFile, WithBytesBehindTheMaskIsRead) {
    EXPECT_TRUE(load(shapeFile(1, 1, "\1and more")));
    EXPECT_EQ(shape.size(), Size(1, 1));
}

TEST_F(ShapeFile, OfNoWidthOrHeightIsReadAsAnEmptyMask) {
    for (const Size& extent : {Size(0, 0), Size(3, 0), Size(0, 65535)}) {
        EXPECT_TRUE(load(shapeFile(u32(extent.w), u32(extent.h), "")));
        EXPECT_EQ(shape.size(), extent);
        shape.setFg(kInk);
        EXPECT_TRUE(drawn(shape).empty());
    }
}

TEST_F(ShapeFile, CutAnywhereIsRejectedAndLeavesTheShapeEmpty) {
    const std::string whole = shapeFile(3, 2, "\1\1\1\1\1\1");
    for (std::size_t length = 0; length < whole.size(); ++length) {
        EXPECT_FALSE(load(whole.substr(0, length))) << length;
        expectEmpty();
    }
    EXPECT_TRUE(load(whole));
}

TEST_F(ShapeFile, WithAnyByteChangedIsReadAsItSaysOrRejected) {
    const std::string whole = shapeFile(3, 2, "\1\1\1\1\1\1");
    ASSERT_TRUE(load(whole));
    for (std::size_t at = 0; at < whole.size(); ++at) {
        for (int change = 1; change < 256; ++change) {
            std::string bytes = whole;
            bytes[at] = static_cast<char>(bytes[at] ^ change);
            const auto side = [&](std::size_t i) {
                return static_cast<unsigned char>(bytes[i]) | static_cast<unsigned char>(bytes[i + 1]) << 8;
            };
            const bool good = at >= 4 && side(4) * side(6) <= 6;
            put(at, bytes[at]);
            ASSERT_EQ(loadNew(), good) << at << " xor " << change;
            EXPECT_EQ(shape.size(), good ? Size(side(4), side(6)) : Size());
            drawn(shape);
        }
        put(at, whole[at]);
    }
    EXPECT_TRUE(loadNew());
}

TEST_F(ShapeFile, ThatClaimsFourGigabytesTakesNoMemoryForThem) {
    writeFile("huge.shp", shapeFile(65535, 65535, "\1\1\1\1"));
    AllocationWatch::largest = 0;
    EXPECT_FALSE(shape.loadFromFile("huge.shp"));
    EXPECT_LT(AllocationWatch::largest, 4096u);
    expectEmpty();
}

TEST_F(ShapeFile, FreesTheMaskThatItReplaces) {
    const long before = AllocationWatch::live;
    {
        Shape again;
        writeFile("dot.shp", shapeFile(1, 1, "\1"));
        for (int i = 0; i < 5; ++i) {
            EXPECT_TRUE(again.loadFromFile("dot.shp"));
            EXPECT_EQ(AllocationWatch::live, before + 1);
        }
        again.deleteData();
        EXPECT_EQ(AllocationWatch::live, before);
        EXPECT_EQ(again.size(), Size(0, 0));
        EXPECT_TRUE(again.loadFromFile("dot.shp"));
    }
    EXPECT_EQ(AllocationWatch::live, before);
}

TEST_F(ShapeFile, ThatIsMissingAFolderAFifoOrADeviceIsRejectedAtOnce) {
    ASSERT_EQ(mkdir("folder", 0700), 0);
    ASSERT_EQ(mkfifo("fifo", 0600), 0);
    for (const char* name : {"nosuch", "folder", "fifo", "/dev/zero", "/dev/null", ""}) {
        EXPECT_FALSE(shape.loadFromFile(name)) << name;
    }
    EXPECT_FALSE(shape.loadFromFile(nullptr));
}

TEST_F(ShapeFile, ThatCannotBeReadLeavesABorrowedMaskInUse) {
    const unsigned char mask = 1;
    Shape borrowing(Position(1, 1), Size(1, 1), &mask);
    borrowing.setFg(kInk);
    writeFile("bad.shp", "SHPX");
    EXPECT_FALSE(borrowing.loadFromFile("nosuch"));
    EXPECT_FALSE(borrowing.loadFromFile("bad.shp"));
    EXPECT_EQ(drawn(borrowing), (Points{{1, 1}}));
    writeFile("short.shp", shapeFile(3, 2, "\1"));
    EXPECT_FALSE(borrowing.loadFromFile("short.shp"));
    EXPECT_EQ(borrowing.size(), Size(0, 0));
}

TEST_F(ShapeFile, ThatIsLoadedKeepsColoursAndPosition) {
    Shape placed(Position(2, 3), Size(), nullptr);
    placed.setFg(kInk);
    writeFile("dot.shp", shapeFile(1, 1, "\1"));
    ASSERT_TRUE(placed.loadFromFile("dot.shp"));
    EXPECT_EQ(drawn(placed), (Points{{2, 3}}));
}

TEST_F(ShapeFile, IsWrittenAsItWasRead) {
    const std::string bytes = shapeFile(3, 2, std::string("\1\0\xFF\0\x80\0", 6));
    ASSERT_TRUE(load(bytes));
    ASSERT_TRUE(shape.saveToFile("copy.shp"));
    EXPECT_EQ(readFile("copy.shp"), bytes);
}

TEST_F(ShapeFile, IsOverwrittenWhole) {
    writeFile("old", std::string(100, 'x'));
    ASSERT_TRUE(load(shapeFile(1, 1, "\1")));
    ASSERT_TRUE(shape.saveToFile("old"));
    EXPECT_EQ(readFile("old"), shapeFile(1, 1, "\1"));
}

TEST_F(ShapeFile, OfNoExtentIsNotWritten) {
    writeFile("old", "kept");
    EXPECT_FALSE(shape.saveToFile("new"));
    EXPECT_FALSE(shape.saveToFile("old"));
    EXPECT_NE(access("new", F_OK), 0);
    EXPECT_EQ(readFile("old"), "kept");
}

TEST_F(ShapeFile, WithOneSideOfZeroIsWrittenWithoutAMask) {
    const Shape flat(Position(), Size(5, 0), nullptr);
    ASSERT_TRUE(flat.saveToFile("flat.shp"));
    EXPECT_EQ(readFile("flat.shp"), shapeFile(5, 0, ""));
    ASSERT_TRUE(Shape(Position(), Size(0, 7), nullptr).saveToFile("thin.shp"));
    EXPECT_EQ(readFile("thin.shp"), shapeFile(0, 7, ""));
}

TEST_F(ShapeFile, HoldsTheLowSixteenBitsOfEachSide) {
    const Bytes mask(65538, 1);
    const Shape wide(Position(), Size(65538, 1), mask.data());
    ASSERT_TRUE(wide.saveToFile("wide.shp"));
    EXPECT_EQ(readFile("wide.shp"), shapeFile(2, 1, std::string(65538, '\1')));
}

TEST_F(ShapeFile, ThatCannotBeWrittenIsReported) {
    ASSERT_TRUE(load(shapeFile(100, 100, std::string(10000, '\1'))));
    ASSERT_EQ(mkdir("folder", 0700), 0);
    ASSERT_EQ(mkfifo("fifo", 0600), 0);
    for (const char* name : {"nosuch/shape", "folder", "fifo", "/dev/full", ""}) {
        EXPECT_FALSE(shape.saveToFile(name)) << name;
    }
    EXPECT_FALSE(shape.saveToFile(nullptr));
    EXPECT_FALSE(Shape(Position(), Size(1, 1), nullptr).saveToFile("nomask"));
    ASSERT_TRUE(load(shapeFile(1, 1, "\1")));
    EXPECT_FALSE(shape.saveToFile("/dev/full"));  // not noticed before closing
}
