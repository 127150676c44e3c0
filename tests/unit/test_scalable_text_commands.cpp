// ufont and utext. What a line draws is compared with what the renderer draws for the font, the area and the
// text that the line ought to come to.

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "freetype/gui_fnt.h"
#include "interpreter_fixture.h"

namespace {

constexpr char kFontFile[] = "/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf";
constexpr int kSlots = 10;
constexpr unsigned int kFitted = 181;

using Frame = std::vector<std::uint32_t>;

// Runs in a folder of its own whose font/ folder holds sans.ttf. The ten sizes are loaded beside the
// interpreter, for the expectations.
class ScalableTextTest : public InterpreterTest {
protected:
    ScalableTextTest() {
        char name[] = "/tmp/beltpack-utext-XXXXXX";
        m_folder = mkdtemp(name);
        m_home = get_current_dir_name();
        EXPECT_EQ(chdir(m_folder.c_str()), 0);
        EXPECT_EQ(std::system("mkdir font"), 0);
        EXPECT_EQ(symlink(kFontFile, "font/sans.ttf"), 0);
        for (int i = 0; i < kSlots; ++i) {
            fonts[i] = Fnt_Get(("ft:sans.ttf:" + std::to_string(30 - 2 * i) + "px").c_str());
            EXPECT_NE(fonts[i], nullptr);
        }
    }
    ~ScalableTextTest() override {
        std::for_each(std::begin(fonts), std::end(fonts), Fnt_CloseFont);
        EXPECT_EQ(chdir(m_home), 0);
        std::free(m_home);
        EXPECT_EQ(std::system(("rm -rf " + m_folder).c_str()), 0);
    }

    static Frame frameOf(VirtualDisplay& surface) {
        Frame frame;
        for (std::uint32_t i = 0; i < surface.length(); ++i) {
            frame.push_back(surface.vdbuf()[i].color());
        }
        return frame;
    }

    // A frame of the panel's size with the text drawn by the renderer alone.
    Frame drawn(font_t* font, const std::string& text, const rect_t* area, unsigned int flags) {
        VirtualDisplay surface(96, 64);
        image_t image = {};
        image.w = 96;
        image.h = 64;
        image.stride = 96 * 4;
        image.data = reinterpret_cast<unsigned char*>(surface.vdbufNC());
        const unsigned char white[4] = {255, 255, 255, 0};
        Fnt_RenderText(&image, area, font, text.c_str(), white, 0, flags);
        return frameOf(surface);
    }

    int widthIn(int slot, const std::string& text) {
        return Fnt_MeasureText(fonts[slot], text.c_str(), nullptr);
    }

    // The first slot from `slot` on in which the text is narrower than 103 px, else the last.
    int slotFrom(int slot, const std::string& text) {
        while (slot < kSlots - 1 && widthIn(slot, text) >= 103) {
            ++slot;
        }
        return slot;
    }

    // Clears the panel, runs the line, and compares with the text drawn in a slot over the whole panel.
    void expectFitted(const std::string& text, int slot, const std::string& shown) {
        quietly({"clear 0", ("utext 0 '" + text + "' white").c_str()});
        EXPECT_EQ(frameOf(panel), drawn(fonts[slot], shown, nullptr, kFitted)) << text;
        EXPECT_NE(frameOf(panel), Frame(96 * 64, 0)) << text;
    }

    font_t* fonts[kSlots] = {};

private:
    std::string m_folder;
    char* m_home;
};

using UfontCommand = ScalableTextTest;
using UtextCommand = ScalableTextTest;

constexpr char kNoFont[] = "utext, no font selected, command ignored. Use ufont to select ttf font";
constexpr char kNoFontInSlot[] = "utext, no font at specified font index";

}  // namespace

TEST_F(UfontCommand, WithoutANameUnloadsAllSlots) {
    quietly({"ufont sans.ttf", "ufont"});
    EXPECT_EQ(run("utext 0 hi white"), onError(kNoFont));
}

