// The rules are checked against plotting point by point, the way they are defined.

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <functional>
#include <random>
#include <vector>

#include "graphics/GrRaster.h"

using VelaGraphics::DisplayBuffer;
using VelaGraphics::Pixel;
using VelaGraphics::Position;
using VelaGraphics::Size;

namespace {

const Pixel kInk(0xFFFFFFFF);
const Pixel kFill(0xFF800000);

std::uint32_t u32(std::int64_t v) {
    return static_cast<std::uint32_t>(v);
}
std::int32_t i32(std::int64_t v) {
    return static_cast<std::int32_t>(u32(v));
}

// A surface of its own pixels that prints as its lit points.
struct Surface {
    explicit Surface(std::int32_t w, std::int32_t h)
        : pixels(static_cast<std::size_t>(w) * static_cast<std::size_t>(h)), size(w, h) {}

    DisplayBuffer buffer() { return {pixels.data(), size}; }
    std::vector<std::uint32_t> values() const {
        std::vector<std::uint32_t> result;
        for (const Pixel& p : pixels) {
            result.push_back(p.px);
        }
        return result;
    }
    int inked() const {
        int n = 0;
        for (const Pixel& p : pixels) {
            n += p == Pixel() ? 0 : 1;
        }
        return n;
    }

    std::vector<Pixel> pixels;
    Size size;
};

// Not inline: gcc 12 would warn of the very indexes that the test below keeps out.
[[gnu::noinline]] void plot(Surface& s, std::int64_t x, std::int64_t y, Pixel color) {
    const std::uint32_t index = u32(x) + u32(y) * u32(s.size.w);
    if (index < s.pixels.size()) {
        s.pixels[index] = color;
    }
}

void plainBlock(Surface& s, const Position& at, std::int64_t columns, std::int64_t rows, Pixel color) {
    for (std::int64_t j = 0; j < rows; ++j) {
        for (std::int64_t i = 0; i < columns; ++i) {
            plot(s, at.x + i, at.y + j, color);
        }
    }
}

void plainLine(Surface& s, const Position& from, const Position& to, Pixel color) {
    std::int64_t x = from.x;
    std::int64_t y = from.y;
    const std::int64_t ddx = 2 * std::abs(std::int64_t{to.x} - from.x);
    const std::int64_t ddy = 2 * std::abs(std::int64_t{to.y} - from.y);
    const int sx = to.x < from.x ? -1 : 1;
    const int sy = to.y < from.y ? -1 : 1;
    if (ddx <= ddy) {
        std::int64_t err = ddx - ddy / 2;
        while (y != to.y) {
            plot(s, x, y, color);
            if (err >= 0) {
                x += sx;
                err -= ddy;
            }
            err += ddx;
            y += sy;
        }
        return;
    }
    std::int64_t err = ddy - ddx / 2;
    while (x != to.x) {
        plot(s, x, y, color);
        x += sx;
        if (err >= 0) {
            y += sy;
            err -= ddx;
        }
        err += ddy;
    }
}

void plainOutline(Surface& s, const Position& at, const Size& size, Pixel color) {
    const std::int32_t x2 = i32(std::int64_t{at.x} + size.w - 1);
    const std::int32_t y2 = i32(std::int64_t{at.y} + size.h - 1);
    for (std::int64_t c = at.x; c < x2; ++c) {
        plot(s, c, at.y, color);
        plot(s, c, y2, color);
    }
    for (std::int64_t r = at.y; r < y2; ++r) {
        plot(s, at.x, r, color);
        plot(s, x2, r, color);
    }
    plot(s, x2, y2, color);
}

void plainInterior(Surface& s, const Position& at, const Size& size, Pixel color) {
    const std::int32_t x2 = i32(std::int64_t{at.x} + size.w - 1);
    const std::int32_t y2 = i32(std::int64_t{at.y} + size.h - 1);
    if (size.h < 3 || size.w <= 2) {
        return;
    }
    for (std::int64_t r = std::int64_t{at.y} + 1; r <= std::int64_t{y2} - 1; ++r) {
        for (std::int64_t c = std::int64_t{at.x} + 1; c <= std::int64_t{x2} - 1; ++c) {
            plot(s, c, r, color);
        }
    }
}

class Random {
public:
    explicit Random(unsigned seed) : m_engine(seed) {}
    std::int32_t in(std::int32_t low, std::int32_t high) {
        return std::uniform_int_distribution<std::int32_t>(low, high)(m_engine);
    }
    Position point(std::int32_t reach) { return {in(-reach, reach), in(-reach, reach)}; }

private:
    std::mt19937 m_engine;
};

// Surfaces of the panel's and of odd shapes; the wide one makes indexes wrap past 2^32 within a short walk.
const Size kShapes[] = {{96, 64}, {7, 5}, {1, 40}, {40, 1}, {2, 2}, {65536, 2}};

void expectSameLine(const Size& shape, const Position& from, const Position& to) {
    Surface got(shape.w, shape.h);
    Surface expected(shape.w, shape.h);
    DisplayBuffer buffer = got.buffer();
    drawLine(buffer, from, to, kInk);
    plainLine(expected, from, to, kInk);
    ASSERT_EQ(got.values() == expected.values(), true)
        << "line " << from.x << ',' << from.y << " to " << to.x << ',' << to.y << " on " << shape.w << 'x'
        << shape.h << ": " << got.inked() << " pixels, expected " << expected.inked();
}

// The processor time of an action: what others use of the machine meanwhile does not count.
double milliseconds(const std::function<void()>& action) {
    const std::clock_t start = std::clock();
    action();
    return 1000.0 * static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC;
}

}  // namespace

