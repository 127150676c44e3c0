// font, text, ctext, rtext with bitmap fonts.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <string>

#include "graphics/BuiltinFonts.h"
#include "graphics/GrFont.h"
#include "interpreter_fixture.h"

namespace {

// Runs in a folder of its own, where fonts are looked for.
class TextTest : public InterpreterTest {
protected:
    TextTest() {
        char name[] = "/tmp/beltpack-text-XXXXXX";
        m_folder = mkdtemp(name);
        m_home = get_current_dir_name();
        EXPECT_EQ(chdir(m_folder.c_str()), 0);
    }
    ~TextTest() override {
        EXPECT_EQ(chdir(m_home), 0);
        std::free(m_home);
        EXPECT_EQ(std::system(("rm -rf " + m_folder).c_str()), 0);
    }

    // Saves the fixed-width built-in font under a name.
    static void saveFont(const char* file) {
        const VelaGraphics::Font font(VelaGraphics::F9x5m);
        ASSERT_TRUE(font.saveToFile(file));
    }

    // The leftmost and the rightmost lit column, and the top and bottom rows.
    struct Box {
        int left = 1000, right = -1, top = 1000, bottom = -1;
        bool operator==(const Box& o) const {
            return left == o.left && right == o.right && top == o.top && bottom == o.bottom;
        }
    };
    Box inkBox(const std::string& number = "0") {
        Box box;
        for (const auto& [x, y] : points(kWhite, number)) {
            box.left = std::min(box.left, x);
            box.right = std::max(box.right, x);
            box.top = std::min(box.top, y);
            box.bottom = std::max(box.bottom, y);
        }
        return box;
    }

private:
    std::string m_folder;
    char* m_home;
};

using FontCommand = TextTest;
using TextCommand = TextTest;

}  // namespace

TEST_F(FontCommand, SelectsBuiltInFontsInAnyCaseWithoutTheFileSystem) {
    saveFont("F9x5M.fnt");
    ASSERT_EQ(truncate("F9x5M.fnt", 3), 0);
    quietly({"font 0 F9x5M", "text 0 0 0 ' !' white"});
    // In the fixed-width font the exclamation mark stands in the middle of its cell; it starts at 6 + 2.
    EXPECT_EQ(inkBox().left, 8);
}

TEST_F(FontCommand, ProportionalFontIsSelectedAtFirst) {
    quietly({"text 0 0 0 ' !' white"});
    EXPECT_EQ(inkBox().left, 6);
}

TEST_F(FontCommand, ReportsAMissingFileWithItsExtension) {
    EXPECT_EQ(run("font 0 big"), onError("font file big.fnt not found"));
    EXPECT_EQ(run("font 0 'a b'"), onError("font file a b.fnt not found"));
}

TEST_F(FontCommand, KeepsTheSelectedFontWhenLoadingFails) {
    quietly({"font 0 F9x5m"});
    run("font 0 big");
    quietly({"text 0 0 0 ' !' white"});
    EXPECT_EQ(inkBox().left, 8);
}

TEST_F(FontCommand, LoadsAFileOnceAndFindsItInAnyCase) {
    saveFont("big.fnt");
    quietly({"font 0 big"});
    ASSERT_EQ(unlink("big.fnt"), 0);
    quietly({"font 0 F9x5p", "font 0 BIG", "text 0 0 0 ' !' white"});
    EXPECT_EQ(inkBox().left, 8);
}

TEST_F(FontCommand, ReportsAFileThatIsNoFont) {
    std::ofstream("bad.fnt") << "font\xFF\xFF\xFF\xFF";
    EXPECT_EQ(run("font 0 bad"), onError("font file bad.fnt not found"));
}

