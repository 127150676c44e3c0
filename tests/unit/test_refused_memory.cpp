// Memory that cannot be had: each allocation of the C++ code, and each of FreeType's, is refused in turn. The
// answer is the one that the code documents, nothing leaks, and the same works again afterwards.

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <ft2build.h>
#include FT_MODULE_H

#include <algorithm>
#include <cstdlib>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "allocation_watch.h"
#include "bmp_files.h"
#include "font_fixture.h"
#include "freetype_calls.h"
#include "glyph_cache_file.h"
#include "graphics/GrBmp.h"
#include "graphics/GrFont.h"
#include "graphics/GrShape.h"
#include "interpreter_fixture.h"
#include "scratch_folder.h"

namespace {

// ---- FreeType's memory

struct FreeTypeMemory {
    long live = 0;
    long requests = 0;
    long refusedFrom = 0;  // 0: none
    long refusedTo = 0;    // the last one

    void refuse(long from, long to) {
        requests = 0;
        refusedFrom = from;
        refusedTo = to;
    }
    // At the first glyph of a face FreeType sets up its bytecode interpreter, and does not survive that three
    // of these requests are refused (2.12.1 crashes by itself, in this call or the next): they are granted.
    bool refuses() {
        if (freeTypeCalls().loads.size() == 1) {
            return false;
        }
        ++requests;
        return requests >= refusedFrom && requests <= refusedTo;
    }
};
FreeTypeMemory memory;

void* take(FT_Memory, long size) {
    void* const block = memory.refuses() ? nullptr : std::malloc(static_cast<std::size_t>(size));
    memory.live += block != nullptr ? 1 : 0;
    return block;
}
void give(FT_Memory, void* block) {
    memory.live -= block != nullptr ? 1 : 0;
    std::free(block);
}
void* change(FT_Memory, long /*before*/, long size, void* block) {
    return memory.refuses() ? nullptr : std::realloc(block, static_cast<std::size_t>(size));
}
FT_MemoryRec_ functions = {nullptr, take, give, change};

// As FreeType's own, but with the memory above.
FT_Error initFreeType(FT_Library* library) {
    const FT_Error error = FT_New_Library(&functions, library);
    if (error == 0) {
        FT_Add_Default_Modules(*library);
        FT_Set_Default_Properties(*library);
    }
    return error;
}

class ScalableFontMemory : public FontTest {
protected:
    ScalableFontMemory() { freeTypeCalls().init = initFreeType; }

    // Loads, measures and draws, wrapped. Returns false when the font could not be loaded.
    static bool useFont() {
        freeTypeCalls().loads.clear();
        testing::internal::CaptureStdout();
        const FontPtr font = load("ft:sans.ttf:16px");
        std::fflush(stdout);
        const std::string told = testing::internal::GetCapturedStdout();
        if (font == nullptr) {
            EXPECT_TRUE(told.empty() || told.rfind("img: unable to load font font/sans.ttf error: ", 0) == 0)
                << told;
            return false;
        }
        EXPECT_EQ(told, "");
        TestImage image(90, 60);
        EXPECT_GE(width(font, "AVATAR g"), 0);
        render(image, font, "AVATAR \xC3\x85 wraps here", kFntWrap | kFntLines | kFntCentre | kFntMiddle);
        EXPECT_TRUE(image.canariesLive());
        return true;
    }
    static long requestsOfOneUse() {
        EXPECT_TRUE(useFont());  // what the library takes once and keeps
        memory.refuse(0, 0);
        EXPECT_TRUE(useFont());
        return memory.requests;
    }
    // From the nth request on, so many.
    static void refuseEach(long count) {
        const long requests = requestsOfOneUse();
        const long live = memory.live;
        ASSERT_GT(requests, 40);
        for (long n = 1; n <= requests; ++n) {
            memory.refuse(n, n + count - 1);
            useFont();
            memory.refuse(0, 0);
            ASSERT_LE(memory.live, live) << "request " << n;
        }
        EXPECT_TRUE(useFont());
        EXPECT_LE(memory.live, live);
    }
};

}  // namespace

// In processes of their own: the library is one for the process.
TEST_F(ScalableFontMemory, LibraryThatCannotBeMadeIsMadeAtTheNextLoad) {
    const auto firstLoad = [](long refused) {
        const pid_t pid = fork();
        if (pid == 0) {
            memory.refuse(refused, refused);
            const bool failed = Fnt_LoadFont("ft:sans.ttf:16px") == nullptr;
            memory.refuse(0, 0);
            _exit(failed && Fnt_LoadFont("ft:sans.ttf:16px") == nullptr ? 1 : 0);
        }
        int status = 0;
        waitpid(pid, &status, 0);
        return status;
    };
    EXPECT_EQ(firstLoad(1), 0);  // the library's record
    for (long refused = 2; refused < 120; ++refused) {
        const int status = firstLoad(refused);
        // A module that could not be made is missing for good; what must not happen is a crash.
        ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) <= 1) << "request " << refused;
    }
}

TEST_F(ScalableFontMemory, EachRefusalOfFreeTypesCostsAFontOrAGlyphAndNothingElse) {
    refuseEach(1);
}

