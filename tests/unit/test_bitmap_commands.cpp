// bmp, bmpa, bmpt, bmpdraw, bmpdel.

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "allocation_watch.h"
#include "graphics/qdbmp.h"
#include "interpreter_fixture.h"
#include "scratch_folder.h"

namespace {

// Runs in a folder of its own, where bitmaps are looked for.
class BitmapTest : public InterpreterTest {
protected:
    // A row of pixels, left to right, in 24 or 32 bits. The first bytes of the file tell the depth.
    static void saveRow(const std::string& file, int depth, const std::vector<std::uint32_t>& pixels) {
        BMP* image =
            BMP_Create(static_cast<std::uint32_t>(pixels.size()), 1, static_cast<std::uint16_t>(depth));
        ASSERT_NE(image, nullptr);
        for (std::uint32_t x = 0; x < pixels.size(); ++x) {
            const Pixel p(pixels[x]);
            BMP_SetPixelRGB(image, x, 0, p.red(), p.green(), p.blue());
            if (depth == 32) {
                image->Data[x * 4 + 3] = p.alpha();
            }
        }
        BMP_WriteFile(image, file.c_str());
        EXPECT_EQ(BMP_GetError(), BMP_OK) << file;
        BMP_Free(image);
    }

    ScratchFolder folder;
};

using BmpCommand = BitmapTest;
using BmpaCommand = BitmapTest;
using BmptCommand = BitmapTest;
using BmpdrawCommand = BitmapTest;
using BmpdelCommand = BitmapTest;

constexpr std::uint32_t kMagenta = 0xFFFF00FF;

}  // namespace

TEST_F(BmpCommand, LoadsWithoutDrawing) {
    saveRow("logo.bmp", 24, {0xFFFFFF});
    quietly({"bmp logo.bmp"});
    EXPECT_TRUE(points(kWhite).empty());
    EXPECT_FALSE(panel.changed());
}

TEST_F(BmpCommand, ShowsEveryPixelWhateverItsAlpha) {
    saveRow("logo.bmp", 32, {0x00FFFFFF, 0x80800000, 0xFF000000});
    quietly({"clear 0 blue", "bmp logo.bmp", "bmpdraw 0 logo.bmp 10 5"});
    EXPECT_EQ(points(kWhite), (Points{{10, 5}}));
    EXPECT_EQ(points(kRed), (Points{{11, 5}}));
    EXPECT_EQ(points(Pixel(0xFF000000)), (Points{{12, 5}}));
}

TEST_F(BmpCommand, ReplacesAnEarlierBitmapOfThatName) {
    saveRow("logo.bmp", 24, {0xFFFFFF});
    quietly({"bmp logo.bmp"});
    saveRow("logo.bmp", 24, {0x800000});
    quietly({"bmpdraw 0 logo.bmp 0 0"});
    EXPECT_EQ(points(kWhite), (Points{{0, 0}}));
    quietly({"bmp logo.bmp", "bmpdraw 0 logo.bmp 0 0"});
    EXPECT_EQ(points(kRed), (Points{{0, 0}}));
}

TEST_F(BmpCommand, FreesTheBitmapThatItReplaces) {
    saveRow("logo.bmp", 32, {0xFFFFFF});
    quietly({"bmp logo.bmp"});
    const long before = AllocationWatch::live;
    quietly({"bmp logo.bmp", "bmpa logo.bmp", "bmpt logo.bmp white", "bmp logo.bmp"});
    EXPECT_EQ(AllocationWatch::live, before);
    quietly({"bmpdel logo.bmp"});
    EXPECT_EQ(AllocationWatch::live, before - 1);
}

