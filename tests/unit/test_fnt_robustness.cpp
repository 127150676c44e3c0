// Bad fonts, bad texts, bad rectangles: nothing outside the image is written, nothing hangs. What else could
// go wrong is for the sanitizers to see.

#include <climits>
#include <random>

#include "bitmap_font.h"
#include "font_fixture.h"

namespace {

class FntRobustness : public FontTest {
protected:
    // Draws and measures some text with a font that may be null.
    static void use(const FontPtr& font) {
        TestImage image(96, 64);
        for (const char* text : {"Channel 1", "\xC3\x85gjpq|", "AVATo\xE2\x80\xA6"}) {
            render(image, font, text, 0xB5);
            width(font, text);
            fnt_get_num_chars_we(font.get(), text, 50, 0);
        }
        EXPECT_TRUE(image.canariesLive());
    }
    // Loading may print, which does not belong into the test's output.
    static FontPtr loadQuietly(const std::string& name) {
        testing::internal::CaptureStdout();
        FontPtr font = load(name);
        std::fflush(stdout);
        testing::internal::GetCapturedStdout();
        return font;
    }
    // A place at one of the edges of int, near an image, or anywhere.
    int place() {
        switch (random() % 8) {
            case 0:
                return INT_MIN + static_cast<int>(random() % 100);
            case 1:
                return INT_MAX - static_cast<int>(random() % 100);
            case 2:
                return static_cast<int>(random());
            default:
                return static_cast<int>(random() % 200) - 60;
        }
    }
    std::string text() {
        static const std::string pieces[] = {" ",
                                             "\n",
                                             "a",
                                             "AV",
                                             "To",
                                             "Wj",
                                             "\xFF",
                                             "\x80",
                                             "\xC3\x85",
                                             "\xE2\x80\xA6",
                                             "\xE2\x80",
                                             "\xF0\x9F\x98\x80",
                                             "\xC0\x80",
                                             "\xED\xA0\x80",
                                             "\xFD\xBF\xBF\xBF\xBF\xBF"};
        std::string all;
        for (unsigned n = random() % 40; n > 0; --n) {
            if (random() % 4 == 0) {
                all += static_cast<char>(random() % 255 + 1);
            } else {
                all += pieces[random() % (sizeof pieces / sizeof *pieces)];
            }
        }
        return all;
    }

