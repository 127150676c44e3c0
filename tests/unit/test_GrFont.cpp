#include "graphics/GrFont.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "allocation_watch.h"
#include "graphics/BuiltinFonts.h"

namespace {

using VelaGraphics::DisplayBuffer;
using VelaGraphics::F9x5m;
using VelaGraphics::F9x5p;
using VelaGraphics::Font;
using VelaGraphics::Pixel;
using VelaGraphics::Position;
using VelaGraphics::Size;
using Bytes = std::vector<unsigned char>;

constexpr Pixel kFg(0xFFFFFFFF);
constexpr Pixel kBg(0xFF0000FF);
constexpr Pixel kBefore(0x12345678);
constexpr Pixel kTransparent(0);

// Lets the tests see who owns the data and how long a glyph is.
struct OpenFont : Font {
    using Font::charsize;
    using Font::Font;
    using Font::maxwi;
    using Font::ownsFontData;
};

struct Header {
    int height = 3;
    int ucut = 0;
    int width = 8;
    int byPline = 1;
    int minascii = 'A';
    int maxascii = 'B';
};

Bytes headerBytes(const Header& h) {
    const auto byte = [](int v) { return static_cast<unsigned char>(v); };
    return {byte(h.height), byte(h.ucut), byte(h.width), byte(h.byPline), byte(h.minascii), byte(h.maxascii)};
}

// A font of the header and, for the rest of `size` bytes, a pattern without any order.
Bytes fontBytes(const Header& h, std::size_t size) {
    Bytes bytes = headerBytes(h);
    for (unsigned state = 1; bytes.size() < size; state = state * 1664525U + 1013904223U) {
        bytes.push_back(static_cast<unsigned char>(state >> 24));
    }
    return bytes;
}

// The font's bytes, as many as its header says.
Bytes fontBytes(const Header& h) {
    const int glyphSize = h.byPline * h.height + (h.width == 0 ? 1 : 0);
    return fontBytes(h, static_cast<std::size_t>(6 + (h.maxascii - h.minascii + 1) * glyphSize));
}

Bytes fileBytes(const Bytes& data, std::uint32_t length) {
    Bytes file = {'f', 'o', 'n', 't'};
    for (int shift = 0; shift < 32; shift += 8) {
        file.push_back(static_cast<unsigned char>(length >> shift));
    }
    file.insert(file.end(), data.begin(), data.end());
    return file;
}

Bytes fileBytes(const Bytes& data) {
    return fileBytes(data, static_cast<std::uint32_t>(data.size()));
}

// Pixels between two guard zones that must not be touched.
class Surface {
public:
    Surface(int w, int h)
        : m_extent(w, h),
          m_pixels(2 * kGuard + static_cast<std::size_t>(std::max(w, 0) * std::max(h, 0)), kBefore) {}

    [[nodiscard]] Pixel* data() { return m_pixels.data() + kGuard; }
    [[nodiscard]] DisplayBuffer view() { return {data(), m_extent}; }
    [[nodiscard]] Size extent() const { return m_extent; }
    [[nodiscard]] Pixel& at(int x, int y) { return data()[x + y * m_extent.w]; }
    [[nodiscard]] const std::vector<Pixel>& all() const { return m_pixels; }

    int draw(const Font& font, int ch, const Position& pos, Pixel bg = kTransparent) {
        return font.drawChar(ch, m_extent.w, m_extent.h, data(), pos, kFg, bg);
    }

    // '#' foreground, 'o' background, '.' untouched.
    [[nodiscard]] std::vector<std::string> picture() {
        std::vector<std::string> rows;
        for (int y = 0; y < m_extent.h; ++y) {
            std::string row;
            for (int x = 0; x < m_extent.w; ++x) {
                row += at(x, y) == kFg ? '#' : at(x, y) == kBg ? 'o' : '.';
            }
            rows.push_back(row);
        }
        return rows;
    }