TEST_F(BmpCommand, ThatFailsLeavesAnEarlierBitmapInTheCache) {
    saveRow("logo.bmp", 24, {0xFFFFFF});
    quietly({"bmp logo.bmp"});
    ASSERT_EQ(unlink("logo.bmp"), 0);
    EXPECT_EQ(run("bmp logo.bmp"), onError("bmp, 'logo.bmp' could not be loaded"));
    EXPECT_EQ(run("bmpa logo.bmp"), onError("bmpa, 'logo.bmp' could not be loaded"));
    quietly({"bmpdraw 0 logo.bmp 0 0"});
    EXPECT_EQ(points(kWhite), (Points{{0, 0}}));
}

TEST_F(BmpCommand, ReportsWhatCannotBeLoaded) {
    ASSERT_EQ(mkdir("folder", 0700), 0);
    ASSERT_EQ(mkfifo("fifo", 0600), 0);
    writeFile("text.bmp", "no bitmap");
    for (const std::string name : {"nosuch.bmp", "folder", "fifo", "/dev/zero", "text.bmp", "."}) {
        EXPECT_EQ(run("bmp " + name), onError("bmp, '" + name + "' could not be loaded"));
        EXPECT_EQ(run("bmpa " + name), onError("bmpa, '" + name + "' could not be loaded"));
        EXPECT_EQ(run("bmpt " + name + " white"), onError("bmpt, '" + name + "' could not be loaded"));
        EXPECT_TRUE(result);
    }
    EXPECT_EQ(run("bmp ''"), onError("bmp, '' could not be loaded"));
}

TEST_F(BmpCommand, AddsNoExtensionToTheName) {
    saveRow("logo.bmp", 24, {0xFFFFFF});
    EXPECT_EQ(run("bmp logo"), onError("bmp, 'logo' could not be loaded"));
}

TEST_F(BmpCommand, NamesMayBeQuoted) {
    for (const std::string name : {"two words.bmp", "it's.bmp", "größe.bmp", "画.bmp"}) {
        saveRow(name, 24, {0xFFFFFF});
        quietly({("bmp \"" + name + "\"").c_str(), ("bmpdraw 0 \"" + name + "\" 1 1").c_str(),
                 ("bmpdel \"" + name + "\"").c_str()});
    }
}

TEST_F(BmpCommand, AndItsLikesReportAMissingName) {
    for (const std::string word : {"bmp", "bmpa", "bmpt", "bmpdel"}) {
        EXPECT_EQ(run(word), onError("expected string name!"));
        EXPECT_EQ(run(word + " 'logo.bmp"), onError("expected string name!"));
        EXPECT_TRUE(result);
    }
}

TEST_F(BmpaCommand, MixesByAlpha) {
    saveRow("glow.bmp", 32, {0xFFFFFFFF, 0x80FFFFFF, 0x00FFFFFF});
    quietly({"clear 0 red", "bmpa glow.bmp", "bmpdraw 0 glow.bmp 0 0"});
    EXPECT_EQ(display("0")->pixel(0, 0), kWhite);
    // (255 * 128 + 128 * 127) / 255 of red, 255 * 128 / 255 of the others.
    EXPECT_EQ(display("0")->pixel(1, 0), Pixel(255, 191, 128, 128));
    EXPECT_EQ(display("0")->pixel(2, 0), kRed);
}

TEST_F(BmpaCommand, TakesItsBackgroundFromTheCornerOfTheDisplay) {
    saveRow("glow.bmp", 32, {0x00FFFFFF});
    quietly({"pixel 0 0 0 white", "pixel 0 10 0 red", "bmpa glow.bmp", "bmpdraw 0 glow.bmp 10 0"});
    EXPECT_EQ(display("0")->pixel(10, 0), kWhite);
}

TEST_F(BmpaCommand, NeedsThirtyTwoBits) {
    saveRow("logo.bmp", 24, {0xFFFFFF});
    EXPECT_EQ(run("bmpa logo.bmp"), onError("bmpa, 'logo.bmp' could not be loaded"));
    EXPECT_EQ(run("bmpdraw 0 logo.bmp 0 0"), onError("bmpdraw, 'logo.bmp' has not been loaded"));
}

