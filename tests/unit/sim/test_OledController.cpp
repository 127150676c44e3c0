#include "sim/panel/OledController.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using sim::OledController;
using sim::Picture;
using Bytes = std::vector<std::uint8_t>;

constexpr std::uint8_t kSetUp[] = {0xAE, 0x00, 0x12, 0x40, 0x81, 0x7F, 0xA1, 0xA4, 0xA6,
                                   0xA8, 0x3F, 0xAD, 0x8A, 0xB0, 0xC0, 0xD3, 0x00, 0xD5,
                                   0xF0, 0xD9, 0xF1, 0xDA, 0x12, 0xDB, 0x34, 0xAF};

struct Watcher : sim::PanelListener {
    void onFrame(unsigned number, const Picture& picture) override {
        frame = number;
        shown = picture;
    }
    void onDisplayOn(bool isOn) override { on = isOn; }
    void onContrast(std::uint8_t level) override { contrast = level; }
    void onProtocolError(const std::string& what) override { errors.push_back(what); }

    unsigned frame = 0;
    Picture shown;
    bool on = false;
    int contrast = -1;
    std::vector<std::string> errors;
};

class OledControllerTest : public ::testing::Test {
protected:
    void command(const Bytes& bytes) { oled.command(bytes.data(), bytes.size()); }
    void data(const Bytes& bytes) { oled.data(bytes.data(), bytes.size()); }
    void setUp() { oled.command(kSetUp, sizeof kSetUp); }

    // Writes one byte at a page and a column of the RAM.
    void put(unsigned page, unsigned column, std::uint8_t byte) {
        command({static_cast<std::uint8_t>(0xB0U | page), static_cast<std::uint8_t>(column & 0x0FU),
                 static_cast<std::uint8_t>(0x10U | column >> 4U)});
        data({byte});
    }
    void writePage(unsigned page, std::uint8_t fill = 0) {
        command({static_cast<std::uint8_t>(0xB0U | page), 0x00, 0x12});
        data(Bytes(96, fill));
    }
    void writeFrame(std::uint8_t fill = 0) {
        for (unsigned page = 0; page < 8; ++page) {
            writePage(page, fill);
        }
    }

    Watcher watcher;
    OledController oled{0, watcher};
};

TEST_F(OledControllerTest, PowerOnDefaultsAreDarkWithHalfContrast) {
    EXPECT_FALSE(oled.displayOn());
    EXPECT_EQ(oled.contrast(), 0x80);
    EXPECT_EQ(oled.frames(), 0U);
    EXPECT_EQ(oled.picture().litCount(), 0U);
}

TEST_F(OledControllerTest, SetUpSequenceIsKnownToTheLastByte) {
    setUp();
    EXPECT_EQ(oled.protocolErrors(), 0U);
    EXPECT_TRUE(oled.displayOn());
    EXPECT_TRUE(watcher.on);
    EXPECT_EQ(oled.contrast(), 0x7F);
    EXPECT_EQ(watcher.contrast, 0x7F);
    const std::vector<std::pair<int, int>> registers = {
        {0xA8, 0x3F}, {0xAD, 0x8A}, {0xD3, 0x00}, {0xD5, 0xF0}, {0xD9, 0xF1}, {0xDA, 0x12}, {0xDB, 0x34}};
    for (const auto& [code, value] : registers) {
        EXPECT_EQ(oled.registerValue(static_cast<std::uint8_t>(code)), value);
    }
}

TEST_F(OledControllerTest, UnknownCommandIsCountedAndTheRestIsTaken) {
    command({0xE9, 0x81, 0x10});
    EXPECT_EQ(oled.protocolErrors(), 1U);
    EXPECT_EQ(watcher.errors, std::vector<std::string>{"unknown command: E9"});
    EXPECT_EQ(oled.contrast(), 0x10);
}

TEST_F(OledControllerTest, CommandCutShortIsAProtocolErrorAndChangesNothing) {
    for (const std::uint8_t code : Bytes{0x81, 0xA8, 0xAD, 0xD3, 0xD5, 0xD9, 0xDA, 0xDB}) {
        const std::uint8_t before = oled.registerValue(code);
        command({code});
        EXPECT_EQ(oled.registerValue(code), before);
    }
    EXPECT_EQ(watcher.errors.size(), 8U);
    EXPECT_EQ(watcher.errors.front(), "command without its argument: 81");
}

TEST_F(OledControllerTest, ArgumentIsNotTakenForACommand) {
    command({0x81, 0xAF});
    EXPECT_FALSE(oled.displayOn());
    EXPECT_EQ(oled.contrast(), 0xAF);
}

TEST_F(OledControllerTest, DataLandAtThePageAndColumnAndTheColumnMovesOn) {
    command({0xB3, 0x05, 0x12});
    data({0x11, 0x22});
    data({0x33});
    EXPECT_EQ(oled.ram(3, 0x25), 0x11);
    EXPECT_EQ(oled.ram(3, 0x26), 0x22);
    EXPECT_EQ(oled.ram(3, 0x27), 0x33);
}

TEST_F(OledControllerTest, DataBehindTheLastColumnAreLost) {
    put(0, 131, 0xAA);
    EXPECT_EQ(oled.ram(0, 131), 0xAA);
    EXPECT_EQ(oled.protocolErrors(), 0U);
    data({0x55});
    EXPECT_EQ(oled.ram(0, 131), 0xAA);
    EXPECT_EQ(watcher.errors, std::vector<std::string>{"data behind the last column: 55"});
}

