// The interpreter of the drawing language: one text line in, pixels on a display surface out.
#pragma once

#include <cstdint>
#include <memory>

#include "freetype/gui_fnt.h"
#include "graphics/GrBase.h"
#include "graphics/GrBmp.h"
#include "graphics/GrFont.h"
#include "graphics/GrShape.h"
#include "graphics/GrVirtualDisplay.h"
#include "graphics/SimpleString.h"
#include "graphics/StrDict3.h"
#include "hw/IIntercomHardware.h"

// Reports one fault to the controlling application: writes OnError("...") and a line feed to standard output,
// the text formatted like printf and not escaped, and flushes standard output.
[[gnu::format(printf, 1, 2)]] void error(const char* fmt, ...);

// Its commands stand in three files: text in GraphicsTextCommands.cpp, shapes and bitmaps in
// GraphicsImageCommands.cpp, all others with the grammar in GraphicsCommandProcessor.cpp.
//
// A line is a command word and its arguments, separated by white space. A fault in a line is reported by
// exactly one error() and the line has no other effect, but that a bmpt that fails drops what was cached;
// text after the last argument that a command reads is ignored. Nothing in the language ends the process. One
// thread, no locks.
class GraphicsCommandProcessor {
public:
    using Pixel = VelaGraphics::Pixel;
    using VirtualDisplay = VelaGraphics::VirtualDisplay;
    using Font = VelaGraphics::Font;
    using Shape = VelaGraphics::Shape;
    using Bmp = VelaGraphics::Bmp;

    // disp: displayCount hardware displays, numbered from 0 in the language (an entry may be null). The
    // array, the displays and hw are not owned and must outlive the interpreter.
    GraphicsCommandProcessor(VirtualDisplay** disp, unsigned int displayCount, IIntercomHardware* hw);
    // Deletes the fonts, shapes and virtual displays that commands made. Required, do not mend: bitmaps that
    // "bmpdel" has not deleted are left to the end of the process, which gives them back at once.
    ~GraphicsCommandProcessor();

    GraphicsCommandProcessor(const GraphicsCommandProcessor&) = delete;
    GraphicsCommandProcessor& operator=(const GraphicsCommandProcessor&) = delete;

    // Interprets one NUL-terminated line. False only for a command that the caller must reject ("quit"); true
    // for everything else: carried out, faulty, unknown or empty. A command that memory cannot be had for is
    // dropped with one OnError line; what it had done by then stays.
    bool processCommand(const char* line);

    // The lexical helpers. Each skips white space first and leaves the cursor behind what it consumed.

    // True at the end of the line.
    static bool isEnd(const char*& p);
    // An optional '-' and decimal digits, modulo 2^32; no '+'. A '-' without digits counts as 0: controllers
    // send it for "no value". False, with v = 0 and the cursor unmoved, when neither stands there.
    static bool getInt(const char*& p, long& v);
    // A text in double quotes or apostrophes (in it a backslash takes the next character as it is, and \xHH
    // is the byte of that value), or the run of characters up to the next white space, whose inner quotes are
    // ordinary characters. False at the end of the line, without the closing quote, or for \x without two hex
    // digits.
    static bool getString(const char*& p, SimpleString& s);
    // (r,g,b), #RGB, #ARGB, #RRGGBB, #AARRGGBB, a decimal 32-bit ARGB value, or a colour's name. False for
    // anything else; c may then be partly written.
    // Required, do not mend: the one-digit forms are not scaled (#F00 is red 15 of 255).
    bool getColor(const char*& p, Pixel& c);
    // A display's number. Null when there is no such display; *id (when id is not null) is the number read, 0
    // when there was none.
    VirtualDisplay* getDisplay(const char*& p, long* id);

private:
    using Handler = bool (GraphicsCommandProcessor::*)(const char*);
    struct Command {
        const char* word;
        Handler handler;
    };
    static const Command kCommands[];

    static constexpr int kFontSlots = 10;
    static constexpr std::uint32_t kTokenCapacity = 64;  // bytes: most names and texts need no growth