TEST_F(BmptCommand, SkipsThePixelsOfItsColour) {
    saveRow("logo.bmp", 24, {kMagenta, 0xFFFFFF, kMagenta});
    quietly({"clear 0 red", "bmpt logo.bmp #FF00FF", "bmpdraw 0 logo.bmp 10 0"});
    EXPECT_EQ(points(kWhite), (Points{{11, 0}}));
    EXPECT_EQ(points(kRed).size(), 96u * 64u - 1u);
}

TEST_F(BmptCommand, ComparesWithoutAlpha) {
    saveRow("logo.bmp", 32, {0x12FF00FF, 0xFFFFFFFF});
    quietly({"bmpt logo.bmp #00FF00FF", "bmpdraw 0 logo.bmp 0 0"});
    EXPECT_EQ(display("0")->pixel(0, 0), kClear);
    EXPECT_EQ(display("0")->pixel(1, 0), kWhite);
}

TEST_F(BmptCommand, LoadsACachedBitmapAnewWithItsColour) {
    saveRow("logo.bmp", 24, {kMagenta, 0xFFFFFF});
    quietly({"bmp logo.bmp", "bmpt logo.bmp white", "bmpdraw 0 logo.bmp 0 0"});
    EXPECT_EQ(points(Pixel(kMagenta)), (Points{{0, 0}}));
    EXPECT_TRUE(points(kWhite).empty());
    saveRow("logo.bmp", 24, {0xFFFFFF, 0x800000});
    quietly({"clear 0", "bmpt logo.bmp #FF00FF", "bmpdraw 0 logo.bmp 0 0"});
    EXPECT_EQ(points(kWhite), (Points{{0, 0}}));
    EXPECT_EQ(points(kRed), (Points{{1, 0}}));
}

TEST_F(BmptCommand, ThatFailsOnACachedBitmapRemovesIt) {
    saveRow("logo.bmp", 24, {0xFFFFFF});
    const long before = AllocationWatch::live;
    quietly({"bmp logo.bmp"});
    const long cached = AllocationWatch::live;
    ASSERT_EQ(unlink("logo.bmp"), 0);
    EXPECT_EQ(run("bmpt logo.bmp white"), onError("bmpt, 'logo.bmp' could not be loaded"));
    EXPECT_EQ(AllocationWatch::live, cached - 1);
    EXPECT_GE(AllocationWatch::live, before);
    EXPECT_EQ(run("bmpdraw 0 logo.bmp 0 0"), onError("bmpdraw, 'logo.bmp' has not been loaded"));
    EXPECT_EQ(run("bmpdel logo.bmp"), onError("bmpdel, 'logo.bmp' has not been found in cache"));
}

TEST_F(BmptCommand, WithoutAColourLeavesACachedBitmap) {
    saveRow("logo.bmp", 24, {0xFFFFFF});
    quietly({"bmp logo.bmp"});
    EXPECT_EQ(run("bmpt logo.bmp"), onError("expected color bg!"));
    EXPECT_EQ(run("bmpt logo.bmp nosuchcolor"), onError("expected color bg!"));
    quietly({"bmpdraw 0 logo.bmp 0 0"});
    EXPECT_EQ(points(kWhite), (Points{{0, 0}}));
}

TEST_F(BmptCommand, ReportsAMissingColourBeforeAMissingFile) {
    EXPECT_EQ(run("bmpt nosuch.bmp"), onError("expected color bg!"));
}

TEST_F(BmpdrawCommand, MarksTheDisplayChanged) {
    saveRow("logo.bmp", 24, {0xFFFFFF});
    quietly({"bmp logo.bmp", "bmpdraw 0 logo.bmp 0 500"});
    EXPECT_TRUE(points(kWhite).empty());
    EXPECT_TRUE(panel.changed());
}

TEST_F(BmpdrawCommand, DrawsOnVirtualDisplays) {
    saveRow("logo.bmp", 24, {0xFFFFFF});
    quietly({"vdisp 5 20 20", "bmp logo.bmp", "bmpdraw 5 logo.bmp 3 4"});
    EXPECT_EQ(points(kWhite, "5"), (Points{{3, 4}}));
}