    [[nodiscard]] bool isUntouched() const {
        return std::all_of(m_pixels.begin(), m_pixels.end(), [](Pixel p) { return p == kBefore; });
    }

private:
    static constexpr std::size_t kGuard = 700;
    Size m_extent;
    std::vector<Pixel> m_pixels;
};

// Draws pixel by pixel, as the rules are told.
void drawByTheRules(const Font& font, int ch, Surface& surface, const Position& pos, Pixel bg) {
    const Font::FontInfoHeader& h = *font.info();
    const int glyphSize = h.f_byPline * h.f_height + (h.f_width == 0 ? 1 : 0);
    const unsigned char* glyph = font.fontData() + 6 + (ch - h.f_minascii) * glyphSize;
    const int width = h.f_width != 0 ? h.f_width : *glyph++;
    const int cx = std::min(surface.extent().w - 1, pos.x);
    const int cy = std::min(surface.extent().h - 1, pos.y);
    for (int row = 0; row < h.f_height; ++row) {
        for (int column = 0; column < width; ++column) {
            const bool stored = column < std::min(64, 8 * h.f_byPline);
            const bool set = stored && (glyph[row * h.f_byPline + column / 8] & (0x80 >> column % 8)) != 0;
            if (surface.extent().isInside({cx + column, cy + row}) && (set || !bg.isTransparent())) {
                surface.at(cx + column, cy + row) = set ? kFg : bg;
            }
        }
    }
}

// Starts from wholly before the surface to wholly behind it; a long glyph takes fewer of them.
std::vector<int> starts(int extent, int limit) {
    std::vector<int> all;
    for (int start = -extent - 2; start<limit + 3; start += extent> 20 ? 5 : 1) {
        all.push_back(start);
    }
    return all;
}

void expectDrawnByTheRules(const Font& font, int ch, const Size& extent) {
    for (const int y : starts(font.charHeight(), extent.h)) {
        for (const int x : starts(font.charWidth(ch), extent.w)) {
            for (const Pixel bg : {kTransparent, kBg}) {
                Surface drawn(extent.w, extent.h);
                Surface wanted(extent.w, extent.h);
                EXPECT_EQ(drawn.draw(font, ch, {x, y}, bg), font.charWidth(ch));
                drawByTheRules(font, ch, wanted, {x, y}, bg);
                ASSERT_TRUE(drawn.all() == wanted.all()) << "code " << ch << " at " << x << ", " << y;
            }
        }
    }
}

TEST(Font, EmptyFontHasNothing) {
    const OpenFont font;
    EXPECT_FALSE(font.ownsFontData);
    EXPECT_EQ(font.fontData(), nullptr);
    EXPECT_EQ(font.info(), nullptr);
    EXPECT_EQ(font.charsize, 0);
    EXPECT_EQ(font.maxWidth(), 0);
    EXPECT_EQ(font.charHeight(), 0);
    EXPECT_EQ(font.fontDatasize(), 0U);
    EXPECT_FALSE(font.isValid());
    EXPECT_FALSE(font.isProportional());
    EXPECT_EQ(font.charWidth('A'), 0);
}

TEST(Font, EmptyFontCannotBeUpdated) {
    Font font;
    EXPECT_FALSE(font.updateFontInfo());
}

TEST(Font, HeaderFieldsLieInTheirOrder) {
    const Bytes data = fontBytes({9, -3, 5, 2, 65, 66});
    const Font font(data.data());
    EXPECT_EQ(font.info()->f_height, 9);
    EXPECT_EQ(font.info()->f_ucut, -3);
    EXPECT_EQ(font.info()->f_width, 5);
    EXPECT_EQ(font.info()->f_byPline, 2);
    EXPECT_EQ(font.info()->f_minascii, 65);
    EXPECT_EQ(font.info()->f_maxascii, 66);
}

TEST(Font, FixedFontKnowsItsSizes) {
    const OpenFont font(F9x5m);
    EXPECT_FALSE(font.ownsFontData);
    EXPECT_EQ(font.fontData(), F9x5m);
    EXPECT_EQ(font.charsize, 9);
    EXPECT_EQ(font.maxwi, 5);
    EXPECT_EQ(font.charHeight(), 9);
    EXPECT_FALSE(font.isProportional());
    EXPECT_EQ(font.charWidth('i'), 5);
}

TEST(Font, ProportionalGlyphHasOneByteMore) {
    const OpenFont font(F9x5p);
    EXPECT_EQ(font.charsize, 10);
    EXPECT_TRUE(font.isProportional());
    EXPECT_EQ(font.charWidth('i'), 3);
}

TEST(Font, LargestGlyphFitsItsSize) {
    const Header header = {128, 0, 0, 8, 1, 2};
    const Bytes data = fontBytes(header);
    const OpenFont font(data.data());
    EXPECT_TRUE(font.isValid());
    EXPECT_EQ(font.charsize, 1025);
    EXPECT_EQ(font.fontDatasize(), 2056U);
}

TEST(Font, WidestGlyphOfTheWholeRangeCounts) {
    Bytes data = fontBytes({3, 0, 0, 1, 'A', 'C'});
    data[6] = 3;
    data[10] = 2;
    data[14] = 7;
    EXPECT_EQ(Font(data.data()).maxWidth(), 7);
    data[14] = 1;
    EXPECT_EQ(Font(data.data()).maxWidth(), 3);
}

TEST(Font, WithoutGlyphsOfAnyWidthHasNone) {
    Bytes data = fontBytes({3, 0, 0, 1, 'A', 'B'});
    data[6] = data[10] = 0;
    EXPECT_EQ(Font(data.data()).maxWidth(), 0);
}

TEST(Font, UpdateReadsTheTableAnew) {
    Bytes data = fontBytes({3, 0, 8, 1, 'A', 'B'});
    OpenFont font(data.data());
    data[2] = 4;
    data[0] = 2;
    EXPECT_FALSE(font.updateFontInfo());
    EXPECT_EQ(font.maxWidth(), 4);
    EXPECT_EQ(font.charsize, 2);
    data[0] = 3;
    EXPECT_TRUE(font.updateFontInfo());
    EXPECT_EQ(font.charsize, 3);
}

TEST(Font, CodeRangeMayCoverAllBytes) {
    const Bytes data = fontBytes({3, 0, 8, 1, 0, 255});
    const Font font(data.data());
    EXPECT_TRUE(font.isValid());
    EXPECT_EQ(font.fontDatasize(), 6U + 256 * 3);
    EXPECT_EQ(font.charWidth(0), 8);
    EXPECT_EQ(font.charWidth(255), 8);
    EXPECT_EQ(font.charWidth(256), 0);
    EXPECT_EQ(font.charWidth(-1), 0);
}

TEST(Font, SetFontTellsWhetherTheTableIsValid) {
    Font font;
    EXPECT_TRUE(font.setFont(F9x5m));
    EXPECT_EQ(font.charWidth('!'), 5);
    EXPECT_TRUE(font.setFont(F9x5p));
    EXPECT_EQ(font.charWidth('!'), 1);
    const Bytes bad = fontBytes({2, 0, 8, 1, 'A', 'B'});
    EXPECT_FALSE(font.setFont(bad.data()));
    EXPECT_EQ(font.fontData(), bad.data());
    EXPECT_FALSE(font.setFont(nullptr));
    EXPECT_EQ(font.fontData(), nullptr);
    EXPECT_EQ(font.maxWidth(), 0);
}

bool isValid(const Header& header) {
    Bytes data = headerBytes(header);
    data.resize(6 + 256 * 4, 1);  // the proportional glyphs' width bytes are read
    return Font(data.data()).isValid();
}

TEST(FontValidity, HeightIsThreeToOneHundredAndTwentyEight) {
    EXPECT_FALSE(isValid({2, 0, 8, 1, 'A', 'B'}));
    EXPECT_TRUE(isValid({3, 0, 8, 1, 'A', 'B'}));
    EXPECT_TRUE(isValid({128, 0, 8, 1, 'A', 'B'}));
    EXPECT_FALSE(isValid({129, 0, 8, 1, 'A', 'B'}));
    EXPECT_FALSE(isValid({255, 0, 8, 1, 'A', 'B'}));
}

TEST(FontValidity, DescentIsLessThanTheHeight) {
    EXPECT_TRUE(isValid({5, 4, 8, 1, 'A', 'B'}));
    EXPECT_FALSE(isValid({5, 5, 8, 1, 'A', 'B'}));
    EXPECT_TRUE(isValid({5, -128, 8, 1, 'A', 'B'}));
}

TEST(FontValidity, WidthIsAtMostSixtyFour) {
    EXPECT_TRUE(isValid({3, 0, 64, 8, 'A', 'B'}));
    EXPECT_FALSE(isValid({3, 0, 65, 8, 'A', 'B'}));
}

TEST(FontValidity, RowHasOneToEightBytes) {
    EXPECT_FALSE(isValid({3, 0, 0, 0, 'A', 'B'}));
    EXPECT_FALSE(isValid({3, 0, 0, -1, 'A', 'B'}));
    EXPECT_TRUE(isValid({3, 0, 8, 1, 'A', 'B'}));
    EXPECT_TRUE(isValid({3, 0, 8, 8, 'A', 'B'}));
    EXPECT_FALSE(isValid({3, 0, 8, 9, 'A', 'B'}));
}

TEST(FontValidity, WidthFitsTheBytesOfARow) {
    EXPECT_TRUE(isValid({3, 0, 16, 2, 'A', 'B'}));
    EXPECT_FALSE(isValid({3, 0, 17, 2, 'A', 'B'}));
}

TEST(FontValidity, LastCodeIsNotBelowTheFirst) {
    EXPECT_TRUE(isValid({3, 0, 8, 1, 'A', 'A'}));
    EXPECT_FALSE(isValid({3, 0, 8, 1, 'B', 'A'}));
}

TEST(FontDraw, BuiltinGlyphsFollowTheRulesEverywhere) {
    for (const char ch : {'A', 'g', '!', '|', ' ', '\x7F'}) {
        expectDrawnByTheRules(Font(F9x5m), ch, {12, 11});
        expectDrawnByTheRules(Font(F9x5p), ch, {12, 11});
    }
}

TEST(FontDraw, BufferSmallerThanTheGlyphFollowsTheRules) {
    expectDrawnByTheRules(Font(F9x5m), 'R', {1, 1});
    expectDrawnByTheRules(Font(F9x5m), 'R', {3, 4});
    expectDrawnByTheRules(Font(F9x5m), 'R', {30, 2});
    expectDrawnByTheRules(Font(F9x5m), 'R', {2, 30});
}

TEST(FontDraw, EveryWidthOfAOneByteRowFollowsTheRules) {
    for (int width = 1; width <= 8; ++width) {
        const Bytes data = fontBytes({4, 0, width, 1, 'A', 'C'});
        expectDrawnByTheRules(Font(data.data()), 'B', {11, 7});
    }
}

TEST(FontDraw, RowsOfSeveralBytesFollowTheRules) {
    for (const Header& header :
         {Header{3, 0, 9, 2, 'A', 'C'}, Header{4, 0, 17, 3, 'A', 'C'}, Header{3, 0, 5, 3, 'A', 'C'},
          Header{3, 0, 63, 8, 'A', 'C'}, Header{3, 0, 64, 8, 'A', 'C'}}) {
        const Bytes data = fontBytes(header);
        expectDrawnByTheRules(Font(data.data()), 'B', {70, 5});
        expectDrawnByTheRules(Font(data.data()), 'C', {6, 2});
    }
}

TEST(FontDraw, WidthByteBeyondTheRowDrawsClearColumns) {
    for (const int width : {0, 8, 9, 63, 64, 65, 200, 255}) {
        for (const int byPline : {1, 2, 8}) {
            Bytes data = fontBytes({3, 0, 0, byPline, 'A', 'A'});
            data[6] = static_cast<unsigned char>(width);
            expectDrawnByTheRules(Font(data.data()), 'A', {10, 4});
        }
    }
}

TEST(FontDraw, LettersLookAsTheyShould) {
    Surface surface(5, 9);
    EXPECT_EQ(surface.draw(Font(F9x5m), 'g', {0, 0}), 5);
    const std::vector<std::string> wanted = {".....", ".....", ".####", "#...#", "#...#",
                                             "#..##", ".##.#", "....#", ".###."};
    EXPECT_EQ(surface.picture(), wanted);
}

TEST(FontDraw, TransparentBackgroundWritesOnlyForegroundBits) {
    Surface surface(5, 3);
    const Bytes data = {3, 0, 3, 1, 'A', 'A', 0xA0, 0x40, 0xFF};
    surface.draw(Font(data.data()), 'A', {1, 0});
    EXPECT_EQ(surface.picture(), (std::vector<std::string>{".#.#.", "..#..", ".###."}));
}

TEST(FontDraw, AnyOtherBackgroundOverwritesTheWholeBox) {
    const Bytes data = {3, 0, 3, 1, 'A', 'A', 0xA0, 0x40, 0xFF};
    Surface surface(5, 3);
    surface.draw(Font(data.data()), 'A', {1, 0}, kBg);
    EXPECT_EQ(surface.picture(), (std::vector<std::string>{".#o#.", ".o#o.", ".###."}));
    surface.draw(Font(data.data()), 'A', {1, 0}, Pixel(0x00000001));  // alpha 0, yet not transparent
    EXPECT_EQ(surface.at(2, 0), Pixel(0x00000001));
}

TEST(FontDraw, ForegroundZeroIsWritten) {
    Surface surface(5, 9);
    Font(F9x5m).drawChar('I', 5, 9, surface.data(), {0, 0}, kTransparent, kTransparent);
    EXPECT_EQ(surface.at(2, 3), kTransparent);
}

TEST(FontDraw, StartRightOfTheBufferShowsOneColumnAtTheEdge) {
    for (const int x : {6, 7, 1000, INT_MAX}) {
        Surface surface(6, 9);
        EXPECT_EQ(surface.draw(Font(F9x5m), 'L', {x, 0}), 5);
        const std::vector<std::string> wanted = {".....#", ".....#", ".....#", ".....#", ".....#",
                                                 ".....#", ".....#", "......", "......"};
        EXPECT_EQ(surface.picture(), wanted);
    }
}

TEST(FontDraw, StartBelowTheBufferShowsOneRowAtTheEdge) {
    for (const int y : {3, 4, INT_MAX}) {
        Surface surface(6, 3);
        EXPECT_EQ(surface.draw(Font(F9x5m), 'E', {0, y}), 5);
        EXPECT_EQ(surface.picture(), (std::vector<std::string>{"......", "......", "#####."}));
    }
}

TEST(FontDraw, GlyphLeftOfOrAboveTheBufferIsNotDrawn) {
    for (const Position pos : {Position{-5, 0}, Position{0, -9}, Position{INT_MIN, 0}, Position{0, INT_MIN},
                               Position{INT_MIN, INT_MIN}, Position{INT_MAX, INT_MIN}}) {
        Surface surface(12, 12);
        EXPECT_EQ(surface.draw(Font(F9x5m), '#', pos, kBg), 5);
        EXPECT_TRUE(surface.isUntouched());
    }
}

TEST(FontDraw, BufferWithoutPixelsIsLeftAlone) {
    for (const Size extent :
         {Size{0, 5}, Size{5, 0}, Size{-1, 5}, Size{5, -1}, Size{INT_MIN, INT_MIN}, Size{0, 0}}) {
        for (const Position pos : {Position{0, 0}, Position{-1, -1}, Position{9, 9}}) {
            Surface guard(4, 4);
            const int width = Font(F9x5m).drawChar('A', extent.w, extent.h, guard.data(), pos, kFg, kBg);
            EXPECT_EQ(width, 5);
            EXPECT_TRUE(guard.isUntouched());
        }
    }
}

TEST(FontDraw, CodeOutsideTheRangeDrawsNothingAndHasNoWidth) {
    for (const int code : {31, 128, 255, -1, 256, INT_MIN, INT_MAX}) {
        Surface surface(12, 12);
        EXPECT_EQ(Font(F9x5m).charWidth(code), 0);
        EXPECT_EQ(surface.draw(Font(F9x5m), code, {0, 0}, kBg), 0);
        EXPECT_TRUE(surface.isUntouched());
    }
}

TEST(FontDraw, EmptyFontDrawsNothing) {
    Surface surface(12, 12);
    EXPECT_EQ(surface.draw(Font(), 'A', {0, 0}, kBg), 0);
    EXPECT_TRUE(surface.isUntouched());
}

TEST(FontDraw, NegativeFixedWidthDrawsNothing) {
    const Bytes data = fontBytes({3, 0, -4, 1, 'A', 'A'});
    for (const Position pos : {Position{0, 0}, Position{3, 1}, Position{-2, -1}, Position{50, 0}}) {
        Surface surface(12, 12);
        EXPECT_EQ(surface.draw(Font(data.data()), 'A', pos, kBg), -4);
        EXPECT_TRUE(surface.isUntouched());
    }
}

TEST(FontDraw, FontThatFailsTheTestDrawsAsFarAsItsDataGoes) {
    for (const Header& header :
         {Header{2, 0, 8, 1, 'A', 'A'}, Header{0, 0, 8, 1, 'A', 'A'}, Header{3, 9, 8, 1, 'A', 'A'},
          Header{3, 0, 100, 2, 'A', 'A'}, Header{3, 0, 127, 127, 'A', 'A'}, Header{255, 0, 8, 1, 'A', 'A'},
          Header{255, 0, 0, 9, 'A', 'A'}}) {
        const Bytes data = fontBytes(header);
        const Font font(data.data());
        EXPECT_FALSE(font.isValid());
        for (const Position pos : {Position{0, 0}, Position{-3, -1}, Position{5, 5}}) {
            Surface drawn(20, 8);
            Surface wanted(20, 8);
            drawn.draw(font, 'A', pos, kBg);
            drawByTheRules(font, 'A', wanted, pos, kBg);
            EXPECT_TRUE(drawn.all() == wanted.all());
        }
    }
}

TEST(FontDraw, FontWithoutRowBytesHasNoGlyphs) {
    for (const int byPline : {0, -1, -128}) {
        for (const int width : {0, 5}) {
            const Bytes data = headerBytes({9, 0, width, byPline, 'A', 'A'});
            const Font font(data.data());
            Surface surface(12, 12);
            EXPECT_EQ(font.charWidth('A'), 0);
            EXPECT_EQ(surface.draw(font, 'A', {0, 0}, kBg), 0);
            EXPECT_TRUE(surface.isUntouched());
        }
    }
}

TEST(FontDraw, FontWithTheLastCodeBelowTheFirstHasNoGlyphs) {
    const Bytes data = headerBytes({9, 0, 5, 1, 'B', 'A'});
    const Font font(data.data());
    EXPECT_EQ(font.fontDatasize(), 6U);
    EXPECT_EQ(font.charWidth('A'), 0);
    EXPECT_EQ(font.charWidth('B'), 0);
}

TEST(FontAdvance, HorizontalMovesByWidthAndSpacing) {
    Surface surface(40, 12);
    DisplayBuffer view = surface.view();
    Position pos(3, 2);
    Font(F9x5p).drawChar('!', view, pos, Font::EORIENT_HORIZONTAL, 2, kFg, kTransparent);
    EXPECT_EQ(pos, Position(6, 2));
    EXPECT_EQ(surface.at(3, 2), kFg);
    Font(F9x5p).drawChar('!', view, pos, Font::EORIENT_HORIZONTAL, -1, kFg, kTransparent);
    EXPECT_EQ(pos, Position(6, 2));
}

TEST(FontAdvance, VerticalMovesByHeightAndSpacing) {
    Surface surface(40, 12);
    DisplayBuffer view = surface.view();
    Position pos(3, 2);
    Font(F9x5p).drawChar('!', view, pos, Font::EORIENT_VERTICAL, 2, kFg, kTransparent);
    EXPECT_EQ(pos, Position(3, 13));
}

TEST(FontAdvance, CodeOutsideTheRangeMovesNothing) {
    Surface surface(40, 12);
    DisplayBuffer view = surface.view();
    for (const auto orientation : {Font::EORIENT_HORIZONTAL, Font::EORIENT_VERTICAL}) {
        for (const int code : {31, 128}) {
            Position pos(3, 2);
            Font(F9x5p).drawChar(code, view, pos, orientation, 7, kFg, kBg);
            EXPECT_EQ(pos, Position(3, 2));
        }
    }
    EXPECT_TRUE(surface.isUntouched());
}

TEST(FontAdvance, GlyphOfWidthZeroMovesNothing) {
    Bytes data = fontBytes({3, 0, 0, 1, 'A', 'A'});
    data[6] = 0;
    Surface surface(40, 12);
    DisplayBuffer view = surface.view();
    Position pos(3, 2);
    Font(data.data()).drawChar('A', view, pos, Font::EORIENT_HORIZONTAL, 7, kFg, kBg);
    EXPECT_EQ(pos, Position(3, 2));
    EXPECT_TRUE(surface.isUntouched());
}

TEST(FontAdvance, CutGlyphMovesByItsWholeWidth) {
    Surface surface(4, 4);
    DisplayBuffer view = surface.view();
    Position pos(3, 3);
    Font(F9x5m).drawChar('A', view, pos, Font::EORIENT_HORIZONTAL, 1, kFg, kBg);
    EXPECT_EQ(pos, Position(9, 3));
}

TEST(FontAdvance, StopsAtTheLimits) {
    Surface surface(4, 4);
    DisplayBuffer view = surface.view();
    const Font font(F9x5m);
    Position pos(INT_MAX - 3, INT_MAX - 3);
    font.drawChar('A', view, pos, Font::EORIENT_HORIZONTAL, 1, kFg, kBg);
    EXPECT_EQ(pos.x, INT_MAX);
    font.drawChar('A', view, pos, Font::EORIENT_VERTICAL, INT_MAX, kFg, kBg);
    EXPECT_EQ(pos.y, INT_MAX);
    pos = {INT_MIN, INT_MIN};
    font.drawChar('A', view, pos, Font::EORIENT_HORIZONTAL, INT_MIN, kFg, kBg);
    font.drawChar('A', view, pos, Font::EORIENT_VERTICAL, INT_MIN, kFg, kBg);
    EXPECT_EQ(pos, Position(INT_MIN, INT_MIN));
}

TEST(FontText, OfNullDrawsNothing) {
    Surface surface(20, 12);
    DisplayBuffer buffer = surface.view();
    Font(F9x5m).drawText(nullptr, buffer, Position(0, 0), Font::EORIENT_HORIZONTAL, 1, kFg, kBg);
    EXPECT_EQ(surface.all(), Surface(20, 12).all());
}

TEST(FontTextLength, CountsTheSpacingAfterTheLastCharacter) {
    EXPECT_EQ(Font(F9x5m).textLength("ab", 1), 12);
    EXPECT_EQ(Font(F9x5p).textLength("i!", 1), 6);
    EXPECT_EQ(Font(F9x5m).textLength("ab", 0), 10);
    EXPECT_EQ(Font(F9x5m).textLength("ab", -2), 6);
}

TEST(FontTextLength, CodesOutsideTheRangeCountTheirSpacing) {
    EXPECT_EQ(Font(F9x5m).textLength("a\x1F\x80\xFF", 1), 9);
}

TEST(FontTextLength, IsZeroWithoutTextOrData) {
    EXPECT_EQ(Font(F9x5m).textLength("", 1), 0);
    EXPECT_EQ(Font(F9x5m).textLength(nullptr, 1), 0);
    EXPECT_EQ(Font().textLength("ab", 1), 0);
}

TEST(FontTextLength, StopsAtTheLimits) {
    EXPECT_EQ(Font(F9x5m).textLength("ab", INT_MAX), INT_MAX);
    EXPECT_EQ(Font(F9x5m).textLength("abc", INT_MIN), INT_MIN);
}

TEST(FontTextFit, TextThatFitsNeedsNoCutEvenIfTheSuffixWouldNotFit) {
    EXPECT_EQ(Font(F9x5m).textFit("ab", 1, 11, nullptr), -1);
    EXPECT_EQ(Font(F9x5m).textFit("ab", 1, 11, "..."), -1);
}

TEST(FontTextFit, CutsAtTheFirstCharacterTooManyWithoutSuffix) {
    EXPECT_EQ(Font(F9x5m).textFit("ab", 1, 10, nullptr), 1);
    EXPECT_EQ(Font(F9x5m).textFit("ab", 1, 10, ""), 1);
    EXPECT_EQ(Font(F9x5m).textFit("abcd", 1, 17, nullptr), 3);
    EXPECT_EQ(Font(F9x5m).textFit("abcd", 1, 16, nullptr), 2);
    EXPECT_EQ(Font(F9x5m).textFit("ab", 1, 4, nullptr), 0);
}

TEST(FontTextFit, CutLeavesRoomForTheSuffix) {
    // ".." takes 12 pixels, "a" 5 and "ab" 11: behind "a" the suffix ends at 17, behind "ab" at 23.
    EXPECT_EQ(Font(F9x5m).textFit("abcde", 1, 23, ".."), 2);
    EXPECT_EQ(Font(F9x5m).textFit("abcde", 1, 22, ".."), 1);
    EXPECT_EQ(Font(F9x5m).textFit("abcde", 1, 16, ".."), 0);
}

TEST(FontTextFit, SuffixCodesOutsideTheRangeCountTheirSpacing) {
    EXPECT_EQ(Font(F9x5m).textFit("abcde", 1, 17, "\x80"), 2);
    EXPECT_EQ(Font(F9x5m).textFit("abcde", 1, 11, "\x80"), 1);
}

TEST(FontTextFit, EmptyOrMissingTextFits) {
    EXPECT_EQ(Font(F9x5m).textFit("", 1, 0, "..."), -1);
    EXPECT_EQ(Font(F9x5m).textFit(nullptr, 1, 0, "..."), -1);
    EXPECT_EQ(Font(F9x5m).textFit("", 1, -5, nullptr), -1);
}

TEST(FontTextFit, WithoutDataOnlyTheSpacingCounts) {
    EXPECT_EQ(Font().textFit("abcdef", 2, 5, "..."), 3);
    EXPECT_EQ(Font().textFit("abcdef", 2, 10, "..."), -1);
    EXPECT_EQ(Font().textFit("abcdef", 0, -1, nullptr), 0);
}

TEST(FontTextFit, SuffixOfNegativeWidthGainsNoRoom) {
    EXPECT_EQ(Font(F9x5m).textFit("ab", -8, 4, "xxxx"), 0);
}

TEST(FontTextFit, LargeSpacingDoesNotOverflow) {
    EXPECT_EQ(Font(F9x5m).textFit("abcd", INT_MAX, INT_MAX, nullptr), 1);
    EXPECT_EQ(Font(F9x5m).textFit("abcd", INT_MAX, INT_MAX, "abc"), 0);
    EXPECT_EQ(Font(F9x5m).textFit("abcd", INT_MIN, INT_MAX, "abc"), -1);
}

class FontFile : public ::testing::Test {
protected:
    void SetUp() override {
        std::string pattern = (std::filesystem::temp_directory_path() / "fontXXXXXX").string();
        ASSERT_NE(::mkdtemp(pattern.data()), nullptr);
        m_dir = pattern;
    }
    void TearDown() override { std::filesystem::remove_all(m_dir); }