    std::uint32_t random() { return static_cast<std::uint32_t>(m_engine()); }

private:
    std::mt19937 m_engine{20240229};
};

TEST_F(FntRobustness, RandomTextsFlagsAndRectanglesStayInTheImage) {
    const FontPtr fonts[] = {load("ft:sans.ttf:24px"), load("ft:sans.ttf:9"), load("small")};
    constexpr unsigned int kFlags[] = {1, 2, 4, 8, 16, 32, 64, 128, 0x1000, 0x2000, 0x4000};
    for (int round = 0; round < 3000; ++round) {
        TestImage image(1 + static_cast<int>(random() % 97), 1 + static_cast<int>(random() % 65));
        image->prea = static_cast<int>(random() % 2);
        const rect_t rect = {place(), place(), place(), place()};
        unsigned int flags = 0;
        for (const unsigned int flag : kFlags) {
            flags |= random() % 2 != 0 ? flag : 0;
        }
        const FontPtr& font = fonts[random() % 3];
        const std::string what = text();
        Fnt_RenderText(image.get(), random() % 3 != 0 ? &rect : nullptr, font.get(), what.c_str(),
                       random() % 4 != 0 ? kWhite : nullptr, 0, flags);
        ASSERT_TRUE(image.canariesLive()) << "round " << round;
        const int n = fnt_get_num_chars_we(font.get(), what.c_str(), rect.w, flags);
        ASSERT_GE(n, 0);
        ASSERT_LE(static_cast<std::size_t>(n), what.size());
    }
}

TEST_F(FntRobustness, PixelsOutsideTheRectangleAreLeftAlone) {
    const FontPtr font = load("ft:sans.ttf:16px");
    for (int round = 0; round < 300; ++round) {
        TestImage image(60, 40);
        const rect_t rect = {static_cast<int>(random() % 80) - 20, static_cast<int>(random() % 60) - 20,
                             static_cast<int>(random() % 60), static_cast<int>(random() % 40)};
        Fnt_RenderText(image.get(), &rect, font.get(), "MWMW MWMW\nMWMW", kWhite, 0, random() & 0x703F);
        for (int y = 0; y < 40; ++y) {
            for (int x = 0; x < 60; ++x) {
                const bool inside = x >= rect.x && x < rect.x + rect.w && y >= rect.y && y < rect.y + rect.h;
                ASSERT_TRUE(inside || image.pixel(x, y) == 0) << round << ' ' << x << ' ' << y;
            }
        }
    }
}

TEST_F(FntRobustness, LongTexts) {
    for (const char* name : {"ft:sans.ttf:24px", "small"}) {
        const FontPtr font = load(name);
        TestImage image(96, 64);
        EXPECT_EQ(width(font, std::string(1000, 'i')), 1000 * width(font, "i"));
        for (const std::string& what : {std::string(1000, 'M'), std::string(1000, ' '),
                                        std::string(1000, '\n'), std::string(1000, '\xFF')}) {
            for (const unsigned int flags : {0U, 0xB5U, 0x3001U, 0x7FFFU}) {
                render(image, font, what, flags);
            }
        }
        EXPECT_TRUE(image.canariesLive());
    }
}

TEST_F(FntRobustness, EverySizeCanBeUsedOrFails) {
    for (const char* size :
         {"0px", "0", "-1px", "-7", "1px", "4096px", "3072", "4096", "65536px", "2147483647px",
          "2147483648px", "99999999999px", "99999999999", "1e9", "0x10", "-99999999999"}) {
        use(loadQuietly(std::string("ft:sans.ttf:") + size));
    }
}

TEST_F(FntRobustness, TruncatedFacesAreRefusedOrDrawSomething) {
    const std::string whole = read(kSans);
    ASSERT_GT(whole.size(), 100000U);
    for (std::size_t length = 1; length < whole.size(); length = length * 3 + 1) {
        write("cut.ttf", whole.substr(0, length));
        use(loadQuietly("ft:cut.ttf:20px"));
    }
}

TEST_F(FntRobustness, DamagedFacesAreRefusedOrDrawSomething) {
    const std::string whole = read(kSans);
    for (int round = 0; round < 60; ++round) {
        std::string damaged = whole;
        for (int i = 0; i < 200; ++i) {
            const std::size_t reach = round % 2 == 0 ? damaged.size() : 4096;
            damaged[random() % reach] = static_cast<char>(random());
        }
        write("damaged.ttf", damaged);
        use(loadQuietly("ft:damaged.ttf:20px"));
    }
}

// The format tells a glyph's size apart from its bits.
TEST_F(FntRobustness, AGlyphWithASizeAndWithoutBitsIsNotDrawn) {
    std::string face = kBitmapFont;
    face.erase(face.find("BITMAP\n20"), face.find("ENDCHAR") - face.find("BITMAP\n20"));
    write("bitless.bdf", face);
    const FontPtr font = load("ft:bitless.bdf:8px");
    ASSERT_NE(font, nullptr);
    EXPECT_EQ(width(font, "A"), 6);
    TestImage image(20, 10);
    render(image, font, "A");
    EXPECT_EQ(image.box(), "nothing");
    render(image, font, "Ag");
    EXPECT_EQ(image.box(), "7 2 4 6") << "the next glyph stands behind it";
}

TEST_F(FntRobustness, CacheFileWhoseNameIsLongerThanAnyPathIsNull) {
    const std::string name(PATH_MAX, 'n');
    EXPECT_EQ(Fnt_LoadFont(name.c_str()), nullptr);
}

TEST_F(FntRobustness, RandomCacheFilesAreRefusedOrDrawSomething) {
    int loaded = 0;
    for (int round = 0; round < 300; ++round) {
        GlyphCache cache = makeSmallFont();
        for (GlyphRecord& glyph : cache.glyphs) {
            const std::uint32_t limit = round % 3 == 0 ? 70000 : 12;
            glyph = {random(), random(), random(), random() % limit, random() % limit, random() % 160};
        }
        cache.lineAdvance = round % 5 == 0 ? 0x80000000U : round % 5 == 1 ? 0x7FFFFFFFU : random();
        write("random.font", cache.bytes());
        const FontPtr font = load("random");
        loaded += font != nullptr ? 1 : 0;
        use(font);
        TestImage image(96, 64);
        render(image, font, "a b\nc d\ne f\n", random() & 0x707F);
        EXPECT_TRUE(image.canariesLive());
    }
    EXPECT_GT(loaded, 100);
}

}  // namespace