TEST(Line, StepsAsTheTableOfASteepLineSays) {
    Surface s(3, 5);
    DisplayBuffer buffer = s.buffer();
    drawLine(buffer, Position(0, 0), Position(2, 4), kInk);
    Surface expected(3, 5);
    for (const Position& p : {Position(0, 0), Position(1, 1), Position(1, 2), Position(2, 3)}) {
        plot(expected, p.x, p.y, kInk);
    }
    EXPECT_EQ(s.values(), expected.values());
}

TEST(Line, OfNoLengthDrawsNothing) {
    Surface s(4, 4);
    DisplayBuffer buffer = s.buffer();
    drawLine(buffer, Position(2, 2), Position(2, 2), kInk);
    EXPECT_EQ(s.inked(), 0);
}

TEST(Line, EveryDirectionMatchesThePlainWalk) {
    for (std::int32_t x = -12; x <= 12; ++x) {
        for (std::int32_t y = -12; y <= 12; ++y) {
            expectSameLine(Size(25, 25), Position(12, 12), Position(12 + x, 12 + y));
        }
    }
}

TEST(Line, PartlyOutsideMatchesThePlainWalk) {
    Random random(1);
    for (int i = 0; i < 2000; ++i) {
        expectSameLine(Size(96, 64), random.point(200), random.point(200));
    }
}

TEST(Line, FarOutsideMatchesThePlainWalk) {
    Random random(2);
    for (const Size& shape : kShapes) {
        for (int i = 0; i < 12; ++i) {
            expectSameLine(shape, random.point(150000), random.point(150000));
        }
    }
}

TEST(Line, ShallowAndNearlyLevelInIndexMatchesThePlainWalk) {
    // These go back a row's width at each row: the index hardly moves and meets the same pixels again and
    // again.
    Random random(3);
    for (const Size& shape : kShapes) {
        for (int i = 0; i < 40; ++i) {
            const std::int32_t length = random.in(20000, 60000);
            const std::int32_t rows = length / shape.w + random.in(-length / shape.w / 40 - 1, 2);
            const int flip = random.in(0, 1) == 0 ? 1 : -1;
            const Position from(random.in(-5, shape.w), random.in(-2, shape.h));
            expectSameLine(shape, from, from + Position(flip * length, -flip * rows));
        }
    }
}

TEST(Line, WithRowsLongerThanTwoWidthsReachesItsLastPoint) {
    // Half a row is longer than the display is wide: nothing lies further on than the end of the line.
    const Size shape(10, 3000);
    for (const std::int32_t length : {24998, 24999, 25000, 25001, 25002}) {
        for (const std::int32_t rows : {3, 99, 100}) {
            expectSameLine(shape, Position(0, rows), Position(length, 0));
            expectSameLine(shape, Position(length, 0), Position(0, rows));
        }
    }
}

