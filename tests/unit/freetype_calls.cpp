#include "freetype_calls.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace {
FreeTypeCalls calls;

std::string words(std::initializer_list<long> numbers) {
    std::string text;
    for (const long number : numbers) {
        text += ' ' + std::to_string(number);
    }
    return text;
}
}  // namespace

FreeTypeCalls& freeTypeCalls() {
    return calls;
}

FreeTypeCalls& resetFreeTypeCalls() {
    return calls = {};
}

extern "C" {
FT_Error __real_FT_Init_FreeType(FT_Library* library);
FT_Error __real_FT_New_Face(FT_Library library, const char* path, FT_Long index, FT_Face* face);
FT_Error __real_FT_Done_Face(FT_Face face);
FT_Error __real_FT_Set_Pixel_Sizes(FT_Face face, FT_UInt width, FT_UInt height);
FT_Error __real_FT_Set_Char_Size(FT_Face face, FT_F26Dot6 width, FT_F26Dot6 height, FT_UInt across,
                                 FT_UInt down);
FT_Error __real_FT_Load_Char(FT_Face face, FT_ULong code, FT_Int32 flags);
FT_UInt __real_FT_Get_Char_Index(FT_Face face, FT_ULong code);
FT_Error __real_FT_Get_Kerning(FT_Face face, FT_UInt left, FT_UInt right, FT_UInt mode, FT_Vector* distance);
ssize_t __real_read(int fd, void* bytes, std::size_t size);
ssize_t __real___read_chk(int fd, void* bytes, std::size_t size, std::size_t room);
FT_Error __real_FT_Bitmap_Convert(FT_Library library, const FT_Bitmap* from, FT_Bitmap* to, FT_Int alignment);
char* __real_strdup(const char* text);

FT_Error __wrap_FT_Init_FreeType(FT_Library* library) {
    if (calls.initFails) {
        return FT_Err_Out_Of_Memory;
    }
    return calls.init != nullptr ? calls.init(library) : __real_FT_Init_FreeType(library);
}
FT_Error __wrap_FT_New_Face(FT_Library library, const char* path, FT_Long index, FT_Face* face) {
    ++calls.newFaces;
    return __real_FT_New_Face(library, path, index, face);
}
FT_Error __wrap_FT_Done_Face(FT_Face face) {
    ++calls.doneFaces;
    return __real_FT_Done_Face(face);
}
FT_Error __wrap_FT_Set_Pixel_Sizes(FT_Face face, FT_UInt width, FT_UInt height) {
    calls.sizes.push_back("pixels" + words({static_cast<long>(width), static_cast<long>(height)}));
    return __real_FT_Set_Pixel_Sizes(face, width, height);
}
FT_Error __wrap_FT_Set_Char_Size(FT_Face face, FT_F26Dot6 width, FT_F26Dot6 height, FT_UInt across,
                                 FT_UInt down) {
    calls.sizes.push_back("char" +
                          words({width, height, static_cast<long>(across), static_cast<long>(down)}));
    return __real_FT_Set_Char_Size(face, width, height, across, down);
}
FT_Error __wrap_FT_Load_Char(FT_Face face, FT_ULong code, FT_Int32 flags) {
    const char* const how = flags == 4 ? " render" : flags == 0 ? " measure" : " unexpected flags";
    calls.loads.push_back(std::to_string(code) + how);
    const FT_Error error =
        calls.loadsFail ? FT_Err_Invalid_Glyph_Index : __real_FT_Load_Char(face, code, flags);
    if (error == 0 && calls.onLoad) {
        calls.onLoad(face->glyph);
    }
    return error;
}
FT_UInt __wrap_FT_Get_Char_Index(FT_Face face, FT_ULong code) {
    ++calls.charIndexes;
    return __real_FT_Get_Char_Index(face, code);
}
FT_Error __wrap_FT_Get_Kerning(FT_Face face, FT_UInt left, FT_UInt right, FT_UInt mode, FT_Vector* distance) {
    return calls.kerningFails ? FT_Err_Invalid_Face_Handle
                              : __real_FT_Get_Kerning(face, left, right, mode, distance);
}
ssize_t __wrap_read(int fd, void* bytes, std::size_t size) {
    if (calls.reads.empty()) {
        return __real_read(fd, bytes, size);
    }
    const int error = calls.reads.front();
    calls.reads.pop_front();
    if (error == 0) {
        return 0;
    }
    errno = error;
    return -1;
}
// What a hardened build calls instead.
ssize_t __wrap___read_chk(int fd, void* bytes, std::size_t size, std::size_t room) {
    return calls.reads.empty() ? __real___read_chk(fd, bytes, size, room) : __wrap_read(fd, bytes, size);
}
FT_Error __wrap_FT_Bitmap_Convert(FT_Library library, const FT_Bitmap* from, FT_Bitmap* to,
                                  FT_Int alignment) {
    return calls.convertsFail ? FT_Err_Out_Of_Memory : __real_FT_Bitmap_Convert(library, from, to, alignment);
}
char* __wrap_strdup(const char* text) {
    return calls.strdupFails ? nullptr : __real_strdup(text);
}
}
