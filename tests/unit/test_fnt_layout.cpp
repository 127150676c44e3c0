// Drawing of text: placing, lines, wrapping, cutting.

#include <algorithm>
#include <climits>
#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "allocation_watch.h"
#include "bitmap_font.h"
#include "font_fixture.h"

namespace {

using Strings = std::vector<std::string>;

// Letters of the small font are blocks of 5 x 6 with an advance of 6, 1 row below the top of a line of 8
// rows.
class FntPlacing : public FontTest {
protected:
    FntPlacing() : small(load("small")) {}

    std::string boxOf(int w, int h, const std::string& text, unsigned int flags) {
        TestImage image(w, h);
        render(image, small, text, flags);
        EXPECT_TRUE(image.canariesLive());
        return image.box();
    }
    std::string boxOf(const rect_t& rect, const std::string& text, unsigned int flags) {
        TestImage image(60, 20);
        render(image, rect, small, text, flags);
        EXPECT_TRUE(image.canariesLive());
        return image.box();
    }

    FontPtr small;
};

TEST_F(FntPlacing, BeginsInTheTopLeftCorner) {
    EXPECT_EQ(boxOf(60, 20, "aa", 0), "0 1 11 6");
    EXPECT_EQ(boxOf({7, 3, 40, 15}, "aa", 0), "7 4 11 6");
}

TEST_F(FntPlacing, OffsetsMoveTheBitmapFromThePen) {
    EXPECT_EQ(boxOf(60, 20, "aj", 0), "0 1 9 6");  // 6 - 2 + 5
    EXPECT_EQ(boxOf(60, 20, "ja", 0), "0 1 11 6") << "what lies left of the target is cut";
}

TEST_F(FntPlacing, CentreFlagCentresTheLine) {
    EXPECT_EQ(boxOf(60, 20, "aa", kFntCentre), "24 1 11 6");
    EXPECT_EQ(boxOf(61, 20, "aa", kFntCentre), "24 1 11 6");
    EXPECT_EQ(boxOf({10, 0, 30, 20}, "aa", kFntCentre), "19 1 11 6");
}

TEST_F(FntPlacing, RightFlagAlignsTheLineToTheRight) {
    EXPECT_EQ(boxOf(60, 20, "aa", kFntRight), "48 1 11 6");
    EXPECT_EQ(boxOf({10, 0, 30, 20}, "aa", kFntRight), "28 1 11 6");
}

TEST_F(FntPlacing, CentreWinsOverRight) {
    EXPECT_EQ(boxOf(60, 20, "aa", kFntCentre | kFntRight), "24 1 11 6");
}

TEST_F(FntPlacing, WideLineIsAlignedBeyondTheLeftEdge) {
    TestImage image(13, 8);  // the line is 18 wide: 5 / 2 to the left, and 5
    render(image, small, "aaa", kFntCentre);
    EXPECT_EQ(image.row(1), "###.#####.###");
    image.fill(0);
    render(image, small, "aaa", kFntRight);
    EXPECT_EQ(image.row(1), ".#####.#####.");
}

TEST_F(FntPlacing, WideFromLeftFlagBeginsAWideLineAtTheLeftEdge) {
    for (const unsigned int aligned : {kFntCentre, kFntRight}) {
        TestImage image(13, 8);
        render(image, small, "aaa", aligned | kFntWideFromLeft);
        EXPECT_EQ(image.row(1), "#####.#####.#");
        image.fill(0);
        render(image, small, "a", aligned | kFntWideFromLeft);
        EXPECT_EQ(image.row(1), aligned == kFntCentre ? "...#####....." : ".......#####.");
    }
}

TEST_F(FntPlacing, MiddleFlagCentresTheTextAndPutsTheOddRowAboveIt) {
    EXPECT_EQ(boxOf(60, 20, "a", kFntMiddle), "0 7 5 6");  // (12 + 1) / 2 + 1
    EXPECT_EQ(boxOf(60, 21, "a", kFntMiddle), "0 8 5 6");
}

TEST_F(FntPlacing, BottomFlagAlignsTheTextToTheBottom) {
    EXPECT_EQ(boxOf(60, 20, "a", kFntBottom), "0 13 5 6");
    EXPECT_EQ(boxOf(60, 20, "a", kFntBottom | kFntMiddle), "0 7 5 6");
}

TEST_F(FntPlacing, NewlinesCountForTheHeightWithTheLinesFlagOnly) {
    EXPECT_EQ(boxOf(60, 30, "a\na", kFntBottom | kFntLines), "0 15 5 14");
    EXPECT_EQ(boxOf(60, 30, "a\n\na", kFntMiddle | kFntLines), "0 4 5 22");
    EXPECT_EQ(boxOf(60, 30, "a", kFntBottom), "0 23 5 6");
    EXPECT_EQ(boxOf(60, 30, "a\na", kFntBottom), "0 23 15 6");
}

TEST_F(FntPlacing, TallTextBeginsAtTheTop) {
    EXPECT_EQ(boxOf(60, 5, "a", kFntMiddle), "0 1 5 4");
    EXPECT_EQ(boxOf(60, 5, "a", kFntBottom), "0 1 5 4");
}

TEST_F(FntPlacing, TallFromAboveFlagBeginsAboveTheTarget) {
    EXPECT_EQ(boxOf(60, 5, "a", kFntMiddle | kFntTallFromAbove), "0 0 5 5");  // (-3 + 1) / 2
    EXPECT_EQ(boxOf(60, 4, "a", kFntBottom | kFntTallFromAbove), "0 0 5 3");  // -4
    EXPECT_EQ(boxOf(60, 20, "a", kFntBottom | kFntTallFromAbove), "0 13 5 6");
    EXPECT_EQ(boxOf({0, 10, 60, 4}, "a", kFntBottom | kFntTallFromAbove), "0 10 5 3");
}

TEST_F(FntPlacing, AlignmentDoesNotBeginLines) {
    EXPECT_EQ(boxOf(60, 20, "a\na", kFntCentre), "27 1 15 6") << "measured up to the newline";
    EXPECT_EQ(boxOf(60, 20, "a\na", kFntRight), "54 1 5 6");
    EXPECT_EQ(boxOf(60, 20, "a\na", kFntMiddle), "0 7 15 6");
    EXPECT_EQ(boxOf(60, 20, "a\na", kFntBottom), "0 13 15 6");
}

TEST_F(FntPlacing, LinesFlagMovesNewlinesDownByTheLineAdvance) {
    TestImage image(20, 24);
    render(image, small, "aa\na\n\n", kFntLines);
    EXPECT_EQ(image.row(1), "#####.#####.........");
    EXPECT_EQ(image.row(9), "#####...............");
    EXPECT_EQ(image.box(), "0 1 11 14");
}

TEST_F(FntPlacing, WithoutTheLinesFlagANewlineIsACharacter) {
    TestImage image(20, 24);
    render(image, small, "a\na");
    EXPECT_EQ(image.row(1), "#####.###.#####.....");
    EXPECT_EQ(image.box(), "0 1 15 6");
}

TEST_F(FntPlacing, EachLineIsAlignedByItself) {
    TestImage image(20, 24);
    render(image, small, "aaa\na", kFntLines | kFntCentre);
    EXPECT_EQ(image.row(1), ".#####.#####.#####..");
    EXPECT_EQ(image.row(9), ".......#####........");
    image.fill(0);
    render(image, small, "aaa\na", kFntLines | kFntRight);
    EXPECT_EQ(image.row(1), "..#####.#####.#####.");
    EXPECT_EQ(image.row(9), "..............#####.");
}

TEST_F(FntPlacing, CutFlagShortensAWideLine) {
    TestImage image(20, 24);
    render(image, small, "aaaaaa\naaa",
           kFntLines | kFntCut);  // three characters and an ellipsis of width 0 fit
    EXPECT_EQ(image.row(1), "#####.#####.#####...");
    EXPECT_EQ(image.row(9), "#####.#####.#####...");
}

TEST_F(FntPlacing, CutFlagNeedsWideFromLeftBesideAnAlignment) {
    TestImage image(20, 24);
    render(image, small, "aaaa", kFntRight | kFntCut);
    EXPECT_EQ(image.row(1), "#.#####.#####.#####.");
}

TEST_F(FntPlacing, Flags64And128ChangeNothing) {
    for (const unsigned int flags : {64U, 128U, 192U}) {
        EXPECT_EQ(boxOf(60, 20, "a aa", flags), boxOf(60, 20, "a aa", 0));
        EXPECT_EQ(boxOf(60, 20, "a aa", flags | 0x35), boxOf(60, 20, "a aa", 0x35));
    }
}

TEST_F(FntPlacing, RectangleLeavingTheImageKeepsItsLayout) {
    EXPECT_EQ(boxOf({-10, 0, 40, 10}, "aa", kFntCentre), "4 1 11 6");
    EXPECT_EQ(boxOf({40, 0, 40, 10}, "aa", kFntCentre), "54 1 5 6");
    EXPECT_EQ(boxOf({0, -10, 40, 20}, "a", kFntMiddle), "0 0 5 3");
    EXPECT_EQ(boxOf({0, 10, 40, 20}, "a", kFntMiddle), "0 17 5 3");
    EXPECT_EQ(boxOf({-30, 0, 20, 20}, "a", 0), "nothing");
    EXPECT_EQ(boxOf({60, 0, 20, 20}, "a", 0), "nothing");
}

TEST_F(FntPlacing, NothingIsDrawnOutsideTheRectangle) {
    EXPECT_EQ(boxOf({10, 5, 8, 4}, "aaaa", 0), "10 6 8 3");
}

TEST_F(FntPlacing, EmptyTargetDrawsNothing) {
    EXPECT_EQ(boxOf({0, 0, 0, 10}, "a", 0), "nothing");
    EXPECT_EQ(boxOf({0, 0, 10, 0}, "a", 0), "nothing");
    EXPECT_EQ(boxOf({0, 0, -5, -5}, "a", 0), "nothing");
}

TEST_F(FntPlacing, NothingHappensWithoutImageFontOrText) {
    TestImage image(20, 20);
    Fnt_RenderText(nullptr, nullptr, small.get(), "a", kWhite, 0, 0);
    Fnt_RenderText(image.get(), nullptr, nullptr, "a", kWhite, 0, 0);
    Fnt_RenderText(image.get(), nullptr, small.get(), nullptr, kWhite, 0, 0);
    image_t empty = {};
    Fnt_RenderText(&empty, nullptr, small.get(), "a", kWhite, 0, 0);
    empty.w = empty.h = 10;
    Fnt_RenderText(&empty, nullptr, small.get(), "a", kWhite, 0, 0);
    EXPECT_EQ(image.box(), "nothing");
}

TEST_F(FntPlacing, MaskModeWritesTheGlyphIntoAlpha) {
    TestImage image(16, 16);
    image.fill(0x05112233);
    Fnt_RenderText(image.get(), nullptr, small.get(), "~", nullptr, 0, 0);
    EXPECT_EQ(image.pixel(0, 0), 0x05112233U);
    EXPECT_EQ(image.pixel(4, 1), (0x05U + 20) << 24 | 0x112233U);
    EXPECT_EQ(image.pixel(15, 15), 0xFF112233U);
}

TEST_F(FntPlacing, PremultipliedImageTakesTheColoursAlpha) {
    TestImage image(6, 8);
    image->prea = 1;
    const unsigned char color[] = {1, 2, 3, 4};
    Fnt_RenderText(image.get(), nullptr, small.get(), "a", color, 0, 0);
    EXPECT_EQ(image.pixel(2, 2), 0x04030201U);
}

// Wrapping in the small font: the numbers are right ends.
class FntWrapping : public FntPlacing {
protected:
    // The first pixel row of each line's letters.
    Strings linesOf(int w, const std::string& text, unsigned int flags = kFntLines | kFntWrap) {
        TestImage image(w, 40);
        render(image, small, text, flags);
        Strings lines;
        for (int top = 0; top + 8 <= 40; top += 8) {
            std::string letters = image.row(top + 1);
            letters.erase(letters.find_last_not_of('.') + 1);
            lines.push_back(letters);
        }
        while (!lines.empty() && lines.back().empty()) {
            lines.pop_back();
        }
        return lines;
    }
    const std::string one = "#####";
    const std::string two = "#####.#####";
    const std::string three = "#####.#####.#####";
};

TEST_F(FntWrapping, LastSpaceThatFitsBecomesTheNewline) {
    EXPECT_EQ(linesOf(30, "aa aa aa"), (Strings{two + "......." + two, two}));  // 12 18 30, 36
    EXPECT_EQ(linesOf(29, "aa aa aa"), (Strings{two, two, two}));
}

TEST_F(FntWrapping, ExtentCountsWhereItIsGreaterThanTheAdvance) {
    const std::string w(9, '#');
    EXPECT_EQ(linesOf(33, "aa aW"), (Strings{two + "......." + one + '.' + w}));  // 24 + 9
    EXPECT_EQ(linesOf(32, "aa aW"), (Strings{two, one + '.' + w}));
}

TEST_F(FntWrapping, WideWordIsNotBroken) {
    EXPECT_EQ(linesOf(13, "aaaa a"), (Strings{"#####.#####.#", one}));
    EXPECT_EQ(linesOf(13, "a aaaa a"), (Strings{one, "#####.#####.#", one}));
}

TEST_F(FntWrapping, ExistingNewlinesStartLines) {
    EXPECT_EQ(linesOf(20, "aa\naa a\na"), (Strings{two, two, one, one}));
}

TEST_F(FntWrapping, SeveralSpacesGiveWayOneByOne) {
    EXPECT_EQ(linesOf(18, "aa  aa"), (Strings{two, two}));      // the second one, at 24
    EXPECT_EQ(linesOf(17, "aa  aa"), (Strings{two, "", two}));  // the first, at 18; then the one that is left
}

TEST_F(FntWrapping, SpaceBeyondTheEdgeBecomesTheNewline) {
    // The space ends at 18: it wraps, and the empty line behind it counts for the height.
    EXPECT_EQ(boxOf(17, 40, "aa ", kFntLines | kFntWrap | kFntBottom), "0 25 11 6");
    EXPECT_EQ(boxOf(18, 40, "aa ", kFntLines | kFntWrap | kFntBottom), "0 33 11 6");
}

TEST_F(FntWrapping, WrappedLinesCountForTheHeight) {
    EXPECT_EQ(boxOf(20, 40, "aa aa", kFntLines | kFntWrap | kFntBottom), "0 25 11 14");
}

TEST_F(FntWrapping, WithoutTheLinesFlagTheNewlinesAreCharacters) {
    EXPECT_EQ(linesOf(12, "a a", kFntWrap), (Strings{"#####.###.##"}));
}

TEST_F(FntWrapping, CallersTextIsLeftAlone) {
    char text[] = "aa aa aa";
    TestImage image(20, 40);
    Fnt_RenderText(image.get(), nullptr, small.get(), text, kWhite, 0, kFntLines | kFntWrap);
    EXPECT_STREQ(text, "aa aa aa");
}

TEST_F(FntWrapping, WithoutMemoryForTheCopyTheTextIsDrawnUnwrapped) {
    freeTypeCalls().strdupFails = true;
    EXPECT_EQ(linesOf(29, "aa aa aa"), (Strings{two + "......." + two}));
}

TEST_F(FntWrapping, WrappedLinesCanBeCutToo) {
    EXPECT_EQ(linesOf(13, "a aaaa a", kFntLines | kFntWrap | kFntCut), (Strings{one, two, one}));
}

// With outlines.
class FntOutlines : public FontTest {
protected:
    static bool same(const TestImage& one, const TestImage& other, int w, int h) {
        for (int y = 0; y < h; ++y) {
            for (int x = 0; x < w; ++x) {
                if (one.pixel(x, y) != other.pixel(x, y)) {
                    return false;
                }
            }
        }
        return true;
    }
};

TEST_F(FntOutlines, AccentsAndDescendersFitIntoTheLine) {
    for (int size = 12; size <= 30; ++size) {
        const FontPtr font = load("ft:sans.ttf:" + std::to_string(size) + "px");
        const int h = std::max(font->sy, font->ay);
        TestImage cell(200, h + 20);
        render(cell, {10, 10, 190, h}, font, "\xC3\x85gjpq|");
        TestImage open(200, h + 20);  // nothing above or below is cut
        render(open, {10, 0, 190, h + 20}, font, "\xC3\x85gjpq|", kFntMiddle);
        const int shift = (h + 20 - font->sy + 1) / 2 - 10;
        TestImage moved(200, h + 20);
        render(moved, {10, 10 + shift, 190, h}, font, "\xC3\x85gjpq|");
        EXPECT_TRUE(same(open, moved, 200, h + 20)) << size;
        EXPECT_NE(cell.box(), "nothing");
    }
}

TEST_F(FntOutlines, KernedPairsAreDrawnAsTheyAreMeasured) {
    const FontPtr font = load("ft:sans.ttf:24px");
    for (const std::string& pair : {std::string("AV"), std::string("To")}) {
        TestImage together(80, 40);
        render(together, font, pair);
        TestImage apart(80, 40);
        const int second = width(font, pair) - width(font, pair.substr(1));
        ASSERT_LT(second, width(font, pair.substr(0, 1)));
        render(apart, font, pair.substr(0, 1));
        render(apart, {second, 0, 80 - second, 40}, font, pair.substr(1));
        EXPECT_TRUE(same(together, apart, 80, 40)) << pair;
    }
}

TEST_F(FntOutlines, CutLineEndsWithAKernedEllipsis) {
    const FontPtr font = load("ft:sans.ttf:16px");
    const std::string text = "Party line AVATAR";
    for (const unsigned int flags : {kFntCut, kFntCut | kFntWideFromLeft | kFntCentre}) {
        const int n = fnt_get_num_chars_we(font.get(), text.c_str(), 96, 0);
        ASSERT_GT(n, 5);
        TestImage cut(96, 20);
        render(cut, font, text, flags);
        TestImage expected(96, 20);
        render(expected, font, text.substr(0, static_cast<std::size_t>(n)) + "\xE2\x80\xA6");
        EXPECT_TRUE(same(cut, expected, 96, 20));
    }
}

TEST_F(FntOutlines, LineThatJustFitsIsNotCut) {
    const FontPtr font = load("ft:sans.ttf:16px");
    const std::string text = "Party line AVATAR";
    const int exact = width(font, text);
    TestImage whole(exact, 20);
    render(whole, font, text);
    TestImage fitting(exact, 20);
    render(fitting, font, text, kFntCut);
    EXPECT_TRUE(same(fitting, whole, exact, 20));
    TestImage cut(exact, 20);
    render(cut, {0, 0, exact - 1, 20}, font, text, kFntCut);
    EXPECT_FALSE(same(cut, whole, exact, 20));
}

TEST_F(FntOutlines, LineWithoutRoomForACharacterIsAnEllipsisAlone) {
    const FontPtr font = load("ft:sans.ttf:16px");
    TestImage cut(12, 20);
    render(cut, font, "MMM", kFntCut);
    TestImage expected(12, 20);
    render(expected, font, "\xE2\x80\xA6");
    EXPECT_TRUE(same(cut, expected, 12, 20));
    EXPECT_NE(expected.box(), "nothing");
}

TEST_F(FntOutlines, SecondDrawingLoadsNothing) {
    const FontPtr font = load("ft:sans.ttf:24px");
    TestImage image(96, 64);
    const std::string text = "Channel 1 is on: \xC3\x85\xE2\x80\xA6";
    render(image, font, text, 0xB5);
    resetFreeTypeCalls();
    render(image, font, text, 0xB5);
    EXPECT_EQ(freeTypeCalls().loads, Strings{});
    EXPECT_EQ(freeTypeCalls().charIndexes, 0);
}

TEST_F(FntOutlines, DrawingRendersEachCharacterOnce) {
    const FontPtr font = load("ft:sans.ttf:24px");
    TestImage image(96, 64);
    render(image, font, "ABA");
    EXPECT_EQ(freeTypeCalls().loads, (Strings{"65 render", "66 render"}));
    EXPECT_EQ(slot(font, 'A').offset, 65U);
}

TEST_F(FntOutlines, CodesThatShareASlotTakeTurns) {
    const FontPtr font = load("ft:sans.ttf:24px");
    const std::string stroke = "\xC5\x81";  // U+0141, 'A' + 256
    TestImage image(96, 64);
    for (int turn = 0; turn < 3; ++turn) {
        resetFreeTypeCalls();
        image.fill(0);
        render(image, font, "A" + stroke + "A");
        const Strings turns = {"65 render", "321 render", "65 render"};
        EXPECT_EQ(freeTypeCalls().loads, turn == 0 ? turns : Strings({"321 render", "65 render"}));
    }
    TestImage expected(96, 64);
    render(expected, load("ft:sans.ttf:24px"), "A" + stroke + "A");
    EXPECT_TRUE(same(image, expected, 96, 64));
}

TEST_F(FntOutlines, Code256IsNotTakenForTheEmptySlot0) {
    const FontPtr font = load("ft:sans.ttf:24px");
    TestImage image(96, 64);
    render(image, font, "\xC4\x80");  // U+0100
    EXPECT_NE(image.box(), "nothing");
    EXPECT_EQ(font->ch[0].offset, 256U);
}

TEST_F(FntOutlines, GlyphWithoutABitmapMovesThePen) {
    const FontPtr font = load("ft:sans.ttf:24px");
    TestImage image(96, 64);
    render(image, font, " ");
    EXPECT_EQ(image.box(), "nothing");
    EXPECT_EQ(slot(font, ' ').offset, 32U);
    EXPECT_EQ(slot(font, ' ').ax, width(font, " "));
    EXPECT_EQ(slot(font, ' ').data, nullptr);
}

TEST_F(FntOutlines, GlyphThatCannotBeLoadedIsLeftOut) {
    const FontPtr font = load("ft:sans.ttf:24px");
    TestImage image(96, 64);
    freeTypeCalls().loadsFail = true;
    render(image, font, "AB");
    EXPECT_EQ(image.box(), "nothing");
    EXPECT_EQ(slot(font, 'A').offset, 0U);
    freeTypeCalls().loadsFail = false;
    render(image, font, "A");
    EXPECT_NE(image.box(), "nothing");
}

TEST_F(FntOutlines, GlyphThatIsLeftOutKeepsItsPlace) {
    const FontPtr font = load("ft:sans.ttf:24px");
    TestImage usual(96, 64);
    render(usual, load("ft:sans.ttf:24px"), "F");
    freeTypeCalls().onLoad = [isFirst = true](FT_GlyphSlot glyph) mutable {
        if (isFirst) {
            glyph->bitmap.pixel_mode = FT_PIXEL_MODE_NONE;
        }
        isFirst = false;
    };
    TestImage image(96, 64);
    render(image, font, "FF");
    const int advance = width(font, "F");
    for (int y = 0; y < 64; ++y) {
        for (int x = 0; x < 96; ++x) {
            ASSERT_EQ(image.pixel(x, y), x < advance ? 0U : usual.pixel(x - advance, y)) << x << " " << y;
        }
    }
}

TEST_F(FntOutlines, Code1IsNotTakenForAnEmptyPlaceOfMeasures) {
    const FontPtr font = load("ft:sans.ttf:24px");
    EXPECT_GT(width(font, "\x01"), 0);
    EXPECT_EQ(width(font, "\x01"), width(font, "\x02"));
}

TEST_F(FntOutlines, CodesBeyondTheFontAreItsMissingGlyph) {
    const FontPtr font = load("ft:sans.ttf:24px");
    const int missing = width(font, "\xF4\x8F\xBF\xBF");
    EXPECT_GT(missing, 0);
    EXPECT_EQ(width(font, "\xFD\xBF\xBF\xBF\xBF\xBF"), missing);
    TestImage image(96, 64);
    render(image, font, "\xF0\x9F\x98\x80");
    EXPECT_NE(image.box(), "nothing");
}

TEST_F(FntOutlines, HugeGlyphIsDrawnButNotKept) {
    const FontPtr font = load("ft:sans.ttf:1000px");
    TestImage image(96, 64);
    render(image, {-150, -500, 246, 564}, font, "M");
    EXPECT_NE(image.box(), "nothing");
    EXPECT_EQ(slot(font, 'M').offset, 0U);
    TestImage again(96, 64);
    render(again, {-150, -500, 246, 564}, font, "M");
    EXPECT_TRUE(same(image, again, 96, 64));
}

TEST_F(FntOutlines, GlyphsAreKeptUpTo64Kibibytes) {
    unsigned largestKept = 0;
    unsigned smallestOther = UINT_MAX;
    for (int size = 280; size < 400; size += 2) {
        const FontPtr font = load("ft:sans.ttf:" + std::to_string(size) + "px");
        for (const char letter : std::string("ABDMNPRW")) {
            TestImage image(96, 64);
            const rect_t above = {-150, -200, 246, 264};  // so that a part of each letter shows
            render(image, above, font, {letter});
            resetFreeTypeCalls();
            render(image, above, font, {letter});
            const FT_Bitmap& last = font->face->glyph->bitmap;
            if (freeTypeCalls().loads.empty()) {
                largestKept = std::max<unsigned>(largestKept, slot(font, letter).w * slot(font, letter).h);
            } else {
                smallestOther = std::min(smallestOther, last.width * last.rows);
            }
        }
    }
    EXPECT_LE(largestKept, 65536U);
    EXPECT_GT(largestKept, 65536U - 512) << "no glyph that is just small enough";
    EXPECT_GT(smallestOther, 65536U);
    EXPECT_LT(smallestOther, 65536U + 512) << "none that is just too large";
}

TEST_F(FntOutlines, TwoLevelBitmapsAreStretchedToFullCoverage) {
    write("tiny.bdf", kBitmapFont);
    const FontPtr font = load("ft:tiny.bdf:8px");
    ASSERT_NE(font, nullptr);
    EXPECT_EQ(font->ay, 8);
    EXPECT_EQ(font->sy, 8);
    TestImage image(14, 8);
    render(image, font, "Ag");
    const Strings rows = {"..............", "..#...........", ".#.#....###...", "#####..#..#...",
                          "#...#..#..#...", "#...#...###...", "..........#...", ".......###...."};
    for (int y = 0; y < 8; ++y) {
        EXPECT_EQ(image.row(y), rows[static_cast<std::size_t>(y)]) << y;
    }
    EXPECT_EQ(image.pixel(2, 1), 0x00FFFFFFU) << "full coverage";
    const fchar_t& g = slot(font, 'g');
    EXPECT_EQ(g.ax, 7);
    EXPECT_EQ(g.ox, 1);
    EXPECT_EQ(g.oy, 2);
    EXPECT_EQ(g.w, 4);
    EXPECT_EQ(g.h, 6);
    EXPECT_EQ(width(font, "Ag"), 13);
}

// Changes the bitmap of the next loaded glyphs, and puts it back.
class FntBitmaps : public FntOutlines {
protected:
    // Draws an F with its bitmap changed.
    void drawF(const std::function<void(FT_Bitmap&)>& change) {
        FT_GlyphSlot changed = nullptr;
        FT_Bitmap before = {};
        freeTypeCalls().onLoad = [&](FT_GlyphSlot glyph) {
            changed = glyph;
            before = glyph->bitmap;
            change(glyph->bitmap);
        };
        render(image, font, "F");
        freeTypeCalls().onLoad = nullptr;
        changed->bitmap = before;
    }

