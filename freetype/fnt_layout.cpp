// Measuring, wrapping, cutting and placing of text.

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <memory>

#include "freetype/fnt_blend.h"
#include "freetype/fnt_glyphs.h"
#include "freetype/fnt_utf8.h"
#include "freetype/gui_fnt.h"

namespace {

// Sums of advances and line heights: no text is long enough to overflow them.
using Length = std::int64_t;

int toInt(Length length) {
    return static_cast<int>(
        std::clamp<Length>(length, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()));
}

// The width of a line, character by character.
class LineMeasure {
public:
    explicit LineMeasure(font_t* font) : m_font(font) {}

    void take(std::uint32_t code) {
        m_width += fnt::kerning(m_font, m_previous, code) + fnt::metricsOf(m_font, code).ax;
        m_previous = code;
    }
    [[nodiscard]] Length width() const { return m_width; }

private:
    font_t* m_font;
    Length m_width = 0;
    std::uint32_t m_previous = 0;
};

// Turns spaces of the text into newlines so that no line is wider than `width` where a space allows it.
class Wrapper {
public:
    Wrapper(font_t* font, Length width) : m_font(font), m_width(width) {}

    void wrap(char* text) {
        for (char* at = text; at != nullptr;) {
            at = step(at);
        }
    }

private:
    // Takes the character at `at`. Returns where to go on, null at the end.
    char* step(char* at) {
        const char* next = at;
        const std::uint32_t code = fnt::nextCode(&next);
        char* const behind = at + (next - at);
        if (code == 0) {
            return nullptr;
        }
        if (code == fnt::kNewline) {
            return startLine(behind);
        }
        if (*at == ' ') {  // not an overlong one, which has no single byte to become the newline
            if (m_end > m_width) {
                return breakAt(at);
            }
            m_space = at;
        }
        // A space has a right end like any glyph: one that ends beyond the width breaks the line itself.
        const fnt::Metrics metrics = fnt::metricsOf(m_font, code);
        m_end = m_pen + std::max(metrics.ax, metrics.extent);
        m_pen += metrics.ax;
        return m_end > m_width && m_space != nullptr ? breakAt(m_space) : behind;
    }
    char* breakAt(char* space) {
        *space = '\n';
        return startLine(space + 1);
    }
    char* startLine(char* at) {
        m_pen = m_end = 0;
        m_space = nullptr;
        return at;
    }

    font_t* m_font;
    Length m_width;
    Length m_pen = 0;         // where the next glyph starts
    Length m_end = 0;         // the right end of the glyph before it
    char* m_space = nullptr;  // where this line can be broken
};

// Draws one text, line by line.
class TextPainter {
public:
    TextPainter(image_t* image, const rect_t& target, font_t* font, const unsigned char* color,
                unsigned int flags)
        : m_image(image), m_target(target), m_font(font), m_color(color), m_flags(flags) {
        const Length left = std::max(target.x, 0);
        const Length top = std::max(target.y, 0);
        const Length right = std::min<Length>(Length{target.x} + target.w, image->w);
        const Length bottom = std::min<Length>(Length{target.y} + target.h, image->h);
        m_visible = {toInt(left), toInt(top), toInt(std::max<Length>(right - left, 0)),
                     toInt(std::max<Length>(bottom - top, 0))};
    }

    void draw(const char* text) {
        m_top = firstLineTop(text);
        for (const char* line = text; line != nullptr; m_top += m_font->ay) {
            line = drawLine(line);
        }
    }

private:
    static constexpr Length kWholeLine = std::numeric_limits<Length>::max();

    [[nodiscard]] bool has(unsigned int flags) const { return (m_flags & flags) != 0; }
    [[nodiscard]] bool isNewLine(std::uint32_t code) const { return code == fnt::kNewline && has(kFntLines); }

    [[nodiscard]] Length textHeight(const char* text) const {
        Length height = m_font->sy;
        while (const std::uint32_t code = fnt::nextCode(&text)) {
            height += isNewLine(code) ? m_font->ay : 0;
        }
        return height;
    }

    // From the target's top.
    [[nodiscard]] Length firstLineTop(const char* text) const {
        if (!has(kFntMiddle | kFntBottom)) {
            return 0;
        }
        Length top = m_target.h - textHeight(text);
        if (has(kFntMiddle)) {
            top = (top + 1) / 2;
        }
        return has(kFntTallFromAbove) ? top : std::max<Length>(top, 0);
    }

    // Sets the pen to the line's beginning. Returns how many of its characters are drawn before an ellipsis;
    // kWholeLine when there is none.
    Length placeLine(const char* line) {
        m_pen = 0;
        m_previous = 0;
        const bool aligned = has(kFntCentre | kFntRight);
        if (!aligned && !has(kFntCut)) {
            return kWholeLine;
        }
        const Length room = Length{m_target.w} - Fnt_MeasureText(m_font, line, nullptr);
        if (room < 0 && (!aligned || has(kFntWideFromLeft))) {
            return has(kFntCut) ? fnt_get_num_chars_we(m_font, line, m_target.w, m_flags) : kWholeLine;
        }
        if (aligned) {
            m_pen = has(kFntCentre) ? room / 2 : room;
        }
        return kWholeLine;
    }

