// Files whose calls fail after they could be opened: each call of loading and saving in turn.

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <iterator>
#include <string>

#include "bmp_files.h"
#include "graphics/BuiltinFonts.h"
#include "graphics/GrFont.h"
#include "graphics/GrShape.h"
#include "graphics/RegularFile.h"
#include "scratch_folder.h"

using VelaGraphics::F9x5m;
using VelaGraphics::Font;
using VelaGraphics::Position;
using VelaGraphics::Shape;
using VelaGraphics::Size;

namespace {

// The calls that fail here; they are wrapped at link time (see CMakeLists.txt).
enum class FileCall { none, fdopen, statx, fread, fwrite, fclose };

FileCall failing = FileCall::none;
int callsLeft = 0;  // until the one that fails; below 1: it has failed

bool fails(FileCall call) {
    if (call != failing || --callsLeft != 0) {
        return false;
    }
    errno = EIO;
    return true;
}

}  // namespace

extern "C" {
std::FILE* __real_fdopen(int fd, const char* mode);
int __real_statx(int folder, const char* path, int flags, unsigned int mask, struct statx* status);
std::size_t __real_fread(void* to, std::size_t size, std::size_t count, std::FILE* file);
std::size_t __real___fread_chk(void* to, std::size_t room, std::size_t size, std::size_t count,
                               std::FILE* file);
std::size_t __real_fwrite(const void* from, std::size_t size, std::size_t count, std::FILE* file);
int __real_fclose(std::FILE* file);

std::FILE* __wrap_fdopen(int fd, const char* mode) {
    return fails(FileCall::fdopen) ? nullptr : __real_fdopen(fd, mode);
}
int __wrap_statx(int folder, const char* path, int flags, unsigned int mask, struct statx* status) {
    return fails(FileCall::statx) ? -1 : __real_statx(folder, path, flags, mask, status);
}
std::size_t __wrap_fread(void* to, std::size_t size, std::size_t count, std::FILE* file) {
    return fails(FileCall::fread) ? 0 : __real_fread(to, size, count, file);
}
// What a hardened build calls instead.
std::size_t __wrap___fread_chk(void* to, std::size_t room, std::size_t size, std::size_t count,
                               std::FILE* file) {
    return fails(FileCall::fread) ? 0 : __real___fread_chk(to, room, size, count, file);
}
std::size_t __wrap_fwrite(const void* from, std::size_t size, std::size_t count, std::FILE* file) {
    return fails(FileCall::fwrite) ? 0 : __real_fwrite(from, size, count, file);
}
int __wrap_fclose(std::FILE* file) {
    const int result = __real_fclose(file);
    return fails(FileCall::fclose) ? EOF : result;
}
}

namespace {

long openDescriptors() {
    const std::filesystem::directory_iterator all("/proc/self/fd");
    return std::distance(begin(all), end(all));
}

class FailingFiles : public testing::Test {
protected:
    // Has the first, the second ... call of a kind fail until the action, which tells whether it succeeded,
    // makes no further one. It must fail each time, then succeed, and leave no file open. Returns how many
    // calls it makes.
    static int failEach(FileCall call, const std::function<bool()>& action) {
        const long openBefore = openDescriptors();
        for (int nth = 1;; ++nth) {
            failing = call;
            callsLeft = nth;
            const bool succeeded = action();
            failing = FileCall::none;
            EXPECT_EQ(openDescriptors(), openBefore) << "call " << nth;
            const bool failed = callsLeft < 1;
            EXPECT_NE(succeeded, failed) << "call " << nth;
            if (!failed || succeeded) {
                return nth - 1;
            }
        }
    }