TEST_F(ScalableFontMemory, MemoryThatStaysRefusedCostsFontsAndNothingElse) {
    refuseEach(1'000'000'000);
}

TEST_F(ScalableFontMemory, EachRefusalOfNewCostsAFontOrAGlyphAndNothingElse) {
    AllocationWatch::sparesThrowing = true;  // the test's own; the renderer has none
    freeTypeCalls().loads.reserve(100);
    freeTypeCalls().sizes.reserve(100);
    bool reached = true;
    long n = 1;
    for (; reached; ++n) {
        TestImage image(90, 60);
        const long live = AllocationWatch::live;
        const long first = AllocationWatch::requests;
        AllocationWatch::refused = first + n;
        FontPtr font(Fnt_LoadFont("ft:sans.ttf:16px"));
        Fnt_RenderText(image.get(), nullptr, font.get(), "AVATAR", kWhite, 0, 0);
        AllocationWatch::refused = 0;
        reached = AllocationWatch::requests - first >= n;
        EXPECT_EQ(font == nullptr, n <= 2);  // the record and what it remembers; then glyphs
        EXPECT_TRUE(image.canariesLive());
        font.reset();
        EXPECT_EQ(AllocationWatch::live, live) << n;
    }
    AllocationWatch::sparesThrowing = false;
    EXPECT_EQ(n, 2 + 4 + 2);  // beyond the last of four glyphs: A, V, T, R
}

TEST_F(ScalableFontMemory, GlyphCacheFileIsNullWithoutMemory) {
    for (long n = 1; n <= 3; ++n) {
        const long live = AllocationWatch::live;
        AllocationWatch::refused = AllocationWatch::requests + n;
        font_t* const font = Fnt_LoadFont("small");
        AllocationWatch::refused = 0;
        EXPECT_EQ(font == nullptr, n <= 2) << n;  // the record and the glyph data
        Fnt_CloseFont(font);
        EXPECT_EQ(AllocationWatch::live, live);
    }
}

TEST_F(ScalableFontMemory, TextThatCannotBeCopiedIsDrawnUnwrapped) {
    const FontPtr font = load("ft:sans.ttf:16px");
    TestImage whole(60, 60);
    TestImage unwrapped(60, 60);
    render(whole, font, "two words", kFntLines);
    freeTypeCalls().strdupFails = true;
    render(unwrapped, font, "two words", kFntLines | kFntWrap);
    EXPECT_EQ(unwrapped.box(), whole.box());
}

// ---- Files and displays

namespace {

// Calls `load`, which tells whether it has succeeded, with each of its requests refused, then with none.
void expectFalseWithoutMemory(long requests, const std::function<bool()>& load) {
    for (long n = 1; n <= requests; ++n) {
        const long live = AllocationWatch::live;
        AllocationWatch::refused = AllocationWatch::requests + n;
        const bool loaded = load();
        AllocationWatch::refused = 0;
        EXPECT_FALSE(loaded) << n;
        EXPECT_EQ(AllocationWatch::live, live) << n;
    }
    const long before = AllocationWatch::requests;
    EXPECT_TRUE(load());
    EXPECT_EQ(AllocationWatch::requests - before, requests);
}

std::string bitmapFontFile() {
    const std::string head = {7, 1, 5, 1, 65, 65};
    return std::string("font") + std::string({13, 0, 0, 0}) + head + std::string(7, '\x55');
}

}  // namespace

TEST(BitmapFontMemory, FontFileIsRefused) {
    const ScratchFolder folder;
    writeFile("a.fnt", bitmapFontFile());
    expectFalseWithoutMemory(1, [] { return VelaGraphics::Font().loadFromFile("a.fnt"); });
}

TEST(BitmapFontMemory, RefusedFileLeavesABorrowedFontAsItWas) {
    const ScratchFolder folder;
    writeFile("a.fnt", bitmapFontFile());
    static const unsigned char borrowed[13] = {7, 1, 5, 1, 66, 66};
    VelaGraphics::Font font(borrowed);
    AllocationWatch::refused = AllocationWatch::requests + 1;
    EXPECT_FALSE(font.loadFromFile("a.fnt"));
    AllocationWatch::refused = 0;
    EXPECT_EQ(font.fontData(), borrowed);
}

TEST(ShapeMemory, ShapeFileIsRefused) {
    const ScratchFolder folder;
    writeFile("a.shp", shapeFile(2, 2, std::string("\1\0\0\1", 4)));
    expectFalseWithoutMemory(1, [] { return VelaGraphics::Shape().loadFromFile("a.shp"); });
}

TEST(DisplayMemory, DisplayIsEmpty) {
    const long live = AllocationWatch::live;
    AllocationWatch::refused = AllocationWatch::requests + 1;
    const VelaGraphics::VirtualDisplay display(40, 20);
    AllocationWatch::refused = 0;
    EXPECT_EQ(display.vdbuf(), nullptr);
    EXPECT_EQ(display.width(), 0);
    EXPECT_EQ(AllocationWatch::live, live);
}

// ---- Commands

namespace {

class CommandMemory : public InterpreterTest {
protected:
    CommandMemory() {
        writeFile("arrow.shp", shapeFile(2, 2, std::string("\1\0\0\1", 4)));
        writeFile("small.fnt", bitmapFontFile());
        writeBytes("a.bmp", fileBytes(3, 2, 24));
        writeBytes("a32.bmp", fileBytes(3, 2, 32));
    }

    ScratchFolder folder;
};

// What a command may answer when memory runs out, the file or display that it is about included.
bool isAnswerWithoutMemory(const std::string& told) {
    static const std::vector<std::string> texts = {
        "",
        "out of memory, command ignored",
        "shape arrow not found",
        "font file small.fnt not found",
        "bmp, 'a.bmp' could not be loaded",
        "bmpa, 'a32.bmp' could not be loaded",
        "bmpt, 'a.bmp' could not be loaded",
        "display 300, bad size",
    };
    return std::any_of(texts.begin(), texts.end(), [&](const std::string& text) {
        return told == (text.empty() ? "" : "OnError(\"" + text + "\")\n");
    });
}

}  // namespace

TEST_F(CommandMemory, CommandWithoutMemoryIsDroppedWithOneLineAndWorksAgain) {
    const std::vector<std::vector<std::string>> commands = {
        // The command, and what undoes it.
        {"shape 0 arrow 1 1 white", "shaped arrow"},
        {"font 0 small", "font 0 F9x5m"},
        {"bmp a.bmp", "bmpdel a.bmp"},
        {"bmpa a32.bmp", "bmpdel a32.bmp"},
        {"bmpt a.bmp white", "bmpdel a.bmp"},
        {"vdisp 300 40 20", "vdispd 300"},
        {"color #0F0 'a new colour name'", "color black 'a new colour name'"},
        {"text 0 1 1 'a text that is longer than what a token has room for' white", "clear 0"},
        {"'clear' 0 white", "clear 0"},
    };
    for (const std::vector<std::string>& pair : commands) {
        long refusals = 0;
        bool reached = true;
        for (long n = 1; reached; ++n) {
            testing::internal::CaptureStdout();
            const long first = AllocationWatch::requests;
            AllocationWatch::refused = first + n;
            const bool goesOn = gcp.processCommand(pair[0].c_str());
            AllocationWatch::refused = 0;
            reached = AllocationWatch::requests - first >= n;
            const std::string told = testing::internal::GetCapturedStdout();
            EXPECT_TRUE(goesOn) << pair[0];
            EXPECT_TRUE(isAnswerWithoutMemory(told)) << pair[0] << ", request " << n << ": " << told;
            EXPECT_EQ(told.empty(), !reached) << pair[0] << ", request " << n;
            refusals += told.empty() ? 0 : 1;
            run(pair[1]);  // says that there is nothing to undo, or nothing
            EXPECT_EQ(run(pair[0]), "") << pair[0];
            run(pair[1]);
        }
        EXPECT_GT(refusals, 0) << pair[0];
    }
}

TEST_F(CommandMemory, NothingLeaksFromCommandsWithoutMemory) {
    const std::vector<std::pair<std::string, std::string>> commands = {
        {"shape 0 arrow 1 1 white", "shaped arrow"},
        {"bmp a.bmp", "bmpdel a.bmp"},
        {"bmpt a.bmp white", "bmpdel a.bmp"},
        {"vdisp 300 40 20", "vdispd 300"},
        {"text 0 1 1 'a text that is longer than what a token has room for' white", "clear 0"},
    };
    for (const auto& pair : commands) {
        run(pair.first);  // the name's nodes stay in the table
        run(pair.second);
        const long live = AllocationWatch::live;
        for (long n = 1; n <= 8; ++n) {
            testing::internal::CaptureStdout();
            AllocationWatch::refused = AllocationWatch::requests + n;
            gcp.processCommand(pair.first.c_str());
            AllocationWatch::refused = 0;
            testing::internal::GetCapturedStdout();
            run(pair.second);
            EXPECT_EQ(AllocationWatch::live, live) << pair.first << ", request " << n;
        }
    }
}

// The name table takes memory last, when the display exists already: a block of nodes now and then.
TEST_F(CommandMemory, DisplayWhoseNameHasNoRoomIsNotLeaked) {
    int refusals = 0;
    for (int id = 1000; id < 1064; ++id) {
        const std::string name = std::to_string(id);
        const std::string make = "vdisp " + name + " 4 4";
        testing::internal::CaptureStdout();
        const long live = AllocationWatch::live;
        const long first = AllocationWatch::requests;
        AllocationWatch::refused = first + 3;  // behind the display and its pixels
        gcp.processCommand(make.c_str());
        AllocationWatch::refused = 0;
        const bool refused = AllocationWatch::requests - first == 3;
        EXPECT_EQ(AllocationWatch::live, live + (refused ? 0 : 2)) << make;
        EXPECT_EQ(testing::internal::GetCapturedStdout(),
                  refused ? onError("out of memory, command ignored") : "");
        EXPECT_EQ(display(name) == nullptr, refused) << make;
        refusals += refused ? 1 : 0;
    }
    EXPECT_GT(refusals, 1);
}
