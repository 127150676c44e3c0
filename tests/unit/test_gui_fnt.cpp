// Loading and measuring of fonts.

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cwchar>

#include "bitmap_font.h"
#include "end_process.h"
#include "font_fixture.h"

namespace {

using Strings = std::vector<std::string>;

class FntLoad : public FontTest {
protected:
    static Strings sizesOf(const std::string& name) {
        resetFreeTypeCalls();
        EXPECT_NE(load(name), nullptr) << name;
        return freeTypeCalls().sizes;
    }
};

TEST_F(FntLoad, NumberIsASizeInPointsAt96Dpi) {
    EXPECT_EQ(sizesOf("ft:sans.ttf:12"), Strings{"char 0 768 96 96"});
    EXPECT_EQ(sizesOf("ft:sans.ttf:10.5"), Strings{"char 0 672 96 96"});
    EXPECT_EQ(load("ft:sans.ttf:12")->face->size->metrics.y_ppem, 16);
}

TEST_F(FntLoad, NumberWithPxIsAPixelHeight) {
    EXPECT_EQ(sizesOf("ft:sans.ttf:16px"), Strings{"pixels 0 16"});
    EXPECT_EQ(load("ft:sans.ttf:16px")->face->size->metrics.y_ppem, 16);
}

TEST_F(FntLoad, WithoutASizeItIsTenPoints) {
    EXPECT_EQ(sizesOf("ft:sans.ttf"), Strings{"char 0 640 96 96"});
    EXPECT_EQ(sizesOf("ft:sans.ttf:"), Strings{"char 0 640 96 96"});
}

TEST_F(FntLoad, SizesBelowOneAndNonsenseGiveTheSmallest) {
    for (const char* size :
         {"0px", "px", "-5px", "-99999999999999999999px", "0", "-12", "abc", "nan", "0.001"}) {
        const FontPtr font = load(std::string("ft:sans.ttf:") + size);
        ASSERT_NE(font, nullptr) << size;
        EXPECT_EQ(font->face->size->metrics.y_ppem, 1) << size;
    }
}

TEST_F(FntLoad, SizesAreTakenUpTo4096Pixels) {
    for (const char* size : {"4096px", "3072"}) {
        const FontPtr font = load(std::string("ft:sans.ttf:") + size);
        ASSERT_NE(font, nullptr) << size;
        EXPECT_EQ(font->face->size->metrics.y_ppem, 4096) << size;
    }
}

TEST_F(FntLoad, LargerSizesFailInSilenceAndCloseTheFace) {
    const std::string beyondDouble(400, '9');
    for (const std::string& size :
         Strings{"4097px", "99999999999px", "3073", "4096", "99999999999999999999999", beyondDouble, "inf"}) {
        resetFreeTypeCalls();
        EXPECT_EQ(failure("ft:sans.ttf:" + size), "") << size;
        EXPECT_EQ(freeTypeCalls().doneFaces, 1) << size;
    }
}

TEST_F(FntLoad, SizeThatTheFaceDoesNotHaveFailsInSilenceAndClosesTheFace) {
    write("tiny.bdf", kBitmapFont);
    EXPECT_NE(load("ft:tiny.bdf:8px"), nullptr);
    resetFreeTypeCalls();
    EXPECT_EQ(failure("ft:tiny.bdf:9px"), "");
    EXPECT_EQ(freeTypeCalls().doneFaces, 1);
}

TEST_F(FntLoad, LineAdvanceAndCellHeightAreTheFacesRounded) {
    for (const char* name : {"ft:sans.ttf:24px", "ft:sans.ttf:11", "ft:sans.ttf"}) {
        const FontPtr font = load(name);
        const FT_Size_Metrics& metrics = font->face->size->metrics;
        EXPECT_EQ(font->ay, (metrics.height + 31) >> 6) << name;
        EXPECT_EQ(font->sy, (metrics.ascender - metrics.descender + 31) >> 6) << name;
    }
    EXPECT_EQ(load("ft:sans.ttf:24px")->ay, 28);
    EXPECT_EQ(load("ft:sans.ttf:24px")->sy, 29);
}

TEST_F(FntLoad, RecordHoldsNoGlyphYet) {
    const FontPtr font = load("ft:sans.ttf:24px");
    EXPECT_STREQ(font->name, "ft:sans.ttf:24px");
    EXPECT_EQ(font->hash, 0U);
    EXPECT_EQ(font->next, nullptr);
    EXPECT_EQ(font->data, nullptr);
    EXPECT_EQ(font->data_sz, 0U);
    for (const fchar_t& slot : font->ch) {
        EXPECT_EQ(slot.offset, 0U);
        EXPECT_EQ(slot.data, nullptr);
    }
}

TEST_F(FntLoad, GetIsTheSame) {
    const FontPtr font(Fnt_Get("ft:sans.ttf:24px"));
    ASSERT_NE(font, nullptr);
    EXPECT_EQ(font->ay, 28);
    EXPECT_EQ(Fnt_Get("nothing"), nullptr);
}

TEST_F(FntLoad, NullIsIgnored) {
    Fnt_CloseFont(nullptr);
    EXPECT_EQ(Fnt_LoadFont(nullptr), nullptr);
}

TEST_F(FntLoad, MissingFileIsToldWithItsPathWithoutALineFeed) {
    EXPECT_EQ(failure("ft:none.ttf:12"), "img: unable to load font font/none.ttf error: 1");
    EXPECT_EQ(failure("ft:"), "img: unable to load font font/ error: 1");
}

TEST_F(FntLoad, OnlyRegularFilesAreOpened) {
    std::filesystem::create_directory("font/folder");
    std::filesystem::create_directory("font/folder.font");
    ASSERT_EQ(mkfifo("font/fifo", 0600), 0);
    ASSERT_EQ(mkfifo("font/fifo.font", 0600), 0);
    EXPECT_EQ(failure("ft:folder"), "img: unable to load font font/folder error: 1");
    EXPECT_EQ(failure("ft:fifo"), "img: unable to load font font/fifo error: 1");
    EXPECT_EQ(failure("folder"), "");
    EXPECT_EQ(failure("fifo"), "");
    EXPECT_EQ(freeTypeCalls().newFaces, 0);
}

TEST_F(FntLoad, FileThatIsNoFontIsToldWithFreeTypesError) {
    write("text.ttf", "this is not a font at all, by any means");
    EXPECT_EQ(failure("ft:text.ttf"), "img: unable to load font font/text.ttf error: 2");
    write("empty.ttf", "");
    // FT_Err_Unknown_File_Format: the file is there, which FT_Err_Cannot_Open_Resource, 1, would deny.
    EXPECT_EQ(failure("ft:empty.ttf"), "img: unable to load font font/empty.ttf error: 2");
}

TEST_F(FntLoad, PathIsCutTo255Characters) {
    const std::string folder(100, 'd');
    const std::string file = folder + '/' + folder + '/' + std::string(48, 'f');  // font/ and 250 characters
    std::filesystem::create_directories("font/" + folder + '/' + folder);
    std::filesystem::create_symlink(kSans, "font/" + file);
    EXPECT_NE(load("ft:" + file + "fffff"), nullptr);
    EXPECT_NE(load("ft:" + file + "fffff:12px"), nullptr);
    EXPECT_EQ(failure("ft:" + std::string(300, 'x')),
              "img: unable to load font font/" + std::string(250, 'x') + " error: 1");
}

TEST_F(FntLoad, NameIsCutTo63Characters) {
    const std::string name(70, 'n');
    std::filesystem::create_symlink(kSans, "font/" + name);
    EXPECT_EQ(load("ft:" + name)->name, "ft:" + std::string(60, 'n'));
    write(name + ".font", makeSmallFont().bytes());
    EXPECT_EQ(load(name)->name, std::string(63, 'n'));
}

TEST_F(FntLoad, FreeTypeThatCannotStartIsTold) {
    GTEST_FLAG_SET(death_test_style,
                   "threadsafe");  // a process of its own, in which FreeType has not started
    EXPECT_EXIT(
        {
            dup2(STDERR_FILENO, STDOUT_FILENO);
            freeTypeCalls().initFails = true;
            const bool failed = Fnt_LoadFont("ft:sans.ttf") == nullptr;
            freeTypeCalls().initFails = false;
            const bool recovered = FontPtr(Fnt_LoadFont("ft:sans.ttf")) != nullptr;
            std::fflush(stdout);
            endProcess(failed && recovered ? 0 : 1);
        },
        testing::ExitedWithCode(0), "img: unable to init freetype$");
}

TEST_F(FntLoad, TenSizesOpenTheFileTenTimesAndFitInto12Megabytes) {
    const auto residentKilobytes = [] {
        std::ifstream statm("/proc/self/statm");
        long total = 0;
        long resident = 0;
        statm >> total >> resident;
        return resident * (sysconf(_SC_PAGESIZE) / 1024);
    };
    const long before = residentKilobytes();
    std::vector<FontPtr> fonts;
    for (int size = 30; size >= 12; size -= 2) {
        fonts.push_back(load("ft:sans.ttf:" + std::to_string(size) + "px"));
        ASSERT_NE(fonts.back(), nullptr);
    }
    EXPECT_EQ(freeTypeCalls().newFaces, 10);
    EXPECT_LE(residentKilobytes() - before, 12 * 1024);
}

class FntCacheFile : public FontTest {
protected:
    static FontPtr loadBytes(const std::string& bytes) {
        write("myfont.font", bytes);
        return load("myfont");
    }
};

TEST_F(FntCacheFile, NameOpensFontNameDotFont) {
    const FontPtr font = loadBytes(makeSmallFont().bytes());
    ASSERT_NE(font, nullptr);
    EXPECT_STREQ(font->name, "myfont");
    EXPECT_EQ(font->face, nullptr);
    EXPECT_EQ(font->ay, 8);
    EXPECT_EQ(font->sy, 8);
    EXPECT_EQ(font->data_sz, 54U + 256U);
    EXPECT_EQ(slot(font, 'j').ox, -2);
    EXPECT_EQ(slot(font, 'W').w, 9);
    EXPECT_EQ(slot(font, '~').offset, 54U);
    EXPECT_EQ(slot(font, '~').data, font->data + 54);
    EXPECT_EQ(slot(font, '~').data[200], 200);
}

TEST_F(FntCacheFile, KeptFileIsWhatItsMakerMakes) {
    const std::string path = std::string(BELTPACK_TEST_DATA) + "/font/small.font";
    const std::string made = makeSmallFont().bytes();
    if (std::getenv("BELTPACK_UPDATE_DATA") != nullptr) {
        std::ofstream(path, std::ios::binary) << made;
    }
    EXPECT_TRUE(read(path) == made) << path << " is not what glyph_cache_file.h makes";
}

// Where the C library has 32 bits for seconds, fstat() fails for such a file.
TEST_F(FntCacheFile, TimeStampBeyond2038IsNoFailure) {
    write("late.font", makeSmallFont().bytes());
    ASSERT_EQ(std::system("touch -d 2040-01-01 font/late.font"), 0);
    EXPECT_NE(load("late"), nullptr);
}

TEST_F(FntCacheFile, BothMagicsAreReadAlike) {
    GlyphCache cache = makeSmallFont();
    cache.magic = "FNT3";
    EXPECT_NE(loadBytes(cache.bytes()), nullptr);
    for (const char* magic : {"FNT1", "FNT4", "fnt2", "font"}) {
        cache.magic = magic;
        EXPECT_EQ(loadBytes(cache.bytes()), nullptr) << magic;
    }
}

TEST_F(FntCacheFile, OnlyTheLow16BitsOfAMetricCount) {
    GlyphCache cache = makeSmallFont();
    cache.glyphs['A'] = {0x12340007, 0xABCDFFFE, 0x00018000, 0x00050003, 0xFFFF0002, 0};
    const FontPtr font = loadBytes(cache.bytes());
    ASSERT_NE(font, nullptr);
    const fchar_t& glyph = slot(font, 'A');
    EXPECT_EQ(glyph.ax, 7);
    EXPECT_EQ(glyph.ox, -2);
    EXPECT_EQ(glyph.oy, -32768);
    EXPECT_EQ(glyph.w, 3);
    EXPECT_EQ(glyph.h, 2);
}

TEST_F(FntCacheFile, GlyphPastTheDataIsRejected) {
    GlyphCache cache = makeSmallFont();
    cache.glyphs['A'].offset = cache.dataSize - 30;
    EXPECT_NE(loadBytes(cache.bytes()), nullptr);
    cache.glyphs['A'].offset = cache.dataSize - 29;
    EXPECT_EQ(loadBytes(cache.bytes()), nullptr);
}

TEST_F(FntCacheFile, EmptyGlyphMayLieAtTheEndOfTheDataButNotBehind) {
    GlyphCache cache = makeSmallFont();
    cache.glyphs[' '].offset = cache.dataSize;
    EXPECT_NE(loadBytes(cache.bytes()), nullptr);
    ++cache.glyphs[' '].offset;
    EXPECT_EQ(loadBytes(cache.bytes()), nullptr);
}

TEST_F(FntCacheFile, OffsetsAndSizesThatWouldWrapAreRejected) {
    for (const GlyphRecord& glyph :
         {GlyphRecord{6, 0, 0, 5, 6, 0xFFFFFFF0}, GlyphRecord{6, 0, 0, 65535, 65535, 0},
          GlyphRecord{6, 0, 0, 65535, 65535, 0x00020000}}) {
        GlyphCache cache = makeSmallFont();
        cache.glyphs[200] = glyph;
        EXPECT_EQ(loadBytes(cache.bytes()), nullptr);
    }
}

TEST_F(FntCacheFile, PromiseOfMoreDataThanTheFileHoldsIsRejected) {
    GlyphCache cache = makeSmallFont();
    for (const std::uint32_t size : {cache.dataSize + 1, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU}) {
        cache.dataSize = size;
        EXPECT_EQ(loadBytes(cache.bytes()), nullptr) << size;
    }
}

TEST_F(FntCacheFile, BytesBehindTheDataAreIgnored) {
    EXPECT_NE(loadBytes(makeSmallFont().bytes() + "more"), nullptr);
}

TEST_F(FntCacheFile, FileThatEndsEarlyIsRejected) {
    const std::string bytes = makeSmallFont().bytes();
    for (const std::size_t length : {std::size_t{0}, std::size_t{3}, std::size_t{4}, std::size_t{100},
                                     std::size_t{6155}, std::size_t{6156}, bytes.size() - 1}) {
        EXPECT_EQ(loadBytes(bytes.substr(0, length)), nullptr) << length;
    }
}

TEST_F(FntCacheFile, InterruptedReadIsMadeAgain) {
    freeTypeCalls().reads = {EINTR, EINTR};
    EXPECT_NE(load("small"), nullptr);
    EXPECT_TRUE(freeTypeCalls().reads.empty());
    freeTypeCalls().reads = {EINTR, 0};
    EXPECT_EQ(load("small"), nullptr) << "the end of the file, with an error number from before";
}

TEST_F(FntCacheFile, FileThatCannotBeReadToItsEndIsRejected) {
    for (const int error : {0, EIO}) {
        freeTypeCalls().reads = {error};
        EXPECT_EQ(load("small"), nullptr) << error;
        EXPECT_TRUE(freeTypeCalls().reads.empty());
    }
}

TEST_F(FntCacheFile, FontWithoutGlyphDataIsAFont) {
    GlyphCache cache;
    cache.glyphs['A'].ax = 5;
    cache.lineAdvance = 9;
    const FontPtr font = loadBytes(cache.bytes());
    ASSERT_NE(font, nullptr);
    EXPECT_EQ(width(font, "AA"), 10);
    TestImage image(20, 20);
    render(image, font, "AA");
    EXPECT_EQ(image.box(), "nothing");
}

TEST_F(FntCacheFile, IsNotKeptOpen) {
    const auto lowestFree = [] {
        const int fd = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
        ::close(fd);
        return fd;
    };
    const int before = lowestFree();
    const FontPtr font = load("small");
    ASSERT_NE(font, nullptr);
    EXPECT_EQ(lowestFree(), before);
    EXPECT_EQ(loadBytes("no font"), nullptr);
    EXPECT_EQ(lowestFree(), before);
}

TEST_F(FntCacheFile, MissingAndLongNamesAreSilent) {
    EXPECT_EQ(failure("none"), "");
    EXPECT_EQ(failure(""), "");
    EXPECT_EQ(failure(std::string(70, 'x')), "");
    EXPECT_EQ(failure(std::string(300, 'x')), "");
}

using FntMeasure = FontTest;

TEST_F(FntMeasure, WidthIsTheSumOfTheAdvances) {
    const FontPtr font = load("small");
    EXPECT_EQ(width(font, ""), 0);
    EXPECT_EQ(width(font, "abc"), 18);
    EXPECT_EQ(width(font, "a b"), 18);
    EXPECT_EQ(width(font, "W"), 6);
}

TEST_F(FntMeasure, StopsAtTheFirstNewline) {
    const FontPtr font = load("small");
    EXPECT_EQ(width(font, "abc\nabcdef"), 18);
    EXPECT_EQ(width(font, "\nabc"), 0);
}

TEST_F(FntMeasure, InvalidLeadByteMeasuresAsAQuestionMark) {
    const FontPtr font = load("small");
    EXPECT_EQ(width(font,
                    "a\xFF"
                    "b"),
              6 + 7 + 6);
    EXPECT_EQ(width(font,
                    "a\x80\x80"
                    "b"),
              6 + 7 + 6);
    const FontPtr sans = load("ft:sans.ttf:24px");
    EXPECT_EQ(width(sans, "\xFE\x80"), width(sans, "?"));
}

TEST_F(FntMeasure, CacheFontHasNoCodesAbove255) {
    const FontPtr font = load("small");
    EXPECT_EQ(width(font,
                    "a\xC3\xBF"
                    "b"),
              18);  // 255
    EXPECT_EQ(width(font,
                    "a\xC4\x80"
                    "b"),
              12);  // 256
}

TEST_F(FntMeasure, HeightIsTheLineAdvance) {
    const FontPtr font = load("small");
    int height = 0;
    EXPECT_EQ(Fnt_MeasureText(font.get(), "a\nb", &height), 6);
    EXPECT_EQ(height, 8);
    EXPECT_EQ(Fnt_MeasureText(font.get(), nullptr, &height), 0);
    height = 55;
    EXPECT_EQ(Fnt_MeasureText(nullptr, "a", &height), 0);
    EXPECT_EQ(height, 55);
}

TEST_F(FntMeasure, KerningDrawsPairsTogether) {
    const FontPtr font = load("ft:sans.ttf:24px");
    ASSERT_TRUE(FT_HAS_KERNING(font->face));
    for (const std::string& pair : {std::string("AV"), std::string("To")}) {
        FT_Vector distance = {};
        const FT_Face face = font->face;
        ASSERT_EQ(FT_Get_Kerning(face, FT_Get_Char_Index(face, static_cast<unsigned char>(pair[0])),
                                 FT_Get_Char_Index(face, static_cast<unsigned char>(pair[1])),
                                 FT_KERNING_DEFAULT, &distance),
                  0);
        ASSERT_LT(distance.x, 0) << pair;
        EXPECT_EQ(width(font, pair),
                  width(font, pair.substr(0, 1)) + width(font, pair.substr(1)) + (distance.x >> 6));
    }
}

TEST_F(FntMeasure, PairWhoseKerningCannotBeToldIsSetApart) {
    const FontPtr font = load("ft:sans.ttf:24px");
    freeTypeCalls().kerningFails = true;
    EXPECT_EQ(width(font, "AV"), width(font, "A") + width(font, "V"));
}

TEST_F(FntMeasure, LoadsMetricsOnlyAndOnceAndFillsNoSlot) {
    const FontPtr font = load("ft:sans.ttf:24px");
    resetFreeTypeCalls();
    const int first = width(font, "ABA");
    EXPECT_EQ(freeTypeCalls().loads, (Strings{"65 measure", "66 measure"}));
    EXPECT_EQ(width(font, "ABA"), first);
    EXPECT_EQ(freeTypeCalls().loads.size(), 2U);
    EXPECT_EQ(slot(font, 'A').offset, 0U);
}

TEST_F(FntMeasure, RenderedSlotsAreNotLoadedAgain) {
    const FontPtr font = load("ft:sans.ttf:24px");
    const FontPtr other = load("ft:sans.ttf:24px");
    const int before = width(other, "Channel");
    TestImage image(200, 40);
    render(image, font, "Channel");
    resetFreeTypeCalls();
    EXPECT_EQ(width(font, "Channel"), before) << "measured and rendered advances must be the same";
    EXPECT_EQ(freeTypeCalls().loads, Strings{});
    EXPECT_EQ(freeTypeCalls().charIndexes, 0);
}

TEST_F(FntMeasure, GlyphThatCannotBeLoadedHasNoWidth) {
    const FontPtr font = load("ft:sans.ttf:24px");
    freeTypeCalls().loadsFail = true;
    EXPECT_EQ(width(font, "X"), 0);
    freeTypeCalls().loadsFail = false;
    EXPECT_GT(width(font, "X"), 0) << "a failure is not remembered";
}

TEST_F(FntMeasure, WidthStopsAtTheLimitsOfInt) {
    GlyphCache cache = makeSmallFont();
    cache.glyphs['M'].ax = 0x7FFF;
    cache.glyphs['m'].ax = 0x8000;
    write("wide.font", cache.bytes());
    const FontPtr font = load("wide");
    EXPECT_EQ(width(font, std::string(70000, 'M')), INT_MAX);
    EXPECT_EQ(width(font, std::string(70000, 'm')), INT_MIN);
}

class FntNumChars : public FontTest {
protected:
    static int count(const FontPtr& font, const std::string& text, int maxWidth) {
        return fnt_get_num_chars_we(font.get(), text.c_str(), maxWidth, 0);
    }

