// vdisp, vdispd, clear, copy, flush.

#include <gtest/gtest.h>

#include <string>

#include "allocation_watch.h"
#include "interpreter_fixture.h"

namespace {

using VdispCommand = InterpreterTest;
using VdispdCommand = InterpreterTest;
using ClearCommand = InterpreterTest;
using FlushCommand = InterpreterTest;

class CopyCommand : public InterpreterTest {
protected:
    // Display 5 of 4 x 3 pixels, pixel (x, y) of the value 1 + x + 4 * y.
    CopyCommand() {
        run("vdisp 5 4 3");
        for (int i = 0; i < 12; ++i) {
            display("5")->setPixel(i % 4, i / 4, Pixel(static_cast<std::uint32_t>(i + 1)));
        }
    }
    std::uint32_t at(int x, int y, const std::string& number = "0") {
        return display(number)->pixel(x, y).px;
    }
    std::size_t painted() { return 96u * 64u - points(kClear).size(); }
};

}  // namespace

TEST_F(VdispCommand, MakesATransparentDisplay) {
    quietly({"vdisp 5 10 20"});
    EXPECT_EQ(display("5")->size(), Size(10, 20));
    EXPECT_EQ(points(kClear, "5").size(), 200u);
}

TEST_F(VdispCommand, WithoutMemoryIsReportedAsABadSize) {
    AllocationWatch::fails = true;
    const std::string lines = run("vdisp 5 10 10");
    AllocationWatch::fails = false;
    EXPECT_EQ(lines, onError("display 5, bad size"));
    EXPECT_EQ(display("5"), nullptr);
}

TEST_F(VdispCommand, OfATakenNumberIsRefused) {
    quietly({"vdisp 5 10 10"});
    EXPECT_EQ(run("vdisp 5 20 20"), onError("display 5 already exists, not created"));
    EXPECT_EQ(display("5")->size(), Size(10, 10));
    EXPECT_EQ(run("vdisp 0 10 10"), onError("display 0 already exists, not created"));
    EXPECT_EQ(run("vdisp 5"), onError("display 5 already exists, not created"));
    EXPECT_EQ(run("vdisp - 10 10"), onError("display 0 already exists, not created"));
}

TEST_F(VdispCommand, OfABadSizeIsRefused) {
    EXPECT_EQ(run("vdisp 5 0 10"), onError("display 5, bad size"));
    EXPECT_EQ(run("vdisp 5 10 -3"), onError("display 5, bad size"));
    EXPECT_EQ(run("vdisp 5 - 10"), onError("display 5, bad size"));
    EXPECT_EQ(run("vdisp 5 10 -"), onError("display 5, bad size"));
    EXPECT_EQ(display("5"), nullptr);
}

TEST_F(VdispCommand, ReportsTheFirstMissingNumber) {
    EXPECT_EQ(run("vdisp 5"), onError("expected int w!"));
    EXPECT_EQ(run("vdisp 5 10"), onError("expected int h!"));
    EXPECT_EQ(run("vdisp 5 - x"), onError("expected int h!"));
    EXPECT_EQ(run("vdisp"), onError("expected int w!"));
    EXPECT_EQ(run("vdisp x 10 10"), onError("expected int w!"));
}

TEST_F(VdispCommand, OfMoreThan16777216PixelsIsRefused) {
    EXPECT_EQ(run("vdisp 5 4096 4097"), onError("display 5, bad size"));
    EXPECT_EQ(run("vdisp 5 65536 65536"), onError("display 5, bad size"));
    EXPECT_EQ(run("vdisp 5 2147483647 2147483647"), onError("display 5, bad size"));
    EXPECT_EQ(run("vdisp 5 16777217 1"), onError("display 5, bad size"));
    quietly({"vdisp 5 16777216 1"});
    EXPECT_EQ(display("5")->size(), Size(16777216, 1));
}