    // Draws a line. Returns the beginning of the next one, null when this was the last.
    const char* drawLine(const char* line) {
        const Length limit = placeLine(line);
        for (Length count = 0;; ++count) {
            const std::uint32_t code = fnt::nextCode(&line);
            if (code == 0) {
                return nullptr;
            }
            if (isNewLine(code)) {
                return line;
            }
            if (count < limit) {
                drawCharacter(code);
            } else if (count == limit) {  // the rest is passed over
                drawCharacter(kFntEllipsis);
            }
        }
    }

    void drawCharacter(std::uint32_t code) {
        m_pen += fnt::kerning(m_font, m_previous, code);
        m_previous = code;
        const fchar_t* const glyph = fnt::glyphOf(m_font, code);
        if (glyph == nullptr) {
            m_pen += fnt::metricsOf(m_font, code).ax;
            return;
        }
        const Length x = m_pen + glyph->ox + m_target.x - m_visible.x;
        const Length y = m_top + glyph->oy + m_target.y - m_visible.y;
        fnt_RenderChar(m_image, &m_visible, glyph->data, glyph->w, glyph->h, toInt(x), toInt(y), m_color);
        m_pen += glyph->ax;
    }

    image_t* m_image;
    rect_t m_target;   // where the text is placed
    rect_t m_visible;  // the part of it that lies in the image
    font_t* m_font;
    const unsigned char* m_color;
    unsigned int m_flags;
    Length m_top = 0;              // of the present line, from the target's top
    Length m_pen = 0;              // from the target's left edge
    std::uint32_t m_previous = 0;  // the character before; 0 at a line's beginning
};

struct Free {
    void operator()(char* text) const { std::free(text); }
};

}  // namespace

int Fnt_MeasureText(font_t* font, const char* utf8, int* height) {
    if (font == nullptr) {
        return 0;
    }
    if (height != nullptr) {
        *height = font->ay;
    }
    LineMeasure line(font);
    for (const char* at = utf8 != nullptr ? utf8 : "";;) {
        const std::uint32_t code = fnt::nextCode(&at);
        if (fnt::endsLine(code)) {
            return toInt(line.width());
        }
        line.take(code);
    }
}

// The beginnings that end at or behind the first newline are all as wide as the line before it. Widths need
// not grow from character to character, so the walk goes on behind one that is too wide.
std::size_t Fnt_FitText(font_t* font, const char* utf8, int maxWidth) {
    if (font == nullptr) {
        return std::strlen(utf8);
    }
    LineMeasure line(font);
    const char* fitting = utf8;
    for (const char* at = utf8;;) {
        const std::uint32_t code = fnt::nextCode(&at);
        if (fnt::endsLine(code)) {
            const bool whole = line.width() <= maxWidth;
            return whole ? std::strlen(utf8) : static_cast<std::size_t>(fitting - utf8);
        }
        line.take(code);
        if (line.width() <= maxWidth) {
            fitting = at;
        }
    }
}

int fnt_get_num_chars_we(font_t* font, const char* utf8, int maxWidth, unsigned int /*flags*/) {
    if (font == nullptr || utf8 == nullptr) {
        return 0;
    }
    const Length ellipsis = fnt::metricsOf(font, kFntEllipsis).extent;
    Length pen = 0;
    std::uint32_t previous = fnt::nextCode(&utf8);
    if (fnt::endsLine(previous)) {
        return 0;
    }
    for (Length index = 0;; ++index) {  // of `previous`
        pen += fnt::metricsOf(font, previous).ax;
        const std::uint32_t code = fnt::nextCode(&utf8);
        if (fnt::endsLine(code) || pen + fnt::kerning(font, previous, kFntEllipsis) + ellipsis > maxWidth) {
            return toInt(index);
        }
        pen += fnt::kerning(font, previous, code);
        previous = code;
    }
}

void Fnt_RenderText(image_t* image, const rect_t* rect, font_t* font, const char* utf8,
                    const unsigned char* color, int /*reserved*/, unsigned int flags) {
    if (image == nullptr || image->data == nullptr || font == nullptr || utf8 == nullptr) {
        return;
    }
    const rect_t target = rect != nullptr ? *rect : rect_t{0, 0, image->w, image->h};
    if (target.w < 1 || target.h < 1) {
        return;
    }
    // Without memory for the copy the text is drawn unwrapped.
    const std::unique_ptr<char, Free> wrapped((flags & kFntWrap) != 0 ? strdup(utf8) : nullptr);
    if (wrapped != nullptr) {
        Wrapper(font, target.w).wrap(wrapped.get());
    }
    TextPainter(image, target, font, color, flags).draw(wrapped != nullptr ? wrapped.get() : utf8);
}
