#include <array>

#include "font_fixture.h"
#include "freetype/fnt_blend.h"

namespace {

using Color = std::array<unsigned char, 4>;  // blue, green, red, alpha

Color colorOf(std::uint32_t pixel) {
    return {static_cast<unsigned char>(pixel), static_cast<unsigned char>(pixel >> 8),
            static_cast<unsigned char>(pixel >> 16), static_cast<unsigned char>(pixel >> 24)};
}

int rounded(int t) {
    return (t + (t >> 8)) >> 8;
}

// A channel of a plain image after coverage c, from the definition.
int plain(int dest, int color, int c) {
    if (c == 0) {
        return dest;
    }
    const int product = (c + 1) * (color - dest);
    return dest + (product >= 0 ? product / 256 : -((-product + 255) / 256));
}

int premultiplied(int dest, int color, int c) {
    return rounded(color * c + 128) + (dest * (256 - c) >> 8);
}

// Draws coverages next to each other into one row of pixels that are all `dest`.
class Row {
public:
    Row(std::uint32_t dest, const std::vector<unsigned char>& coverage, const unsigned char* color, int prea)
        : m_image(static_cast<int>(coverage.size()), 1) {
        m_image.fill(dest);
        m_image->prea = prea;
        const rect_t all = {0, 0, m_image->w, 1};
        fnt_RenderChar(m_image.get(), &all, coverage.data(), m_image->w, 1, 0, 0, color);
    }
    [[nodiscard]] Color at(int x) const { return colorOf(m_image.pixel(x, 0)); }

private:
    TestImage m_image;
};

std::vector<unsigned char> allCoverages() {
    std::vector<unsigned char> all(256);
    for (std::size_t c = 0; c < all.size(); ++c) {
        all[c] = static_cast<unsigned char>(c);
    }
    all.push_back(77);  // an odd number of columns: the last one goes alone
    return all;
}

constexpr int kLevels[] = {0, 1, 2, 63, 64, 127, 128, 129, 200, 253, 254, 255};

TEST(Blend, PlainImageMovesTowardTheColourAndKeepsItsAlpha) {
    const std::vector<unsigned char> coverage = allCoverages();
    for (const int dest : kLevels) {
        for (const int ink : kLevels) {
            const auto d = static_cast<unsigned>(dest);
            const Color color = {static_cast<unsigned char>(ink), 10, 240, 99};
            const Row row(d | 0x50U << 8 | 0x60U << 16 | 0x70U << 24, coverage, color.data(), 0);
            for (int x = 0; x < static_cast<int>(coverage.size()); ++x) {
                const int c = coverage[static_cast<std::size_t>(x)];
                const Color expected = {static_cast<unsigned char>(plain(dest, ink, c)),
                                        static_cast<unsigned char>(plain(0x50, 10, c)),
                                        static_cast<unsigned char>(plain(0x60, 240, c)), 0x70};
                ASSERT_EQ(row.at(x), expected) << dest << ' ' << ink << ' ' << c;
            }
        }
    }
}

TEST(Blend, PremultipliedImageScalesTheColour) {
    const std::vector<unsigned char> coverage = allCoverages();
    for (const int dest : kLevels) {
        for (const int ink : kLevels) {
            const auto d = static_cast<unsigned>(dest);
            const Color color = {static_cast<unsigned char>(ink), 10, 240, 99};
            const Row row(d | 0x50U << 8 | 0x60U << 16 | d << 24, coverage, color.data(), 1);
            for (int x = 0; x < static_cast<int>(coverage.size()); ++x) {
                const int c = coverage[static_cast<std::size_t>(x)];
                Color expected = {static_cast<unsigned char>(premultiplied(dest, ink, c)),
                                  static_cast<unsigned char>(premultiplied(0x50, 10, c)),
                                  static_cast<unsigned char>(premultiplied(0x60, 240, c)),
                                  static_cast<unsigned char>(c + (dest * (256 - c) >> 8))};
                if (c == 0) {
                    expected = {static_cast<unsigned char>(dest), 0x50, 0x60,
                                static_cast<unsigned char>(dest)};
                } else if (c == 255) {
                    expected = color;
                }
                ASSERT_EQ(row.at(x), expected) << dest << ' ' << ink << ' ' << c;
            }
        }
    }
}

TEST(Blend, KnownValues) {
    const Color color = {200, 0, 255, 7};
    const std::vector<unsigned char> half = {128};
    EXPECT_EQ(Row(0xFF102030, half, color.data(), 0).at(0), (Color{124, 15, 136, 255}));
    EXPECT_EQ(Row(0x80102030, half, color.data(), 1).at(0), (Color{124, 16, 136, 192}));
    EXPECT_EQ(Row(0x80102030, {255}, color.data(), 0).at(0), (Color{200, 0, 255, 0x80}));
    EXPECT_EQ(Row(0x80102030, {255}, color.data(), 1).at(0), color);
}

TEST(Blend, FullCoverageOfEitherKindNeverLeavesAByte) {
    const Color white = {255, 255, 255, 255};
    const std::vector<unsigned char> coverage = allCoverages();
    const Row row(0xFFFFFFFF, coverage, white.data(), 1);
    for (int x = 0; x < static_cast<int>(coverage.size()); ++x) {
        EXPECT_EQ(row.at(x), white) << x;
    }
}

TEST(Blend, WithoutAColourTheCoverageIsAddedToAlphaAlone) {
    const std::vector<unsigned char> coverage = allCoverages();
    for (const int prea : {0, 1}) {
        const Row row(0x90102030, coverage, nullptr, prea);
        for (int x = 0; x < static_cast<int>(coverage.size()); ++x) {
            const int alpha = std::min(255, 0x90 + coverage[static_cast<std::size_t>(x)]);
            ASSERT_EQ(row.at(x), (Color{0x30, 0x20, 0x10, static_cast<unsigned char>(alpha)})) << x;
        }
    }
}

// A glyph of 5 x 4 in a rectangle of 12 x 9 that begins at (3, 2) of an image of 20 x 15.
class BlendClipping : public testing::Test {
protected:
    std::string boxOf(int x, int y) {
        const std::vector<unsigned char> glyph(5 * 4, 255);
        const rect_t rect = {3, 2, 12, 9};
        TestImage image(20, 15);
        fnt_RenderChar(image.get(), &rect, glyph.data(), 5, 4, x, y, kWhite);
        EXPECT_TRUE(image.canariesLive());
        return image.box();
    }
};

TEST_F(BlendClipping, InsideNothingIsDropped) {
    EXPECT_EQ(boxOf(0, 0), "3 2 5 4");
    EXPECT_EQ(boxOf(7, 5), "10 7 5 4");
}

TEST_F(BlendClipping, LeftEdgeDropsTheFirstColumns) {
    EXPECT_EQ(boxOf(-2, 0), "3 2 3 4");
    EXPECT_EQ(boxOf(-4, 0), "3 2 1 4");
    EXPECT_EQ(boxOf(-5, 0), "nothing");
}

TEST_F(BlendClipping, TopEdgeDropsTheFirstRows) {
    EXPECT_EQ(boxOf(0, -1), "3 2 5 3");
    EXPECT_EQ(boxOf(0, -4), "nothing");
}

TEST_F(BlendClipping, RightEdgeDropsTheLastColumns) {
    EXPECT_EQ(boxOf(10, 0), "13 2 2 4");
    EXPECT_EQ(boxOf(12, 0), "nothing");
}

TEST_F(BlendClipping, BottomEdgeDropsTheLastRows) {
    EXPECT_EQ(boxOf(0, 8), "3 10 5 1");
    EXPECT_EQ(boxOf(0, 9), "nothing");
}

TEST_F(BlendClipping, FarAwayIsNothing) {
    for (const int far : {std::numeric_limits<int>::min(), std::numeric_limits<int>::max()}) {
        EXPECT_EQ(boxOf(far, 0), "nothing");
        EXPECT_EQ(boxOf(0, far), "nothing");
    }
}

TEST(Blend, ClippedGlyphShowsItsOwnColumnsAndRows) {
    std::vector<unsigned char> glyph;
    for (int i = 1; i <= 12; ++i) {
        glyph.push_back(static_cast<unsigned char>(i));  // 4 x 3
    }
    TestImage image(2, 2);
    const rect_t all = {0, 0, 2, 2};
    fnt_RenderChar(image.get(), &all, glyph.data(), 4, 3, -1, -1, nullptr);
    EXPECT_EQ(image.pixel(0, 0), 6U << 24);
    EXPECT_EQ(image.pixel(1, 0), 7U << 24);
    EXPECT_EQ(image.pixel(0, 1), 10U << 24);
    EXPECT_EQ(image.pixel(1, 1), 11U << 24);
}

}  // namespace
