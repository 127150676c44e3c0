// The interpreter's text commands: bitmap fonts first, scalable fonts second.

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <limits>
#include <memory>
#include <new>

#include "graphics/GrRaster.h"
#include "graphics/GraphicsCommandProcessor.h"

using VelaGraphics::DisplayBuffer;
using VelaGraphics::Font;
using VelaGraphics::Pixel;
using VelaGraphics::Position;

namespace {

constexpr int kTextSpacing = 1;  // px behind each character

// Scalable text. Required, do not mend: the two widths hold for every display, whatever its own; controllers
// have chosen their texts by what comes out.
constexpr int kLargestFontSize = 30;      // px, of slot 0
constexpr int kFontSizeStep = 2;          // px from slot to slot
constexpr int kSingleLineWidth = 103;     // px: a font is chosen for a text narrower than this
constexpr int kCutWidth = 103;            // px: a text is cut to this at the most
constexpr int kFirstTwoLineSlot = 6;      // lines of two are tried from this font on
constexpr unsigned int kUtextFlag = 128;  // always set
constexpr unsigned int kFittedTextFlags = kUtextFlag | kFntWrap | kFntLines | kFntMiddle | kFntCentre;
static_assert(kFittedTextFlags == 181);

}  // namespace

// Bitmap fonts

bool GraphicsCommandProcessor::process_font(const char* args) {
    SimpleString name(kTokenCapacity, kTokenCapacity);
    // The display must exist although a font belongs to none.
    if (needDisplay(args) == nullptr || !needString(args, name, "fname")) {
        return true;
    }
    Font* font = nullptr;
    if (m_fontDict.Find(name.c_str(), font) || (font = loadFont(name)) != nullptr) {
        m_lastFont = font;
    }
    return true;
}

// Loads NAME.fnt from the working directory and keeps it under NAME. Null, after the message, when that
// fails; an empty name cannot be kept.
Font* GraphicsCommandProcessor::loadFont(const SimpleString& name) {
    SimpleString file(name.c_str());  // without what an escaped NUL hides
    file.Append(".fnt", 0);
    std::unique_ptr<Font> font(new (std::nothrow) Font);
    if (font == nullptr || !font->loadFromFile(file.c_str()) || !m_fontDict.Set(name.c_str(), font.get())) {
        error("font file %s not found", file.c_str());
        return nullptr;
    }
    return font.release();
}

struct GraphicsCommandProcessor::TextJob {
    VirtualDisplay* display = nullptr;
    Position at;
    SimpleString text{kTokenCapacity, kTokenCapacity};
    Pixel fg;
    Pixel bg;  // 0x00000000 unless given
    bool hasBackground = false;
};

bool GraphicsCommandProcessor::parseText(const char* args, TextJob& job) {
    if (m_lastFont == nullptr) {
        error("text, no font selected, command ignored");
        return false;
    }
    job.display = needDisplay(args);
    if (job.display == nullptr || !needInt(args, job.at.x, "x") || !needInt(args, job.at.y, "y") ||
        !needString(args, job.text, "txt") || !needColor(args, job.fg, "fg")) {
        return false;
    }
    job.hasBackground = getColor(args, job.bg);
    if (!job.hasBackground) {
        job.bg = Pixel();
    }
    return true;
}

int GraphicsCommandProcessor::textLength(const TextJob& job) const {
    return m_lastFont->textLength(job.text.c_str(), kTextSpacing);
}

// Draws the text with its left edge at x. A position outside 32 bits is as far outside the display as one at
// the limit.
void GraphicsCommandProcessor::drawText(const TextJob& job, std::int64_t x) const {
    using Limits = std::numeric_limits<std::int32_t>;
    const Position at(static_cast<std::int32_t>(std::clamp<std::int64_t>(x, Limits::min(), Limits::max())),
                      job.at.y);
    DisplayBuffer buffer = job.display->buffer();
    job.display->markChanged();
    if (job.hasBackground) {
        fillBlock(buffer, at, static_cast<std::uint32_t>(textLength(job)),
                  static_cast<std::uint32_t>(m_lastFont->charHeight()), job.bg);
    }
    m_lastFont->drawText(job.text.c_str(), buffer, at, Font::EORIENT_HORIZONTAL, kTextSpacing, job.fg,
                         job.bg);
}

bool GraphicsCommandProcessor::process_text(const char* args) {
    TextJob job;
    if (parseText(args, job)) {
        drawText(job, job.at.x);
    }
    return true;
}

// Both alignments are to the whole display, and x is an offset from the aligned position.

bool GraphicsCommandProcessor::process_ctext(const char* args) {
    TextJob job;
    if (parseText(args, job)) {
        const std::int64_t room = std::int64_t{job.display->width()} - textLength(job);
        drawText(job, room / 2 + job.at.x);
    }
    return true;
}

bool GraphicsCommandProcessor::process_rtext(const char* args) {
    TextJob job;
    if (parseText(args, job)) {
        const std::int64_t room = std::int64_t{job.display->width()} - textLength(job);
        drawText(job, room + job.at.x);
    }
    return true;
}

// Scalable fonts

// The font of a size, null when it cannot be loaded or its text for the renderer is too long for any path.
static font_t* loadScalableFont(const SimpleString& name, int size) {
    char text[256];
    const int length = std::snprintf(text, sizeof text, "ft:%s:%dpx", name.c_str(), size);
    return length >= 0 && length < static_cast<int>(sizeof text) ? Fnt_Get(text) : nullptr;
}

