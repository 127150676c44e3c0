// Text: characters of a bitmap font, drawn one after the other.

#include "graphics/GrText.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "graphics/BuiltinFonts.h"
#include "graphics/GrVirtualDisplay.h"

using VelaGraphics::Font;
using VelaGraphics::Pixel;
using VelaGraphics::Position;
using VelaGraphics::Text;
using VelaGraphics::VirtualDisplay;

namespace {

const Pixel kInk(0xFFFFFFFF);
const Pixel kPaper(0xFF800000);
const Pixel kBefore(0xFF000080);
const Font kFont(VelaGraphics::F9x5m);
constexpr auto kAcross = Font::EORIENT_HORIZONTAL;
constexpr auto kDown = Font::EORIENT_VERTICAL;

using Values = std::vector<std::uint32_t>;

Values values(const VirtualDisplay& display) {
    Values result;
    for (std::uint32_t i = 0; i < display.length(); ++i) {
        result.push_back(display.vdbuf()[i].px);
    }
    return result;
}

// What the drawable makes of a display.
Values drawn(const Text& text, const Position& at) {
    VirtualDisplay display(60, 40);
    display.fill(kBefore);
    display.drawAt(at, text);
    return values(display);
}

// What the font's character drawing, called for each of these codes, makes of it.
Values byCharacters(const std::string& codes, Position at, Font::EOrientation o, int spacing, Pixel bg,
                    const Font& font = kFont) {
    VirtualDisplay display(60, 40);
    display.fill(kBefore);
    VelaGraphics::DisplayBuffer buffer = display.buffer();
    for (const char c : codes) {
        font.drawChar(static_cast<unsigned char>(c), buffer, at, o, spacing, kInk, bg);
    }
    return values(display);
}

Values untouched() {
    return byCharacters("", Position(), kAcross, 0, Pixel());
}

}  // namespace

TEST(TextDrawable, DrawsItsCharactersOneBehindTheOther) {
    const Text text("Ab1", kInk, &kFont, kAcross, 1);
    EXPECT_EQ(drawn(text, Position(3, 4)), byCharacters("Ab1", Position(3, 4), kAcross, 1, Pixel()));
    EXPECT_NE(drawn(text, Position(3, 4)), untouched());
}

TEST(TextDrawable, DrawsItsCharactersOneBelowTheOther) {
    const Text text("Ab1", kInk, &kFont, kDown, 2);
    EXPECT_EQ(drawn(text, Position(3, 4)), byCharacters("Ab1", Position(3, 4), kDown, 2, Pixel()));
    EXPECT_NE(drawn(text, Position(3, 4)), byCharacters("Ab1", Position(3, 4), kAcross, 2, Pixel()));
}

TEST(TextDrawable, WithABackgroundPaintsTheClearPixels) {
    const Text text("Ab1", kInk, kPaper, &kFont, kAcross, 1);
    EXPECT_EQ(drawn(text, Position(0, 0)), byCharacters("Ab1", Position(), kAcross, 1, kPaper));
    EXPECT_NE(drawn(text, Position(0, 0)), byCharacters("Ab1", Position(), kAcross, 1, Pixel()));
}

TEST(TextDrawable, AlwaysUsesTheGivenPosition) {
    const Text text("A", kInk, &kFont, kAcross, 1);
    VirtualDisplay display(60, 40);
    VelaGraphics::DisplayBuffer buffer = display.buffer();
    text.draw(false, Position(20, 10), buffer);
    const Values own = values(display);
    display.fill(Pixel());
    text.draw(true, Position(20, 10), buffer);
    EXPECT_EQ(own, values(display));
    EXPECT_NE(own, Values(display.length(), 0));
}

TEST(TextDrawable, DrawnWithoutAPositionStartsInTheCorner) {
    const Text text("A", kInk, &kFont, kAcross, 1);
    VirtualDisplay display(60, 40);
    display.fill(kBefore);
    display.draw(text);
    EXPECT_EQ(values(display), byCharacters("A", Position(0, 0), kAcross, 1, Pixel()));
}

TEST(TextDrawable, LeavesThePositionThatItWasGiven) {
    const Text text("AAA", kInk, &kFont, kAcross, 1);
    const Position at(5, 6);
    drawn(text, at);
    EXPECT_EQ(at, Position(5, 6));
    EXPECT_EQ(drawn(text, at), drawn(text, at));
}

TEST(TextDrawable, SettersChangeWhatIsDrawnAndChain) {
    const Font proportional(VelaGraphics::F9x5p);
    Text text("x", kInk, &kFont, kAcross, 1);
    Text& same = text.setText("i!").setFont(&proportional).setOrientation(kDown).setSpacing(5);
    EXPECT_EQ(&same, &text);
    EXPECT_EQ(drawn(text, Position(2, 2)),
              byCharacters("i!", Position(2, 2), kDown, 5, Pixel(), proportional));
}

TEST(TextDrawable, TakesBytesAbove127AsTheirCodes) {
    EXPECT_EQ(drawn(Text("\xE9H", kInk, &kFont, kAcross, 1), Position(1, 1)),
              byCharacters("\xE9H", Position(1, 1), kAcross, 1, Pixel()));
}

TEST(TextDrawable, EndsAtItsFirstNul) {
    EXPECT_EQ(drawn(Text(SimpleString("A\0B", 3), kInk, &kFont, kAcross, 1), Position(1, 1)),
              byCharacters("A", Position(1, 1), kAcross, 1, Pixel()));
}

TEST(TextDrawable, EmptyOrWithoutAFontDrawsNothing) {
    EXPECT_EQ(drawn(Text("", kInk, kPaper, &kFont, kAcross, 1), Position(1, 1)), untouched());
    EXPECT_EQ(drawn(Text("A", kInk, kPaper, nullptr, kAcross, 1), Position(1, 1)), untouched());
}

TEST(TextDrawable, KeepsItsOwnCopyOfTheText) {
    SimpleString name("A");
    const Text text(name, kInk, &kFont, kAcross, 1);
    name = "B";
    EXPECT_EQ(drawn(text, Position(1, 1)), byCharacters("A", Position(1, 1), kAcross, 1, Pixel()));
}
