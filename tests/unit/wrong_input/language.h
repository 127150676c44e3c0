// The drawing language, written down a second time and in the plainest way: what a line has to print, and
// what the displays have to look like afterwards. It reads its commands from the table of grammar.h. Glyphs
// alone are drawn by the daemon's font modules, which have tests of their own; where they stand is worked out
// here.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "freetype/gui_fnt.h"
#include "graphics/GrFont.h"
#include "wrong_input/grammar.h"
#include "wrong_input/reader.h"

namespace wrong_input {

constexpr int kSlots = 10;

struct Surface {
    std::int32_t width = 0;
    std::int32_t height = 0;
    std::vector<std::uint32_t> pixels;
    bool changed = false;
};

// A picture in a file: shapes have the colour 0 where they are clear.
struct Picture {
    std::int32_t width = 0;
    std::int32_t height = 0;
    std::vector<std::uint32_t> pixels;
};

// The files that lie in the working directory, by what a command calls them.
struct Files {
    std::map<std::string, Picture> shapes;        // without .shp
    std::map<std::string, Picture> bitmaps;       // of 24 bits a pixel
    std::map<std::string, Picture> alphaBitmaps;  // of 32
    std::string font;                             // without .fnt: a copy of F9x5m
    std::string scalableFont;                     // in font/
};

class Language {
public:
    explicit Language(const Files& files);
    ~Language();
    Language(const Language&) = delete;
    Language& operator=(const Language&) = delete;

    // Carries out one line. False for one that has to be rejected.
    bool run(const std::string& line);

    std::string output;                                               // standard output
    std::vector<std::pair<std::uint32_t, std::uint32_t>> indicators;  // that were set
    int frames = 0;                                                   // flushes of display 0
    std::map<std::string, Surface> surfaces;                          // by number; "0" is the panel
    Colors colors;

private:
    // An argument as it was read; `given` is false for an optional one that was not.
    struct Value {
        bool given = false;
        std::int32_t number = 0;
        std::uint32_t color = 0;
        std::string text;
        Surface* surface = nullptr;
    };
    using Values = std::vector<Value>;
    using Action = void (Language::*)(const Values&);
    struct Bitmap {
        Picture picture;
        int transparency = 0;   // 1: by alpha, 2: by colour
        std::uint32_t key = 0;  // the colour
    };

    void error(const std::string& text);
    Value read(Reader& reader, Kind kind);
    bool readAll(Reader& reader, const Command& command, std::size_t from, std::size_t to, Values& values);
    Surface* surfaceOf(std::int32_t number);
    static Action actionOf(const std::string& word);

    void info(Reader reader);
    void vdisp(Reader reader, const Command& command);
    void copy(Reader reader, const Command& command);
    void clear(const Values& v);
    void pixel(const Values& v);
    void rect(const Values& v);
    void line(const Values& v);
    void font(const Values& v);
    void drawText(const Values& v, std::int64_t x);
    void text(const Values& v);
    void ctext(const Values& v);
    void rtext(const Values& v);
    void ufont(const Values& v);
    void utext(const Values& v);
    void shape(const Values& v);
    void shaped(const Values& v);
    void load(const std::string& word, const std::string& name, int transparency, std::uint32_t key);
    void bmp(const Values& v);
    void bmpa(const Values& v);
    void bmpt(const Values& v);
    void bmpdraw(const Values& v);
    void bmpdel(const Values& v);
    void vdispd(const Values& v);
    void color(const Values& v);
    void flush(const Values& v);
    void set(const Values& v);

    std::int32_t lengthOf(const std::string& text) const;
    int widthIn(int slot, const std::string& text) const;
    int slotFor(const std::string& text, int first) const;
    std::string cut(int slot, const std::string& text, int most) const;
    void utextInSlot(const Values& v);
    void utextFitted(const Values& v);
    void render(const Values& v, int slot, const std::string& text, const rect_t* area, unsigned int flags);

    const Files& m_files;
    std::map<std::string, std::unique_ptr<VelaGraphics::Font>> m_fonts;
    const VelaGraphics::Font* m_font = nullptr;
    std::array<font_t*, kSlots> m_slots = {};
    std::map<std::string, Picture> m_shapes;
    std::map<std::string, Bitmap> m_bitmaps;
};

}  // namespace wrong_input
