#include "wrong_input/language.h"

#include <algorithm>
#include <climits>

#include "graphics/BuiltinFonts.h"
#include "wrong_input/plotting.h"

namespace wrong_input {
namespace {

constexpr std::int64_t kMostPixels = 16777216;  // of a virtual display: 64 MB

std::string quotedName(const std::string& name) {
    return "'" + name + "'";
}

}  // namespace

Language::Language(const Files& files) : m_files(files) {
    colors = {{"red", 0xFF800000},   {"green", 0xFF008000}, {"blue", 0xFF000080}, {"white", 0xFFFFFFFF},
              {"black", 0xFF000000}, {"gray", 0xFF808080},  {"transparent", 0}};
    surfaces["0"] = {96, 64, std::vector<std::uint32_t>(96 * 64), false};
    m_fonts["f9x5m"] = std::make_unique<VelaGraphics::Font>(VelaGraphics::F9x5m);
    m_fonts["f9x5p"] = std::make_unique<VelaGraphics::Font>(VelaGraphics::F9x5p);
    m_font = m_fonts["f9x5p"].get();
}

Language::~Language() {
    std::for_each(m_slots.begin(), m_slots.end(), Fnt_CloseFont);
}

void Language::error(const std::string& text) {
    output += "OnError(\"" + text + "\")\n";
}

Surface* Language::surfaceOf(std::int32_t number) {
    const auto found = number < 0 ? surfaces.end() : surfaces.find(std::to_string(number));
    return found == surfaces.end() ? nullptr : &found->second;
}

// Arguments

Language::Value Language::read(Reader& reader, Kind kind) {
    Value value;
    if (kind == Kind::text) {
        const auto text = reader.text();
        value.given = text.has_value();
        value.text = text.value_or("");
    } else if (kind == Kind::color) {
        const auto found = reader.color(colors);
        value.given = found.has_value();
        value.color = found.value_or(0);
    } else {
        const auto number = reader.integer();
        value.given = number.has_value();
        value.number = number.value_or(0);
        if (kind == Kind::display) {
            value.surface = value.given ? surfaceOf(value.number) : nullptr;
            value.given = value.surface != nullptr;
        }
    }
    return value;
}

// Reads the arguments from .. to - 1. Tells the first that must be there and is not.
bool Language::readAll(Reader& reader, const Command& command, std::size_t from, std::size_t to,
                       Values& values) {
    for (std::size_t i = from; i < to; ++i) {
        const Argument& argument = command.arguments[i];
        values.push_back(read(reader, argument.kind));
        if (!values.back().given && !argument.optional) {
            const std::map<Kind, std::string> types = {
                {Kind::integer, "int"}, {Kind::text, "string"}, {Kind::color, "color"}};
            error(argument.kind == Kind::display
                      ? "display not found"
                      : "expected " + types.at(argument.kind) + " " + argument.name + "!");
            return false;
        }
    }
    return true;
}

Language::Action Language::actionOf(const std::string& word) {
    static const std::map<std::string, Action> actions = {
        {"clear", &Language::clear},     {"pixel", &Language::pixel},   {"rect", &Language::rect},
        {"line", &Language::line},       {"font", &Language::font},     {"text", &Language::text},
        {"ctext", &Language::ctext},     {"rtext", &Language::rtext},   {"ufont", &Language::ufont},
        {"utext", &Language::utext},     {"shape", &Language::shape},   {"shaped", &Language::shaped},
        {"bmp", &Language::bmp},         {"bmpa", &Language::bmpa},     {"bmpt", &Language::bmpt},
        {"bmpdraw", &Language::bmpdraw}, {"bmpdel", &Language::bmpdel}, {"vdispd", &Language::vdispd},
        {"color", &Language::color},     {"flush", &Language::flush},   {"set", &Language::set}};
    return actions.at(word);
}

bool Language::run(const std::string& line) {
    Reader reader(line);
    const auto word = reader.text();
    if (!word) {
        return true;
    }
    const auto command = std::find_if(grammar().begin(), grammar().end(),
                                      [&](const Command& candidate) { return candidate.word == *word; });
    if (command == grammar().end()) {
        error("command " + quotedName(*word) + " was not recognized, ignored");
    } else if (*word == "quit") {
        return false;
    } else if (*word == "info") {
        info(reader);
    } else if (*word == "vdisp") {
        vdisp(reader, *command);
    } else if (*word == "copy") {
        copy(reader, *command);
    } else if (*word == "utext" && m_slots[0] == nullptr) {
        error("utext, no font selected, command ignored. Use ufont to select ttf font");
    } else {
        Values values;
        if (readAll(reader, *command, 0, command->arguments.size(), values)) {
            (this->*actionOf(*word))(values);
        }
    }
    return true;
}

// Commands that do not just read one argument after the other

void Language::info(Reader reader) {
    if (reader.atEnd()) {
        output += "OnDisplayInfo1(1,96,64)\n";
        return;
    }
    const Value display = read(reader, Kind::display);
    const Surface none;
    const Surface& found = display.given ? *display.surface : none;
    output += "OnDisplayInfo2(" + std::to_string(static_cast<std::uint32_t>(display.number)) + "," +
              std::to_string(found.width) + "," + std::to_string(found.height) + ")\n";
}

void Language::vdisp(Reader reader, const Command& command) {
    Values v;
    readAll(reader, command, 0, 1, v);
    const std::string id = std::to_string(v[0].number);
    if (v[0].given && surfaceOf(v[0].number) != nullptr) {
        error("display " + id + " already exists, not created");
        return;
    }
    if (!readAll(reader, command, 1, 3, v)) {
        return;
    }
    const std::int64_t count = std::int64_t{v[1].number} * v[2].number;
    if (v[1].number < 1 || v[2].number < 1 || count > kMostPixels) {
        error("display " + id + ", bad size");
        return;
    }
    surfaces[id] = {v[1].number, v[2].number, std::vector<std::uint32_t>(static_cast<std::size_t>(count)),
                    false};
}

void Language::copy(Reader reader, const Command& command) {
    Values v;
    if (!readAll(reader, command, 0, 2, v)) {
        return;
    }
    Surface& to = *v[0].surface;
    const Surface& from = *v[1].surface;
    readAll(reader, command, 2, 3, v);
    const bool whole = !v[2].given;
    if (!whole) {
        readAll(reader, command, 3, 8, v);
        if (!std::all_of(v.begin(), v.end(), [](const Value& value) { return value.given; })) {
            error("copy, bad parameters");
            return;
        }
    } else {
        v.resize(8);
    }
    const std::int32_t dx = std::clamp(v[2].number, 0, to.width - 1);
    const std::int32_t dy = std::clamp(v[3].number, 0, to.height - 1);
    const std::int32_t sx = std::clamp(v[4].number, 0, from.width - 1);
    const std::int32_t sy = std::clamp(v[5].number, 0, from.height - 1);
    to.changed = true;
    for (std::int32_t row = 0; row < from.height - sy; ++row) {
        for (std::int32_t column = 0; column < from.width - sx; ++column) {
            const auto source = static_cast<std::size_t>(sx + column + (sy + row) * from.width);
            plot(to, dx + column, dy + row, from.pixels[source]);
        }
    }
}

// Displays and points

void Language::clear(const Values& v) {
    std::fill(v[0].surface->pixels.begin(), v[0].surface->pixels.end(), v[1].color);
    v[0].surface->changed = true;
}

void Language::vdispd(const Values& v) {
    if (v[0].text != "0") {
        surfaces.erase(v[0].text);
    }
}

void Language::flush(const Values& v) {
    Surface& surface = *v[0].surface;
    if ((surface.changed || v[1].number != 0) && &surface == &surfaces["0"]) {
        ++frames;
    }
    surface.changed = false;
}

void Language::pixel(const Values& v) {
    Surface& surface = *v[0].surface;
    const std::vector<std::uint32_t> before = surface.pixels;
    plot(surface, v[1].number, v[2].number, v[3].color);
    surface.changed = surface.changed || surface.pixels != before;
}

void Language::rect(const Values& v) {
    Surface& surface = *v[0].surface;
    surface.changed = true;
    const Box box(v[1].number, v[2].number, v[3].number, v[4].number);
    plotOutline(surface, box, v[5].color);
    if (v[6].given) {
        plotInside(surface, box, v[6].color);
    }
}

void Language::line(const Values& v) {
    v[0].surface->changed = true;
    plotLine(*v[0].surface, {v[1].number, v[2].number}, {v[3].number, v[4].number}, v[5].color);
}

// Text

void Language::font(const Values& v) {
    const std::string key = lowerCase(v[1].text);
    if (m_fonts.count(key) == 0) {
        if (v[1].text != m_files.font) {
            error("font file " + v[1].text + ".fnt not found");
            return;
        }
        m_fonts[key] = std::make_unique<VelaGraphics::Font>(VelaGraphics::F9x5m);
    }
    m_font = m_fonts[key].get();
}

std::int32_t Language::lengthOf(const std::string& text) const {
    std::int32_t length = 0;
    for (const char c : text) {
        length += m_font->charWidth(static_cast<unsigned char>(c)) + 1;
    }
    return length;
}

void Language::drawText(const Values& v, std::int64_t x) {
    Surface& surface = *v[0].surface;
    surface.changed = true;
    const std::int32_t left = static_cast<std::int32_t>(std::clamp<std::int64_t>(x, INT_MIN, INT_MAX));
    if (v[5].given) {
        const std::int32_t length = lengthOf(v[3].text);
        for (std::int32_t row = 0; row < m_font->charHeight(); ++row) {
            for (std::int32_t column = 0; column < length; ++column) {
                plot(surface, wrapped(std::int64_t{left} + column), wrapped(std::int64_t{v[2].number} + row),
                     v[5].color);
            }
        }
    }
    std::vector<VelaGraphics::Pixel> pixels(surface.pixels.begin(), surface.pixels.end());
    VelaGraphics::DisplayBuffer buffer(pixels.data(), {surface.width, surface.height});
    VelaGraphics::Position at(left, v[2].number);
    for (const char c : v[3].text) {
        m_font->drawChar(static_cast<unsigned char>(c), buffer, at, VelaGraphics::Font::EORIENT_HORIZONTAL, 1,
                         VelaGraphics::Pixel(v[4].color), VelaGraphics::Pixel(v[5].color));
    }
    std::transform(pixels.begin(), pixels.end(), surface.pixels.begin(),
                   [](VelaGraphics::Pixel pixel) { return pixel.color(); });
}

void Language::text(const Values& v) {
    drawText(v, v[1].number);
}

void Language::ctext(const Values& v) {
    drawText(v, std::int64_t{(v[0].surface->width - lengthOf(v[3].text)) / 2} + v[1].number);
}

void Language::rtext(const Values& v) {
    drawText(v, std::int64_t{v[0].surface->width - lengthOf(v[3].text)} + v[1].number);
}

void Language::ufont(const Values& v) {
    std::for_each(m_slots.begin(), m_slots.end(), Fnt_CloseFont);
    m_slots = {};
    const std::string& name = v[0].text;
    for (int i = 0; i < kSlots && !name.empty(); ++i) {
        const std::string wanted = "ft:" + name + ":" + std::to_string(30 - 2 * i) + "px";
        if (name == m_files.scalableFont) {
            m_slots[static_cast<std::size_t>(i)] = Fnt_Get(wanted.c_str());
        } else if (wanted.size() < 256) {
            output += "img: unable to load font font/" + name + " error: 1";
        }
    }
}

int Language::widthIn(int slot, const std::string& text) const {
    return Fnt_MeasureText(m_slots[static_cast<std::size_t>(slot)], text.c_str(), nullptr);
}

// The first slot from `first` on in which the text is narrower than 103 px, else the last.
int Language::slotFor(const std::string& text, int first) const {
    int slot = first;
    while (slot < kSlots - 1 && widthIn(slot, text) >= 103) {
        ++slot;
    }
    return slot;
}

std::string Language::cut(int slot, const std::string& text, int most) const {
    std::string rest = text;
    while (widthIn(slot, rest) > most) {
        // A whole character: also its bytes 10xxxxxx.
        do {
            rest.pop_back();
        } while (!rest.empty() && rest.size() < text.size() &&
                 (static_cast<unsigned char>(text[rest.size()]) & 0xC0) == 0x80);
    }
    return rest;
}

void Language::render(const Values& v, int slot, const std::string& text, const rect_t* area,
                      unsigned int flags) {
    Surface& surface = *v[0].surface;
    image_t image = {};
    image.w = surface.width;
    image.h = surface.height;
    image.stride = 4 * surface.width;
    image.data = reinterpret_cast<unsigned char*>(surface.pixels.data());
    const std::uint32_t color = v[2].color & 0xFFFFFF;
    const unsigned char bytes[4] = {static_cast<unsigned char>(color), static_cast<unsigned char>(color >> 8),
                                    static_cast<unsigned char>(color >> 16), 0};
    Fnt_RenderText(&image, area, m_slots[static_cast<std::size_t>(slot)], text.c_str(), bytes, 0, flags);
}

void Language::utext(const Values& v) {
    v[3].given ? utextInSlot(v) : utextFitted(v);
}

void Language::utextInSlot(const Values& v) {
    if (v[3].number < 0 || v[3].number >= kSlots) {
        error("utext, no font at specified font index");
        return;
    }
    const std::int64_t width = std::int64_t{v[0].surface->width} - v[4].number;
    const std::int64_t height = std::int64_t{v[0].surface->height} - v[5].number;
    if (width < 1) {
        return;
    }
    const rect_t area = {v[4].number, v[5].number, static_cast<int>(std::min<std::int64_t>(width, INT_MAX)),
                         static_cast<int>(std::min<std::int64_t>(height, INT_MAX))};
    render(v, v[3].number, cut(v[3].number, v[1].text, area.w), &area,
           static_cast<unsigned int>(v[6].number) | 0x80);
}

void Language::utextFitted(const Values& v) {
    const std::string& all = v[1].text;
    const int single = slotFor(all, 0);
    const std::size_t blank = all.find(' ');
    if (blank == std::string::npos) {
        render(v, single, cut(single, all, 103), nullptr, 181);
        return;
    }
    const std::string first = all.substr(0, blank);
    const std::string second = all.substr(blank + 1);
    const int firstSlot = slotFor(first, 6);
    const int secondSlot = slotFor(second, 6);
    if (firstSlot >= single && secondSlot >= single) {
        render(v, single, all, nullptr, 181);
    } else if (firstSlot <= secondSlot) {
        const std::string rest = cut(secondSlot, second, 103);
        render(v, secondSlot, rest == second ? all : first + "\n" + rest, nullptr, 181);
    } else {
        const std::string rest = cut(firstSlot, first, 103);
        render(v, firstSlot, rest == first ? all : rest, nullptr, 181);
    }
}

// Shapes and bitmaps

void Language::shape(const Values& v) {
    const std::string key = lowerCase(v[1].text);
    if (m_shapes.count(key) == 0) {
        const auto file = m_files.shapes.find(v[1].text);
        if (file == m_files.shapes.end()) {
            error("shape " + v[1].text + " not found");
            return;
        }
        m_shapes[key] = file->second;
    }
    if (!v[4].given) {
        return;
    }
    v[0].surface->changed = true;
    const Picture& mask = m_shapes[key];
    for (std::int32_t i = 0; i < mask.width * mask.height; ++i) {
        if (mask.pixels[static_cast<std::size_t>(i)] != 0) {
            plot(*v[0].surface, wrapped(std::int64_t{v[2].number} + i % mask.width),
                 wrapped(std::int64_t{v[3].number} + i / mask.width), v[4].color);
        }
    }
}

void Language::shaped(const Values& v) {
    if (m_shapes.erase(lowerCase(v[0].text)) == 0) {
        error("shaped, " + quotedName(v[0].text) + " not found");
    }
}

void Language::load(const std::string& word, const std::string& name, int transparency, std::uint32_t key) {
    const auto plain = m_files.bitmaps.find(name);
    const auto alpha = m_files.alphaBitmaps.find(name);
    if (alpha != m_files.alphaBitmaps.end()) {
        m_bitmaps[name] = {alpha->second, transparency, key};
    } else if (plain != m_files.bitmaps.end() && transparency != 1) {
        m_bitmaps[name] = {plain->second, transparency, key};
    } else {
        error(word + ", " + quotedName(name) + " could not be loaded");
    }
}

void Language::bmp(const Values& v) {
    load("bmp", v[0].text, 0, 0);
}

void Language::bmpa(const Values& v) {
    load("bmpa", v[0].text, 1, 0);
}

void Language::bmpt(const Values& v) {
    load("bmpt", v[0].text, 2, v[1].color);
}

// One channel of a pixel that is mixed with what is behind it.
static std::uint32_t mixed(std::uint32_t source, std::uint32_t behind, int shift) {
    const std::uint32_t alpha = source >> 24;
    const std::uint32_t value =
        ((source >> shift & 255) * alpha + (behind >> shift & 255) * (255 - alpha)) / 255;
    return value << shift;
}

void Language::bmpdraw(const Values& v) {
    const auto found = m_bitmaps.find(v[1].text);
    if (found == m_bitmaps.end()) {
        error("bmpdraw, " + quotedName(v[1].text) + " has not been loaded");
        return;
    }
    Surface& surface = *v[0].surface;
    surface.changed = true;
    const Bitmap& bitmap = found->second;
    for (std::int32_t i = 0; i < bitmap.picture.width * bitmap.picture.height; ++i) {
        const std::int32_t column = i % bitmap.picture.width;
        const std::int32_t row = i / bitmap.picture.width;
        std::uint32_t color = bitmap.picture.pixels[static_cast<std::size_t>(i)];
        if (bitmap.transparency == 2 && ((color ^ bitmap.key) & 0xFFFFFF) == 0) {
            continue;
        }
        if (bitmap.transparency == 1) {  // what is behind is always taken from the display's corner
            const auto corner = static_cast<std::size_t>(column + row * surface.width);
            const std::uint32_t behind = surface.pixels[corner];
            color = mixed(color, behind, 16) | mixed(color, behind, 8) | mixed(color, behind, 0);
        }
        plot(surface, wrapped(std::int64_t{v[2].number} + column), wrapped(std::int64_t{v[3].number} + row),
             color | 0xFF000000);
    }
}

void Language::bmpdel(const Values& v) {
    if (m_bitmaps.erase(v[0].text) == 0) {
        error("bmpdel, " + quotedName(v[0].text) + " has not been found in cache");
    }
}

// The rest

void Language::color(const Values& v) {
    if (!v[1].text.empty()) {
        colors[lowerCase(v[1].text)] = v[0].color;
    }
}

void Language::set(const Values& v) {
    indicators.emplace_back(v[0].number, v[1].number);
}

}  // namespace wrong_input
