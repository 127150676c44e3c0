#include <gtest/gtest.h>

#include <vector>

#include "graphics/GrVirtualDisplay.h"

using VelaGraphics::DisplayBuffer;
using VelaGraphics::Drawable;
using VelaGraphics::Pixel;
using VelaGraphics::Position;
using VelaGraphics::Size;
using VelaGraphics::VirtualDisplay;

namespace {

const Pixel kInk(0xFFFFFFFF);

// Remembers in which order its contexts were called.
std::vector<int> gCalls;
int gFirst = 1;
int gSecond = 2;
void record(void* ctx) {
    gCalls.push_back(*static_cast<int*>(ctx));
}

class VirtualDisplayFlush : public testing::Test {
protected:
    VirtualDisplayFlush() : display(4, 4) {
        gCalls.clear();
        display.onChange(record, &gFirst);
        display.onChange(record, &gSecond);
    }
    VirtualDisplay display;
};

// One dot at the chosen position; remembers how it was asked.
class Dot : public Drawable {
public:
    explicit Dot(const Position& own) : m_own(own) {}
    void draw(bool usePos, const Position& pos, DisplayBuffer& buffer) const override {
        buffer.set(usePos ? pos : m_own, kInk);
    }

private:
    Position m_own;
};

int inked(const VirtualDisplay& display) {
    int n = 0;
    for (std::uint32_t i = 0; i < display.length(); ++i) {
        n += display.vdbuf()[i] == Pixel() ? 0 : 1;
    }
    return n;
}

}  // namespace

TEST(DisplayBuffer, PixelRightOfTheEdgeLandsOnTheNextRow) {
    std::vector<Pixel> pixels(4);
    DisplayBuffer buffer(pixels.data(), Size(2, 2));
    buffer.set(2, 0, kInk);
    EXPECT_EQ(pixels[2], kInk);
    EXPECT_EQ(buffer.get(0, 1), kInk);
}

TEST(DisplayBuffer, PixelBelowTheLastRowIsDropped) {
    std::vector<Pixel> pixels(4);
    DisplayBuffer buffer(pixels.data(), Size(2, 2));
    buffer.set(0, 2, kInk);
    EXPECT_EQ(pixels, std::vector<Pixel>(4));
}

TEST(DisplayBuffer, NegativeColumnIsDroppedInTheFirstRow) {
    std::vector<Pixel> pixels(4);
    DisplayBuffer buffer(pixels.data(), Size(2, 2));
    buffer.set(Position(-1, 0), kInk);
    EXPECT_EQ(pixels, std::vector<Pixel>(4));
}

TEST(DisplayBuffer, NegativeColumnInTheSecondRowIsTheEndOfTheFirst) {
    std::vector<Pixel> pixels(96 * 2);
    DisplayBuffer buffer(pixels.data(), Size(96, 2));
    buffer.set(Position(-1, 1), kInk);
    EXPECT_EQ(pixels[95], kInk);
}

TEST(DisplayBuffer, ReadingOutsideGivesTransparent) {
    std::vector<Pixel> pixels(4, kInk);
    const DisplayBuffer buffer(pixels.data(), Size(2, 2));
    EXPECT_EQ(buffer.get(0, 2), Pixel());
    EXPECT_EQ(buffer.get(Position(-1, 0)), Pixel());
    EXPECT_EQ(buffer.get(Position(1, 1)), kInk);
    EXPECT_EQ(buffer.width(), 2);
    EXPECT_EQ(buffer.height(), 2);
    EXPECT_EQ(buffer.getvdb(), pixels.data());
}

TEST(DisplayBuffer, AnExtentThatIsNotRealHoldsNoPixels) {
    EXPECT_EQ(DisplayBuffer(nullptr, Size(-2, -3)).length, 0u);
}

TEST(VirtualDisplay, StartsTransparentAndUnchanged) {
    const VirtualDisplay display(3, 2);
    EXPECT_EQ(inked(display), 0);
    EXPECT_FALSE(display.changed());
    EXPECT_EQ(display.width(), 3);
    EXPECT_EQ(display.height(), 2);
    EXPECT_EQ(display.size(), Size(3, 2));
    EXPECT_EQ(display.length(), 6u);
}

TEST(VirtualDisplay, BorrowedBufferStaysAllocatedAtDestruction) {
    std::vector<Pixel> pixels(6);
    {
        VirtualDisplay display(Size(3, 2), pixels.data());
        display.fill(kInk);
    }
    EXPECT_EQ(pixels, std::vector<Pixel>(6, kInk));
}

TEST(VirtualDisplay, OfNoExtentIsEmpty) {
    VirtualDisplay display(0, 5);
    EXPECT_EQ(display.vdbuf(), nullptr);
    EXPECT_EQ(display.length(), 0u);
    display.fill(kInk);
    display.setPixel(0, 0, kInk);
    EXPECT_EQ(display.pixel(0, 0), Pixel());
}

TEST(VirtualDisplay, OfMorePixelsThanAnIndexCountsIsEmpty) {
    const VirtualDisplay display(65536, 65536);
    EXPECT_EQ(display.vdbuf(), nullptr);
    EXPECT_EQ(display.size(), Size());
}

