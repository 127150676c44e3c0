#include "graphics/GraphicsCommandProcessor.h"

#include <algorithm>
#include <charconv>
#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <iterator>
#include <memory>
#include <new>

#include "graphics/BuiltinFonts.h"
#include "graphics/GrRaster.h"

using VelaGraphics::DisplayBuffer;
using VelaGraphics::Font;
using VelaGraphics::Pixel;
using VelaGraphics::Position;
using VelaGraphics::Size;
using VelaGraphics::VirtualDisplay;

// Tables

// In the order in which the manual lists them. A new command is a handler and a line here.
const GraphicsCommandProcessor::Command GraphicsCommandProcessor::kCommands[] = {
    {"info", &GraphicsCommandProcessor::process_info},
    {"clear", &GraphicsCommandProcessor::process_clear},
    {"pixel", &GraphicsCommandProcessor::process_pixel},
    {"rect", &GraphicsCommandProcessor::process_rect},
    {"line", &GraphicsCommandProcessor::process_line},
    {"font", &GraphicsCommandProcessor::process_font},
    {"text", &GraphicsCommandProcessor::process_text},
    {"ctext", &GraphicsCommandProcessor::process_ctext},
    {"rtext", &GraphicsCommandProcessor::process_rtext},
    {"ufont", &GraphicsCommandProcessor::process_ufont},
    {"utext", &GraphicsCommandProcessor::process_utext},
    {"shape", &GraphicsCommandProcessor::process_shape},
    {"shaped", &GraphicsCommandProcessor::process_shaped},
    {"bmp", &GraphicsCommandProcessor::process_bmp},
    {"bmpa", &GraphicsCommandProcessor::process_bmpa},
    {"bmpt", &GraphicsCommandProcessor::process_bmpt},
    {"bmpdraw", &GraphicsCommandProcessor::process_bmpdraw},
    {"bmpdel", &GraphicsCommandProcessor::process_bmpdel},
    {"vdisp", &GraphicsCommandProcessor::process_vdisp},
    {"vdispd", &GraphicsCommandProcessor::process_vdispd},
    {"color", &GraphicsCommandProcessor::process_color},
    {"copy", &GraphicsCommandProcessor::process_copy},
    {"flush", &GraphicsCommandProcessor::process_flush},
    {"set", &GraphicsCommandProcessor::process_set},
    {"quit", &GraphicsCommandProcessor::process_quit},
};

