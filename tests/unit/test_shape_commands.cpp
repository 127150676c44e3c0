// shape, shaped.

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <memory>
#include <string>

#include "allocation_watch.h"
#include "interpreter_fixture.h"
#include "scratch_folder.h"

namespace {

// Runs in a folder of its own, where shapes are looked for.
class ShapeTest : public InterpreterTest {
protected:
    ShapeTest() { saveArrow("arrow.shp"); }

    // Two pixels, at (0, 0) and (1, 1).
    static void saveArrow(const std::string& file) {
        writeFile(file, shapeFile(2, 2, std::string("\1\0\0\1", 4)));
    }

    ScratchFolder folder;
};

using ShapeCommand = ShapeTest;
using ShapedCommand = ShapeTest;

}  // namespace

TEST_F(ShapeCommand, DrawsItsSetPixelsInTheForeground) {
    quietly({"clear 0 red", "flush 0", "shape 0 arrow 10 20 white"});
    EXPECT_EQ(points(kWhite), (Points{{10, 20}, {11, 21}}));
    EXPECT_EQ(points(kRed).size(), 96u * 64u - 2u);
    EXPECT_TRUE(panel.changed());
}

TEST_F(ShapeCommand, BackgroundIsNotDrawn) {
    quietly({"shape 0 arrow 10 20 white red"});
    EXPECT_EQ(points(kWhite), (Points{{10, 20}, {11, 21}}));
    EXPECT_TRUE(points(kRed).empty());
}

TEST_F(ShapeCommand, WithoutCoordinatesDrawsInTheCorner) {
    quietly({"shape 0 arrow white"});
    EXPECT_EQ(points(kWhite), (Points{{0, 0}, {1, 1}}));
    quietly({"clear 0", "shape 0 arrow 5 white"});
    EXPECT_EQ(points(kWhite), (Points{{5, 0}, {6, 1}}));
}

TEST_F(ShapeCommand, WithoutAForegroundOnlyLoads) {
    quietly({"shape 0 arrow", "shape 0 arrow 3 4", "shape 0 arrow 3 4 nosuchcolor",
             "shape 0 arrow 3 4 (1,2) red"});
    EXPECT_TRUE(points(kClear).size() == 96u * 64u);
    EXPECT_FALSE(panel.changed());
    ASSERT_EQ(unlink("arrow.shp"), 0);
    quietly({"shape 0 arrow 1 1 white"});
    EXPECT_EQ(points(kWhite), (Points{{1, 1}, {2, 2}}));
}

TEST_F(ShapeCommand, FindsACachedShapeInAnyCaseWithoutReadingTheFileAgain) {
    quietly({"shape 0 arrow"});
    ASSERT_EQ(unlink("arrow.shp"), 0);
    quietly({"shape 0 Arrow 1 1 white", "shape 0 ARROW 5 5 white"});
    EXPECT_EQ(points(kWhite), (Points{{1, 1}, {2, 2}, {5, 5}, {6, 6}}));
}

TEST_F(ShapeCommand, ReadsTheFileOfTheNameAsItIsWritten) {
    EXPECT_EQ(run("shape 0 ARROW 1 1 white"), onError("shape ARROW not found"));
    saveArrow("Big.shp");
    quietly({"shape 0 Big 1 1 white"});
}

TEST_F(ShapeCommand, ReportsAMissingFileWithoutItsExtension) {
    EXPECT_EQ(run("shape 0 nofile 0 0 white"), onError("shape nofile not found"));
    EXPECT_TRUE(result);
    EXPECT_EQ(run("shape 0 nofile"), onError("shape nofile not found"));
    EXPECT_EQ(run("shape 0 arrow.shp"), onError("shape arrow.shp not found"));
    EXPECT_FALSE(panel.changed());
}

TEST_F(ShapeCommand, ReportsAFileThatIsNoShape) {
    writeFile("bad.shp", "SHPE\2");
    writeFile("short.shp", shapeFile(3, 3, "\1"));
    EXPECT_EQ(run("shape 0 bad 0 0 white"), onError("shape bad not found"));
    EXPECT_EQ(run("shape 0 short 0 0 white"), onError("shape short not found"));
}

TEST_F(ShapeCommand, TriesAFileAgainThatCouldNotBeLoaded) {
    EXPECT_EQ(run("shape 0 late 0 0 white"), onError("shape late not found"));
    saveArrow("late.shp");
    quietly({"shape 0 late 0 0 white"});
    EXPECT_EQ(points(kWhite), (Points{{0, 0}, {1, 1}}));
}

TEST_F(ShapeCommand, ReportsAFolderAFifoAndADeviceAsNotFound) {
    ASSERT_EQ(mkdir("folder.shp", 0700), 0);
    ASSERT_EQ(mkfifo("fifo.shp", 0600), 0);
    ASSERT_EQ(symlink("/dev/zero", "zero.shp"), 0);
    for (const std::string name : {"folder", "fifo", "zero", "/dev/zero", "."}) {
        EXPECT_EQ(run("shape 0 " + name + " 0 0 white"), onError("shape " + name + " not found"));
    }
}

TEST_F(ShapeCommand, NamesMayBeQuoted) {
    for (const std::string name : {"two words", "it's", "pfeil-übergröße", "矢印"}) {
        saveArrow(name + ".shp");
        quietly({("shape 0 \"" + name + "\" 1 1 white").c_str()});
    }
    saveArrow("say \"hi\".shp");
    quietly({"shape 0 'say \"hi\"' 1 1 white", "shape 0 \"say \\\"hi\\\"\" 1 1 white", "shaped 'two words'",
             "shaped \"\\xE7\\x9F\\xA2\\xE5\\x8D\\xB0\""});
    EXPECT_EQ(run("shaped 'two words'"), onError("shaped, 'two words' not found"));
}