TEST(Line, LongAxisParallelLinesMatchThePlainWalk) {
    for (const Size& shape : kShapes) {
        expectSameLine(shape, Position(-90000, 1), Position(90000, 1));
        expectSameLine(shape, Position(90000, 0), Position(-90000, 0));
        expectSameLine(shape, Position(0, -70000), Position(0, 140000));
        expectSameLine(shape, Position(1, 140000), Position(1, -70000));
        expectSameLine(shape, Position(-70000, -70000), Position(70000, 70000));
        expectSameLine(shape, Position(70000, -70000), Position(-70000, 70000));
    }
}

TEST(Line, OfTheLargestNumbersIsDrawnAtOnce) {
    constexpr std::int32_t kMost = INT32_MAX;
    constexpr std::int32_t kLeast = INT32_MIN;
    const Position ends[][2] = {
        {{kLeast, kLeast}, {kMost, kMost}}, {{kMost, kLeast}, {kLeast, kMost}},
        {{0, kLeast}, {0, kMost}},          {{kLeast, 5}, {kMost, 5}},
        {{0, 0}, {kLeast, 22369621}},       {{0, 0}, {kMost, -22369621}},
        {{0, 0}, {kMost, -22369000}},       {{5, 63}, {kMost, -22605091}},
        {{-1, -1}, {kMost, 12345}},         {{0, 0}, {kMost, -1073741823}},
        {{kLeast, 0}, {kMost, -44739242}},  {{kLeast, 9}, {kMost, -45210181}},
    };
    for (const auto& line : ends) {
        Surface s(96, 64);
        DisplayBuffer buffer = s.buffer();
        // The plain walk takes seconds; the bound leaves room for the sanitizers.
        EXPECT_LT(milliseconds([&] { drawLine(buffer, line[0], line[1], kInk); }), 100.0)
            << line[0].x << ',' << line[0].y << " to " << line[1].x << ',' << line[1].y;
    }
}

TEST(Line, FullHeightVerticalMeetsTheDisplayAtEveryWrapOfTheIndex) {
    Surface s(96, 64);
    DisplayBuffer buffer = s.buffer();
    drawLine(buffer, Position(0, INT32_MIN), Position(0, INT32_MAX), kInk);
    // y * 96 modulo 2^32 takes every multiple of 32 (96 and 2^32 share that factor): each pixel whose number
    // is one.
    Surface expected(96, 64);
    for (std::uint32_t i = 0; i < 6144; i += 32) {
        expected.pixels[i] = kInk;
    }
    EXPECT_EQ(s.values(), expected.values());
}

TEST(Line, OnAnEmptyBufferDrawsNothing) {
    DisplayBuffer buffer(nullptr, Size(0, 0));
    drawLine(buffer, Position(0, 0), Position(10, 10), kInk);
    drawLine(buffer, Position(0, 0), Position(100000, 10), kInk);
    fillBlock(buffer, Position(0, 0), 5, 5, kInk);
    EXPECT_EQ(buffer.length, 0u);
}

TEST(Block, MatchesPlottingEachPoint) {
    Random random(4);
    for (const Size& shape : kShapes) {
        for (int i = 0; i < 200; ++i) {
            Surface got(shape.w, shape.h);
            Surface expected(shape.w, shape.h);
            const Position at = random.point(120);
            const std::int32_t columns = random.in(0, 150);
            const std::int32_t rows = random.in(0, 90);
            DisplayBuffer buffer = got.buffer();
            fillBlock(buffer, at, u32(columns), u32(rows), kInk);
            plainBlock(expected, at, columns, rows, kInk);
            ASSERT_TRUE(got.values() == expected.values()) << at.x << ',' << at.y << ' ' << columns << 'x'
                                                           << rows << " on " << shape.w << 'x' << shape.h;
        }
    }
}