TEST(VirtualDisplay, AddressesPixelsRowByRow) {
    VirtualDisplay display(3, 2);
    display.setPixel(2, 1, kInk);
    EXPECT_EQ(display.vdbuf()[5], kInk);
    EXPECT_EQ(display.vdbuf(2, 1), display.vdbuf() + 5);
    EXPECT_EQ(display.vdbuf(Position(2, 1)), display.vdbuf() + 5);
    EXPECT_EQ(display.vdbufNC(2, 1), display.vdbuf() + 5);
    EXPECT_EQ(display.vdbufNC(Position(2, 1)), display.vdbufNC() + 5);
    EXPECT_EQ(display.pixel(Position(2, 1)), kInk);
}

TEST(VirtualDisplay, PixelRightOfTheEdgeLandsOnTheNextRow) {
    VirtualDisplay display(2, 2);
    display.setPixel(2, 0, kInk);
    EXPECT_EQ(display.pixel(0, 1), kInk);
    display.setPixel(0, 2, kInk);
    display.setPixel(-1, 0, kInk);
    EXPECT_EQ(inked(display), 1);
}

TEST(VirtualDisplay, FillMarksItChangedEvenWithTheSameColour) {
    VirtualDisplay display(2, 2);
    display.fill(Pixel());
    EXPECT_TRUE(display.changed());
}

TEST(VirtualDisplay, FillsTheClippedRectangle) {
    VirtualDisplay display(4, 3);
    display.fill(Position(-1, 1), Size(3, 9), kInk);
    EXPECT_TRUE(display.changed());
    EXPECT_EQ(inked(display), 4);
    EXPECT_EQ(display.pixel(1, 1), kInk);
    EXPECT_EQ(display.pixel(0, 2), kInk);
    EXPECT_EQ(display.pixel(2, 1), Pixel());
    display.fill(Position(9, 9), Size(3, 3), kInk);
    display.fill(Position(0, 0), Size(-3, 3), kInk);
    EXPECT_EQ(inked(display), 4);
}

TEST(VirtualDisplay, ClipsRectanglesOfTheLargestNumbers) {
    const VirtualDisplay display(4, 3);
    Position pos(INT32_MAX, INT32_MIN);
    Size size(INT32_MAX, INT32_MAX);
    display.clip(pos, size);
    EXPECT_EQ(size, Size(0, 0));
    pos = Position(INT32_MIN + 3, 1);
    size = Size(INT32_MAX, INT32_MAX);
    display.clip(pos, size);
    EXPECT_EQ(pos, Position(0, 1));
    EXPECT_EQ(size, Size(2, 2));
}

TEST(VirtualDisplay, DrawsDrawablesAtTheirOwnOrTheGivenPosition) {
    VirtualDisplay display(4, 3);
    display.draw(Dot(Position(1, 1)));
    EXPECT_TRUE(display.changed());
    EXPECT_EQ(display.pixel(1, 1), kInk);
    display.drawAt(Position(3, 2), Dot(Position(0, 0)));
    EXPECT_EQ(display.pixel(3, 2), kInk);
    EXPECT_EQ(inked(display), 2);
}

TEST(VirtualDisplay, CopiesTheWholeOfAnotherToTheTopLeftCorner) {
    VirtualDisplay from(2, 2);
    from.fill(kInk);
    VirtualDisplay to(4, 3);
    to.copy(from);
    EXPECT_TRUE(to.changed());
    EXPECT_EQ(inked(to), 4);
    EXPECT_EQ(to.pixel(1, 1), kInk);
}

TEST(VirtualDisplay, CopiedRegionsStartInsideBothSurfaces) {
    VirtualDisplay from(3, 3);
    from.setPixel(2, 2, kInk);
    VirtualDisplay to(4, 4);
    to.copy(Position(-5, 99), from, Position(99, 99), Size(9, 9));
    EXPECT_EQ(inked(to), 1);
    EXPECT_EQ(to.pixel(0, 3), kInk);
}

TEST(VirtualDisplay, CopiedRegionsEndWithTheirSource) {
    Pixel pixels[8] = {Pixel(1), Pixel(2), Pixel(3), Pixel(4), Pixel(5), Pixel(6), Pixel(7), Pixel(8)};
    const VirtualDisplay source(2, 2, pixels);  // and four pixels that are not its own
    VirtualDisplay target(3, 3);
    target.copy(Position(), source, Position(1, 1), Size(2, 2));
    EXPECT_EQ(target.pixel(0, 0), Pixel(4));
    EXPECT_EQ(target.pixel(1, 0), Pixel());
    EXPECT_EQ(target.pixel(0, 1), Pixel());
    EXPECT_EQ(target.pixel(0, 2), Pixel());
}

TEST_F(VirtualDisplayFlush, OfAnUnchangedDisplayCallsNoListener) {
    display.flush(false);
    EXPECT_TRUE(gCalls.empty());
}

TEST_F(VirtualDisplayFlush, CallsTheListenersInOrderOnceForEachChange) {
    display.fill(kInk);
    display.flush(false);
    EXPECT_EQ(gCalls, (std::vector<int>{1, 2}));
    EXPECT_FALSE(display.changed());
    display.flush(false);
    EXPECT_EQ(gCalls.size(), 2u);
}

TEST_F(VirtualDisplayFlush, ForcedCallsAllListeners) {
    display.flush(true);
    EXPECT_EQ(gCalls, (std::vector<int>{1, 2}));
}

TEST(VirtualDisplay, FlushClearsTheMarkWithoutListeners) {
    VirtualDisplay display(2, 2);
    display.setPixel(0, 0, kInk);
    EXPECT_TRUE(display.changed());
    display.flush(false);
    EXPECT_FALSE(display.changed());
    display.markChanged();
    EXPECT_TRUE(display.changed());
}
