#include "graphics/GrFont.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <limits>
#include <memory>
#include <new>
#include <utility>

#include "graphics/RegularFile.h"

namespace VelaGraphics {
namespace {

constexpr std::size_t kHeadSize = sizeof(Font::FontInfoHeader);
constexpr std::array<unsigned char, 4> kMagic = {'f', 'o', 'n', 't'};
constexpr std::size_t kPreambleSize = kMagic.size() + 4;  // magic and length
// No header, not even an invalid one, describes more than this.
constexpr std::uint32_t kLargestDatasize = kHeadSize + 256 * (127 * 255 + 1);

std::uint32_t littleEndian(const unsigned char* p) {
    return std::uint32_t{p[0]} | std::uint32_t{p[1]} << 8 | std::uint32_t{p[2]} << 16 |
           std::uint32_t{p[3]} << 24;
}

std::array<unsigned char, kPreambleSize> preamble(std::uint32_t length) {
    std::array<unsigned char, kPreambleSize> bytes{};
    std::copy(kMagic.begin(), kMagic.end(), bytes.begin());
    for (std::size_t i = kMagic.size(); i < bytes.size(); ++i, length >>= 8) {
        bytes[i] = static_cast<unsigned char>(length);
    }
    return bytes;
}

template <typename Int>
Int clampTo(std::int64_t value) {
    return static_cast<Int>(
        std::clamp<std::int64_t>(value, std::numeric_limits<Int>::min(), std::numeric_limits<Int>::max()));
}

// Bytes of a glyph; at most 32386 and at least -32640, whatever the header holds.
int glyphSize(const Font::FontInfoHeader& head) {
    return head.f_byPline * head.f_height + (head.f_width == 0 ? 1 : 0);
}

// True when one axis of a glyph lies wholly on the buffer.
inline bool isInside(std::int32_t start, std::int32_t extent, std::int32_t limit) {
    return start >= 0 && limit >= extent && start <= limit - extent;
}

template <bool opaque, int columns>
inline void paintByte(unsigned bits, Pixel* left, Pixel fg, Pixel bg) {
    for (int column = 0; column < columns; ++column) {
        const bool set = (bits & (0x80U >> column)) != 0;
        if (opaque || set) {
            left[column].px = set ? fg.px : bg.px;
        }
    }
}

// The usual glyph: one byte a row, at least one row, and wholly on the buffer, from the pixel `left` on.
// There is a function for each number of columns, which the compiler unrolls into a test and a store each.
template <bool opaque, int columns>
void paintBytes(const unsigned char* row, int rows, Pixel* left, std::ptrdiff_t stride, Pixel fg, Pixel bg) {
    for (;; ++row, left += stride) {
        if (opaque || *row != 0) {
            paintByte<opaque, columns>(*row, left, fg, bg);
        }
        if (--rows == 0) {
            return;
        }
    }
}
using BytePainter = void (*)(const unsigned char* row, int rows, Pixel* left, std::ptrdiff_t stride, Pixel fg,
                             Pixel bg);

constexpr std::size_t kByteColumns = 8;
using BytePainters = std::array<BytePainter, kByteColumns + 1>;  // by the number of columns

template <bool opaque, std::size_t... columns>
constexpr BytePainters bytePainters(std::index_sequence<columns...>) {
    return {{&paintBytes<opaque, static_cast<int>(columns)>...}};
}
constexpr BytePainters kTransparentPainters =
    bytePainters<false>(std::make_index_sequence<kByteColumns + 1>{});
constexpr BytePainters kOpaquePainters = bytePainters<true>(std::make_index_sequence<kByteColumns + 1>{});

// What one axis of a glyph keeps on a buffer.
struct Span {
    std::int32_t first;  // in the buffer
    std::int32_t skip;   // of the glyph, before the part that is drawn
    std::int32_t count;  // below 1: nothing is drawn
};

// `extent` is at most 255.
Span clipped(std::int32_t start, std::int32_t extent, std::int32_t limit) {
    if (limit < 1 || start <= -extent) {
        return {0, 0, 0};
    }
    if (start < 0) {
        return {0, -start, std::min(extent + start, limit)};
    }
    // Required, do not mend: a glyph beyond the edge stays visible on the last column or row.
    const std::int32_t first = std::min(limit - 1, start);
    return {first, 0, std::min(extent, limit - first)};
}

// A row as a number, its leftmost pixel in the highest bit.
std::uint64_t rowBits(const unsigned char* row, int bytes) {
    std::uint64_t bits = 0;
    for (int i = 0, shift = 56; i < bytes && shift >= 0; ++i, shift -= 8) {
        bits |= std::uint64_t{row[i]} << shift;
    }
    return bits;
}

// The bits of the drawn columns, moved to the top; none for columns that the 64 bits do not have.
std::uint64_t drawnBits(std::uint64_t bits, const Span& across) {
    const int columns = std::min(across.count, 64 - across.skip);
    return columns < 1 ? 0 : bits << across.skip & ~std::uint64_t{0} << (64 - columns);
}

void paintRow(Pixel* left, std::uint64_t bits, int columns, Pixel fg, Pixel bg) {
    if (!bg.isTransparent()) {
        std::fill_n(left, columns, bg);
    }
    for (; bits != 0; bits &= bits - 1) {
        left[__builtin_ctzll(bits) ^ 63] = fg;
    }
}

}  // namespace

Font::Font(const unsigned char* data) : m_data(data) {
    updateFontInfo();
}

Font::~Font() {
    release();
}

void Font::release() {
    if (ownsFontData) {
        delete[] m_data;
    }
    ownsFontData = false;
    m_data = nullptr;
    charsize = 0;
    maxwi = 0;
}

bool Font::setFont(const unsigned char* data) {
    release();
    m_data = data;
    return updateFontInfo();
}

bool Font::updateFontInfo() {
    charsize = 0;
    maxwi = 0;
    if (m_data == nullptr) {
        return false;
    }
    charsize = static_cast<short>(glyphSize(*info()));
    maxwi = static_cast<short>(isProportional() ? widestGlyph() : info()->f_width);
    return isValid();
}

int Font::widestGlyph() const {
    int widest = 0;
    for (int ch = info()->f_minascii; ch <= info()->f_maxascii; ++ch) {
        widest = std::max(widest, charWidth(ch));
    }
    return widest;
}

bool Font::isValid() const {
    if (m_data == nullptr) {
        return false;
    }
    const FontInfoHeader& h = *info();
    return h.f_height >= 3 && h.f_height <= 128 && h.f_ucut < h.f_height && h.f_width <= 64 &&
           h.f_byPline >= 1 && h.f_byPline <= 8 && h.f_width <= 8 * h.f_byPline &&
           h.f_maxascii >= h.f_minascii;
}

unsigned Font::fontDatasize() const {
    if (m_data == nullptr) {
        return 0;
    }
    const int glyphs = info()->f_maxascii - info()->f_minascii + 1;
    return static_cast<unsigned>(static_cast<int>(kHeadSize) + glyphs * glyphSize(*info()));
}

bool Font::loadFromFile(const char* path) {
    if (ownsFontData) {
        release();
    }
    const File file = openRegularFile(path);
    std::array<unsigned char, kPreambleSize> start;
    if (file == nullptr || !readAll(file.get(), start.data(), start.size()) ||
        !std::equal(kMagic.begin(), kMagic.end(), start.begin())) {
        return false;
    }
    const std::uint32_t length = littleEndian(&start[kMagic.size()]);
    if (length < kHeadSize) {
        return false;
    }
    if (length > kLargestDatasize || length + kPreambleSize > regularFileSize(file.get())) {
        release();  // as after reading too few bytes, but without room for bytes that cannot come
        return false;
    }
    return adoptFrom(file.get(), length);
}

bool Font::adoptFrom(std::FILE* file, std::uint32_t length) {
    std::unique_ptr<unsigned char[]> data(new (std::nothrow) unsigned char[length]);
    if (data == nullptr) {
        return false;
    }
    release();
    if (!readAll(file, data.get(), length)) {
        return false;
    }
    m_data = data.release();
    ownsFontData = true;
    if (fontDatasize() != length) {
        release();
        return false;
    }
    return updateFontInfo();
}

bool Font::saveToFile(const char* path) const {
    if (path == nullptr || !isValid()) {
        return false;
    }
    File file = createFile(path);
    if (file == nullptr) {
        return false;
    }
    const unsigned size = fontDatasize();
    const auto start = preamble(size);
    const bool written =
        writeAll(file.get(), start.data(), start.size()) && writeAll(file.get(), m_data, size);
    return finish(std::move(file)) && written;
}

// Any glyph anywhere. Apart from the usual one, which shall not pay for it.
[[gnu::noinline]] void Font::paintClipped(const unsigned char* rows, int width, const Size& extent,
                                          Pixel* buf, const Position& pos, Pixel fg, Pixel bg) const {
    const int rowBytes = info()->f_byPline;
    const Span across = clipped(pos.x, width, extent.w);
    const Span down = clipped(pos.y, info()->f_height, extent.h);
    if (across.count < 1) {
        return;
    }
    for (int i = 0; i < down.count; ++i) {
        const std::uint64_t bits = rowBits(rows + (down.skip + i) * rowBytes, rowBytes);
        Pixel* const left = buf + std::ptrdiff_t{down.first + i} * extent.w + across.first;
        paintRow(left, drawnBits(bits, across), across.count, fg, bg);
    }
}

inline int Font::paint(int ch, const Size& extent, Pixel* buf, const Position& pos, Pixel fg,
                       Pixel bg) const {
    const unsigned char* rows = glyphData(ch);
    if (rows == nullptr) {
        return 0;
    }
    const FontInfoHeader& head = *info();
    const int width = glyphWidth(rows);
    rows += isProportional() ? 1 : 0;
    if (head.f_byPline == 1 && head.f_height > 0 && static_cast<unsigned>(width) <= kByteColumns &&
        isInside(pos.x, width, extent.w) && isInside(pos.y, head.f_height, extent.h)) {
        const BytePainters& painters = bg.isTransparent() ? kTransparentPainters : kOpaquePainters;
        Pixel* const topLeft = buf + std::ptrdiff_t{pos.y} * extent.w + pos.x;
        painters[static_cast<unsigned>(width)](rows, head.f_height, topLeft, extent.w, fg, bg);
    } else {
        paintClipped(rows, width, extent, buf, pos, fg, bg);
    }
    return width;
}

int Font::drawChar(int ch, std::int32_t bufWidth, std::int32_t bufHeight, Pixel* buf, const Position& pos,
                   Pixel fg, Pixel bg) const {
    return paint(ch, {bufWidth, bufHeight}, buf, pos, fg, bg);
}

void Font::drawChar(int ch, DisplayBuffer& buf, Position& pos, EOrientation o, int spacing, Pixel fg,
                    Pixel bg) const {
    const int width = paint(ch, buf.size, buf.getvdb(), pos, fg, bg);
    if (width == 0) {
        return;
    }
    if (o == EORIENT_VERTICAL) {
        pos.y = clampTo<std::int32_t>(std::int64_t{pos.y} + charHeight() + spacing);
    } else {
        pos.x = clampTo<std::int32_t>(std::int64_t{pos.x} + width + spacing);
    }
}

void Font::drawText(const char* text, DisplayBuffer& buf, const Position& pos, EOrientation o, int spacing,
                    Pixel fg, Pixel bg) const {
    Position at = pos;
    for (; text != nullptr && *text != '\0'; ++text) {
        drawChar(static_cast<unsigned char>(*text), buf, at, o, spacing, fg, bg);
    }
}

std::int64_t Font::exactLength(const char* text, int spacing) const {
    std::int64_t length = 0;
    if (m_data == nullptr || text == nullptr) {
        return length;
    }
    for (; *text != '\0'; ++text) {
        length += std::int64_t{charWidth(static_cast<unsigned char>(*text))} + spacing;
    }
    return length;
}

int Font::textLength(const char* text, int spacing) const {
    return clampTo<int>(exactLength(text, spacing));
}

int Font::textFit(const char* text, int spacing, int maxWidth, const char* suffix) const {
    if (text == nullptr) {
        return -1;
    }
    // Below 0, by a negative spacing, it would let a text pass for fitting that does not.
    const std::int64_t suffixWidth = std::max<std::int64_t>(exactLength(suffix, spacing), 0);
    std::int64_t width = 0;
    int cut = -1;
    for (int i = 0; text[i] != '\0'; ++i, width += spacing) {
        width += charWidth(static_cast<unsigned char>(text[i]));
        if (cut < 0 && width + suffixWidth > maxWidth) {
            cut = i;  // the suffix would not fit behind this character, should the text prove too wide
        }
        if (width > maxWidth) {
            return cut;
        }
    }
    return -1;
}

}  // namespace VelaGraphics