    ScratchFolder folder;
};

TEST_F(FailingFiles, LoadingABitmapFontFailsAndLeavesNone) {
    ASSERT_TRUE(Font(F9x5m).saveToFile("one.fnt"));
    const auto load = [] {
        Font font;
        const bool loaded = font.loadFromFile("one.fnt");
        EXPECT_EQ(font.fontData() != nullptr, loaded);
        return loaded;
    };
    EXPECT_EQ(failEach(FileCall::fdopen, load), 1);
    EXPECT_EQ(failEach(FileCall::statx, load), 2) << "its kind and its size";
    EXPECT_EQ(failEach(FileCall::fread, load), 2) << "the head and the data";
}

TEST_F(FailingFiles, BitmapFontWhoseDataCannotBeReadTakesTheOneBeforeAway) {
    ASSERT_TRUE(Font(F9x5m).saveToFile("one.fnt"));
    Font owning;
    ASSERT_TRUE(owning.loadFromFile("one.fnt"));
    Font borrowing(F9x5m);
    for (Font* font : {&owning, &borrowing}) {
        failing = FileCall::fread;
        callsLeft = 2;
        EXPECT_FALSE(font->loadFromFile("one.fnt"));
        failing = FileCall::none;
        EXPECT_EQ(font->fontData(), nullptr);
        EXPECT_EQ(font->charHeight(), 0);
    }
}

TEST_F(FailingFiles, SavingABitmapFontFails) {
    const auto save = [] { return Font(F9x5m).saveToFile("saved.fnt"); };
    EXPECT_EQ(failEach(FileCall::fdopen, save), 1);
    EXPECT_EQ(failEach(FileCall::fwrite, save), 2);
    EXPECT_EQ(failEach(FileCall::fclose, save), 1);
}

TEST_F(FailingFiles, LoadingAShapeFailsAndLeavesNone) {
    writeFile("one.shp", shapeFile(2, 2, "\1\1\1\1"));
    const auto load = [] {
        Shape shape;
        const bool loaded = shape.loadFromFile("one.shp");
        EXPECT_EQ(shape.data() != nullptr, loaded);
        EXPECT_EQ(shape.size(), loaded ? Size(2, 2) : Size(0, 0));
        return loaded;
    };
    EXPECT_EQ(failEach(FileCall::fdopen, load), 1);
    EXPECT_EQ(failEach(FileCall::statx, load), 2);
    EXPECT_EQ(failEach(FileCall::fread, load), 2);
}

TEST_F(FailingFiles, SavingAShapeFails) {
    const unsigned char mask[4] = {1, 0, 0, 1};
    const Shape shape(Position(), Size(2, 2), mask);
    const auto save = [&shape] { return shape.saveToFile("saved.shp"); };
    EXPECT_EQ(failEach(FileCall::fdopen, save), 1);
    EXPECT_EQ(failEach(FileCall::fwrite, save), 2);
    EXPECT_EQ(failEach(FileCall::fclose, save), 1);
}

TEST_F(FailingFiles, ReadingABitmapFailsWithTheFittingError) {
    writeBytes("one.bmp", fileBytes(3, 2, 8));
    const auto readWith = [](BMP_STATUS expected) {
        return [expected] {
            const Image image(BMP_ReadFile("one.bmp"));
            EXPECT_EQ(BMP_GetError(), image.get() != nullptr ? BMP_OK : expected);
            return image.get() != nullptr;
        };
    };
    constexpr int kHeaderFields = 16;
    EXPECT_EQ(failEach(FileCall::fdopen, readWith(BMP_FILE_NOT_FOUND)), 1);
    EXPECT_EQ(failEach(FileCall::fread, readWith(BMP_FILE_INVALID)), kHeaderFields + 2);
}

TEST_F(FailingFiles, BitmapWhoseSizeCannotBeToldHasNoBytes) {
    writeBytes("one.bmp", fileBytes(3, 2, 24));
    failing = FileCall::statx;
    callsLeft = 2;  // the first tells that it is a regular file
    EXPECT_EQ(BMP_ReadFile("one.bmp"), nullptr);
    failing = FileCall::none;
    EXPECT_EQ(BMP_GetError(), BMP_FILE_INVALID);
}

// Where the C library has 32 bits for seconds, fstat() fails for such a file.
TEST_F(FailingFiles, TimeStampBeyond2038IsNoFailure) {
    ASSERT_TRUE(Font(F9x5m).saveToFile("one.fnt"));
    writeFile("one.shp", shapeFile(2, 2, "\1\1\1\1"));
    writeBytes("one.bmp", fileBytes(3, 2, 24));
    ASSERT_EQ(std::system("touch -d 2040-01-01 one.fnt one.shp one.bmp"), 0);
    Font font;
    EXPECT_TRUE(font.loadFromFile("one.fnt"));
    Shape shape;
    EXPECT_TRUE(shape.loadFromFile("one.shp"));
    EXPECT_NE(Image(BMP_ReadFile("one.bmp")).get(), nullptr);
}

TEST_F(FailingFiles, NoPathTouchesNoDescriptor) {
    const long openBefore = openDescriptors();
    EXPECT_EQ(openRegularFile(nullptr), nullptr);
    EXPECT_EQ(createFile(nullptr), nullptr);
    EXPECT_EQ(openDescriptors(), openBefore);
}

TEST_F(FailingFiles, SavedFileHasTheRightsThatTheUserGivesNewFiles) {
    const mode_t before = ::umask(0027);
    EXPECT_TRUE(Font(F9x5m).saveToFile("one.fnt"));
    ::umask(0);
    EXPECT_TRUE(Font(F9x5m).saveToFile("two.fnt"));
    ::umask(before);
    const auto rights = [](const char* file) { return std::filesystem::status(file).permissions(); };
    EXPECT_EQ(rights("one.fnt"), static_cast<std::filesystem::perms>(0640));
    EXPECT_EQ(rights("two.fnt"), static_cast<std::filesystem::perms>(0666));
}

TEST_F(FailingFiles, WritingABitmapIsAnInputOutputError) {
    const Image image(BMP_Create(3, 2, 8));
    const auto write = [&image] {
        BMP_WriteFile(image.get(), "saved.bmp");
        return BMP_GetError() == BMP_OK;
    };
    EXPECT_EQ(failEach(FileCall::fwrite, write), 18);
    EXPECT_EQ(failEach(FileCall::fclose, write), 1);
    EXPECT_EQ(failEach(FileCall::fdopen, write), 1);
}

}  // namespace