TEST(Block, TallOnesMeetTheDisplayAtEveryWrapOfTheIndex) {
    Random random(5);
    for (int i = 0; i < 20; ++i) {
        Surface got(65536, 2);
        Surface expected(65536, 2);
        const Position at = random.point(70000);
        const std::int32_t columns = random.in(1, 3);
        const std::int32_t rows = random.in(100000, 200000);
        DisplayBuffer buffer = got.buffer();
        fillBlock(buffer, at, u32(columns), u32(rows), kInk);
        plainBlock(expected, at, columns, rows, kInk);
        ASSERT_TRUE(got.values() == expected.values())
            << at.x << ',' << at.y << ' ' << columns << 'x' << rows;
    }
}

TEST(Outline, MatchesPlottingEachPoint) {
    Random random(6);
    for (const Size& shape : kShapes) {
        for (int i = 0; i < 200; ++i) {
            Surface got(shape.w, shape.h);
            Surface expected(shape.w, shape.h);
            const Position at = random.point(120);
            const Size size(random.in(-6, 150), random.in(-6, 90));
            DisplayBuffer buffer = got.buffer();
            drawOutline(buffer, at, size, kInk);
            fillInterior(buffer, at, size, kFill);
            plainOutline(expected, at, size, kInk);
            plainInterior(expected, at, size, kFill);
            ASSERT_TRUE(got.values() == expected.values()) << at.x << ',' << at.y << ' ' << size.w << 'x'
                                                           << size.h << " on " << shape.w << 'x' << shape.h;
        }
    }
}

TEST(Outline, OfNoExtentPlotsTheCornerBeforeItsOrigin) {
    Surface s(4, 4);
    DisplayBuffer buffer = s.buffer();
    drawOutline(buffer, Position(2, 3), Size(0, 0), kInk);
    EXPECT_EQ(s.inked(), 1);
    EXPECT_EQ(buffer.get(1, 2), kInk);
}

TEST(Outline, WhoseCornerWrapsDrawsOnlyWhatLiesBeforeIt) {
    // x + w - 1 wraps to a negative number: no horizontal edge, and the vertical edges are at x and at that
    // number.
    Surface s(96, 64);
    DisplayBuffer buffer = s.buffer();
    drawOutline(buffer, Position(10, 2), Size(INT32_MAX, 3), kInk);
    Surface expected(96, 64);
    plainOutline(expected, Position(10, 2), Size(INT32_MAX, 3), kInk);
    EXPECT_EQ(s.values(), expected.values());
    fillInterior(buffer, Position(10, 2), Size(INT32_MAX, 3), kFill);
    fillInterior(buffer, Position(10, 2), Size(3, INT32_MAX), kFill);
    EXPECT_EQ(s.values(), expected.values());
}

TEST(Line, LongOneThatClimbsBeginsWithItsFirstPoint) {
    Surface s(4, 12);
    DisplayBuffer buffer = s.buffer();
    drawLine(buffer, Position(0, 10), Position(100000, 9), kInk);
    EXPECT_EQ(s.pixels[39], Pixel());
    EXPECT_EQ(s.pixels[40], kInk);
    EXPECT_EQ(s.inked(), 8);
    drawLine(buffer, Position(3, 9), Position(-100000, 10), kFill);
    EXPECT_EQ(s.pixels[39], kFill);
    EXPECT_EQ(s.pixels[40], kInk);
    EXPECT_EQ(s.pixels[0], kFill);
}

TEST(Interior, NeedsThreePixelsEachWay) {
    for (const Size& size : {Size(2, 9), Size(9, 2), Size(2, 2), Size(-9, -9)}) {
        Surface s(12, 12);
        DisplayBuffer buffer = s.buffer();
        fillInterior(buffer, Position(1, 1), size, kInk);
        EXPECT_EQ(s.inked(), 0) << size.w << 'x' << size.h;
    }
}