TEST_F(UfontCommand, WithAnEmptyNameUnloadsAllSlots) {
    quietly({"ufont sans.ttf", "ufont ''"});
    EXPECT_EQ(run("utext 0 hi white"), onError(kNoFont));
}

TEST_F(UfontCommand, WithAnUnclosedQuoteUnloadsAllSlots) {
    quietly({"ufont sans.ttf", "ufont 'sans.ttf"});
    EXPECT_EQ(run("utext 0 hi white"), onError(kNoFont));
}

TEST_F(UfontCommand, WithNothingBeforeAnEscapedNulUnloadsAllSlots) {
    quietly({"ufont sans.ttf", R"(ufont '\x00sans.ttf')"});
    EXPECT_EQ(run("utext 0 hi white"), onError(kNoFont));
}

TEST_F(UfontCommand, FillsTenSlotsFromThirtyPixelsDownToTwelve) {
    quietly({"ufont sans.ttf"});
    for (int slot = 0; slot < kSlots; ++slot) {
        quietly({"clear 0", ("utext 0 Ag white " + std::to_string(slot)).c_str()});
        const rect_t whole = {0, 0, 96, 64};
        EXPECT_EQ(frameOf(panel), drawn(fonts[slot], "Ag", &whole, 128)) << slot;
    }
}

TEST_F(UfontCommand, TellsAMissingFileOnceASlotWithoutALineFeed) {
    std::string expected;
    for (int i = 0; i < kSlots; ++i) {
        expected += "img: unable to load font font/none.ttf error: 1";
    }
    EXPECT_EQ(run("ufont none.ttf"), expected);
    EXPECT_EQ(run("utext 0 hi white"), onError(kNoFont));
}

TEST_F(UfontCommand, ReplacesTheFontsOfAllSlots) {
    quietly({"ufont sans.ttf"});
    run("ufont none.ttf");
    EXPECT_EQ(run("utext 0 hi white"), onError(kNoFont));
    quietly({"ufont sans.ttf", "utext 0 hi white"});
}

TEST_F(UfontCommand, NameWhoseWholeTextHas255CharactersIsTried) {
    const std::string name(255 - 3 - 5, 'n');
    EXPECT_NE(run("ufont " + name).find("img: unable to load font font/" + name), std::string::npos);
}

TEST_F(UfontCommand, NameWhoseWholeTextHas256CharactersLeavesTheSlotsEmpty) {
    quietly({"ufont sans.ttf"});
    EXPECT_EQ(run("ufont " + std::string(256 - 3 - 5, 'n')), "");
    EXPECT_EQ(run("utext 0 hi white"), onError(kNoFont));
}

TEST_F(UfontCommand, NameMayHoldBlanksWhenQuoted) {
    ASSERT_EQ(symlink(kFontFile, "font/my sans.ttf"), 0);
    quietly({"ufont 'my sans.ttf'", "utext 0 hi white"});
}

TEST_F(UtextCommand, ReportsWhatIsMissingInOrder) {
    EXPECT_EQ(run("utext 9"), onError(kNoFont));
    quietly({"ufont sans.ttf"});
    EXPECT_EQ(run("utext"), onError("display not found"));
    EXPECT_EQ(run("utext 9 hi white"), onError("display not found"));
    EXPECT_EQ(run("utext 0"), onError("expected string txt!"));
    EXPECT_EQ(run("utext 0 hi"), onError("expected color fg!"));
    EXPECT_EQ(run("utext 0 hi nocolor"), onError("expected color fg!"));
    EXPECT_EQ(points(kWhite), Points());
}

TEST_F(UtextCommand, SlotOutsideTheTenIsAnEmptyOne) {
    quietly({"ufont sans.ttf"});
    for (const char* slot : {"10", "-1", "2147483647", "-2147483648", "1000000"}) {
        EXPECT_EQ(run(std::string("utext 0 hi white ") + slot), onError(kNoFontInSlot)) << slot;
    }
}