TEST_F(BmpdrawCommand, OverTheEdgeGoesOnInTheNextRow) {
    saveRow("bar.bmp", 24, {0xFFFFFF, 0xFFFFFF, 0xFFFFFF});
    quietly({"bmp bar.bmp", "bmpdraw 0 bar.bmp 94 0", "bmpdraw 0 bar.bmp -1 0"});
    EXPECT_EQ(points(kWhite), (Points{{0, 0}, {1, 0}, {94, 0}, {95, 0}, {0, 1}}));
}

TEST_F(BmpdrawCommand, ReportsABitmapThatWasNotLoaded) {
    saveRow("logo.bmp", 24, {0xFFFFFF});
    EXPECT_EQ(run("bmpdraw 0 logo.bmp 0 0"), onError("bmpdraw, 'logo.bmp' has not been loaded"));
    EXPECT_TRUE(result);
    EXPECT_FALSE(panel.changed());
}

TEST_F(BmpdrawCommand, KeepsTheCaseOfNames) {
    saveRow("logo.bmp", 24, {0xFFFFFF});
    quietly({"bmp logo.bmp"});
    EXPECT_EQ(run("bmpdraw 0 LOGO.bmp 0 0"), onError("bmpdraw, 'LOGO.bmp' has not been loaded"));
    EXPECT_EQ(run("bmpdel Logo.bmp"), onError("bmpdel, 'Logo.bmp' has not been found in cache"));
    quietly({"bmpdraw 0 logo.bmp 0 0"});
}

TEST_F(BmpdrawCommand, ReportsTheFirstMissingArgument) {
    EXPECT_EQ(run("bmpdraw"), onError("display not found"));
    EXPECT_EQ(run("bmpdraw 9 logo.bmp 0 0"), onError("display not found"));
    EXPECT_EQ(run("bmpdraw logo.bmp 0 0"), onError("display not found"));
    EXPECT_EQ(run("bmpdraw 0"), onError("expected string name!"));
    EXPECT_EQ(run("bmpdraw 0 logo.bmp"), onError("expected int x!"));
    EXPECT_EQ(run("bmpdraw 0 logo.bmp 1"), onError("expected int y!"));
    EXPECT_FALSE(panel.changed());
}

TEST_F(BmpdelCommand, RemovesTheBitmap) {
    saveRow("x", 24, {0xFFFFFF});
    quietly({"bmp x", "bmpdel x"});
    EXPECT_EQ(run("bmpdraw 0 x 0 0"), onError("bmpdraw, 'x' has not been loaded"));
}

TEST_F(BmpdelCommand, TwiceReportsTheSecond) {
    saveRow("x", 24, {0xFFFFFF});
    quietly({"bmp x", "bmpdel x"});
    EXPECT_EQ(run("bmpdel x"), onError("bmpdel, 'x' has not been found in cache"));
    EXPECT_TRUE(result);
    EXPECT_EQ(run("bmpdel ''"), onError("bmpdel, '' has not been found in cache"));
}

TEST_F(BmpdelCommand, AloneDeletesBitmapsWhichTheInterpretersEndLeaves) {
    saveRow("kept.bmp", 24, {0xFFFFFF});
    saveRow("deleted.bmp", 24, {0xFFFFFF});
    const std::string longName = std::string(300, '/') + "deleted.bmp";
    const std::string path = std::filesystem::current_path().string() + longName;
    const long before = AllocationWatch::live;
    {
        GraphicsCommandProcessor interpreter(displays, 1, &hardware);
        for (const std::string& line : {std::string("bmp kept.bmp"), std::string("bmp deleted.bmp"),
                                        "bmp " + path, std::string("bmpdel deleted.bmp"), "bmpdel " + path}) {
            interpreter.processCommand(line.c_str());
        }
    }
    EXPECT_EQ(AllocationWatch::live, before + 1);
}