TEST_F(OledControllerTest, ColumnAddressBehindTheLastColumnTakesNoData) {
    command({0x0F, 0x1F});
    data({0x01});
    EXPECT_EQ(oled.protocolErrors(), 1U);
}

TEST_F(OledControllerTest, RemappedPictureIsUprightFromColumn32) {
    setUp();
    put(0, 127, 0x01);
    put(7, 32, 0x80);
    const Picture picture = oled.picture();
    EXPECT_TRUE(picture.lit(0, 0));
    EXPECT_TRUE(picture.lit(95, 63));
    EXPECT_EQ(picture.litCount(), 2U);
}

TEST_F(OledControllerTest, WithoutRemapThePictureIsMirrored) {
    setUp();
    command({0xA0});
    put(0, 127, 0x01);
    EXPECT_TRUE(oled.picture().lit(95, 0));
}

TEST_F(OledControllerTest, ReversedScanTurnsThePictureUpsideDown) {
    setUp();
    command({0xC8});
    put(0, 127, 0x01);
    EXPECT_TRUE(oled.picture().lit(0, 63));
    command({0xC0});
    EXPECT_TRUE(oled.picture().lit(0, 0));
}

TEST_F(OledControllerTest, StartLineAndOffsetMoveTheRows) {
    setUp();
    put(1, 127, 0x01);  // RAM row 8
    command({0x45});
    EXPECT_TRUE(oled.picture().lit(0, 3));
    command({0xD3, 0x02});
    EXPECT_TRUE(oled.picture().lit(0, 1));
    command({0x7F, 0xD3, 0x00});
    EXPECT_TRUE(oled.picture().lit(0, 9));
}

TEST_F(OledControllerTest, OtherVariantIsWiredFourColumnsLower) {
    OledController other(1, watcher);
    other.command(kSetUp, sizeof kSetUp);
    const Bytes address = {0xB0, 0x0B, 0x17};  // column 123
    other.command(address.data(), address.size());
    const std::uint8_t top = 0x01;
    other.data(&top, 1);
    EXPECT_TRUE(other.picture().lit(0, 0));
}

TEST_F(OledControllerTest, WrongColumnOffsetShowsAsAShift) {
    setUp();
    put(0, 123, 0x01);  // where variant 1 has its left edge
    EXPECT_TRUE(oled.picture().lit(4, 0));
    EXPECT_FALSE(oled.picture().lit(0, 0));
    put(0, 28, 0x01);  // and its right edge, which this glass has not
    EXPECT_EQ(oled.picture().litCount(), 1U);
}

TEST_F(OledControllerTest, InverseAllOnAndOffShow) {
    setUp();
    put(0, 127, 0x01);
    command({0xA7});
    EXPECT_EQ(oled.picture().litCount(), 96U * 64U - 1U);
    EXPECT_FALSE(oled.picture().lit(0, 0));
    command({0xA6, 0xA5});
    EXPECT_EQ(oled.picture().litCount(), 96U * 64U);
    command({0xA4, 0xAE});
    EXPECT_EQ(oled.picture().litCount(), 0U);
    EXPECT_FALSE(watcher.on);
}

TEST_F(OledControllerTest, FrameIsWholeWithTheDataOfPageSeven) {
    setUp();
    for (unsigned page = 0; page < 7; ++page) {
        writePage(page, 0xFF);
    }
    EXPECT_EQ(oled.frames(), 0U);
    writePage(7, 0xFF);
    EXPECT_EQ(oled.frames(), 1U);
    EXPECT_EQ(watcher.frame, 1U);
    EXPECT_EQ(oled.lastFrame().litCount(), 96U * 64U);
    EXPECT_EQ(watcher.shown, oled.lastFrame());
}

TEST_F(OledControllerTest, PageMayComeInPieces) {
    setUp();
    for (unsigned page = 0; page < 7; ++page) {
        writePage(page);
    }
    command({0xB7, 0x00, 0x12});
    data(Bytes(95));
    EXPECT_EQ(oled.frames(), 0U);
    data(Bytes(1));
    EXPECT_EQ(oled.frames(), 1U);
}

TEST_F(OledControllerTest, InterruptedFrameDoesNotCount) {
    setUp();
    for (unsigned page = 0; page < 4; ++page) {
        writePage(page, 0xFF);
    }
    writePage(7);
    EXPECT_EQ(oled.frames(), 0U);
    writeFrame();
    EXPECT_EQ(oled.frames(), 1U);
}

TEST_F(OledControllerTest, LastFrameStaysWhileTheNextIsDrawn) {
    setUp();
    writeFrame(0xFF);
    const Picture first = oled.lastFrame();
    writePage(0, 0x00);
    EXPECT_EQ(oled.lastFrame(), first);
    EXPECT_NE(oled.picture(), first);
}

TEST_F(OledControllerTest, ResetRestoresTheDefaultsAndIgnoresTransfers) {
    setUp();
    oled.setReset(true);
    EXPECT_FALSE(oled.displayOn());
    EXPECT_FALSE(watcher.on);
    EXPECT_EQ(oled.contrast(), 0x80);
    EXPECT_EQ(watcher.contrast, 0x80);
    setUp();
    writeFrame(0xFF);
    EXPECT_FALSE(oled.displayOn());
    EXPECT_EQ(oled.frames(), 0U);
    oled.setReset(false);
    setUp();
    EXPECT_TRUE(oled.displayOn());
}

}  // namespace