TEST_F(UtextCommand, AreaReachesFromThePointToTheEdges) {
    quietly({"ufont sans.ttf", "utext 0 Ag white 5 40 30"});
    const rect_t area = {40, 30, 56, 34};
    EXPECT_EQ(frameOf(panel), drawn(fonts[5], "Ag", &area, 128));
}

TEST_F(UtextCommand, PointMayLieLeftOfAndAboveTheDisplay) {
    quietly({"ufont sans.ttf", "utext 0 Ag white 2 -5 -4"});
    const rect_t area = {-5, -4, 101, 68};
    EXPECT_EQ(frameOf(panel), drawn(fonts[2], "Ag", &area, 128));
}

TEST_F(UtextCommand, LimitsOfThirtyTwoBitsAsPointOrFlagsDrawNothingOutside) {
    quietly({"ufont sans.ttf"});
    for (const char* number : {"-2147483648", "2147483647", "-"}) {
        for (const char* format : {"utext 0 Ag white 2 %s 0", "utext 0 Ag white 2 0 %s",
                                   "utext 0 Ag white 2 %s %s", "utext 0 Ag white 2 0 0 %s"}) {
            char line[100];
            std::snprintf(line, sizeof line, format, number, number);
            quietly({line});
        }
    }
}

TEST_F(UtextCommand, FlagsGoToTheRenderer) {
    quietly({"ufont sans.ttf", "utext 0 Ag white 3 0 0 10"});
    const rect_t whole = {0, 0, 96, 64};
    EXPECT_EQ(frameOf(panel), drawn(fonts[3], "Ag", &whole, 10));
    EXPECT_NE(frameOf(panel), drawn(fonts[3], "Ag", &whole, 0));
}

// Only what stands before a line's end has to fit.
TEST_F(UtextCommand, AreaOfOnePixelShowsTheBeginningOfTheNextLines) {
    quietly({"ufont sans.ttf", "utext 0 '\\x0A\xE2\x96\x88' white 9 95 0 16"});
    const rect_t area = {95, 0, 1, 64};
    EXPECT_EQ(frameOf(panel), drawn(fonts[9], "\n\xE2\x96\x88", &area, 128 | kFntLines));
    EXPECT_NE(frameOf(panel), Frame(96 * 64, 0));
}

TEST_F(UtextCommand, AreaNarrowerThanOnePixelDrawsNothing) {
    quietly({"ufont sans.ttf", "utext 0 hi white 9 96 0", "utext 0 hi white 9 97 0"});
    EXPECT_EQ(frameOf(panel), Frame(96 * 64, 0));
}

// On a display 128 wide the area from x = 120 has 8 pixels; nothing of a 24-pixel font fits there, an "i" of
// 16 pixels does.
TEST_F(UtextCommand, TextIsCutToTheAreaFromItsEnd) {
    quietly({"ufont sans.ttf", "vdisp 1 128 64", "utext 1 'a long title' white 3 120 0"});
    EXPECT_EQ(frameOf(*display("1")), Frame(128 * 64, 0));
    quietly({"utext 1 'i long title' white 7 120 0"});
    VirtualDisplay expected(128, 64);
    image_t image = {};
    image.w = 128;
    image.h = 64;
    image.stride = 128 * 4;
    image.data = reinterpret_cast<unsigned char*>(expected.vdbufNC());
    const rect_t area = {120, 0, 8, 64};
    const unsigned char white[4] = {255, 255, 255, 0};
    Fnt_RenderText(&image, &area, fonts[7], "i", white, 0, 128);
    EXPECT_EQ(frameOf(*display("1")), frameOf(expected));
    EXPECT_NE(frameOf(expected), Frame(128 * 64, 0));
}

TEST_F(UtextCommand, TextAsWideAsTheAreaIsNotCut) {
    quietly({"ufont sans.ttf"});
    const int width = widthIn(9, "mmm");
    const std::string x = std::to_string(96 - width);
    quietly({("utext 0 mmm white 9 " + x).c_str()});
    const rect_t exact = {96 - width, 0, width, 64};
    EXPECT_EQ(frameOf(panel), drawn(fonts[9], "mmm", &exact, 128));
    const std::string closer = std::to_string(96 - width + 1);
    quietly({"clear 0", ("utext 0 mmm white 9 " + closer).c_str()});
    const rect_t narrower = {96 - width + 1, 0, width - 1, 64};
    EXPECT_EQ(frameOf(panel), drawn(fonts[9], "mm", &narrower, 128));
}

