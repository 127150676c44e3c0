// pixel, rect, line.

#include <gtest/gtest.h>

#include "interpreter_fixture.h"

namespace {

using PixelCommand = InterpreterTest;
using RectCommand = InterpreterTest;
using LineCommand = InterpreterTest;

}  // namespace

TEST_F(PixelCommand, SetsThePixel) {
    quietly({"pixel 0 3 2 red"});
    EXPECT_EQ(points(kRed), (Points{{3, 2}}));
    EXPECT_TRUE(panel.changed());
}

TEST_F(PixelCommand, ThatChangesNothingSendsNoFrame) {
    quietly({"pixel 0 1 1 red", "flush 0", "pixel 0 1 1 red", "flush 0"});
    EXPECT_EQ(frames, 1);
    quietly({"pixel 0 1 1 white", "flush 0"});
    EXPECT_EQ(frames, 2);
}

TEST_F(PixelCommand, RightOfTheEdgeLandsOnTheNextRow) {
    quietly({"pixel 0 96 0 red"});
    EXPECT_EQ(points(kRed), (Points{{0, 1}}));
}

TEST_F(PixelCommand, LeftOfTheEdgeLandsOnTheRowBefore) {
    quietly({"pixel 0 -1 1 red"});
    EXPECT_EQ(points(kRed), (Points{{95, 0}}));
}

TEST_F(PixelCommand, OutsideTheDisplayMarksNothing) {
    quietly({"pixel 0 -1 0 red", "pixel 0 0 64 red", "pixel 0 2147483647 2147483647 red"});
    EXPECT_TRUE(points(kRed).empty());
    EXPECT_FALSE(panel.changed());
}

TEST_F(PixelCommand, ReportsTheFirstMissingArgument) {
    EXPECT_EQ(run("pixel 9 1 1 red"), onError("display not found"));
    EXPECT_EQ(run("pixel"), onError("display not found"));
    EXPECT_EQ(run("pixel 0"), onError("expected int x!"));
    EXPECT_EQ(run("pixel 0 1"), onError("expected int y!"));
    EXPECT_EQ(run("pixel 0 1 1"), onError("expected color fg!"));
    EXPECT_EQ(run("pixel 0 1 1 pink"), onError("expected color fg!"));
    EXPECT_FALSE(panel.changed());
}

TEST_F(PixelCommand, IgnoresTextBehindItsArguments) {
    quietly({"pixel 0 1 1 red and more"});
}

TEST_F(RectCommand, DrawsBorderAndInterior) {
    quietly({"rect 0 0 0 4 3 white red"});
    EXPECT_EQ(points(kWhite),
              (Points{{0, 0}, {1, 0}, {2, 0}, {3, 0}, {0, 1}, {3, 1}, {0, 2}, {1, 2}, {2, 2}, {3, 2}}));
    EXPECT_EQ(points(kRed), (Points{{1, 1}, {2, 1}}));
    EXPECT_TRUE(panel.changed());
}

TEST_F(RectCommand, WithoutABackgroundLeavesTheInterior) {
    quietly({"clear 0 red", "rect 0 0 0 3 3 white"});
    EXPECT_EQ(display("0")->pixel(1, 1), kRed);
}

TEST_F(RectCommand, WithAnUnreadableBackgroundLeavesTheInteriorWithoutAMessage) {
    quietly({"clear 0 red", "rect 0 0 0 3 3 white nosuch"});
    EXPECT_EQ(display("0")->pixel(1, 1), kRed);
}

TEST_F(RectCommand, OfOnePixelSetsOnlyThat) {
    quietly({"rect 0 0 0 1 1 white"});
    EXPECT_EQ(points(kWhite), (Points{{0, 0}}));
}

TEST_F(RectCommand, OfOneRowOrColumnIsALine) {
    quietly({"rect 0 1 1 5 1 white"});
    EXPECT_EQ(points(kWhite), (Points{{1, 1}, {2, 1}, {3, 1}, {4, 1}, {5, 1}}));
    quietly({"clear 0", "rect 0 1 1 1 3 white red"});
    EXPECT_EQ(points(kWhite), (Points{{1, 1}, {1, 2}, {1, 3}}));
    EXPECT_TRUE(points(kRed).empty());
}