TEST_F(VdispCommand, WithANegativeNumberStoresWhatOnlyVdispdReaches) {
    quietly({"vdisp -3 10 10", "vdisp -3 5 5", "vdispd -3"});
    EXPECT_EQ(run("clear -3"), onError("display not found"));
}

TEST_F(VdispCommand, NumbersAreStoredInPlainDecimal) {
    quietly({"vdisp 007 2 2"});
    EXPECT_NE(display("7"), nullptr);
    quietly({"vdispd 007"});
    EXPECT_NE(display("7"), nullptr);
    quietly({"vdispd 7"});
    EXPECT_EQ(display("7"), nullptr);
}

TEST_F(VdispCommand, ForAnEmptyHardwareSlotCannotBeDrawnOn) {
    displays[0] = nullptr;
    quietly({"vdisp 0 4 4", "vdisp 0 4 4"});
    EXPECT_EQ(run("clear 0"), onError("display not found"));
    quietly({"vdispd 0"});
}

TEST_F(VdispdCommand, OfADisplayThatNeverWasIsSilent) {
    quietly({"vdispd 5", "vdispd 0", "vdispd xyz"});
}

TEST_F(VdispdCommand, DeletesTheDisplay) {
    quietly({"vdisp 5 4 4", "vdispd 5"});
    EXPECT_EQ(run("clear 5"), onError("display not found"));
    quietly({"vdisp 5 8 8"});
    EXPECT_EQ(display("5")->size(), Size(8, 8));
    quietly({"vdispd '5'"});
    EXPECT_EQ(display("5"), nullptr);
}

TEST_F(VdispdCommand, WithoutANumberIsReported) {
    EXPECT_EQ(run("vdispd"), onError("expected string dispId!"));
    EXPECT_EQ(run("vdispd 'x"), onError("expected string dispId!"));
}

TEST_F(VdispdCommand, HardwareDisplaysStay) {
    quietly({"vdispd 0"});
    EXPECT_EQ(run("info 0"), "OnDisplayInfo2(0,96,64)\n");
}

TEST_F(ClearCommand, FillsWithTheColour) {
    quietly({"clear 0 red"});
    EXPECT_EQ(points(kRed).size(), 96u * 64u);
    EXPECT_TRUE(panel.changed());
}

TEST_F(ClearCommand, WithoutAReadableColourFillsWithTransparent) {
    quietly({"clear 0 red", "clear 0 nosuchcolour"});
    EXPECT_EQ(points(kClear).size(), 96u * 64u);
    quietly({"clear 0 red", "clear 0"});
    EXPECT_EQ(points(kClear).size(), 96u * 64u);
    quietly({"clear 0 red", "clear 0 (1,2)"});
    EXPECT_EQ(points(kClear).size(), 96u * 64u);
}

TEST_F(ClearCommand, OfAMissingDisplayIsReported) {
    EXPECT_EQ(run("clear 5"), onError("display not found"));
    EXPECT_EQ(run("clear"), onError("display not found"));
    EXPECT_EQ(run("clear -1"), onError("display not found"));
}

TEST_F(ClearCommand, FlushesNothing) {
    quietly({"clear 0 white"});
    EXPECT_EQ(frames, 0);
}

TEST_F(CopyCommand, OfTheWholeGoesToTheTopLeftCorner) {
    quietly({"copy 0 5"});
    EXPECT_EQ(at(0, 0), 1u);
    EXPECT_EQ(at(3, 2), 12u);
    EXPECT_EQ(painted(), 12u);
    EXPECT_TRUE(panel.changed());
}

TEST_F(CopyCommand, WithoutANumberBehindTheDisplaysIsWhole) {
    quietly({"copy 0 5 x 1 2"});
    EXPECT_EQ(painted(), 12u);
}