bool GraphicsCommandProcessor::process_ufont(const char* args) {
    SimpleString name(kTokenCapacity, kTokenCapacity);
    const bool given = getString(args, name) && *name.c_str() != '\0';
    int size = kLargestFontSize;
    for (font_t*& slot : ttfFonts) {
        Fnt_CloseFont(slot);
        slot = given ? loadScalableFont(name, size) : nullptr;
        size -= kFontSizeStep;
    }
    return true;
}

font_t* GraphicsCommandProcessor::getFontForWidth(const char* text, int maxWidth, int& index,
                                                  int startIndex) {
    constexpr int kLastSlot = kFontSlots - 1;
    if (startIndex > kLastSlot) {
        return nullptr;
    }
    index = startIndex;
    while (index < kLastSlot && Fnt_MeasureText(ttfFonts[index], text, nullptr) >= maxWidth) {
        ++index;
    }
    return ttfFonts[index];
}

bool GraphicsCommandProcessor::substringByWidth(font_t* font, SimpleString& text, int maxWidth) {
    const std::size_t fitting = Fnt_FitText(font, text.c_str(), maxWidth);
    if (fitting >= std::strlen(text.c_str())) {
        return false;
    }
    text.ReleaseBuffer(static_cast<int>(fitting));
    return true;
}

struct GraphicsCommandProcessor::ScalableTextJob {
    VirtualDisplay* display = nullptr;
    SimpleString text{kTokenCapacity, kTokenCapacity};
    Pixel fg;
    bool slotGiven = false;
    long slot = 0;
    long x = 0;
    long y = 0;
    long flags = 0;
};

bool GraphicsCommandProcessor::parseScalableText(const char* args, ScalableTextJob& job) {
    if (ttfFonts[0] == nullptr) {
        error("utext, no font selected, command ignored. Use ufont to select ttf font");
        return false;
    }
    job.display = needDisplay(args);
    if (job.display == nullptr || !needString(args, job.text, "txt") || !needColor(args, job.fg, "fg")) {
        return false;
    }
    job.slotGiven = getInt(args, job.slot);
    getInt(args, job.x);
    getInt(args, job.y);
    getInt(args, job.flags);
    return true;
}

// area: null for the whole display. Required, do not mend: the display is not marked as changed; controllers
// push scalable text with a forced flush or draw something else after it.
void GraphicsCommandProcessor::drawScalable(const ScalableTextJob& job, const rect_t* area, font_t* font,
                                            unsigned int flags) {
    image_t image = {};
    image.w = job.display->width();
    image.h = job.display->height();
    image.stride = image.w * static_cast<int>(sizeof(Pixel));
    image.data = reinterpret_cast<unsigned char*>(job.display->vdbufNC());
    const unsigned char color[4] = {job.fg.blue(), job.fg.green(), job.fg.red(), 0};
    Fnt_RenderText(&image, area, font, job.text.c_str(), color, 0, flags);
}

// Draws in the font of the given slot, from the given point to the display's right and bottom edges.
void GraphicsCommandProcessor::drawInSlot(ScalableTextJob& job) const {
    const bool known = job.slot >= 0 && job.slot < kFontSlots;
    font_t* font = known ? ttfFonts[job.slot] : nullptr;
    if (font == nullptr) {
        error("utext, no font at specified font index");
        return;
    }
    const auto extent = [](std::int32_t edge, long from) {
        return static_cast<int>(std::min<std::int64_t>(std::int64_t{edge} - from, INT32_MAX));
    };
    const rect_t area = {static_cast<int>(job.x), static_cast<int>(job.y),
                         extent(job.display->width(), job.x), extent(job.display->height(), job.y)};
    if (area.w < 1) {
        return;
    }
    substringByWidth(font, job.text, area.w);
    drawScalable(job, &area, font, static_cast<unsigned int>(job.flags) | kUtextFlag);
}

// Chooses the font for a text that holds a blank: its two lines are what stands before and behind the first
// one. May cut the text.
font_t* GraphicsCommandProcessor::fitTwoLines(SimpleString& text, const char* space, int singleLineSlot) {
    SimpleString first(text.c_str(), static_cast<unsigned int>(space - text.c_str()));
    SimpleString second(space + 1);
    int firstSlot = 0;
    int secondSlot = 0;
    font_t* firstFont = getFontForWidth(first.c_str(), kSingleLineWidth, firstSlot, kFirstTwoLineSlot);
    font_t* secondFont = getFontForWidth(second.c_str(), kSingleLineWidth, secondSlot, kFirstTwoLineSlot);
    if (firstSlot >= singleLineSlot && secondSlot >= singleLineSlot) {
        return ttfFonts[singleLineSlot];
    }
    if (firstSlot <= secondSlot) {
        if (substringByWidth(secondFont, second, kCutWidth)) {
            text = first + "\n" + second;
        }
        return secondFont;
    }
    if (substringByWidth(firstFont, first, kCutWidth)) {
        text = first;
    }
    return firstFont;
}

// Chooses the font for the text, and cuts the text when no font is small enough.
font_t* GraphicsCommandProcessor::fitText(SimpleString& text) {
    int slot = 0;
    font_t* font = getFontForWidth(text.c_str(), kSingleLineWidth, slot, 0);
    const char* space = std::strchr(text.c_str(), ' ');
    if (space != nullptr) {
        return fitTwoLines(text, space, slot);
    }
    substringByWidth(font, text, kCutWidth);
    return font;
}

void GraphicsCommandProcessor::drawFitted(ScalableTextJob& job) {
    font_t* font = fitText(job.text);
    drawScalable(job, nullptr, font, kFittedTextFlags);
}

bool GraphicsCommandProcessor::process_utext(const char* args) {
    ScalableTextJob job;
    if (!parseScalableText(args, job)) {
        return true;
    }
    if (job.slotGiven) {
        drawInSlot(job);
    } else {
        drawFitted(job);
    }
    return true;
}