TEST_F(UtextCommand, CuttingTakesWholeCharacters) {
    quietly({"ufont sans.ttf"});
    const int width = widthIn(9, "\u00e9\u00e9");
    const rect_t area = {96 - width - 1, 0, width + 1, 64};
    const std::string x = std::to_string(area.x);
    quietly({("utext 0 '\u00e9\u00e9\u00e9' white 9 " + x).c_str()});
    EXPECT_EQ(frameOf(panel), drawn(fonts[9], "\u00e9\u00e9", &area, 128));
}

TEST_F(UtextCommand, FittedTextTakesTheLargestFontNarrowerThan103) {
    quietly({"ufont sans.ttf"});
    std::vector<int> slots;
    for (const char* text : {"Hi", "Interc", "Director", "Intercom", "Announcer"}) {
        slots.push_back(slotFrom(0, text));
        expectFitted(text, slots.back(), text);
    }
    EXPECT_EQ(slots.front(), 0);
    EXPECT_GT(slots.back(), 2);
}

TEST_F(UtextCommand, FittedWordTooWideForTheSmallestFontIsCutBelow104) {
    quietly({"ufont sans.ttf"});
    const std::string text = "Supercalifragilistic";
    std::string shown = text;
    while (widthIn(9, shown) >= 104) {
        shown.pop_back();
    }
    ASSERT_LT(shown.size(), text.size());
    expectFitted(text, 9, shown);
}

TEST_F(UtextCommand, TwoWordsThatFitOneLineStayOnOne) {
    quietly({"ufont sans.ttf"});
    const int slot = slotFrom(0, "Main PA");
    ASSERT_LT(slot, 6);
    expectFitted("Main PA", slot, "Main PA");
}

// Each line fits a larger font than the whole does: the renderer breaks the text.
TEST_F(UtextCommand, TwoLinesTakeTheFontOfTheWiderOne) {
    quietly({"ufont sans.ttf"});
    const std::string text = "Stage manager";
    ASSERT_GT(slotFrom(0, text), 6);
    ASSERT_EQ(slotFrom(6, "manager"), 6);
    expectFitted(text, 6, text);
}

// The whole text is too wide for the last slot, and so is the second line.
TEST_F(UtextCommand, SecondLineIsCutBelow104WhenItIsTheWiderOne) {
    quietly({"ufont sans.ttf"});
    const std::string second = "communications:";
    ASSERT_EQ(widthIn(9, second), 104);
    expectFitted("Main " + second, 9, "Main\n" + second.substr(0, second.size() - 1));
}

TEST_F(UtextCommand, SecondLineOf103PixelsIsNotCut) {
    quietly({"ufont sans.ttf"});
    const std::string second = "communicationsl";
    ASSERT_EQ(widthIn(9, second), 103);
    expectFitted("Main " + second, 9, "Main " + second);
}

TEST_F(UtextCommand, FirstLineIsCutAndTheSecondDroppedWhenTheFirstIsTheWiderOne) {
    quietly({"ufont sans.ttf"});
    const std::string first = "communications:";
    ASSERT_EQ(widthIn(9, first), 104);
    expectFitted(first + " A", 9, first.substr(0, first.size() - 1));
}

TEST_F(UtextCommand, TextIsDrawnUnchangedWhenTheWiderFirstLineFits) {
    quietly({"ufont sans.ttf"});
    const int slot = slotFrom(6, "Communicate");
    ASSERT_GT(slot, 6);
    ASSERT_LT(widthIn(slot, "Communicate"), 103);
    expectFitted("Communicate now", slot, "Communicate now");
}

