#include "sim/record/GifWriter.h"

#include <gif_lib.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>
#include <vector>

namespace sim {
namespace {

constexpr double kMsPerUnit = 10;
constexpr std::int64_t kLongestUnits = 0xFFFF;  // of one image
constexpr int kBitsPerPixel = 1;
constexpr std::array<GifColorType, 2> kColours = {{{0, 0, 0}, {255, 255, 255}}};  // dark, lit

constexpr char kLoopName[] = "NETSCAPE2.0";
constexpr std::array<GifByteType, 3> kLoopForEver = {1, 0, 0};

std::int64_t unitsAt(double ms) {
    return std::llround(ms / kMsPerUnit);
}

int writeBytes(GifFileType* gif, const GifByteType* bytes, int size) {
    auto* file = static_cast<OutputFile*>(gif->UserData);
    const auto count = static_cast<std::size_t>(size);
    return file->write({reinterpret_cast<const char*>(bytes), count}) ? size : 0;
}

bool putExtension(GifFileType* gif, int code, const GifByteType* bytes, std::size_t size) {
    return EGifPutExtension(gif, code, static_cast<int>(size), bytes) == GIF_OK;
}

}  // namespace

GifWriter::~GifWriter() {
    if (m_gif != nullptr) {
        EGifCloseFile(m_gif, nullptr);
    }
}

std::string GifWriter::open(const std::string& file, unsigned scale) {
    m_scale = scale;
    if (!m_file.open(file)) {
        return m_file.error();
    }
    m_gif = EGifOpen(&m_file, writeBytes, nullptr);
    if (m_gif == nullptr) {
        return "no memory for " + file;
    }
    if (!putHeader()) {
        fail();
    }
    return m_error;
}

void GifWriter::fail() {
    m_error = m_file.error().empty() ? "the GIF library has failed" : m_file.error();
    EGifCloseFile(m_gif, nullptr);
    m_gif = nullptr;
}

bool GifWriter::putHeader() {
    using ColourMap = std::unique_ptr<ColorMapObject, decltype(&GifFreeMapObject)>;
    const ColourMap colours(GifMakeMapObject(static_cast<int>(kColours.size()), kColours.data()),
                            GifFreeMapObject);
    const auto width = static_cast<int>(Picture::kWidth * m_scale);
    const auto height = static_cast<int>(Picture::kHeight * m_scale);
    EGifSetGifVersion(m_gif, true);
    return EGifPutScreenDesc(m_gif, width, height, kBitsPerPixel, 0, colours.get()) == GIF_OK &&
           EGifPutExtensionLeader(m_gif, APPLICATION_EXT_FUNC_CODE) == GIF_OK &&
           EGifPutExtensionBlock(m_gif, sizeof kLoopName - 1, kLoopName) == GIF_OK &&
           EGifPutExtensionBlock(m_gif, kLoopForEver.size(), kLoopForEver.data()) == GIF_OK &&
           EGifPutExtensionTrailer(m_gif) == GIF_OK;
}

// ---- Time ----

void GifWriter::show(const Picture& picture, double ms) {
    const std::int64_t now = unitsAt(ms);
    if (!m_waiting) {
        m_waiting = Shown{picture, now};
        return;
    }
    if (picture == m_waiting->picture) {
        return;
    }
    const std::int64_t units = now - m_waiting->since;
    if (units < kShortestUnits) {
        m_waiting->picture = picture;
        return;
    }
    put(m_waiting->picture, units);
    m_waiting = Shown{picture, now};
}

std::string GifWriter::close(double ms) {
    if (m_waiting) {
        put(m_waiting->picture, std::max(kLastUnits, unitsAt(ms) - m_waiting->since));
    }
    if (m_gif != nullptr && EGifCloseFile(std::exchange(m_gif, nullptr), nullptr) != GIF_OK) {
        m_error = m_file.error();
    }
    if (!m_file.close() && m_error.empty()) {
        m_error = m_file.error();
    }
    return m_error;
}

// ---- Images ----

void GifWriter::put(const Picture& picture, std::int64_t units) {
    for (; m_gif != nullptr && units > 0; units -= std::min(units, kLongestUnits)) {
        if (!putImage(picture, std::min(units, kLongestUnits))) {
            fail();
        }
    }
}

bool GifWriter::putImage(const Picture& picture, std::int64_t units) {
    const Area area = changed(picture);
    m_written = picture;
    const auto inPixels = [this](std::size_t panelPixels) { return static_cast<int>(panelPixels * m_scale); };
    return putDelay(units) &&
           EGifPutImageDesc(m_gif, inPixels(area.left), inPixels(area.top), inPixels(area.right - area.left),
                            inPixels(area.bottom - area.top), false, nullptr) == GIF_OK &&
           putRows(picture, area);
}

bool GifWriter::putDelay(std::int64_t units) {
    const GraphicsControlBlock block = {DISPOSE_DO_NOT, false, static_cast<int>(units), NO_TRANSPARENT_COLOR};
    std::array<GifByteType, 4> bytes{};
    return EGifGCBToExtension(&block, bytes.data()) == bytes.size() &&
           putExtension(m_gif, GRAPHICS_EXT_FUNC_CODE, bytes.data(), bytes.size());
}

bool GifWriter::putRows(const Picture& picture, const Area& area) {
    std::vector<GifPixelType> row((area.right - area.left) * m_scale);
    for (std::size_t line = area.top * m_scale; line < area.bottom * m_scale; ++line) {
        for (std::size_t i = 0; i < row.size(); ++i) {
            row[i] = picture.lit(area.left + i / m_scale, line / m_scale) ? 1 : 0;
        }
        if (EGifPutLine(m_gif, row.data(), static_cast<int>(row.size())) != GIF_OK) {
            return false;
        }
    }
    return true;
}

// What an image has to redraw: the first one everything, any other at least one pixel.
GifWriter::Area GifWriter::changed(const Picture& picture) const {
    if (!m_written) {
        return {0, 0, Picture::kWidth, Picture::kHeight};
    }
    Area area = {Picture::kWidth, Picture::kHeight, 0, 0};
    for (std::size_t y = 0; y < Picture::kHeight; ++y) {
        for (std::size_t x = 0; x < Picture::kWidth; ++x) {
            if (picture.lit(x, y) != m_written->lit(x, y)) {
                area = {std::min(area.left, x), std::min(area.top, y), std::max(area.right, x + 1),
                        std::max(area.bottom, y + 1)};
            }
        }
    }
    return area.right > 0 ? area : Area{0, 0, 1, 1};
}

}  // namespace sim
