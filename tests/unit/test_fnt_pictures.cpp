// Scalable text as pictures of the panel's size, held against those in tests/data/text.

#include <ostream>

#include "font_fixture.h"
#include "grey_picture.h"

namespace {

struct Sample {
    const char* name;  // of the picture
    const char* font;
    const char* text;
    unsigned int flags;
    rect_t rect = {0, 0, 96, 64};
};

void PrintTo(const Sample& sample, std::ostream* out) {
    *out << sample.name;
}

constexpr unsigned int kUtext = 181;  // what the utext command passes

const Sample kSamples[] = {
    {"plain", "ft:sans.ttf:24px", "\xC3\x85gjpq|", 0},
    {"points", "ft:sans.ttf:12", "Channel 1", 0},
    {"centre", "ft:sans.ttf:16px", "Talk", kFntCentre},
    {"right", "ft:sans.ttf:16px", "Talk", kFntRight},
    {"middle", "ft:sans.ttf:16px", "Talk", kFntMiddle},
    {"bottom", "ft:sans.ttf:16px", "Talkg", kFntBottom},
    {"lines", "ft:sans.ttf:20px", "Party\nline gj", kFntLines},
    {"wrap", "ft:sans.ttf:14px", "Call waiting on party line", kFntLines | kFntWrap},
    {"wide_from_left", "ft:sans.ttf:20px", "Party line A", kFntCentre | kFntWideFromLeft},
    {"wide_centred", "ft:sans.ttf:20px", "Party line A", kFntCentre},
    {"cut", "ft:sans.ttf:20px", "Party line A", kFntCut},
    {"cut_centred", "ft:sans.ttf:16px", "short\nbut not this line",
     kFntLines | kFntCentre | kFntWideFromLeft | kFntCut},
    {"tall", "ft:sans.ttf:30px", "Two\nlines", kFntLines | kFntMiddle},
    {"tall_from_above", "ft:sans.ttf:30px", "Two\nlines", kFntLines | kFntMiddle | kFntTallFromAbove},
    {"kerning", "ft:sans.ttf:22px", "AVATo\nTeLTY.", kFntLines},
    {"utext", "ft:sans.ttf:22px",
     "Kanal\n\xC3\x9C"
     "bung",
     kUtext},
    {"utext_wrapped", "ft:sans.ttf:18px", "Mic gain 40 dB", kUtext},
    {"rectangle", "ft:sans.ttf:16px", "Channel", kFntCentre | kFntMiddle, {20, 16, 40, 32}},
    {"small", "ft:sans.ttf:12px", "The quick brown fox jumps over the lazy dog 0123456789", kUtext},
};

class FntPictures : public FontTest, public testing::WithParamInterface<Sample> {
protected:
    static GreyPicture draw(const Sample& sample, int right = 0) {
        TestImage image(96, 64);
        rect_t rect = sample.rect;
        rect.x += right;
        render(image, rect, load(sample.font), sample.text, sample.flags);
        GreyPicture picture = {96, 64, {}};
        for (int y = 0; y < 64; ++y) {
            for (int x = 0; x < 96; ++x) {
                picture.pixels.push_back(static_cast<unsigned char>(image.pixel(x, y)));
            }
        }
        return picture;
    }
};

TEST_P(FntPictures, LooksAsItDid) {
    EXPECT_EQ(checkGrey(GetParam().name, draw(GetParam())), "");
}

TEST_P(FntPictures, ShiftByOnePixelWouldBeSeen) {
    EXPECT_NE(difference(draw(GetParam()), draw(GetParam(), 1)), "");
}

INSTANTIATE_TEST_SUITE_P(Text, FntPictures, testing::ValuesIn(kSamples),
                         [](const auto& sample) { return std::string(sample.param.name); });

TEST(GreyPicture, SmallDifferencesAreTolerated) {
    const GreyPicture black = {10, 10, std::vector<unsigned char>(100, 0)};
    GreyPicture other = black;
    other.pixels[5] = 40;
    EXPECT_EQ(difference(black, other), "");
    other.pixels[5] = 41;
    EXPECT_NE(difference(black, other), "");
    EXPECT_NE(difference(black, {10, 10, std::vector<unsigned char>(100, 1)}), "");
    EXPECT_NE(difference(black, {}), "");
}

TEST(GreyPicture, FileThatIsMissingOrNoPictureDiffers) {
    EXPECT_EQ(loadGrey("/nowhere/picture.png").w, 0);
    EXPECT_EQ(loadGrey(std::string(BELTPACK_TEST_DATA) + "/font/small.font").w, 0);
}

}  // namespace