    // The same by the definition and of FreeType alone, for ASCII texts.
    static int expected(const FontPtr& font, const std::string& text, int maxWidth) {
        const FT_Face face = font->face;
        const auto kerning = [face](FT_ULong left, FT_ULong right) {
            FT_Vector distance = {};
            FT_Get_Kerning(face, FT_Get_Char_Index(face, left), FT_Get_Char_Index(face, right),
                           FT_KERNING_DEFAULT, &distance);
            return static_cast<int>(distance.x >> 6);
        };
        FT_Load_Char(face, kFntEllipsis, FT_LOAD_RENDER);
        const int ellipsis = face->glyph->bitmap_left + static_cast<int>(face->glyph->bitmap.width);
        int pen = 0;
        for (std::size_t k = 1; k < text.size(); ++k) {
            const auto before = static_cast<unsigned char>(text[k - 1]);
            FT_Load_Char(face, before, FT_LOAD_DEFAULT);
            const int advance = static_cast<int>(face->glyph->advance.x >> 6);
            if (pen + advance + kerning(before, kFntEllipsis) + ellipsis > maxWidth) {
                return static_cast<int>(k) - 1;
            }
            pen += advance + kerning(before, static_cast<unsigned char>(text[k]));
        }
        return static_cast<int>(text.size()) - 1;
    }
};

TEST_F(FntNumChars, LeavesRoomForTheEllipsisKerningIncluded) {
    const FontPtr font = load("ft:sans.ttf:24px");
    for (const std::string& text :
         {std::string("AVAVATo To Te"), std::string("Channel 12"), std::string("LTL")}) {
        for (int maxWidth = -5; maxWidth < 220; ++maxWidth) {
            ASSERT_EQ(count(font, text, maxWidth), expected(font, text, maxWidth)) << text << ' ' << maxWidth;
        }
    }
}

TEST_F(FntNumChars, IsTheSameOnceTheEllipsisIsRendered) {
    const FontPtr font = load("ft:sans.ttf:24px");
    std::vector<int> before;
    for (int maxWidth = 0; maxWidth < 200; ++maxWidth) {
        before.push_back(count(font, "Channel 12", maxWidth));
    }
    TestImage image(40, 40);
    render(image, font, "\xE2\x80\xA6");
    ASSERT_EQ(font->ch[kFntEllipsis % 256].offset, kFntEllipsis);
    resetFreeTypeCalls();
    for (int maxWidth = 0; maxWidth < 200; ++maxWidth) {
        EXPECT_EQ(count(font, "Channel 12", maxWidth), before[static_cast<std::size_t>(maxWidth)]);
    }
    EXPECT_EQ(freeTypeCalls().loads, Strings{});
}

TEST_F(FntNumChars, CacheFontHasAnEllipsisOfWidth0) {
    const FontPtr font = load("small");
    EXPECT_EQ(count(font, "abcdef", 5), 0);
    EXPECT_EQ(count(font, "abcdef", 6), 1);
    EXPECT_EQ(count(font, "abcdef", 17), 2);
    EXPECT_EQ(count(font, "abcdef", 18), 3);
}

TEST_F(FntNumChars, EndOfTheLineGivesItsLastIndex) {
    const FontPtr font = load("small");
    EXPECT_EQ(count(font, "abcdef", 1000), 5);
    EXPECT_EQ(count(font, "abc\ndef", 1000), 2);
    EXPECT_EQ(count(font, "a", 1000), 0);
    EXPECT_EQ(count(font, "", 1000), 0);
    EXPECT_EQ(count(font, "\nabc", 1000), 0);
}

TEST_F(FntNumChars, CountsCharactersNotBytes) {
    const FontPtr font = load("small");
    EXPECT_EQ(count(font, "\xC3\xA9\xC3\xA9\xC3\xA9\xC3\xA9", 12), 2);
}

TEST_F(FntNumChars, NothingGives0) {
    const FontPtr font = load("small");
    EXPECT_EQ(fnt_get_num_chars_we(nullptr, "abc", 100, 0), 0);
    EXPECT_EQ(fnt_get_num_chars_we(font.get(), nullptr, 100, 0), 0);
}

TEST(FntStrings, CopyIsCutAndAlwaysEnds) {
    char to[4] = {'x', 'x', 'x', 'x'};
    EXPECT_EQ(fnt::strlcpy(to, "abcdef", sizeof to), 6U);
    EXPECT_STREQ(to, "abc");
    EXPECT_EQ(fnt::strlcpy(to, "ab", sizeof to), 2U);
    EXPECT_STREQ(to, "ab");
    EXPECT_EQ(fnt::strlcpy(to, "zz", 1), 2U);
    EXPECT_STREQ(to, "");
    to[0] = 'x';
    EXPECT_EQ(fnt::strlcpy(to, "zz", 0), 2U);
    EXPECT_EQ(to[0], 'x');
}

TEST(FntStrings, FormattedTextIsCutAndAlwaysEnds) {
    char to[6] = {'x', 'x', 'x', 'x', 'x', 'x'};
    EXPECT_EQ(fnt::slprintf(to, sizeof to, "%d-%s", 12, "ab"), 5);
    EXPECT_STREQ(to, "12-ab");
    EXPECT_EQ(fnt::slprintf(to, sizeof to, "%d-%s", 12, "abcdef"), 5);
    EXPECT_STREQ(to, "12-ab");
    EXPECT_EQ(fnt::slprintf(to, 1, "%d", 7), 0);
    EXPECT_STREQ(to, "");
    to[0] = 'x';
    EXPECT_EQ(fnt::slprintf(to, 0, "%d", 7), 0);
    EXPECT_EQ(to[0], 'x');
}

TEST(FntStrings, TextThatCannotBeFormattedIsEmpty) {
    char to[6] = {'x', 'x', 'x', 'x', 'x', 'x'};
    EXPECT_EQ(fnt::slprintf(to, sizeof to, "%lc", static_cast<std::wint_t>(0x110000)), 0);
    EXPECT_STREQ(to, "");
}

}  // namespace