TEST_F(FontCommand, ReportsAFolderAFifoAndADeviceAsNotFound) {
    ASSERT_EQ(mkdir("folder.fnt", 0700), 0);
    ASSERT_EQ(mkfifo("fifo.fnt", 0600), 0);
    ASSERT_EQ(symlink("/dev/zero", "zero.fnt"), 0);
    EXPECT_EQ(run("font 0 folder"), onError("font file folder.fnt not found"));
    EXPECT_EQ(run("font 0 fifo"), onError("font file fifo.fnt not found"));
    EXPECT_EQ(run("font 0 zero"), onError("font file zero.fnt not found"));
}

TEST_F(FontCommand, CannotKeepAFontUnderAnEmptyName) {
    saveFont(".fnt");
    EXPECT_EQ(run("font 0 ''"), onError("font file .fnt not found"));
    quietly({"text 0 0 0 ' !' white"});
    EXPECT_EQ(inkBox().left, 6);
}

TEST_F(FontCommand, NameEndsAtAnEscapedNul) {
    EXPECT_EQ(run(R"(font 0 'big\x00ger')"), onError("font file big.fnt not found"));
    EXPECT_EQ(run(R"(font 0 '\x00big')"), onError("font file .fnt not found"));
}

TEST_F(FontCommand, ReportsTheFirstMissingArgument) {
    EXPECT_EQ(run("font 9 F9x5m"), onError("display not found"));
    EXPECT_EQ(run("font"), onError("display not found"));
    EXPECT_EQ(run("font 0"), onError("expected string fname!"));
}

TEST_F(TextCommand, DrawsFromItsPoint) {
    quietly({"text 0 10 20 A white"});
    EXPECT_EQ(inkBox(), (Box{10, 14, 20, 26}));
    EXPECT_TRUE(panel.changed());
}

TEST_F(TextCommand, SpacesCharactersOnePixelApart) {
    quietly({"font 0 F9x5m", "text 0 0 0 AA white"});
    EXPECT_EQ(inkBox(), (Box{0, 10, 0, 6}));
}

TEST_F(TextCommand, CentredIsCentredWithXAsAnOffset) {
    quietly({"vdisp 5 128 20", "font 0 F9x5m", "ctext 5 0 10 AA white"});
    EXPECT_EQ(inkBox("5").left, 58);
    quietly({"clear 5", "ctext 5 -3 10 AA white"});
    EXPECT_EQ(inkBox("5").left, 55);
}

TEST_F(TextCommand, RightAlignedEndsAtTheEdgeWithXAsAnOffset) {
    quietly({"vdisp 5 128 20", "font 0 F9x5m", "rtext 5 -2 10 AA white"});
    EXPECT_EQ(inkBox("5").left, 114);
    quietly({"clear 5", "rtext 5 0 10 AA white"});
    EXPECT_EQ(inkBox("5").left, 116);
}

TEST_F(TextCommand, CentringTruncatesTowardZero) {
    // 18 pixels on 3: (3 - 18) / 2 is -7, so that an offset of 7 shows the first letter's stem in column 0.
    quietly({"vdisp 5 3 9", "font 0 F9x5m", "ctext 5 7 0 HHH white"});
    EXPECT_EQ(display("5")->pixel(0, 0), kWhite);
}

TEST_F(TextCommand, BackgroundFillsTheWholeBoxBehindTheText) {
    quietly({"font 0 F9x5m", "text 0 4 2 AB white red"});
    // Two cells of 5 + 1 by 9.
    const std::size_t box = points(kRed).size() + points(kWhite).size();
    EXPECT_EQ(box, 12u * 9u);
    EXPECT_EQ(points(kRed).front(), std::make_pair(4, 2));
    EXPECT_EQ(points(kRed).back(), std::make_pair(15, 10));
}

TEST_F(TextCommand, WithoutBackgroundLeavesWhatIsThere) {
    quietly({"clear 0 red", "text 0 0 0 A white"});
    EXPECT_EQ(points(kRed).size() + points(kWhite).size(), 96u * 64u);
}

