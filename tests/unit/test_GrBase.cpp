#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <limits>

#include "graphics/GrBase.h"

using VelaGraphics::Pixel;
using VelaGraphics::Position;
using VelaGraphics::Size;

TEST(Pixel, DefaultIsTransparent) {
    EXPECT_EQ(Pixel().px, 0u);
    EXPECT_TRUE(Pixel().isTransparent());
}

TEST(Pixel, ChannelsComeInTheOrderAlphaRedGreenBlue) {
    constexpr Pixel p(0x12, 0x34, 0x56, 0x78);
    EXPECT_EQ(p.color(), 0x12345678u);
    EXPECT_EQ(p.alpha(), 0x12);
    EXPECT_EQ(p.red(), 0x34);
    EXPECT_EQ(p.green(), 0x56);
    EXPECT_EQ(p.blue(), 0x78);
}

TEST(Pixel, BlueIsTheFirstByteInMemory) {
    const Pixel p(0x12345678);
    unsigned char bytes[4];
    std::memcpy(bytes, &p, sizeof bytes);
    EXPECT_EQ(bytes[0], 0x78);
    EXPECT_EQ(bytes[3], 0x12);
}

TEST(Pixel, OnlyTheAllZeroValueIsTransparent) {
    EXPECT_FALSE(Pixel(0x00000001).isTransparent());
    EXPECT_FALSE(Pixel(0xFF000000).isTransparent());
}

TEST(Pixel, ComparesTheWholeValue) {
    EXPECT_TRUE(Pixel(5) == Pixel(5));
    EXPECT_TRUE(Pixel(0xFF000005) != Pixel(5));
    EXPECT_FALSE(Pixel(5) != Pixel(5));
}

TEST(Position, AddsPointsAndScalars) {
    Position p(1, 2);
    p += Position(3, 4);
    EXPECT_EQ(p, Position(4, 6));
    p -= Position(1, 1);
    EXPECT_EQ(p, Position(3, 5));
    p += 10;
    EXPECT_EQ(p, Position(13, 15));
    p -= 3;
    EXPECT_EQ(p, Position(10, 12));
    EXPECT_EQ(Position(1, 2) + Position(3, 4), Position(4, 6));
    EXPECT_EQ(Position(1, 2) - Position(3, 5), Position(-2, -3));
    EXPECT_TRUE(Position(1, 2) != Position(1, 3));
    EXPECT_TRUE(Position(1, 2) != Position(2, 2));
}

TEST(Position, ArithmeticWrapsAt32Bits) {
    EXPECT_EQ(Position(INT32_MAX, INT32_MIN) + Position(1, -1), Position(INT32_MIN, INT32_MAX));
    EXPECT_EQ(Position(INT32_MIN, 0) - Position(1, 0), Position(INT32_MAX, 0));
}

TEST(Position, IsRealUnlessACoordinateIsNegative) {
    EXPECT_TRUE(Position(0, 0).isReal());
    EXPECT_FALSE(Position(-1, 0).isReal());
    EXPECT_FALSE(Position(0, -1).isReal());
    EXPECT_TRUE(Position().isZero());
    EXPECT_FALSE(Position(0, 1).isZero());
    EXPECT_FALSE(Position(1, 0).isZero());
}

TEST(Size, HoldsPixelsOnlyWhenBothSidesArePositive) {
    EXPECT_TRUE(Size(1, 1).isReal());
    EXPECT_FALSE(Size(0, 1).isReal());
    EXPECT_FALSE(Size(1, -1).isReal());
    EXPECT_TRUE(Size().isZero());
    EXPECT_FALSE(Size(1, 0).isZero());
    EXPECT_FALSE(Size(0, 1).isZero());
    EXPECT_EQ(Size(96, 64).area(), 6144);
    EXPECT_EQ(Size(96, 64).width(), 96);
    EXPECT_EQ(Size(96, 64).height(), 64);
}

TEST(Size, AssignsAndAddsExtentsAndScalars) {
    Size s;
    s = 7;
    EXPECT_EQ(s, Size(7, 7));
    s = Size(1, 2);
    s += Size(10, 20);
    EXPECT_EQ(s, Size(11, 22));
    s += 1;
    EXPECT_EQ(s, Size(12, 23));
    s -= 2;
    EXPECT_EQ(s, Size(10, 21));
    EXPECT_TRUE(s != Size(10, 20));
    EXPECT_TRUE(s != Size(9, 21));
}

TEST(Size, APointIsInsideFromZeroToTheExtentLessOne) {
    const Size s(3, 2);
    EXPECT_TRUE(s.isInside(Position(0, 0)));
    EXPECT_TRUE(s.isInside(Position(2, 1)));
    EXPECT_FALSE(s.isInside(Position(3, 1)));
    EXPECT_FALSE(s.isInside(Position(2, 2)));
    EXPECT_FALSE(s.isInside(Position(-1, 0)));
    EXPECT_FALSE(s.isInside(Position(0, -1)));
}

TEST(Size, ClippedPositionsComeToTheNearestEdge) {
    const Size s(96, 64);
    EXPECT_EQ(s.clip(Position(-4, 99)), Position(0, 63));
    EXPECT_EQ(s.clip(Position(96, -1)), Position(95, 0));
    EXPECT_EQ(s.clip(Position(5, 6)), Position(5, 6));
    EXPECT_EQ(Size().clip(Position(5, 6)), Position(0, 0));
    constexpr std::int32_t kLeast = std::numeric_limits<std::int32_t>::min();
    EXPECT_EQ(Size(kLeast, kLeast).clip(Position(5, 6)), Position(5, 6)) << "a side less one wraps";
}

TEST(Size, ClippedExtentsAreCutToTheExtent) {
    const Size s(96, 64);
    EXPECT_EQ(s.clip(Size(100, 10)), Size(96, 10));
    EXPECT_EQ(s.clip(Size(-5, 64)), Size(0, 64));
}
