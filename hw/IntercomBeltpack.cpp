#include "hw/IntercomBeltpack.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "hw/HardwareIO.h"

using VelaGraphics::Pixel;

static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__, "blue, green and red are the first bytes of a px");

namespace {

constexpr std::size_t kColumns = IntercomBeltpack::kDisplayWidth;
constexpr std::size_t kPages = IntercomBeltpack::kDisplayHeight / 8;
constexpr std::size_t kRowsPerPage = 8;
constexpr std::size_t kRowBytes = kColumns * sizeof(Pixel);
constexpr std::size_t kMirrorStep = sizeof(std::uint64_t);
static_assert(kColumns % kMirrorStep == 0, "a page is mirrored in whole words");

using Columns = std::array<unsigned char, kColumns>;
using Channels = std::array<unsigned char, kRowBytes>;

// Moves the older rows one bit down and sets bit 7 when `channel` is 0. The form is a rounded average, for
// which both SSE2 and NEON have one instruction on sixteen bytes. With eight rows it is exact: the bit that
// would be rounded is always clear, because the first row reaches bit 0 with the eighth.
constexpr unsigned char addDarkRow(unsigned char rows, unsigned char channel) {
    const unsigned char dark = channel == 0 ? 0xFF : 0;
    return static_cast<unsigned char>((rows + dark + 1) >> 1);
}

// One byte a channel of the page's columns (alpha too): bit k is set when that byte of row k's `px` is 0.
// Walks the bytes of the pixels, so that the compiler compares four pixels at once without widening.
Channels gatherDarkRows(const unsigned char* page) {
    Channels rows;
    for (std::size_t i = 0; i < kRowBytes; ++i) {
        unsigned char byte = 0;
        for (std::size_t k = 0; k < kRowsPerPage; ++k) {
            byte = addDarkRow(byte, page[k * kRowBytes + i]);
        }
        rows[i] = byte;
    }
    return rows;
}

// A pixel is dark when blue, green and red are; its alpha does not count.
Columns litColumns(const Channels& dark) {
    Columns lit;
    for (std::size_t c = 0; c < kColumns; ++c) {
        const unsigned char blue = dark[c * 4];
        const unsigned char green = dark[c * 4 + 1];
        const unsigned char red = dark[c * 4 + 2];
        lit[c] = static_cast<unsigned char>(~(blue & green & red));
    }
    return lit;
}

// Compilers know this form as the processor's byte swap.
constexpr std::uint64_t reverseBytes(std::uint64_t v) {
    return v >> 56 | (v >> 40 & 0xFF00) | (v >> 24 & 0xFF0000) | (v >> 8 & 0xFF000000) |
           (v & 0xFF000000) << 8 | (v & 0xFF0000) << 24 | (v & 0xFF00) << 40 | v << 56;
}

void mirror(const Columns& columns, unsigned char* packed) {
    for (std::size_t c = 0; c < kColumns; c += kMirrorStep) {
        std::uint64_t word;
        std::memcpy(&word, &columns[c], sizeof(word));
        word = reverseBytes(word);
        std::memcpy(packed + kColumns - kMirrorStep - c, &word, sizeof(word));
    }
}

}  // namespace

void packFrame(const Pixel* frame, unsigned char* packed) {
    const auto* bytes = reinterpret_cast<const unsigned char*>(frame);
    for (std::size_t page = 0; page < kPages; ++page) {
        mirror(litColumns(gatherDarkRows(bytes + page * kRowsPerPage * kRowBytes)), packed + page * kColumns);
    }
}

void IntercomBeltpack::DrawDisplay(unsigned int /*display*/, const Pixel* frame) {
    packFrame(frame, m_frame);
    hardwareWriteFrameToDisplay(m_frame);
}

void IntercomBeltpack::SetIndicator(unsigned int /*indicator*/, unsigned int /*state*/) {}

void IntercomBeltpack::ScanForHarwareEvents() {
    if (m_cb == nullptr) {
        return;
    }
    int key = 0;
    int event = 0;
    int msec = 0;
    if (hardwareScanForKeyEvents(&key, &event, &msec) != 0) {
        m_cb->OnKeyPress(key, event, msec);
    }
}