TEST_F(ShapeCommand, EndsAtANulInItsName) {
    quietly({"shape 0 'arrow\\x00more' 1 1 white", "shaped arrow"});
    writeFile("bare", shapeFile(1, 1, "\1"));
    EXPECT_EQ(run("shape 0 'bare\\x00' 1 1 white"), onError("shape bare not found"));
}

TEST_F(ShapeCommand, FoldsOnlyLettersOfAscii) {
    saveArrow("ä.shp");
    quietly({"shape 0 ä"});
    EXPECT_EQ(run("shape 0 Ä"), onError("shape Ä not found"));
}

TEST_F(ShapeCommand, ReadsNamesAsPathsFromTheWorkingFolder) {
    ASSERT_EQ(mkdir("icons", 0700), 0);
    saveArrow("icons/small.shp");
    quietly({"shape 0 icons/small 1 1 white"});
    EXPECT_EQ(points(kWhite), (Points{{1, 1}, {2, 2}}));
}

TEST_F(ShapeCommand, CannotKeepAShapeUnderAnEmptyName) {
    saveArrow(".shp");
    EXPECT_EQ(run("shape 0 '' 1 1 white"), onError("shape  not found"));
    EXPECT_TRUE(points(kWhite).empty());
}

TEST_F(ShapeCommand, OverTheEdgeGoesOnInTheNextRow) {
    writeFile("bar.shp", shapeFile(4, 1, "\1\1\1\1"));
    quietly({"shape 0 bar 94 0 white"});
    EXPECT_EQ(points(kWhite), (Points{{94, 0}, {95, 0}, {0, 1}, {1, 1}}));
    quietly({"clear 0", "shape 0 bar -2 2 white"});
    EXPECT_EQ(points(kWhite), (Points{{94, 1}, {95, 1}, {0, 2}, {1, 2}}));
}

TEST_F(ShapeCommand, OffTheDisplayStillMarksItChanged) {
    quietly({"shape 0 arrow 0 500 white"});
    EXPECT_TRUE(points(kWhite).empty());
    EXPECT_TRUE(panel.changed());
}

TEST_F(ShapeCommand, DrawsOnVirtualDisplays) {
    quietly({"vdisp 5 20 20", "shape 5 arrow 3 3 white"});
    EXPECT_EQ(points(kWhite, "5"), (Points{{3, 3}, {4, 4}}));
    EXPECT_TRUE(points(kWhite).empty());
}

TEST_F(ShapeCommand, TakesItsColoursInEveryForm) {
    quietly(
        {"shape 0 arrow 1 1 #FFFFFFFF", "shape 0 arrow 3 1 (255,255,255)", "shape 0 arrow 5 1 4294967295 0"});
    EXPECT_EQ(points(kWhite).size(), 6u);
}

TEST_F(ShapeCommand, ReportsTheFirstMissingArgument) {
    EXPECT_EQ(run("shape"), onError("display not found"));
    EXPECT_EQ(run("shape 9 arrow 1 1 white"), onError("display not found"));
    EXPECT_EQ(run("shape arrow 1 1 white"), onError("display not found"));
    EXPECT_EQ(run("shape 0"), onError("expected string name!"));
    EXPECT_EQ(run("shape 0 'arrow"), onError("expected string name!"));
    EXPECT_TRUE(result);
    EXPECT_FALSE(panel.changed());
}

TEST_F(ShapedCommand, RemovesTheShapeInAnyCase) {
    quietly({"shape 0 arrow", "shaped ARROW"});
    ASSERT_EQ(unlink("arrow.shp"), 0);
    EXPECT_EQ(run("shape 0 arrow 1 1 white"), onError("shape arrow not found"));
}

TEST_F(ShapedCommand, LetsTheFileBeReadAnew) {
    quietly({"shape 0 arrow 0 0 white"});
    writeFile("arrow.shp", shapeFile(1, 1, "\1"));
    quietly({"clear 0", "shape 0 arrow 0 0 white"});
    EXPECT_EQ(points(kWhite).size(), 2u);
    quietly({"clear 0", "shaped arrow", "shape 0 arrow 0 0 white"});
    EXPECT_EQ(points(kWhite).size(), 1u);
}

TEST_F(ShapedCommand, ReportsAnUnknownName) {
    EXPECT_EQ(run("shaped Arrow"), onError("shaped, 'Arrow' not found"));
    EXPECT_TRUE(result);
    quietly({"shape 0 arrow", "shaped arrow"});
    EXPECT_EQ(run("shaped arrow"), onError("shaped, 'arrow' not found"));
    EXPECT_EQ(run("shaped ''"), onError("shaped, '' not found"));
}

TEST_F(ShapedCommand, ReportsAMissingName) {
    EXPECT_EQ(run("shaped"), onError("expected string name!"));
    EXPECT_EQ(run("shaped 'arrow"), onError("expected string name!"));
}

TEST_F(ShapedCommand, AndTheInterpretersEndDeleteEveryShape) {
    const std::string longName = std::string(40, '.') + "/" + std::string(300, '/') + "arrow";
    ASSERT_EQ(mkdir(std::string(40, '.').c_str(), 0700), 0);
    saveArrow(longName + ".shp");
    saveArrow("other.shp");
    const long before = AllocationWatch::live;
    {
        GraphicsCommandProcessor interpreter(displays, 1, &hardware);
        const long empty = AllocationWatch::live;
        for (const std::string& line :
             {std::string("shape 0 arrow"), std::string("shape 0 other"), "shape 0 " + longName}) {
            interpreter.processCommand(line.c_str());
        }
        EXPECT_GT(AllocationWatch::live, empty + 6);  // a shape and a mask each
    }
    EXPECT_EQ(AllocationWatch::live, before);
}
