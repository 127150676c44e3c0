#include "graphics/BuiltinFonts.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <set>
#include <string>
#include <vector>

#include "graphics/GrFont.h"

namespace {

using VelaGraphics::F9x5m;
using VelaGraphics::F9x5p;
using VelaGraphics::Font;

constexpr int kFirst = 32;
constexpr int kLast = 126;
constexpr int kRows = 9;

constexpr std::array<int, 95> kWidths = {
    5, 1, 3, 5, 5, 5, 5, 2, 3, 3, 5, 5, 2, 5, 2, 5,  // space to /
    5, 3, 5, 5, 5, 5, 5, 5, 5, 5, 2, 2, 4, 5, 4, 5,  // 0 to ?
    5, 5, 5, 5, 5, 5, 5, 5, 5, 3, 5, 5, 5, 5, 5, 5,  // @ to O
    5, 5, 5, 5, 5, 5, 5, 5, 5, 5, 5, 3, 5, 3, 3, 5,  // P to _
    2, 5, 5, 5, 5, 5, 4, 5, 5, 3, 4, 4, 3, 5, 5, 5,  // ` to o
    5, 5, 5, 5, 4, 5, 5, 5, 5, 5, 5, 4, 1, 4, 4,     // p to ~
};

using Rows = std::array<unsigned, kRows>;  // column 0 is bit 7

Rows monospaced(int code) {
    Rows rows{};
    std::copy_n(&F9x5m[6 + static_cast<std::size_t>(code - kFirst) * 9], kRows, rows.begin());
    return rows;
}

Rows proportional(int code) {
    Rows rows{};
    std::copy_n(&F9x5p[6 + static_cast<std::size_t>(code - kFirst) * 10 + 1], kRows, rows.begin());
    return rows;
}

int widthByte(int code) {
    return F9x5p[6 + (code - kFirst) * 10];
}

unsigned ink(const Rows& rows) {
    unsigned all = 0;
    for (const unsigned row : rows) {
        all |= row;
    }
    return all;
}

int leftMargin(unsigned columns) {
    int margin = 0;
    while ((columns & (0x80U >> margin)) == 0) {
        ++margin;
    }
    return margin;
}

int inkEnd(unsigned columns) {
    int end = 8;
    while ((columns & (0x100U >> end)) == 0) {
        --end;
    }
    return end;
}

int firstRow(const Rows& rows) {
    return static_cast<int>(std::find_if(rows.begin(), rows.end(), [](unsigned r) { return r != 0; }) -
                            rows.begin());
}

int lastRow(const Rows& rows) {
    const auto last = std::find_if(rows.rbegin(), rows.rend(), [](unsigned r) { return r != 0; });
    return static_cast<int>(rows.rend() - last) - 1;
}

void expectRows(const std::string& characters, int first, int last) {
    for (const char c : characters) {
        EXPECT_EQ(firstRow(monospaced(c)), first) << c;
        EXPECT_EQ(lastRow(monospaced(c)), last) << c;
    }
}

TEST(BuiltinFonts, HeadersTellTheCellAndTheRange) {
    const Font m(F9x5m);
    EXPECT_EQ(m.info()->f_height, 9);
    EXPECT_EQ(m.info()->f_ucut, 2);
    EXPECT_EQ(m.info()->f_width, 5);
    EXPECT_EQ(m.info()->f_byPline, 1);
    EXPECT_EQ(m.info()->f_minascii, 32);
    EXPECT_EQ(m.info()->f_maxascii, 127);
    const Font p(F9x5p);
    EXPECT_EQ(p.info()->f_height, 9);
    EXPECT_EQ(p.info()->f_ucut, 2);
    EXPECT_EQ(p.info()->f_width, 0);
    EXPECT_EQ(p.info()->f_byPline, 1);
    EXPECT_EQ(p.info()->f_minascii, 32);
    EXPECT_EQ(p.info()->f_maxascii, 127);
}

TEST(BuiltinFonts, AreValidAndAsLongAsTheirHeadersSay) {
    const Font m(F9x5m);
    EXPECT_TRUE(m.isValid());
    EXPECT_EQ(m.fontDatasize(), 870U);
    EXPECT_EQ(sizeof(F9x5m), 870U);
    const Font p(F9x5p);
    EXPECT_TRUE(p.isValid());
    EXPECT_EQ(p.fontDatasize(), 966U);
    EXPECT_EQ(sizeof(F9x5p), 966U);
}

TEST(BuiltinFonts, WidestGlyphHasFiveColumns) {
    EXPECT_EQ(Font(F9x5m).maxWidth(), 5);
    EXPECT_EQ(Font(F9x5p).maxWidth(), 5);
}

TEST(BuiltinFonts, ProportionalSpaceIsFiveWideAndExclamationMarkOne) {
    const Font p(F9x5p);
    EXPECT_EQ(p.charWidth(' '), 5);
    EXPECT_EQ(p.charWidth('!'), 1);
}

TEST(BuiltinFonts, ProportionalWidthsAreTheListedOnes) {
    for (int code = kFirst; code <= kLast; ++code) {
        EXPECT_EQ(widthByte(code), kWidths[static_cast<std::size_t>(code - kFirst)])
            << static_cast<char>(code);
    }
}

TEST(BuiltinFonts, GlyphOfDeleteIsBlank) {
    EXPECT_EQ(ink(monospaced(127)), 0U);
    EXPECT_EQ(ink(proportional(127)), 0U);
    EXPECT_EQ(widthByte(127), 5);
}

TEST(BuiltinFonts, OnlyTheSpaceHasNoInk) {
    for (int code = kFirst; code <= kLast; ++code) {
        EXPECT_EQ(ink(monospaced(code)) == 0, code == ' ') << code;
        EXPECT_EQ(ink(proportional(code)) == 0, code == ' ') << code;
    }
}

TEST(BuiltinFonts, GlyphsArePairwiseDifferent) {
    std::set<Rows> m;
    std::set<Rows> p;
    for (int code = kFirst; code <= kLast; ++code) {
        m.insert(monospaced(code));
        p.insert(proportional(code));
    }
    EXPECT_EQ(m.size(), 95U);
    EXPECT_EQ(p.size(), 95U);
}

TEST(BuiltinFonts, MonospacedInkStaysInFiveColumns) {
    for (int code = kFirst; code <= kLast; ++code) {
        EXPECT_EQ(ink(monospaced(code)) & 0x07U, 0U) << code;
    }
}

TEST(BuiltinFonts, MonospacedShapesSitInTheMiddle) {
    for (int code = kFirst + 1; code <= kLast; ++code) {
        const unsigned columns = ink(monospaced(code));
        const int left = leftMargin(columns);
        const int right = 5 - inkEnd(columns);
        EXPECT_LE(std::abs(left - right), 1) << static_cast<char>(code);
    }
}

TEST(BuiltinFonts, ProportionalShapesFillTheirWidthFromTheFirstColumnOn) {
    for (int code = kFirst + 1; code <= kLast; ++code) {
        const unsigned columns = ink(proportional(code));
        EXPECT_EQ(leftMargin(columns), 0) << static_cast<char>(code);
        EXPECT_EQ(inkEnd(columns), widthByte(code)) << static_cast<char>(code);
    }
}

TEST(BuiltinFonts, CapitalsAndDigitsStandOnTheBaselineSevenRowsHigh) {
    expectRows("ABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789", 0, 6);
}

TEST(BuiltinFonts, SmallLettersAreFiveRowsHigh) {
    expectRows("acemnorsuvwxz", 2, 6);
}

TEST(BuiltinFonts, AscendersReachTheCapitals) {
    expectRows("bdfhiklt", 0, 6);
}

TEST(BuiltinFonts, DescendersReachTheLastRow) {
    expectRows("gpqy", 2, 8);
    expectRows("j", 0, 8);
}

TEST(BuiltinFonts, BracketsAreAsHighAsCapitals) {
    expectRows("()[]{}/\\", 0, 6);
}

TEST(BuiltinFonts, LetterAIsDrawnAsDesigned) {
    const Rows wanted = {0x70, 0x88, 0x88, 0xF8, 0x88, 0x88, 0x88, 0, 0};
    EXPECT_EQ(monospaced('A'), wanted);
    EXPECT_EQ(proportional('A'), wanted);
}

TEST(BuiltinFonts, NarrowShapeIsShiftedButNotChanged) {
    const Rows middle = {0x20, 0x20, 0x20, 0x20, 0x20, 0, 0x20, 0, 0};
    const Rows left = {0x80, 0x80, 0x80, 0x80, 0x80, 0, 0x80, 0, 0};
    EXPECT_EQ(monospaced('!'), middle);
    EXPECT_EQ(proportional('!'), left);
}

// Pairs that are mixed up easily differ in several pixels.
TEST(BuiltinFonts, LookalikesAreApart) {
    const std::vector<std::string> pairs = {"0O", "1l", "1I", "lI", "I|", "l|", "5S",
                                            "8B", "2Z", "uv", "UV", "0D", "gq"};
    for (const std::string& pair : pairs) {
        const Rows a = monospaced(pair[0]);
        const Rows b = monospaced(pair[1]);
        int different = 0;
        for (std::size_t row = 0; row < a.size(); ++row) {
            different += __builtin_popcount(a[row] ^ b[row]);
        }
        EXPECT_GE(different, 3) << pair;
    }
}

}  // namespace
