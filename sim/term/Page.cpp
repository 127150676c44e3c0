#include "sim/term/Page.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "sim/base/Text.h"
#include "sim/term/KeyTable.h"

namespace sim {
namespace {

// ---- Measures and tables ----

constexpr int kSideWidth = 29;  // columns right of the glass
constexpr int kLeastLines = 4;  // rows for the daemon's lines
constexpr int kFooterRows = 2;  // prompt and short help
constexpr int kBarWidth = 3;    // of a light
constexpr int kWideBar = 16;    // of the contrast
constexpr int kNameWidth = 21;  // of an output
constexpr int kFullContrast = 255;
constexpr unsigned kHighestGain = 31;

struct LineArt {
    char32_t across, down, topLeft, topRight, bottomLeft, bottomRight, full, empty;
};
constexpr LineArt kBoxes = {U'─', U'│', U'┌', U'┐', U'└', U'┘', U'█', U'·'};
constexpr LineArt kAsciiArt = {U'-', U'|', U'+', U'+', U'+', U'+', U'#', U'.'};

struct PanelKey {
    std::string_view name;
    std::string_view green;  // LEDs; empty: a key without lights
    std::string_view red;
};
constexpr std::array<PanelKey, InputModel::kKeyNames.size()> kPanelKeys = {{{"Talk_1", "grn:t1", "red:t1"},
                                                                            {"Talk_2", "grn:t2", "red:t2"},
                                                                            {"Call_1", "grn:c1", "red:c1"},
                                                                            {"Call_2", "grn:c2", "red:c2"},
                                                                            {"Menu", {}, {}},
                                                                            {"Hp_Detect", {}, {}}}};

constexpr std::string_view kShortHelp =
    "asdfm tap  ASDFM hold  h headphones  zx cv bn knobs  : line  ? help  q quit";

constexpr std::string_view kPromptHelp = "Enter sends  Escape ends  Up, Down sent lines  Control-U clears";

constexpr std::array<std::string_view, 19> kHelp = {
    "a s d f m    tap Talk_1, Talk_2, Call_1, Call_2, Menu: down for a moment",
    "A S D F M    hold the same key down; again, or a tap, lets go of it",
    "h            switch Hp_Detect on, as headphones do; again: off",
    "z x          turn the knob Left, counter-clockwise and clockwise",
    "c v          the knob Right",
    "b n          the knob Rear",
    "Z X C V B N  the same by five steps at once",
    "arrows       left and right: Left; down and up: Right; Page Down and Up: Rear",
    ":            write a line for the daemon; Enter sends it, Escape ends,",
    "             Up and Down bring back what was sent",
    "Control-L    draw the screen anew",
    "q            end: closes the program's input where that is this terminal,",
    "             else, or when it does not end, asks it to; then kills it",
    "Control-C    interrupt the program, and a pipeline",
    "",
    "Of a line, < went into the daemon, > came out, and ! is an error.",
    "A held key stands in brackets. Lights have levels of 0 to 255.",
    "",
    "Any key goes back to the panel.",
};

// ---- Pieces ----

using Text = std::u32string;

Text text(std::string_view ascii) {
    return {ascii.begin(), ascii.end()};
}

// Padded with blanks; cut when it is longer.
std::string left(std::string_view what, int width) {
    std::string padded(what.substr(0, static_cast<std::size_t>(width)));
    padded.resize(static_cast<std::size_t>(width), ' ');
    return padded;
}

std::string right(const std::string& what, int width) {
    const auto missing = static_cast<std::size_t>(std::max(width - static_cast<int>(what.size()), 0));
    return std::string(missing, ' ') + what;
}

// Anything above 0 fills one place at least.
Text bar(unsigned level, unsigned most, int width, const LineArt& art) {
    const auto places = static_cast<unsigned>(width);
    const unsigned filled = (level * places + most - 1) / most;
    return Text(std::min(filled, places), art.full) + Text(places - std::min(filled, places), art.empty);
}

struct Span {
    Text text;
    Tone tone;
};
using Row = std::vector<Span>;
using Group = std::vector<Row>;  // rows that belong together

struct Layout {
    Size page;
    Size glass;
    GlassStyle style;
    Charset charset;
    [[nodiscard]] const LineArt& art() const { return charset == Charset::Ascii ? kAsciiArt : kBoxes; }
    [[nodiscard]] int sideLeft() const { return glass.width + 3; }
    [[nodiscard]] int linesTop() const { return glass.height + 2; }
    [[nodiscard]] int linesEnd() const { return page.height - kFooterRows; }
};

Layout layoutFor(Size page, Charset charset) {
    const Size room = {page.width - kSideWidth - 3, page.height - kLeastLines - kFooterRows - 2};
    const GlassStyle style = glassStyleFor(room, charset);
    return {page, glassSize(style), style, charset};
}

// ---- The glass ----

void drawBox(CellGrid& cells, int x, int y, Size outer, const LineArt& art) {
    const int lastX = x + outer.width - 1;
    const int lastY = y + outer.height - 1;
    for (int column = x; column <= lastX; ++column) {
        cells.put(column, y, art.across, Tone::Dim);
        cells.put(column, lastY, art.across, Tone::Dim);
    }
    for (int row = y; row <= lastY; ++row) {
        cells.put(x, row, art.down, Tone::Dim);
        cells.put(lastX, row, art.down, Tone::Dim);
    }
    cells.put(x, y, art.topLeft, Tone::Dim);
    cells.put(lastX, y, art.topRight, Tone::Dim);
    cells.put(x, lastY, art.bottomLeft, Tone::Dim);
    cells.put(lastX, lastY, art.bottomRight, Tone::Dim);
}

void drawGlass(CellGrid& cells, const PanelState& state, const Layout& layout) {
    drawBox(cells, 0, 0, {layout.glass.width + 2, layout.glass.height + 2}, layout.art());
    const std::string title = " Display " + std::to_string(state.variant) +
                              (state.displayOn ? ", on" : ", off") + ", frame " +
                              std::to_string(state.frame) + ' ';
    cells.put(2, 0, title, Tone::Title);
    int y = 1;
    for (const Text& row : glassRows(state.picture, layout.style)) {
        cells.put(1, y++, row, Tone::Glass);
    }
}

// ---- Beside the glass ----

Group contrastGroup(const PanelState& state, const LineArt& art) {
    const auto level = static_cast<unsigned>(std::max(state.contrast, 0));
    return {{{text("Contrast " + right(std::to_string(level), 3) + ' '), Tone::Plain},
             {bar(level, kFullContrast, kWideBar, art), Tone::Title}}};
}

void addLight(Row& row, std::string_view led, Tone colour, const PanelState& state, const LineArt& art) {
    if (const auto index = LedModel::indexOf(led)) {
        const unsigned level = state.leds[*index];
        row.push_back({text(' ' + right(std::to_string(level), 3) + ' '), Tone::Plain});
        row.push_back({bar(level, LedModel::kMaxLevel, kBarWidth, art), level > 0 ? colour : Tone::Dim});
    }
}

Text keyLabel(Key key) {
    return {static_cast<char32_t>(key), U' '};
}

Row keyRow(const PanelKey& key, const PanelState& state, const LineArt& art) {
    const auto index = static_cast<std::size_t>(*InputModel::keyCode(key.name) - InputModel::kFirstKeyCode);
    const std::string name(key.name);
    const bool held = state.keysHeld[index];
    const std::string shown = held ? '[' + name + ']' : ' ' + name + ' ';
    Row row = {{keyLabel(keyFor(key.name)), Tone::Title},
               {text(shown), held ? Tone::Marked : Tone::Plain},
               {Text(std::max<std::size_t>(11, shown.size()) - shown.size(), U' '), Tone::Plain}};
    addLight(row, key.green, Tone::Green, state, art);
    addLight(row, key.red, Tone::Red, state, art);
    return row;
}

Group keyGroup(const PanelState& state, const LineArt& art) {
    Group group;
    for (const PanelKey& key : kPanelKeys) {
        group.push_back(keyRow(key, state, art));
    }
    return group;
}

Group knobGroup(const PanelState& state) {
    Group group;
    for (std::size_t i = 0; i < InputModel::kEncoderNames.size(); ++i) {
        const std::string_view name = InputModel::kEncoderNames[i];
        group.push_back({{keyLabel(keyFor(name, -1)) + keyLabel(keyFor(name, 1)), Tone::Title},
                         {text(left(name, 9) + right(std::to_string(state.detents[i]), 4)), Tone::Plain}});
    }
    return group;
}

Group outputGroup(const PanelState& state) {
    Group group;
    for (std::size_t i = 0; i < GpioModel::kLineCount; ++i) {
        const bool high = state.outputs[i] != 0;
        group.push_back({{text(left(GpioModel::kPowerOn[i].name, kNameWidth)), Tone::Plain},
                         {text(high ? "high" : "low"), high ? Tone::Title : Tone::Dim}});
    }
    group.push_back(
        {{text(left("Mic Gain", kNameWidth)), Tone::Plain},
         {text(std::to_string(state.gainCode) + " of " + std::to_string(kHighestGain)), Tone::Title}});
    return group;
}

int putRow(CellGrid& cells, int x, int y, const Row& row) {
    for (const Span& span : row) {
        cells.put(x, y, span.text, span.tone);
        x += static_cast<int>(span.text.size());
    }
    return x;
}

// With a blank row between the groups where there is room for it.
void drawSide(CellGrid& cells, const PanelState& state, const Layout& layout) {
    const std::array<Group, 4> groups = {contrastGroup(state, layout.art()), keyGroup(state, layout.art()),
                                         knobGroup(state), outputGroup(state)};
    std::size_t rows = groups.size() - 1;
    for (const Group& group : groups) {
        rows += group.size();
    }
    const int gap = static_cast<int>(rows) < layout.linesTop() ? 1 : 0;
    int y = 0;
    for (const Group& group : groups) {
        for (const Row& row : group) {
            putRow(cells, layout.sideLeft(), y++, row);
        }
        y += gap;
    }
}

// ---- Below ----

std::string counted(const PanelState& state) {
    return " in " + std::to_string(state.linesIn) + ", out " + std::to_string(state.linesOut) + ", errors " +
           std::to_string(state.errors) + (state.running ? " " : ", the program is not running ");
}

// On the lower edge of the glass, which it carries on over the whole width.
void drawCounters(CellGrid& cells, const PanelState& state, const Layout& layout) {
    const int y = layout.linesTop() - 1;
    for (int x = layout.glass.width + 2; x < layout.page.width; ++x) {
        cells.put(x, y, layout.art().across, Tone::Dim);
    }
    cells.put(2, y, " Lines:" + counted(state), Tone::Title);
}

void drawLine(CellGrid& cells, int y, const ShownLine& line) {
    const char mark = line.error ? '!' : line.out ? '>' : '<';
    const Tone tone = line.error ? Tone::Error : line.out ? Tone::Plain : Tone::Dim;
    const auto width = static_cast<std::size_t>(cells.size().width);
    std::string shown = std::string(1, mark) + ' ' + printable(line.text);
    if (shown.size() > width) {
        shown.replace(width - 2, std::string::npos, "..");
    }
    cells.put(0, y, shown, tone);
}

// The newest at the bottom.
void drawLines(CellGrid& cells, const std::vector<ShownLine>& lines, const Layout& layout) {
    int y = layout.linesEnd();
    for (auto line = lines.rbegin(); line != lines.rend() && y > layout.linesTop(); ++line) {
        drawLine(cells, --y, *line);
    }
}

// A text that is too long shows its end, where it is typed.
DrawnPage::Place drawPrompt(CellGrid& cells, const std::string& typed, int y) {
    constexpr std::string_view kPrompt = "Line: ";
    std::string shown = printable(typed);
    const auto room = static_cast<std::size_t>(cells.size().width) - kPrompt.size() - 1;
    if (shown.size() > room) {
        shown.erase(0, shown.size() - room);
    }
    cells.put(0, y, kPrompt, Tone::Title);
    cells.put(static_cast<int>(kPrompt.size()), y, shown, Tone::Plain);
    return {static_cast<int>(kPrompt.size() + shown.size()), y};
}

void drawFooter(DrawnPage& drawn, const Page& page, const Layout& layout) {
    const int y = layout.linesEnd();
    if (page.prompt) {
        drawn.cursor = drawPrompt(drawn.cells, *page.prompt, y);
    }
    if (!page.notice.empty()) {
        drawn.cells.put(0, y + 1, page.notice, Tone::Error);
    } else {
        drawn.cells.put(0, y + 1, page.prompt ? kPromptHelp : kShortHelp, Tone::Dim);
    }
}

// ---- The page and what may stand in its place ----

DrawnPage drawPanel(const Page& page, const Layout& layout) {
    DrawnPage drawn{CellGrid(layout.page), std::nullopt};
    drawGlass(drawn.cells, page.state, layout);
    drawSide(drawn.cells, page.state, layout);
    drawCounters(drawn.cells, page.state, layout);
    drawLines(drawn.cells, page.lines, layout);
    drawFooter(drawn, page, layout);
    return drawn;
}

DrawnPage drawHelp(Size size) {
    CellGrid cells(size);
    int y = 1;
    cells.put(1, y++, std::string_view("The keys of this page"), Tone::Title);
    for (const std::string_view line : kHelp) {
        cells.put(1, ++y, line, Tone::Plain);
    }
    return {cells, std::nullopt};
}

// Row by row, so that the sizes can be read at any width that shows a number.
DrawnPage drawTooSmall(Size size) {
    CellGrid cells(size);
    const std::array<std::string, 4> message = {
        "Too small: " + std::to_string(size.width) + " x " + std::to_string(size.height),
        "Needed: " + std::to_string(kSmallestPage.width) + " x " + std::to_string(kSmallestPage.height),
        "Make the terminal larger,", "or press q to quit."};
    for (std::size_t row = 0; row < message.size(); ++row) {
        cells.put(0, static_cast<int>(row), message[row], row == 0 ? Tone::Error : Tone::Plain);
    }
    return {cells, std::nullopt};
}

}  // namespace

DrawnPage drawPage(const Page& page, Size size, Charset charset) {
    if (size.width < kSmallestPage.width || size.height < kSmallestPage.height) {
        return drawTooSmall(size);
    }
    return page.help ? drawHelp(size) : drawPanel(page, layoutFor(size, charset));
}

}  // namespace sim