TEST(Rectangle, OfTheLargestNumbersIsDrawnAtOnce) {
    constexpr std::int32_t kMost = INT32_MAX;
    constexpr std::int32_t kLeast = INT32_MIN;
    const std::pair<Position, Size> rectangles[] = {
        {{0, 0}, {kMost, kMost}},        {{kLeast, kLeast}, {kMost, kMost}}, {{-5, -5}, {kMost, kMost}},
        {{kLeast, kLeast}, {50, kMost}}, {{kLeast, 0}, {kMost, 3}},          {{3, kLeast}, {94, kMost}},
        {{0, 0}, {kLeast, kLeast}},      {{1, kLeast}, {3, kMost}},
    };
    for (const auto& rectangle : rectangles) {
        const Position& at = rectangle.first;
        const Size& size = rectangle.second;
        Surface s(96, 64);
        DisplayBuffer buffer = s.buffer();
        EXPECT_LT(milliseconds([&] {
                      drawOutline(buffer, at, size, kInk);
                      fillInterior(buffer, at, size, kFill);
                  }),
                  100.0)
            << at.x << ',' << at.y << ' ' << size.w << 'x' << size.h;
    }
}

TEST(Rectangle, CoveringEverythingFillsTheDisplay) {
    Surface s(96, 64);
    DisplayBuffer buffer = s.buffer();
    fillInterior(buffer, Position(-5, -5), Size(INT32_MAX, INT32_MAX), kFill);
    for (const Pixel& p : s.pixels) {
        ASSERT_EQ(p, kFill);
    }
}

TEST(Interior, MayEndAtTheLastRowThatThereIs) {
    Surface s(4, 2);
    DisplayBuffer buffer = s.buffer();
    // Its rows from 2^30 on, where the index wraps to 0, are on the display.
    fillInterior(buffer, Position(0, 0x3FFFFFFF), Size(3, 0x40000001), kInk);
    EXPECT_EQ(s.values(), (std::vector<std::uint32_t>{0, kInk.px, 0, 0, 0, kInk.px, 0, 0}));
}

TEST(CopyBlock, WrapsAtTheRightEdgeAndDropsWhatIsPastTheEnd) {
    Surface from(3, 3);
    for (std::size_t i = 0; i < from.pixels.size(); ++i) {
        from.pixels[i] = Pixel(static_cast<std::uint32_t>(i + 1));
    }
    Surface to(4, 2);
    DisplayBuffer buffer = to.buffer();
    copyBlock(buffer, Position(2, 0), from.pixels.data(), 3, Size(3, 3));
    // Row 0 gives 1 2 at (2,0) and 3 at (0,1); row 1 gives 4 5 at (2,1); the rest is past the end.
    EXPECT_EQ(to.values(), (std::vector<std::uint32_t>{0, 0, 1, 2, 3, 0, 4, 5}));
}

TEST(CopyBlock, BeginsWithinARowWhereTheIndexWraps) {
    const Pixel source[] = {Pixel(1), Pixel(2), Pixel(3), Pixel(4)};
    Surface to(4, 1);
    DisplayBuffer buffer = to.buffer();
    copyBlock(buffer, Position(2, 0x3FFFFFFF), source, 4, Size(4, 1));  // from the index 2^32 - 2 on
    EXPECT_EQ(to.values(), (std::vector<std::uint32_t>{3, 4, 0, 0}));
}

TEST(CopyBlock, OfNoExtentCopiesNothing) {
    Surface s(2, 2);
    const Pixel ink = kInk;
    DisplayBuffer buffer = s.buffer();
    copyBlock(buffer, Position(0, 0), &ink, 1, Size(0, 1));
    copyBlock(buffer, Position(0, 0), &ink, 1, Size(1, -1));
    EXPECT_EQ(s.inked(), 0);
}

TEST(CopyBlock, ToAnEmptyBufferCopiesNothing) {
    Surface s(0, 0);
    const Pixel ink = kInk;
    DisplayBuffer buffer = s.buffer();
    copyBlock(buffer, Position(0, 0), &ink, 1, Size(1, 1));
    EXPECT_TRUE(s.values().empty());
}

TEST(CopyBlock, OverlapWithinOneArraySmears) {
    Surface s(4, 1);
    s.pixels[0] = Pixel(9);
    DisplayBuffer buffer = s.buffer();
    copyBlock(buffer, Position(1, 0), s.pixels.data(), 4, Size(3, 1));
    EXPECT_EQ(s.values(), (std::vector<std::uint32_t>{9, 9, 9, 9}));
}