namespace {

struct NamedColor {
    const char* name;
    Pixel color;
};

// Required, do not mend: the primaries are half intensity; controllers' palettes are built on them.
constexpr NamedColor kColors[] = {
    {"red", Pixel(0xFF800000)},         {"green", Pixel(0xFF008000)}, {"blue", Pixel(0xFF000080)},
    {"white", Pixel(0xFFFFFFFF)},       {"black", Pixel(0xFF000000)}, {"gray", Pixel(0xFF808080)},
    {"transparent", Pixel(0x00000000)},
};

constexpr std::uint32_t kMostVirtualPixels = 16777216;  // of one virtual display: 64 MB

// Characters. The "C" locale, whatever the process has set.

constexpr bool isSpace(char c) {
    return c == ' ' || (c >= '\t' && c <= '\r');
}
constexpr bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

// The value of a hexadecimal digit of either case, -1 for any other character.
constexpr int hexValue(char c) {
    if (isDigit(c)) {
        return c - '0';
    }
    const char lower = static_cast<char>(c | 0x20);
    return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

void skipSpace(const char*& p) {
    while (isSpace(*p)) {
        ++p;
    }
}

// The length of the word at p: up to the next white space or the end.
std::uint32_t wordLength(const char* p) {
    const char* end = p;
    // Nearly every character is above the blank, where neither white space nor the end is.
    while (static_cast<unsigned char>(*end) > ' ' || (*end != '\0' && !isSpace(*end))) {
        ++end;
    }
    return static_cast<std::uint32_t>(end - p);
}

bool isQuote(char c) {
    return c == '"' || c == '\'';
}

// Decimal digits, modulo 2^32.
std::uint32_t readDigits(const char*& p) {
    std::uint32_t value = 0;
    for (; isDigit(*p); ++p) {
        value = value * 10 + static_cast<std::uint32_t>(*p - '0');
    }
    return value;
}

// Reads \xHH at the backslash. False without two hex digits.
bool readHexEscape(const char*& p, SimpleString& s) {
    const int high = hexValue(p[2]);
    const int low = high < 0 ? -1 : hexValue(p[3]);
    if (low < 0) {
        return false;
    }
    s.Append(static_cast<char>(static_cast<unsigned char>(high * 16 + low)));
    p += 4;
    return true;
}

// Reads the escape at the backslash p. False for a broken one, also at the end of the line.
bool readEscape(const char*& p, SimpleString& s) {
    if (p[1] == '\0') {
        return false;
    }
    if (p[1] == 'x') {
        return readHexEscape(p, s);
    }
    s.Append(p[1]);
    p += 2;
    return true;
}

// Reads a quoted text at its opening quote.
bool readQuoted(const char*& p, SimpleString& s) {
    const char quote = *p++;
    while (*p != quote) {
        if (*p == '\0') {
            return false;
        }
        if (*p == '\\') {
            if (!readEscape(p, s)) {
                return false;
            }
        } else {
            s.Append(*p++);
        }
    }
    ++p;
    return true;
}

// One value of (r,g,b): 0 to 255, compared as unsigned.
bool readChannel(const char*& p, unsigned char& channel) {
    long value = 0;
    if (!GraphicsCommandProcessor::getInt(p, value) || static_cast<std::uint32_t>(value) > 255) {
        return false;
    }
    channel = static_cast<unsigned char>(value);
    return true;
}

bool readCharacter(const char*& p, char c) {
    skipSpace(p);
    if (*p != c) {
        return false;
    }
    ++p;
    return true;
}

// (r,g,b) behind the opening parenthesis.
bool readChannels(const char*& p, Pixel& c) {
    unsigned char red = 0;
    unsigned char green = 0;
    unsigned char blue = 0;
    const bool complete = readChannel(p, red) && readCharacter(p, ',') && readChannel(p, green) &&
                          readCharacter(p, ',') && readChannel(p, blue) && readCharacter(p, ')');
    c = Pixel(255, red, green, blue);
    return complete;
}

// The hexadecimal forms behind the '#'. A ninth digit is left for whatever is read next.
bool readHexColor(const char*& p, Pixel& c) {
    std::uint32_t digits[8] = {};
    std::size_t count = 0;
    for (; count < 8 && hexValue(*p) >= 0; ++count, ++p) {
        digits[count] = static_cast<std::uint32_t>(hexValue(*p));
    }
    const auto one = [&](std::size_t i) { return static_cast<unsigned char>(digits[i]); };
    const auto two = [&](std::size_t i) {
        return static_cast<unsigned char>(digits[i] * 16 + digits[i + 1]);
    };
    switch (count) {
        case 3:
            c = Pixel(255, one(0), one(1), one(2));
            return true;
        case 4:
            c = Pixel(one(0), one(1), one(2), one(3));
            return true;
        case 6:
            c = Pixel(255, two(0), two(2), two(4));
            return true;
        case 8:
            c = Pixel(two(0), two(2), two(4), two(6));
            return true;
        default:
            return false;
    }
}

// A display's number as the key of the virtual displays: decimal, with a sign only when negative.
struct DisplayKey {
    explicit DisplayKey(std::int32_t id) { *std::to_chars(text, std::end(text) - 1, id).ptr = '\0'; }
    char text[12];
};

}  // namespace

// The error channel

void error(const char* fmt, ...) {
    SimpleString text;
    std::va_list args;
    va_start(args, fmt);
    text.FormatArgs(args, fmt);
    va_end(args);
    std::printf("OnError(\"%s\")\n", text.c_str());
    std::fflush(stdout);
}

// Construction and destruction

GraphicsCommandProcessor::GraphicsCommandProcessor(VirtualDisplay** disp, unsigned int displayCount,
                                                   IIntercomHardware* hw)
    : m_cmdDict(true, StrDict3<Handler>::STORE_LOWERCASE, nullptr),
      m_disp(disp),
      m_displayCount(displayCount),
      m_vdispMap(true, StrDict3<VirtualDisplay*>::STORE_LOWERCASE, nullptr),
      m_colorDict(false, StrDict3<Pixel>::STORE_LOWERCASE, nullptr),
      m_fontDict(false, StrDict3<Font*>::STORE_LOWERCASE, nullptr),
      m_lastFont(nullptr),
      m_shapeDict(false, StrDict3<Shape*>::STORE_LOWERCASE, nullptr),
      m_bmpDict(true, StrDict3<Bmp*>::STORE_LOWERCASE, nullptr),
      m_hw(hw) {
    for (const Command& command : kCommands) {
        m_cmdDict.Set(command.word, command.handler);
    }
    addBuiltinFont("F9x5m", VelaGraphics::F9x5m);
    addBuiltinFont("F9x5p", VelaGraphics::F9x5p);  // the one that text is drawn in before any "font" command
    for (const NamedColor& named : kColors) {
        m_colorDict.Set(named.name, named.color);
    }
}

void GraphicsCommandProcessor::addBuiltinFont(const char* name, const unsigned char* data) {
    m_lastFont = new Font(data);
    m_fontDict.Set(name, m_lastFont);
}

GraphicsCommandProcessor::~GraphicsCommandProcessor() {
    m_fontDict.DeleteContents();
    m_shapeDict.DeleteContents();
    m_vdispMap.DeleteContents();
    // As their owner gives them back: what free() alone would leave is the face and its file.
    std::for_each(std::begin(ttfFonts), std::end(ttfFonts), Fnt_CloseFont);
}

// Dispatch

// Strings and name tables take memory that may not be there; a command less is better than a dark panel.
bool GraphicsCommandProcessor::processCommand(const char* line) {
    try {
        return dispatch(line);
    } catch (const std::bad_alloc&) {
        // Not error(), which takes memory itself.
        std::fputs("OnError(\"out of memory, command ignored\")\n", stdout);
        std::fflush(stdout);
        return true;
    }
}

bool GraphicsCommandProcessor::dispatch(const char* line) {
    const char* p = line;
    skipSpace(p);
    Handler* handler = nullptr;
    if (!isQuote(*p)) {
        const std::uint32_t length = wordLength(p);
        if (m_cmdDict.Find0(length, p, handler)) {
            return (this->**handler)(p + length);
        }
    }
    SimpleString word;
    if (!getString(p, word)) {
        return true;
    }
    if (!m_cmdDict.FindPtr(word.c_str(), handler)) {
        error("command '%s' was not recognized, ignored", word.c_str());
        return true;
    }
    return (this->**handler)(p);
}

// Lexical helpers

bool GraphicsCommandProcessor::isEnd(const char*& p) {
    skipSpace(p);
    return *p == '\0';
}

bool GraphicsCommandProcessor::getInt(const char*& p, long& v) {
    skipSpace(p);
    const bool negative = *p == '-';
    if (negative) {
        ++p;
    }
    const bool present = negative || isDigit(*p);
    const std::uint32_t magnitude = readDigits(p);
    v = static_cast<std::int32_t>(negative ? 0 - magnitude : magnitude);
    return present;
}

bool GraphicsCommandProcessor::getString(const char*& p, SimpleString& s) {
    skipSpace(p);
    s.Empty();
    if (*p == '\0') {
        return false;
    }
    if (isQuote(*p)) {
        return readQuoted(p, s);
    }
    const std::uint32_t length = wordLength(p);
    s.Append(p, length);
    p += length;
    return true;
}

bool GraphicsCommandProcessor::getColor(const char*& p, Pixel& c) {
    skipSpace(p);
    if (*p == '(') {
        return readChannels(++p, c);
    }
    if (*p == '#') {
        return readHexColor(++p, c);
    }
    if (isDigit(*p)) {
        c = Pixel(readDigits(p));
        return true;
    }
    return findColor(p, c);
}

bool GraphicsCommandProcessor::findColor(const char*& p, Pixel& c) {
    if (isQuote(*p)) {
        SimpleString name;
        return getString(p, name) && m_colorDict.Find(name.c_str(), c);
    }
    const std::uint32_t length = wordLength(p);
    Pixel* named = nullptr;
    const bool known = m_colorDict.Find0(length, p, named);
    c = known ? *named : c;
    p += length;
    return known;
}

VirtualDisplay* GraphicsCommandProcessor::getDisplay(const char*& p, long* id) {
    long number = 0;
    const bool present = getInt(p, number);
    if (id != nullptr) {
        *id = number;
    }
    if (!present || number < 0) {
        return nullptr;
    }
    if (static_cast<unsigned long>(number) < m_displayCount) {
        // Required, do not mend: an empty slot is not looked for among the virtual displays, so that one made
        // under its number is never drawn on. The number stays the hardware's.
        return m_disp[number];
    }
    return findVirtualDisplay(static_cast<std::int32_t>(number));
}

VirtualDisplay* GraphicsCommandProcessor::findVirtualDisplay(std::int32_t id) {
    VirtualDisplay* display = nullptr;
    return m_vdispMap.Find(DisplayKey(id).text, display) ? display : nullptr;
}

// Arguments that must be there

bool GraphicsCommandProcessor::needInt(const char*& p, std::int32_t& v, const char* name) {
    long value = 0;
    if (!getInt(p, value)) {
        error("expected int %s!", name);
        return false;
    }
    v = static_cast<std::int32_t>(value);
    return true;
}

bool GraphicsCommandProcessor::needString(const char*& p, SimpleString& s, const char* name) {
    if (!getString(p, s)) {
        error("expected string %s!", name);
        return false;
    }
    return true;
}

bool GraphicsCommandProcessor::needColor(const char*& p, Pixel& c, const char* name) {
    if (!getColor(p, c)) {
        error("expected color %s!", name);
        return false;
    }
    return true;
}

VirtualDisplay* GraphicsCommandProcessor::needDisplay(const char*& p) {
    VirtualDisplay* display = getDisplay(p, nullptr);
    if (display == nullptr) {
        error("display not found");
    }
    return display;
}

// Commands of the interpreter itself

bool GraphicsCommandProcessor::process_info(const char* args) {
    const char* p = args;
    if (isEnd(p)) {
        const VirtualDisplay* first = m_displayCount > 0 ? m_disp[0] : nullptr;
        const Size size = first != nullptr ? first->size() : Size();
        std::printf("OnDisplayInfo1(%u,%u,%u)\n", m_displayCount, static_cast<unsigned>(size.w),
                    static_cast<unsigned>(size.h));
    } else {
        long id = 0;
        const VirtualDisplay* display = getDisplay(p, &id);
        const Size size = display != nullptr ? display->size() : Size();
        std::printf("OnDisplayInfo2(%u,%u,%u)\n", static_cast<unsigned>(id), static_cast<unsigned>(size.w),
                    static_cast<unsigned>(size.h));
    }
    std::fflush(stdout);
    return true;
}

bool GraphicsCommandProcessor::process_set(const char* args) {
    std::int32_t n = 0;
    std::int32_t s = 0;
    if (needInt(args, n, "n") && needInt(args, s, "s")) {
        m_hw->SetIndicator(static_cast<unsigned int>(n), static_cast<unsigned int>(s));
    }
    return true;
}

bool GraphicsCommandProcessor::process_color(const char* args) {
    Pixel color;
    SimpleString name;
    if (needColor(args, color, "clr") && needString(args, name, "name")) {
        m_colorDict.Set(name.c_str(), color);
    }
    return true;
}

bool GraphicsCommandProcessor::process_quit(const char*) {
    return false;
}

// Display commands

bool GraphicsCommandProcessor::process_vdisp(const char* args) {
    long id = 0;
    // A negative number is not checked: such a display can be stored, over an earlier one, but never drawn
    // on.
    if (getInt(args, id) && id >= 0) {
        const bool hardware = static_cast<unsigned long>(id) < m_displayCount;
        if (hardware ? m_disp[id] != nullptr : findVirtualDisplay(static_cast<std::int32_t>(id)) != nullptr) {
            error("display %d already exists, not created", static_cast<int>(id));
            return true;
        }
    }
    Size size;
    if (!needInt(args, size.w, "w") || !needInt(args, size.h, "h")) {
        return true;
    }
    if (!makeVirtualDisplay(static_cast<std::int32_t>(id), size)) {
        error("display %d, bad size", static_cast<int>(id));
    }
    return true;
}

bool GraphicsCommandProcessor::makeVirtualDisplay(std::int32_t id, const Size& size) {
    if (!size.isReal() || std::int64_t{size.w} * size.h > kMostVirtualPixels) {
        return false;
    }
    std::unique_ptr<VirtualDisplay> display(new (std::nothrow) VirtualDisplay(size));
    if (display == nullptr || display->vdbuf() == nullptr) {
        return false;
    }
    const DisplayKey key(id);
    delete findVirtualDisplay(id);
    m_vdispMap.Set(key.text, display.get());
    static_cast<void>(display.release());  // the map has it
    return true;
}

bool GraphicsCommandProcessor::process_vdispd(const char* args) {
    SimpleString key;
    if (needString(args, key, "dispId")) {
        VirtualDisplay* display = nullptr;
        if (m_vdispMap.Remove(key.c_str(), &display)) {
            delete display;
        }
    }
    return true;
}

bool GraphicsCommandProcessor::process_clear(const char* args) {
    VirtualDisplay* display = needDisplay(args);
    if (display == nullptr) {
        return true;
    }
    Pixel color;
    display->fill(getColor(args, color) ? color : Pixel());
    return true;
}

bool GraphicsCommandProcessor::process_copy(const char* args) {
    VirtualDisplay* to = getDisplay(args, nullptr);
    const VirtualDisplay* from = to != nullptr ? getDisplay(args, nullptr) : nullptr;
    if (from == nullptr) {
        error("display not found");
        return true;
    }
    long numbers[6] = {};  // dx dy sx sy w h
    if (!getInt(args, numbers[0])) {
        to->copy(*from);
        return true;
    }
    const auto read = [&](long& number) { return getInt(args, number); };
    if (!std::all_of(std::begin(numbers) + 1, std::end(numbers), read)) {
        error("copy, bad parameters");
        return true;
    }
    const auto at = [&](int i) { return static_cast<std::int32_t>(numbers[i]); };
    // Required, do not mend: w and h must be given and are not used; controllers send 0 there and expect
    // everything to the right of and below the source point.
    to->copy(Position(at(0), at(1)), *from, Position(at(2), at(3)), from->size());
    return true;
}

bool GraphicsCommandProcessor::process_flush(const char* args) {
    VirtualDisplay* display = needDisplay(args);
    if (display == nullptr) {
        return true;
    }
    long force = 0;
    getInt(args, force);
    display->flush(force != 0);
    return true;
}

// Drawing commands

bool GraphicsCommandProcessor::process_pixel(const char* args) {
    VirtualDisplay* display = needDisplay(args);
    Position at;
    Pixel fg;
    if (display == nullptr || !needInt(args, at.x, "x") || !needInt(args, at.y, "y") ||
        !needColor(args, fg, "fg")) {
        return true;
    }
    const DisplayBuffer buffer = display->buffer();
    const unsigned int index = buffer.index(static_cast<unsigned int>(at.x), static_cast<unsigned int>(at.y));
    // Only a change marks the display, so that a pixel that is set again does not cost a frame on the bus.
    if (index < buffer.length && buffer.vdb[index] != fg) {
        buffer.vdb[index] = fg;
        display->markChanged();
    }
    return true;
}

bool GraphicsCommandProcessor::process_rect(const char* args) {
    VirtualDisplay* display = needDisplay(args);
    Position at;
    Size size;
    Pixel fg;
    if (display == nullptr || !needInt(args, at.x, "x") || !needInt(args, at.y, "y") ||
        !needInt(args, size.w, "w") || !needInt(args, size.h, "h") || !needColor(args, fg, "fg")) {
        return true;
    }
    display->markChanged();
    DisplayBuffer buffer = display->buffer();
    drawOutline(buffer, at, size, fg);
    Pixel bg;
    if (getColor(args, bg)) {
        fillInterior(buffer, at, size, bg);
    }
    return true;
}

bool GraphicsCommandProcessor::process_line(const char* args) {
    VirtualDisplay* display = needDisplay(args);
    Position from;
    Position to;
    Pixel fg;
    if (display == nullptr || !needInt(args, from.x, "x1") || !needInt(args, from.y, "y1") ||
        !needInt(args, to.x, "x2") || !needInt(args, to.y, "y2") || !needColor(args, fg, "fg")) {
        return true;
    }
    display->markChanged();
    DisplayBuffer buffer = display->buffer();
    drawLine(buffer, from, to, fg);
    return true;
}