    const FontPtr font = load("ft:sans.ttf:24px");
    TestImage image{40, 40};
};

TEST_F(FntBitmaps, OfWhichTheLowestRowComesFirstAreDrawnUpright) {
    TestImage usual(40, 40);
    render(usual, load("ft:sans.ttf:24px"), "F");
    std::vector<unsigned char> rows;
    drawF([&rows](FT_Bitmap& bitmap) {
        const auto width = static_cast<std::size_t>(bitmap.pitch);
        for (std::size_t y = bitmap.rows; y-- > 0;) {
            rows.insert(rows.end(), bitmap.buffer + y * width, bitmap.buffer + (y + 1) * width);
        }
        bitmap.buffer = rows.data();
        bitmap.pitch = -bitmap.pitch;
    });
    EXPECT_TRUE(same(image, usual, 40, 40));
}

TEST_F(FntBitmaps, OfOneLevelAreTakenAsTheyAre) {
    TestImage usual(40, 40);
    render(usual, load("ft:sans.ttf:24px"), "F");
    drawF([](FT_Bitmap& bitmap) { bitmap.num_grays = 1; });
    EXPECT_TRUE(same(image, usual, 40, 40));
}

TEST_F(FntBitmaps, OfAnUnknownKindAreLeftOut) {
    drawF([](FT_Bitmap& bitmap) { bitmap.pixel_mode = FT_PIXEL_MODE_NONE; });
    EXPECT_EQ(image.box(), "nothing");
    EXPECT_EQ(slot(font, 'F').offset, 0U);
}

TEST_F(FntBitmaps, TooLargeForARecordAreLeftOut) {
    drawF([](FT_Bitmap& bitmap) { bitmap.width = 65536; });
    drawF([](FT_Bitmap& bitmap) { bitmap.rows = 65536; });
    EXPECT_EQ(image.box(), "nothing");
}

TEST_F(FntOutlines, BitmapThatCannotBeConvertedIsLeftOutAndTriedAgain) {
    write("tiny.bdf", kBitmapFont);
    const FontPtr font = load("ft:tiny.bdf:8px");
    freeTypeCalls().convertsFail = true;
    TestImage image(14, 8);
    render(image, font, "A");
    EXPECT_EQ(image.row(2), "..............");
    EXPECT_EQ(slot(font, 'A').offset, 0U) << "not kept";
    freeTypeCalls().convertsFail = false;
    render(image, font, "A");
    EXPECT_EQ(image.row(2), ".#.#..........");
}

TEST_F(FntOutlines, GlyphWithoutMemoryIsLeftOutAndTriedAgain) {
    const FontPtr font = load("ft:sans.ttf:24px");
    TestImage image(96, 64);
    AllocationWatch::fails = true;
    render(image, font, "A");
    AllocationWatch::fails = false;
    EXPECT_EQ(image.box(), "nothing");
    EXPECT_EQ(slot(font, 'A').offset, 0U);
    render(image, font, "A");
    EXPECT_NE(image.box(), "nothing");
}

class FntFitting : public FntPlacing {
protected:
    // The same by its definition: characters are taken off the end until the text is narrow enough.
    static std::size_t byTrying(font_t* font, std::string text, int maxWidth) {
        while (!text.empty() && Fnt_MeasureText(font, text.c_str(), nullptr) > maxWidth) {
            while ((static_cast<unsigned char>(text.back()) & 0xC0) == 0x80) {
                text.pop_back();
            }
            text.pop_back();
        }
        return text.size();
    }
};

TEST_F(FntFitting, TextAsWideAsTheLimitFits) {
    EXPECT_EQ(Fnt_FitText(small.get(), "aaa", 18), 3U);
    EXPECT_EQ(Fnt_FitText(small.get(), "aaa", 17), 2U);
    EXPECT_EQ(Fnt_FitText(small.get(), "aaa", 5), 0U);
    EXPECT_EQ(Fnt_FitText(small.get(), "", 5), 0U);
}

TEST_F(FntFitting, WithoutAFontEverythingFits) {
    EXPECT_EQ(Fnt_FitText(nullptr, "aaa", 1), 3U);
}

TEST_F(FntFitting, EverythingBehindANewlineFitsWithTheLineBeforeIt) {
    EXPECT_EQ(Fnt_FitText(small.get(), "aa\naaaaa", 12), 8U);
    EXPECT_EQ(Fnt_FitText(small.get(), "aa\naaaaa", 11), 1U);
}

TEST_F(FntFitting, IsTheSameAsTakingCharactersOffTheEnd) {
    const FontPtr sans = load("ft:sans.ttf:16px");
    for (const std::string text : {"To AVATAR", "\u00c5ngstr\u00f6m \u20ac \U0001F600!", "LTLTLT.", "1/2"}) {
        for (int width = 1; width < 160; ++width) {
            EXPECT_EQ(Fnt_FitText(sans.get(), text.c_str(), width), byTrying(sans.get(), text, width))
                << text << ' ' << width;
        }
    }
}

}  // namespace