// Lines of a text that begins with a blank: the first is empty.
TEST_F(UtextCommand, BlankAtTheStartGivesAnEmptyFirstLine) {
    quietly({"ufont sans.ttf"});
    expectFitted(" Hi", 0, " Hi");
}

TEST_F(UtextCommand, FlagsAreNotReadWhenTheTextIsFitted) {
    quietly({"ufont sans.ttf", "utext 0 Hi white"});
    const Frame fitted = frameOf(panel);
    quietly({"clear 0", "utext 0 Hi white x 0 0 2"});
    EXPECT_EQ(frameOf(panel), fitted);
}

TEST_F(UtextCommand, EmptyTextDrawsNothing) {
    quietly({"ufont sans.ttf", "utext 0 '' white", "utext 0 '' white 0"});
    EXPECT_EQ(frameOf(panel), Frame(96 * 64, 0));
}

TEST_F(UtextCommand, DoesNotMarkTheDisplay) {
    quietly({"ufont sans.ttf", "flush 0 1"});
    frames = 0;
    quietly({"utext 0 Hi white", "flush 0"});
    EXPECT_EQ(frames, 0);
    quietly({"flush 0 1"});
    EXPECT_EQ(frames, 1);
}

TEST_F(UtextCommand, DrawsTheColourAndKeepsTheDisplaysAlpha) {
    quietly({"ufont sans.ttf", "clear 0 #40000000", "utext 0 Hi (10,20,30)"});
    const Frame frame = frameOf(panel);
    EXPECT_GT(std::count(frame.begin(), frame.end(), 0x400A141Eu), 20);
    EXPECT_TRUE(std::all_of(frame.begin(), frame.end(), [](std::uint32_t p) { return p >> 24 == 0x40; }));
}

TEST_F(UtextCommand, DrawsOnVirtualDisplays) {
    quietly({"ufont sans.ttf", "vdisp 7 200 40", "utext 7 Hello white"});
    EXPECT_FALSE(points(Pixel(0x00FFFFFF), "7").empty());
}

TEST_F(UtextCommand, InvalidUtf8DrawsAQuestionMarkOrNothing) {
    quietly({"ufont sans.ttf"});
    for (const char* bytes :
         {"\\x80", "\\xFE\\xFF", "\\xC3", "\\xE2\\x80", "\\xF0\\x9F\\x98", "\\xC0\\x80", "\\xED\\xA0\\x80",
          "\\xF4\\x90\\x80\\x80", "\\xFD\\xBF\\xBF\\xBF\\xBF\\xBF", "a\\x00b"}) {
        quietly({("utext 0 '" + std::string(bytes) + "' white").c_str(),
                 ("utext 0 '" + std::string(bytes) + "' white 2").c_str()});
    }
}

// A thousand characters, none of them drawn before: one measuring pass finds the cut. One a character would
// load half a million glyphs.
TEST_F(UtextCommand, LongTextIsCutInOnePass) {
    quietly({"ufont sans.ttf"});
    std::string text;
    for (int i = 0; i < 350; ++i) {
        text += "\u4e00";
        text += static_cast<char>('a' + i % 26);
        text += "\u00df";
    }
    const auto start = std::chrono::steady_clock::now();
    quietly({("utext 0 '" + text + "' white").c_str(), ("utext 0 '" + text + "' white 9").c_str()});
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(2));
}

// Each face has its file mapped.
long mappedFonts() {
    std::ifstream maps("/proc/self/maps");
    long count = 0;
    for (std::string line; std::getline(maps, line);) {
        count += line.find("DejaVuSans.ttf") != std::string::npos ? 1 : 0;
    }
    return count;
}

TEST_F(UtextCommand, FontsAreReleasedWithTheInterpreter) {
    const long before = mappedFonts();
    {
        GraphicsCommandProcessor other(displays, 1, &hardware);
        EXPECT_TRUE(other.processCommand("ufont sans.ttf"));
        EXPECT_TRUE(other.processCommand("utext 0 hi white"));
        EXPECT_GT(mappedFonts(), before);
    }
    EXPECT_EQ(mappedFonts(), before);
}