    [[nodiscard]] std::string path(const char* name) const { return (m_dir / name).string(); }

    [[nodiscard]] std::string write(const Bytes& bytes) const {
        std::ofstream file(path("a.fnt"), std::ios::binary | std::ios::trunc);
        file.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
        return path("a.fnt");
    }

    [[nodiscard]] static Bytes read(const std::string& name) {
        std::ifstream file(name, std::ios::binary);
        return Bytes(std::istreambuf_iterator<char>(file), {});
    }

    void expectLoaded(const Bytes& data, OpenFont& font) const {
        ASSERT_TRUE(font.loadFromFile(write(fileBytes(data)).c_str()));
        ASSERT_TRUE(font.ownsFontData);
    }

    // Every start state ends with an empty font.
    void expectEmptiedBy(const std::string& file) const {
        OpenFont borrowing(F9x5m);
        EXPECT_FALSE(borrowing.loadFromFile(file.c_str()));
        expectEmpty(borrowing);
        expectOwnedIsFreedBy(file);
    }

    // A borrowed table stays, owned data does not.
    void expectBorrowedIsKeptBy(const char* file) const {
        OpenFont borrowing(F9x5p);
        EXPECT_FALSE(borrowing.loadFromFile(file));
        EXPECT_EQ(borrowing.fontData(), F9x5p);
        EXPECT_FALSE(borrowing.ownsFontData);
        EXPECT_EQ(borrowing.charWidth('!'), 1);
        EXPECT_EQ(borrowing.maxWidth(), 5);
        expectOwnedIsFreedBy(file != nullptr ? std::string(file) : path("missing"));
    }

private:
    static void expectEmpty(const OpenFont& font) {
        EXPECT_EQ(font.fontData(), nullptr);
        EXPECT_FALSE(font.ownsFontData);
        EXPECT_EQ(font.charsize, 0);
        EXPECT_EQ(font.maxWidth(), 0);
    }