TEST_F(TextCommand, WithAnUnreadableBackgroundHasNone) {
    quietly({"clear 0 red", "text 0 0 0 A white (1,2)"});
    EXPECT_EQ(points(kRed).size() + points(kWhite).size(), 96u * 64u);
    EXPECT_EQ(points(Pixel(0)).size(), 0u);
}

TEST_F(TextCommand, BackgroundBoxWrapsAtTheRightEdge) {
    quietly({"font 0 F9x5m", "text 0 93 0 ' ' white red"});
    // The box's columns 93 .. 98 go on in the next row; the blank itself is cut at the edge.
    EXPECT_EQ(display("0")->pixel(95, 0), kRed);
    EXPECT_EQ(display("0")->pixel(0, 1), kRed);
    EXPECT_EQ(display("0")->pixel(2, 1), kRed);
    EXPECT_EQ(display("0")->pixel(3, 1), kClear);
}

TEST_F(TextCommand, BeyondTheEdgeShowsItsFirstColumnAtTheLast) {
    quietly({"font 0 F9x5m", "text 0 200 0 H white"});
    EXPECT_EQ(inkBox(), (Box{95, 95, 0, 6}));
}

TEST_F(TextCommand, AtTheLargestNumbersIsAsFarOutsideAsItGets) {
    quietly({"font 0 F9x5m", "text 0 2147483647 0 HH white"});
    EXPECT_EQ(inkBox(), (Box{95, 95, 0, 6}));
    quietly({"clear 0", "ctext 0 2147483647 0 H white", "rtext 0 2147483647 10 H white"});
    EXPECT_EQ(inkBox(), (Box{95, 95, 0, 16}));
    quietly({"clear 0", "text 0 -2147483648 -2147483648 HHH white red", "rtext 0 -2147483648 3 H white"});
    EXPECT_TRUE(points(kWhite).empty());
}

TEST_F(TextCommand, LeftOfAndAboveTheDisplayIsCut) {
    quietly({"font 0 F9x5m", "text 0 -2 -3 H white"});
    // H: both stems and, in row 3 of the cell, the bar; columns 2..4 and rows 3..6 remain.
    EXPECT_EQ(inkBox(), (Box{0, 2, 0, 3}));
}

TEST_F(TextCommand, BytesAbove127AreCharacterCodesThatTheFontLacks) {
    quietly({"font 0 F9x5m", "text 0 0 0 '\x80\xFF' white red"});
    EXPECT_TRUE(points(kWhite).empty());
    EXPECT_EQ(points(kRed).size(), 2u * 9u);  // only the spacing counts for them
    quietly({"clear 0", "text 0 0 0 '\xE9H' white"});
    EXPECT_EQ(inkBox().left, 0);
}

TEST_F(TextCommand, EmptyTextDrawsNothingButMarksTheDisplay) {
    quietly({"text 0 0 0 '' white red"});
    EXPECT_TRUE(points(kRed).empty());
    EXPECT_TRUE(panel.changed());
}

TEST_F(TextCommand, LongTextsAreDrawnAsFarAsTheyGo) {
    const std::string longText(1500, 'H');
    quietly({("text 0 0 0 " + longText + " white red").c_str()});
    EXPECT_EQ(display("0")->pixel(0, 0), kWhite);
}

TEST_F(TextCommand, ReportsTheFirstMissingArgument) {
    for (const std::string word : {"text", "ctext", "rtext"}) {
        EXPECT_EQ(run(word), onError("display not found"));
        EXPECT_EQ(run(word + " 9 1 1 a white"), onError("display not found"));
        EXPECT_EQ(run(word + " 0"), onError("expected int x!"));
        EXPECT_EQ(run(word + " 0 1"), onError("expected int y!"));
        EXPECT_EQ(run(word + " 0 1 2"), onError("expected string txt!"));
        EXPECT_EQ(run(word + " 0 1 2 'a"), onError("expected string txt!"));
        EXPECT_EQ(run(word + " 0 1 2 a"), onError("expected color fg!"));
        EXPECT_TRUE(result);
    }
    EXPECT_FALSE(panel.changed());
}