    // What a text command reads before it draws.
    struct TextJob;
    struct ScalableTextJob;

    bool dispatch(const char* line);

    bool process_info(const char* args);
    bool process_clear(const char* args);
    bool process_pixel(const char* args);
    bool process_rect(const char* args);
    bool process_line(const char* args);
    bool process_font(const char* args);
    bool process_text(const char* args);
    bool process_ctext(const char* args);
    bool process_rtext(const char* args);
    bool process_ufont(const char* args);
    bool process_utext(const char* args);
    bool process_shape(const char* args);
    bool process_shaped(const char* args);
    bool process_bmp(const char* args);
    bool process_bmpa(const char* args);
    bool process_bmpt(const char* args);
    bool process_bmpdraw(const char* args);
    bool process_bmpdel(const char* args);
    bool process_vdisp(const char* args);
    bool process_vdispd(const char* args);
    bool process_color(const char* args);
    bool process_copy(const char* args);
    bool process_flush(const char* args);
    bool process_set(const char* args);
    bool process_quit(const char* args);

    void addBuiltinFont(const char* name, const unsigned char* data);
    bool findColor(const char*& p, Pixel& c);
    [[nodiscard]] VirtualDisplay* findVirtualDisplay(std::int32_t id);

    // Arguments that must be there: each reports what is missing and returns false or null.
    static bool needInt(const char*& p, std::int32_t& v, const char* name);
    static bool needString(const char*& p, SimpleString& s, const char* name);
    bool needColor(const char*& p, Pixel& c, const char* name);
    VirtualDisplay* needDisplay(const char*& p);

    bool makeVirtualDisplay(std::int32_t id, const VelaGraphics::Size& size);
    bool parseText(const char* args, TextJob& job);
    [[nodiscard]] int textLength(const TextJob& job) const;  // px
    void drawText(const TextJob& job, std::int64_t x) const;
    Font* loadFont(const SimpleString& name);

    // The font of the first slot from startIndex up whose text is narrower than maxWidth px, or of the last
    // slot, which may be too wide; index is that slot. An empty slot measures 0, so it can be the one: null
    // then, and for a startIndex behind the last slot.
    font_t* getFontForWidth(const char* text, int maxWidth, int& index, int startIndex);
    // Removes characters from the end of the text until it is at most maxWidth px wide. True when it removed
    // any. Required, do not mend: wider than maxWidth is too wide here, as wide as maxWidth above.
    static bool substringByWidth(font_t* font, SimpleString& text, int maxWidth);

    bool parseScalableText(const char* args, ScalableTextJob& job);
    void drawInSlot(ScalableTextJob& job) const;
    font_t* fitText(SimpleString& text);
    font_t* fitTwoLines(SimpleString& text, const char* space, int singleLineSlot);
    void drawFitted(ScalableTextJob& job);
    static void drawScalable(const ScalableTextJob& job, const rect_t* area, font_t* font,
                             unsigned int flags);
    Shape* findShape(const SimpleString& name);
    void loadBitmap(const char* args, const char* word, bool useAlpha);
    void keepBitmap(const SimpleString& name, std::unique_ptr<Bmp> bitmap);
    std::unique_ptr<Bmp> takeBitmap(const SimpleString& name);

    StrDict3<Handler> m_cmdDict;
    VirtualDisplay** m_disp;  // not owned
    unsigned int m_displayCount;
    StrDict3<VirtualDisplay*> m_vdispMap;  // owned, keyed by the number in decimal
    StrDict3<Pixel> m_colorDict;
    StrDict3<Font*> m_fontDict;    // owned
    Font* m_lastFont;              // the font that text is drawn in; belongs to m_fontDict
    StrDict3<Shape*> m_shapeDict;  // owned
    StrDict3<Bmp*> m_bmpDict;      // owned until the process ends, see the destructor
    IIntercomHardware* m_hw;       // not owned
    // Owned: the scalable fonts from the largest size to the smallest; null for an empty slot.
    font_t* ttfFonts[kFontSlots] = {};
};
