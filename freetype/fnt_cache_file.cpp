#include "freetype/fnt_cache_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>
#include <new>

#include "freetype/fnt_file.h"

namespace fnt {
namespace {

constexpr std::size_t kMagicSize = 4;
constexpr std::size_t kWordSize = 4;
constexpr std::size_t kRecordSize = 6 * kWordSize;
constexpr std::size_t kAdvanceAt = kMagicSize + kFntSlots * kRecordSize;
constexpr std::size_t kDataSizeAt = kAdvanceAt + kWordSize;
constexpr std::size_t kHeadSize = kDataSizeAt + kWordSize;
static_assert(kHeadSize == 6156, "the glyph data begins here");

using Head = std::array<unsigned char, kHeadSize>;

// A file for reading, closed at the end of the scope.
class File {
public:
    // O_NONBLOCK: opening a FIFO must not wait for its writer.
    explicit File(const char* path) : m_fd(open(path, O_RDONLY | O_NONBLOCK | O_CLOEXEC)) {}
    ~File() {
        if (m_fd >= 0) {
            close(m_fd);
        }
    }
    File(const File&) = delete;
    File& operator=(const File&) = delete;

    // The bytes of a regular file; -1 for anything else and when there is none.
    [[nodiscard]] std::int64_t size() const {
        return m_fd >= 0 ? regularFileSize(m_fd, "", AT_EMPTY_PATH) : -1;
    }

    // Reads the next `size` bytes. False when there are not so many.
    [[nodiscard]] bool read(unsigned char* bytes, std::size_t size) const {
        while (size > 0) {
            const ssize_t got = ::read(m_fd, bytes, size);
            if (got < 0 && errno == EINTR) {
                continue;
            }
            if (got <= 0) {
                return false;
            }
            bytes += got;
            size -= static_cast<std::size_t>(got);
        }
        return true;
    }

private:
    int m_fd;
};

std::uint32_t word(const unsigned char* p) {
    return std::uint32_t{p[0]} | std::uint32_t{p[1]} << 8 | std::uint32_t{p[2]} << 16 |
           std::uint32_t{p[3]} << 24;
}

bool hasMagic(const Head& head) {
    return std::memcmp(head.data(), "FNT2", kMagicSize) == 0 ||
           std::memcmp(head.data(), "FNT3", kMagicSize) == 0;
}

fchar_t recordAt(const unsigned char* p) {
    fchar_t record = {};
    record.ax = static_cast<short>(word(p));
    record.ox = static_cast<short>(word(p + kWordSize));
    record.oy = static_cast<short>(word(p + 2 * kWordSize));
    record.w = static_cast<unsigned short>(word(p + 3 * kWordSize));
    record.h = static_cast<unsigned short>(word(p + 4 * kWordSize));
    record.offset = word(p + 5 * kWordSize);
    return record;
}

void readHead(const Head& head, font_t* font) {
    const unsigned char* p = head.data() + kMagicSize;
    for (fchar_t& slot : font->ch) {
        slot = recordAt(p);
        p += kRecordSize;
    }
    font->ay = font->sy = static_cast<int>(word(head.data() + kAdvanceAt));
    font->data_sz = word(head.data() + kDataSizeAt);
}

bool glyphsLieInside(const font_t& font) {
    return std::all_of(std::begin(font.ch), std::end(font.ch), [&font](const fchar_t& slot) {
        return std::uint64_t{slot.offset} + std::uint64_t{slot.w} * slot.h <= font.data_sz;
    });
}

// Asks for memory only when the file holds what its head promises.
bool readGlyphData(const File& file, std::int64_t fileSize, font_t* font) {
    if (fileSize - static_cast<std::int64_t>(kHeadSize) < std::int64_t{font->data_sz}) {
        return false;
    }
    font->data = new (std::nothrow) unsigned char[font->data_sz];
    if (font->data == nullptr || !file.read(font->data, font->data_sz)) {
        return false;
    }
    for (fchar_t& slot : font->ch) {
        slot.data = font->data + slot.offset;
    }
    return true;
}

}  // namespace

bool readCacheFile(const char* name, font_t* font) {
    char path[PATH_MAX];
    const int length = std::snprintf(path, sizeof path, "font/%s.font", name);
    if (length < 0 || length >= static_cast<int>(sizeof path)) {
        return false;
    }
    const File file(path);
    const std::int64_t size = file.size();
    Head head;
    if (size < static_cast<std::int64_t>(kHeadSize) || !file.read(head.data(), head.size()) ||
        !hasMagic(head)) {
        return false;
    }
    readHead(head, font);
    return glyphsLieInside(*font) && readGlyphData(file, size, font);
}

}  // namespace fnt