    void expectOwnedIsFreedBy(const std::string& file) const {
        OpenFont owning;
        ASSERT_TRUE(Font(F9x5m).saveToFile(path("whole.fnt").c_str()));
        ASSERT_TRUE(owning.loadFromFile(path("whole.fnt").c_str()));
        EXPECT_FALSE(owning.loadFromFile(file.c_str()));
        expectEmpty(owning);
    }

    std::filesystem::path m_dir;
};

TEST_F(FontFile, LoadedFontOwnsACopyOfTheData) {
    const Bytes data = fontBytes({5, 1, 0, 2, 'A', 'D'});
    OpenFont font;
    expectLoaded(data, font);
    EXPECT_EQ(font.fontDatasize(), data.size());
    EXPECT_TRUE(std::equal(data.begin(), data.end(), font.fontData()));
    EXPECT_EQ(font.charsize, 11);
    EXPECT_EQ(font.maxWidth(), Font(data.data()).maxWidth());
}

TEST_F(FontFile, LoadingGivesTheFormerDataBack) {
    const std::string file = path("b.fnt");
    ASSERT_TRUE(Font(F9x5m).saveToFile(file.c_str()));
    const long before = AllocationWatch::live;
    {
        Font font;
        ASSERT_TRUE(font.loadFromFile(file.c_str()));
        const long loaded = AllocationWatch::live;
        ASSERT_TRUE(font.loadFromFile(file.c_str()));
        EXPECT_EQ(AllocationWatch::live, loaded);
    }
    EXPECT_EQ(AllocationWatch::live, before);
}

TEST_F(FontFile, SavedBuiltinFontsComeBackUnchanged) {
    for (const unsigned char* table : {&F9x5m[0], &F9x5p[0]}) {
        const Font builtin(table);
        ASSERT_TRUE(builtin.saveToFile(path("b.fnt").c_str()));
        Font loaded;
        ASSERT_TRUE(loaded.loadFromFile(path("b.fnt").c_str()));
        ASSERT_EQ(loaded.fontDatasize(), builtin.fontDatasize());
        EXPECT_TRUE(std::equal(table, table + builtin.fontDatasize(), loaded.fontData()));
    }
}

TEST_F(FontFile, SavedFileHasMagicLengthAndData) {
    const Bytes data = fontBytes({100, 1, 0, 8, 'A', 'D'});
    ASSERT_TRUE(Font(data.data()).saveToFile(path("b.fnt").c_str()));
    EXPECT_EQ(read(path("b.fnt")), fileBytes(data));
    EXPECT_EQ(data.size(), 0xC8AU);  // the bytes of the length differ
}

TEST_F(FontFile, SavingReplacesALongerFile) {
    const std::string file = write(Bytes(5000, 'x'));
    ASSERT_TRUE(Font(F9x5m).saveToFile(file.c_str()));
    EXPECT_EQ(read(file).size(), 878U);
}

TEST_F(FontFile, OnlyAValidFontIsSaved) {
    const std::string file = write({'k', 'e', 'p', 't'});
    const Bytes bad = fontBytes({2, 0, 8, 1, 'A', 'B'});
    EXPECT_FALSE(Font(bad.data()).saveToFile(file.c_str()));
    EXPECT_FALSE(Font().saveToFile(file.c_str()));
    EXPECT_EQ(read(file), (Bytes{'k', 'e', 'p', 't'}));
}

TEST_F(FontFile, SavingFailsWhereNothingCanBeWritten) {
    const Font font(F9x5m);
    EXPECT_FALSE(font.saveToFile(path("").c_str()));
    EXPECT_FALSE(font.saveToFile(path("no/such/dir.fnt").c_str()));
    EXPECT_FALSE(font.saveToFile("/dev/full"));
    EXPECT_FALSE(font.saveToFile(nullptr));
}

TEST_F(FontFile, BytesAfterTheDataAreIgnored) {
    Bytes file = fileBytes(fontBytes({3, 0, 8, 1, 'A', 'B'}));
    file.push_back('x');
    Font font;
    EXPECT_TRUE(font.loadFromFile(write(file).c_str()));
}

TEST_F(FontFile, FileThatCannotBeOpenedKeepsABorrowedTable) {
    expectBorrowedIsKeptBy(path("missing.fnt").c_str());
    expectBorrowedIsKeptBy("");
    expectBorrowedIsKeptBy(nullptr);
}

TEST_F(FontFile, FolderFifoAndDeviceFailAtOnce) {
    ASSERT_EQ(::mkfifo(path("fifo").c_str(), 0600), 0);
    expectBorrowedIsKeptBy(path("").c_str());
    expectBorrowedIsKeptBy(path("fifo").c_str());
    expectBorrowedIsKeptBy("/dev/zero");
}

TEST_F(FontFile, WrongMagicKeepsABorrowedTable) {
    Bytes file = fileBytes(fontBytes({3, 0, 8, 1, 'A', 'B'}));
    file[3] = 'T';
    expectBorrowedIsKeptBy(write(file).c_str());
}

TEST_F(FontFile, FileThatEndsBeforeTheDataKeepsABorrowedTable) {
    const Bytes whole = fileBytes(fontBytes({3, 0, 8, 1, 'A', 'B'}));
    for (std::ptrdiff_t size = 0; size < 8; ++size) {
        expectBorrowedIsKeptBy(write(Bytes(whole.begin(), whole.begin() + size)).c_str());
    }
}

TEST_F(FontFile, LengthBelowTheHeaderKeepsABorrowedTable) {
    for (std::uint32_t length = 0; length < 6; ++length) {
        expectBorrowedIsKeptBy(write(fileBytes(fontBytes({3, 0, 8, 1, 'A', 'B'}), length)).c_str());
    }
}

TEST_F(FontFile, FileThatEndsInTheDataEmptiesTheFont) {
    Bytes file = fileBytes(fontBytes({3, 0, 8, 1, 'A', 'B'}));
    file.pop_back();
    expectEmptiedBy(write(file));
    file.resize(8);
    expectEmptiedBy(write(file));
}

TEST_F(FontFile, HugeLengthEmptiesTheFont) {
    for (const std::uint32_t length : {0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU}) {
        expectEmptiedBy(write(fileBytes(fontBytes({3, 0, 8, 1, 'A', 'B'}), length)));
    }
}

TEST_F(FontFile, HugeFileOfNothingEmptiesTheFont) {
    const std::string file = write(fileBytes(fontBytes({3, 0, 8, 1, 'A', 'B'}), 0x70000000U));
    ASSERT_EQ(::truncate(file.c_str(), 0x70000008), 0);
    AllocationWatch::largest = 0;
    expectEmptiedBy(file);
    EXPECT_LT(AllocationWatch::largest, 0x10000U) << "memory for data that no header describes";
}

TEST_F(FontFile, LengthWithABitBeyondTheLargestEmptiesTheFont) {
    const Bytes data = fontBytes({3, 0, 8, 1, 'A', 'B'});
    const auto length = static_cast<std::uint32_t>(data.size());
    for (int bit = 23; bit < 32; ++bit) {
        expectEmptiedBy(write(fileBytes(data, length | 1U << bit)));
    }
}

TEST_F(FontFile, LargestDataThatAHeaderDescribesIsKept) {
    const Bytes data = fontBytes({255, 0, 0, 127, 0, 255});
    OpenFont font;
    EXPECT_FALSE(font.loadFromFile(write(fileBytes(data)).c_str())) << "too high for a valid font";
    EXPECT_TRUE(font.ownsFontData);
    EXPECT_EQ(font.fontDatasize(), data.size());
}

TEST_F(FontFile, LengthOtherThanTheHeadersEmptiesTheFont) {
    Bytes data = fontBytes({3, 0, 8, 1, 'A', 'B'});
    data.push_back(0);
    expectEmptiedBy(write(fileBytes(data)));
    data.resize(11);
    expectEmptiedBy(write(fileBytes(data)));
    data.resize(6);
    expectEmptiedBy(write(fileBytes(data)));
}

TEST_F(FontFile, HeaderWithNegativeRowBytesEmptiesTheFont) {
    expectEmptiedBy(write(fileBytes(fontBytes({9, 0, 0, -1, 0, 255}, 100))));
}

TEST_F(FontFile, DataThatFailsTheTestIsKeptAndOwned) {
    const Bytes data = fontBytes({2, 0, 8, 1, 'A', 'B'});
    OpenFont font(F9x5m);
    EXPECT_FALSE(font.loadFromFile(write(fileBytes(data)).c_str()));
    EXPECT_TRUE(font.ownsFontData);
    EXPECT_FALSE(font.isValid());
    ASSERT_EQ(font.fontDatasize(), data.size());
    EXPECT_TRUE(std::equal(data.begin(), data.end(), font.fontData()));
    EXPECT_EQ(font.charsize, 2);
    EXPECT_EQ(font.charWidth('A'), 8);
}

TEST_F(FontFile, EveryHeaderThatLoadsCanBeDrawnAndMeasured) {
    const int heights[] = {0, 1, 2, 9, 128, 129, 255};
    const int widths[] = {0, 1, 9, 64, 127, -1, -128};
    const int rowBytes[] = {0, 1, 2, 8, 9, 127, -1, -128};
    const int ranges[][2] = {{65, 65}, {65, 66}, {66, 65}, {255, 0}};
    int loaded = 0;
    for (const int height : heights) {
        for (const int width : widths) {
            for (const int bytes : rowBytes) {
                for (const auto& range : ranges) {
                    const Header header = {height, 0, width, bytes, range[0], range[1]};
                    const int size = 6 + (range[1] - range[0] + 1) * (bytes * height + (width == 0 ? 1 : 0));
                    if (size < 6 || size > 70000) {
                        continue;
                    }
                    Font font;
                    (void)font.loadFromFile(
                        write(fileBytes(fontBytes(header, static_cast<std::size_t>(size)))).c_str());
                    ASSERT_NE(font.fontData(), nullptr);
                    ++loaded;
                    Surface surface(20, 20);
                    for (const Position pos : {Position{0, 0}, Position{-2, -2}, Position{15, 15}}) {
                        EXPECT_EQ(surface.draw(font, 'A', pos, kBg), font.charWidth('A'));
                    }
                    EXPECT_EQ(font.textLength("A", 1), font.charWidth('A') + 1);
                }
            }
        }
    }
    EXPECT_GT(loaded, 200);
}

TEST_F(FontFile, LoadingAgainReplacesOwnedData) {
    OpenFont font;
    expectLoaded(fontBytes({3, 0, 8, 1, 'A', 'B'}), font);
    expectLoaded(fontBytes({4, 0, 7, 1, 'A', 'B'}), font);
    EXPECT_EQ(font.charHeight(), 4);
    EXPECT_EQ(font.maxWidth(), 7);
}

TEST_F(FontFile, SetFontFreesOwnedData) {
    OpenFont font;
    expectLoaded(fontBytes({3, 0, 8, 1, 'A', 'B'}), font);
    EXPECT_TRUE(font.setFont(F9x5m));
    EXPECT_FALSE(font.ownsFontData);
    EXPECT_EQ(font.fontData(), F9x5m);
}

TEST_F(FontFile, LoadingLeavesNoDescriptorOpen) {
    const int before = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
    ::close(before);
    Font font;
    EXPECT_TRUE(font.loadFromFile(write(fileBytes(fontBytes({3, 0, 8, 1, 'A', 'B'}))).c_str()));
    EXPECT_FALSE(font.loadFromFile(path("").c_str()));
    EXPECT_TRUE(Font(F9x5m).saveToFile(path("b.fnt").c_str()));
    const int after = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
    ::close(after);
    EXPECT_EQ(after, before);
}

}  // namespace
