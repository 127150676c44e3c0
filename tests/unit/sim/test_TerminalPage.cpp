// The page of the terminal view: pictures as characters, and where things stand.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "sim/term/GlassCells.h"
#include "sim/term/Page.h"

namespace {

using sim::Charset;
using sim::GlassStyle;
using sim::Size;
using sim::Tone;

// ---- The glass ----

sim::Picture corners() {
    sim::Picture picture;
    picture.set(0, 0, true);
    picture.set(95, 0, true);
    picture.set(0, 63, true);
    picture.set(95, 63, true);
    return picture;
}

// One lit pixel at this place of the first cell of 2 x 4.
char32_t glyphOfPixel(std::size_t x, std::size_t y, GlassStyle style) {
    sim::Picture picture;
    picture.set(x, y, true);
    return sim::glassRows(picture, style)[0][0];
}

TEST(GlassCells, HalfBlocksHoldTwoPixelsEach) {
    sim::Picture picture;
    picture.set(1, 0, true);
    picture.set(2, 1, true);
    picture.set(3, 0, true);
    picture.set(3, 1, true);
    const auto rows = sim::glassRows(picture, GlassStyle::HalfBlocks);
    ASSERT_EQ(rows.size(), 32U);
    EXPECT_EQ(rows[0], U" ▀▄█" + std::u32string(92, U' '));
    EXPECT_EQ(rows[31], std::u32string(96, U' '));
    EXPECT_EQ(sim::glassRows(picture, GlassStyle::AsciiHalves)[0].substr(0, 5), U" '.# ");
}

TEST(GlassCells, BrailleHasADotForEachPixel) {
    const char32_t expected[4][2] = {{U'⠁', U'⠈'}, {U'⠂', U'⠐'}, {U'⠄', U'⠠'}, {U'⡀', U'⢀'}};
    for (std::size_t y = 0; y < 4; ++y) {
        for (std::size_t x = 0; x < 2; ++x) {
            EXPECT_EQ(glyphOfPixel(x, y, GlassStyle::Braille), expected[y][x]) << x << ' ' << y;
        }
    }
    sim::Picture picture;
    for (std::size_t pixel = 0; pixel < 8; ++pixel) {
        picture.set(pixel % 2, pixel / 2, true);
    }
    EXPECT_EQ(sim::glassRows(picture, GlassStyle::Braille)[0][0], U'⣿');
}

TEST(GlassCells, AsciiQuartersTakeTwoPixelsTogether) {
    const char32_t expected[4][2] = {{U'`', U'\''}, {U'`', U'\''}, {U',', U'.'}, {U',', U'.'}};
    for (std::size_t y = 0; y < 4; ++y) {
        for (std::size_t x = 0; x < 2; ++x) {
            EXPECT_EQ(glyphOfPixel(x, y, GlassStyle::AsciiQuarters), expected[y][x]) << x << ' ' << y;
        }
    }
    sim::Picture picture;
    picture.set(0, 0, true);
    picture.set(0, 2, true);  // left
    picture.set(2, 0, true);
    picture.set(3, 1, true);  // top
    picture.set(4, 3, true);
    picture.set(5, 0, true);  // from the bottom left to the top right
    EXPECT_EQ(sim::glassRows(picture, GlassStyle::AsciiQuarters)[0].substr(0, 4), U"[\"/ ");
}

TEST(GlassCells, CornersStandInTheCornersInEveryStyle) {
    for (const GlassStyle style :
         {GlassStyle::HalfBlocks, GlassStyle::AsciiHalves, GlassStyle::Braille, GlassStyle::AsciiQuarters}) {
        const auto rows = sim::glassRows(corners(), style);
        const Size size = sim::glassSize(style);
        ASSERT_EQ(rows.size(), static_cast<std::size_t>(size.height));
        std::size_t lit = 0;
        for (const std::u32string& row : rows) {
            ASSERT_EQ(row.size(), static_cast<std::size_t>(size.width));
            lit += row.size() - static_cast<std::size_t>(std::count(row.begin(), row.end(), U' '));
        }
        EXPECT_EQ(lit, 4U);
        for (const char32_t corner :
             {rows.front().front(), rows.front().back(), rows.back().front(), rows.back().back()}) {
            EXPECT_NE(corner, U' ');
        }
    }
}

TEST(GlassCells, StyleGoesByRoomAndCharacters) {
    EXPECT_EQ(sim::glassStyleFor({96, 32}, Charset::Full), GlassStyle::HalfBlocks);
    EXPECT_EQ(sim::glassStyleFor({96, 32}, Charset::Blocks), GlassStyle::HalfBlocks);
    EXPECT_EQ(sim::glassStyleFor({96, 32}, Charset::Ascii), GlassStyle::AsciiHalves);
    EXPECT_EQ(sim::glassStyleFor({95, 32}, Charset::Full), GlassStyle::Braille);
    EXPECT_EQ(sim::glassStyleFor({96, 31}, Charset::Blocks), GlassStyle::AsciiQuarters);
    EXPECT_EQ(sim::glassStyleFor({48, 16}, Charset::Ascii), GlassStyle::AsciiQuarters);
}

// ---- The page ----

class PageTest : public ::testing::Test {
protected:
    void draw(Size size = sim::kSmallestPage, Charset charset = Charset::Full) {
        drawn = sim::drawPage(page, size, charset);
    }
    // A row without the blanks at its end; what is not ASCII is '?'.
    [[nodiscard]] std::string row(int y) const {
        std::string text;
        for (int x = 0; x < drawn.cells.size().width; ++x) {
            const char32_t glyph = drawn.cells.at(x, y).glyph;
            text += glyph < 0x7F ? static_cast<char>(glyph) : '?';
        }
        return text.substr(0, text.find_last_not_of(' ') + 1);
    }
    // The number of the row that has the text; -1: none.
    [[nodiscard]] int rowWith(const std::string& text) const {
        for (int y = 0; y < drawn.cells.size().height; ++y) {
            if (row(y).find(text) != std::string::npos) {
                return y;
            }
        }
        return -1;
    }
    [[nodiscard]] Tone toneOf(const std::string& text) const {
        const int y = rowWith(text);
        return y < 0 ? Tone::Plain : drawn.cells.at(static_cast<int>(row(y).find(text)), y).tone;
    }
    void addLine(const std::string& text, bool out, bool error = false) {
        page.lines.push_back({page.lines.size() + 1, out, error, text, 0});
    }