TEST_F(RectCommand, NarrowerOrLowerThanThreeShowsNoInterior) {
    quietly({"rect 0 0 0 2 2 white red", "rect 0 10 0 2 5 white red", "rect 0 20 0 5 2 white red"});
    EXPECT_TRUE(points(kRed).empty());
}

TEST_F(RectCommand, OfNoExtentPlotsTheCornerBeforeIt) {
    quietly({"rect 0 5 5 0 0 white"});
    EXPECT_EQ(points(kWhite), (Points{{4, 4}}));
}

TEST_F(RectCommand, OverTheRightEdgeGoesOnInTheNextRows) {
    quietly({"rect 0 95 0 3 1 white"});
    EXPECT_EQ(points(kWhite), (Points{{95, 0}, {0, 1}, {1, 1}}));
}

TEST_F(RectCommand, OffTheDisplayStillMarksItChanged) {
    quietly({"rect 0 0 500 3 3 white"});
    EXPECT_TRUE(points(kWhite).empty());
    EXPECT_TRUE(panel.changed());
}

TEST_F(RectCommand, ReportsTheFirstMissingArgument) {
    EXPECT_EQ(run("rect 9"), onError("display not found"));
    EXPECT_EQ(run("rect 0"), onError("expected int x!"));
    EXPECT_EQ(run("rect 0 1"), onError("expected int y!"));
    EXPECT_EQ(run("rect 0 1 1"), onError("expected int w!"));
    EXPECT_EQ(run("rect 0 1 1 5"), onError("expected int h!"));
    EXPECT_EQ(run("rect 0 1 1 5 5"), onError("expected color fg!"));
    EXPECT_FALSE(panel.changed());
}

TEST_F(LineCommand, OfNoLengthDrawsNothingButMarksTheDisplay) {
    quietly({"line 0 0 0 0 0 white"});
    EXPECT_TRUE(points(kWhite).empty());
    EXPECT_TRUE(panel.changed());
}

TEST_F(LineCommand, EndPointIsNotDrawn) {
    quietly({"line 0 0 0 3 0 white"});
    EXPECT_EQ(points(kWhite), (Points{{0, 0}, {1, 0}, {2, 0}}));
}

TEST_F(LineCommand, GoesInEveryDirection) {
    quietly({"line 0 3 0 0 0 white"});
    EXPECT_EQ(points(kWhite), (Points{{1, 0}, {2, 0}, {3, 0}}));
    quietly({"clear 0", "line 0 5 8 5 5 white"});
    EXPECT_EQ(points(kWhite), (Points{{5, 6}, {5, 7}, {5, 8}}));
    quietly({"clear 0", "line 0 0 0 3 3 white"});
    EXPECT_EQ(points(kWhite), (Points{{0, 0}, {1, 1}, {2, 2}}));
    quietly({"clear 0", "line 0 0 0 2 4 white"});
    EXPECT_EQ(points(kWhite), (Points{{0, 0}, {1, 1}, {1, 2}, {2, 3}}));
}

TEST_F(LineCommand, OverTheEdgeGoesOnInTheNextRow) {
    quietly({"line 0 94 0 98 0 white"});
    EXPECT_EQ(points(kWhite), (Points{{94, 0}, {95, 0}, {0, 1}, {1, 1}}));
}

TEST_F(LineCommand, ReportsTheFirstMissingArgument) {
    EXPECT_EQ(run("line 9"), onError("display not found"));
    EXPECT_EQ(run("line 0"), onError("expected int x1!"));
    EXPECT_EQ(run("line 0 1"), onError("expected int y1!"));
    EXPECT_EQ(run("line 0 1 1"), onError("expected int x2!"));
    EXPECT_EQ(run("line 0 1 1 5"), onError("expected int y2!"));
    EXPECT_EQ(run("line 0 1 1 5 5"), onError("expected color fg!"));
    EXPECT_FALSE(panel.changed());
}