TEST_F(CopyCommand, WithFewerThanSixNumbersIsReported) {
    EXPECT_EQ(run("copy 0 5 1 1 0 0"), onError("copy, bad parameters"));
    EXPECT_EQ(run("copy 0 5 1 1 0 0 1"), onError("copy, bad parameters"));
    EXPECT_EQ(run("copy 0 5 1"), onError("copy, bad parameters"));
    EXPECT_EQ(painted(), 0u);
    EXPECT_FALSE(panel.changed());
}

TEST_F(CopyCommand, ClampsPositionsAndIgnoresWidthAndHeight) {
    quietly({"copy 0 5 -4 99 2 2 1 1"});
    EXPECT_EQ(at(0, 63), 11u);
    EXPECT_EQ(at(1, 63), 12u);
    EXPECT_EQ(painted(), 2u);
}

TEST_F(CopyCommand, TakesALoneMinusForAnyNumber) {
    quietly({"copy 0 5 - - - - - -"});
    EXPECT_EQ(painted(), 12u);
}

TEST_F(CopyCommand, PastTheRightEdgeLandsOnTheFollowingRows) {
    quietly({"copy 0 5 95 10 0 0 0 0"});
    EXPECT_EQ(at(95, 10), 1u);
    EXPECT_EQ(at(0, 11), 2u);
    EXPECT_EQ(at(2, 11), 4u);
    EXPECT_EQ(at(95, 11), 5u);
    EXPECT_EQ(painted(), 12u);
}

TEST_F(CopyCommand, PastTheLastRowIsDropped) {
    quietly({"copy 0 5 0 62 0 0 0 0"});
    EXPECT_EQ(at(3, 63), 8u);
    EXPECT_EQ(painted(), 8u);
}

TEST_F(CopyCommand, WithinOneDisplaySmears) {
    quietly({"copy 5 5 1 0 0 0 0 0"});
    // Left to right: pixel (0, 0) is read, written to (1, 0), read again from there, and so on to the end.
    for (int i = 0; i < 12; ++i) {
        EXPECT_EQ(at(i % 4, i / 4, "5"), 1u) << i;
    }
}

TEST_F(CopyCommand, OfAMissingDisplayIsReported) {
    EXPECT_EQ(run("copy 9 5"), onError("display not found"));
    EXPECT_EQ(run("copy 0 9"), onError("display not found"));
    EXPECT_EQ(run("copy"), onError("display not found"));
    EXPECT_EQ(run("copy 0"), onError("display not found"));
    EXPECT_EQ(run("copy 9 5 1"), onError("display not found"));
}

TEST_F(CopyCommand, FromAVeryLargeDisplayWritesOnlyWhatFits) {
    quietly({"vdisp 6 1 16777216", "clear 6 red", "copy 0 6"});
    EXPECT_EQ(points(kRed).size(), 64u);
    EXPECT_EQ(points(kRed).back(), std::make_pair(0, 63));
}

TEST_F(FlushCommand, SendsOnlyAChangedDisplay) {
    quietly({"clear 0", "flush 0"});
    EXPECT_EQ(frames, 1);
    quietly({"flush 0"});
    EXPECT_EQ(frames, 1);
}

TEST_F(FlushCommand, ForcedSendsTheFrameAgain) {
    quietly({"clear 0", "flush 0", "flush 0 1"});
    EXPECT_EQ(frames, 2);
    quietly({"flush 0 -5"});
    EXPECT_EQ(frames, 3);
    quietly({"flush 0 0", "flush 0 -", "flush 0 x"});
    EXPECT_EQ(frames, 3);
}

TEST_F(FlushCommand, OfAVirtualDisplaySendsNothing) {
    quietly({"vdisp 5 4 4", "clear 5 red", "flush 5 1"});
    EXPECT_EQ(frames, 0);
    EXPECT_FALSE(display("5")->changed());
}

TEST_F(FlushCommand, OfAMissingDisplayIsReported) {
    EXPECT_EQ(run("flush 7"), onError("display not found"));
}