    sim::Page page;
    sim::DrawnPage drawn{sim::CellGrid({0, 0}), std::nullopt};
};

TEST_F(PageTest, GlassStandsInABox) {
    page.state.picture = corners();
    page.state.running = true;
    draw();
    EXPECT_EQ(drawn.cells.at(0, 0).glyph, U'┌');
    EXPECT_EQ(drawn.cells.at(49, 17).glyph, U'┘');
    EXPECT_EQ(drawn.cells.at(1, 1).glyph, U'⠁');
    EXPECT_EQ(drawn.cells.at(48, 16).glyph, U'⢀');
    EXPECT_EQ(drawn.cells.at(48, 16).tone, Tone::Glass);
}

TEST_F(PageTest, LargePageHasHalfBlocks) {
    page.state.picture = corners();
    draw({128, 40});
    EXPECT_EQ(drawn.cells.at(1, 1).glyph, U'▀');
    EXPECT_EQ(drawn.cells.at(96, 32).glyph, U'▄');
    draw({127, 40});
    EXPECT_EQ(drawn.cells.at(1, 1).glyph, U'⠁');
}

TEST_F(PageTest, AsciiPageIsAsciiThroughout) {
    page.state.picture = corners();
    page.state.leds.fill(100);
    addLine("Gr\xC3\xBC\xC3\x9F", true);
    for (const Size size : {sim::kSmallestPage, Size{140, 50}}) {
        draw(size, Charset::Ascii);
        for (int y = 0; y < size.height; ++y) {
            EXPECT_EQ(row(y).find('?'), y == size.height - 1 ? row(y).find("? help") : std::string::npos)
                << row(y);
        }
    }
    EXPECT_GE(rowWith("> Gr\\xC3\\xBC\\xC3\\x9F"), 0);
}

TEST_F(PageTest, DisplayIsToldInTheTitle) {
    page.state.variant = 1;
    page.state.frame = 12;
    draw();
    EXPECT_GE(rowWith(" Display 1, off, frame 12 "), 0);
    page.state.displayOn = true;
    draw();
    EXPECT_GE(rowWith(" Display 1, on, frame 12 "), 0);
}

TEST_F(PageTest, ContrastIsANumberAndABar) {
    page.state.contrast = 128;
    draw({80, 24}, Charset::Ascii);
    EXPECT_GE(rowWith("Contrast 128 #########......."), 0);
    page.state.contrast = 255;
    draw({80, 24}, Charset::Ascii);
    EXPECT_GE(rowWith("Contrast 255 ################"), 0);
}

TEST_F(PageTest, LightsStandBesideTheirKeysWithTheirLevels) {
    page.state.leds[*sim::LedModel::indexOf("grn:t1")] = 1;
    page.state.leds[*sim::LedModel::indexOf("red:t1")] = 255;
    page.state.leds[*sim::LedModel::indexOf("red:c2")] = 82;
    draw({80, 24}, Charset::Ascii);
    EXPECT_GE(rowWith("a  Talk_1       1 #.. 255 ###"), 0);
    EXPECT_GE(rowWith("s  Talk_2       0 ...   0 ..."), 0);
    EXPECT_GE(rowWith("f  Call_2       0 ...  82 #.."), 0);
    EXPECT_EQ(toneOf("#.. 255"), Tone::Green);
    EXPECT_EQ(toneOf("###"), Tone::Red);
}

TEST_F(PageTest, HeldKeysStandInBrackets) {
    page.state.keysHeld[3] = true;  // Talk_1
    page.state.keysHeld[5] = true;  // Hp_Detect
    draw();
    EXPECT_GE(rowWith("a [Talk_1] "), 0);
    EXPECT_GE(rowWith("h [Hp_Detect]"), 0);
    EXPECT_GE(rowWith("m  Menu"), 0);
    EXPECT_EQ(toneOf("[Talk_1]"), Tone::Marked);
}

TEST_F(PageTest, KnobsOutputsAndGainAreShown) {
    page.state.detents = {3, -12, 0};
    page.state.outputs = {1, 0, 1, 0};
    page.state.gainCode = 17;
    draw();
    EXPECT_GE(rowWith("z x Left        3"), 0);
    EXPECT_GE(rowWith("c v Right     -12"), 0);
    EXPECT_GE(rowWith("b n Rear        0"), 0);
    EXPECT_GE(rowWith("Power LED            high"), 0);
    EXPECT_GE(rowWith("Vibration Motor      low"), 0);
    EXPECT_GE(rowWith("Mic ADC Reset_N      high"), 0);
    EXPECT_GE(rowWith("OLED Display Reset_N low"), 0);
    EXPECT_GE(rowWith("Mic Gain             17 of 31"), 0);
}

TEST_F(PageTest, NothingIsCutOnTheSmallestPage) {
    page.state.leds.fill(255);
    page.state.keysHeld.fill(true);
    page.state.contrast = 255;
    draw();
    EXPECT_EQ(row(0).back(), '?');  // the bar's full block
    EXPECT_EQ(row(1).substr(51), "a [Talk_1]    255 ??? 255 ???");
    EXPECT_EQ(rowWith("Mic Gain"), 14);
    page.state.gainCode = 31;
    draw();
    EXPECT_EQ(row(14).substr(51), "Mic Gain             31 of 31");
}

TEST_F(PageTest, NewestLinesStandAtTheBottomWithTheirDirection) {
    for (int i = 1; i <= 9; ++i) {
        addLine("g:line " + std::to_string(i), false);
    }
    addLine("OnFpKey(1,1,250)", true);
    addLine("OnError(\"unknown\")", true, true);
    draw();
    EXPECT_EQ(row(18), "< g:line 8");
    EXPECT_EQ(row(19), "< g:line 9");
    EXPECT_EQ(row(20), "> OnFpKey(1,1,250)");
    EXPECT_EQ(row(21), "! OnError(\"unknown\")");
    EXPECT_EQ(toneOf("! OnError"), Tone::Error);
    draw({80, 30});
    EXPECT_EQ(row(18), "< g:line 2");
}

TEST_F(PageTest, LongLineIsCutVisibly) {
    addLine(std::string(200, 'x'), true);
    draw();
    EXPECT_EQ(row(21), "> " + std::string(76, 'x') + "..");
}

TEST_F(PageTest, CountersAreShown) {
    page.state.linesIn = 12;
    page.state.linesOut = 34;
    page.state.errors = 5;
    page.state.running = true;
    draw();
    EXPECT_GE(rowWith(" Lines: in 12, out 34, errors 5 "), 0);
    EXPECT_EQ(rowWith("not running"), -1);
    page.state.running = false;
    draw();
    EXPECT_GE(rowWith("errors 5, the program is not running"), 0);
}

TEST_F(PageTest, PromptHasTheCursorAtItsEnd) {
    draw();
    EXPECT_FALSE(drawn.cursor.has_value());
    page.prompt = "g:flush";
    draw();
    EXPECT_EQ(row(22), "Line: g:flush");
    ASSERT_TRUE(drawn.cursor.has_value());
    EXPECT_EQ(drawn.cursor->x, 13);
    EXPECT_EQ(drawn.cursor->y, 22);
}

TEST_F(PageTest, LongPromptShowsItsEnd) {
    page.prompt = std::string(100, 'a') + "end";
    draw();
    EXPECT_EQ(row(22), "Line: " + std::string(70, 'a') + "end");
    ASSERT_TRUE(drawn.cursor.has_value());
    EXPECT_EQ(drawn.cursor->x, 79);
}

TEST_F(PageTest, NoticeTakesThePlaceOfTheShortHelp) {
    draw();
    EXPECT_NE(row(23).find("? help"), std::string::npos);
    EXPECT_LE(row(23).size(), 80U);
    page.notice = "no daemon reads its input";
    draw();
    EXPECT_EQ(row(23), "no daemon reads its input");
    page.prompt = "g:";
    draw();
    EXPECT_EQ(row(22), "Line: g:");
    EXPECT_EQ(row(23), "no daemon reads its input");
}

TEST_F(PageTest, HelpFitsOnTheSmallestPage) {
    page.help = true;
    draw();
    EXPECT_GE(rowWith("tap Talk_1"), 0);
    EXPECT_GE(rowWith("Any key goes back to the panel."), 0);
    for (int y = 0; y < 24; ++y) {
        EXPECT_LT(row(y).size(), 80U) << row(y);
    }
}

TEST_F(PageTest, TooSmallIsTold) {
    for (const Size size : {Size{79, 24}, Size{80, 23}, Size{30, 5}}) {
        draw(size);
        EXPECT_EQ(row(0), "Too small: " + std::to_string(size.width) + " x " + std::to_string(size.height));
        EXPECT_EQ(row(1), "Needed: 80 x 24");
    }
    draw({1, 1});
    EXPECT_EQ(row(0), "T");
    page.help = true;
    draw({79, 24});
    EXPECT_EQ(row(1), "Needed: 80 x 24");
}

}  // namespace
