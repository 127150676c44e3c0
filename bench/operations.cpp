#include "operations.h"

namespace {

constexpr const char* kWords[] = {"info",  "clear", "pixel",   "rect",   "line",  "font",   "text",
                                  "ctext", "rtext", "ufont",   "utext",  "shape", "shaped", "bmp",
                                  "bmpa",  "bmpt",  "bmpdraw", "bmpdel", "vdisp", "vdispd", "color",
                                  "copy",  "flush", "set",     "quit"};

std::vector<std::string> makeScene() {
    std::vector<std::string> lines = {"clear 0", "font 0 F9x5m"};
    const char* const texts[] = {"Channel 1 Talk", "Volume -12 dBu", "Mic gain 40 dB",
                                 "Party line: AB", "Call_2 waiting", "IP 10.0.12.345"};
    int y = 0;
    for (const char* text : texts) {
        lines.push_back("text 0 0 " + std::to_string(y) + " '" + text + "' white");
        y += 10;
    }
    for (int x = 2; x <= 74; x += 24) {
        lines.push_back("rect 0 " + std::to_string(x) + " 4 20 10 white");
    }
    for (int x = 6; x <= 78; x += 24) {
        lines.push_back("rect 0 " + std::to_string(x) + " 30 12 8 white white");
    }
    for (const char* line : {"line 0 0 0 60 60 white", "line 0 95 0 35 60 white", "line 0 0 62 96 62 white",
                             "line 0 48 0 48 64 white", "flush 0"}) {
        lines.emplace_back(line);
    }
    return lines;
}

}  // namespace

const std::vector<std::string> kScene = makeScene();

const std::vector<Operation> kOperations = {
    {"scene", "a whole screen from text lines to packed bytes", [](BenchPanel& panel) { panel.run(kScene); }},
    {"pack", "96 x 64 pixels to 768 bytes", [](BenchPanel& panel) { panel.pack(); }},
    {"text", "one line of 14 characters in F9x5m",
     [](BenchPanel& panel) { panel.run("text 0 0 10 'Channel 1 Talk' white"); }},
    {"rect", "a filled rectangle of 40 x 20",
     [](BenchPanel& panel) { panel.run("rect 0 10 10 40 20 white red"); }},
    {"line", "a diagonal of 60 pixels", [](BenchPanel& panel) { panel.run("line 0 0 0 60 60 white"); }},
    {"lookup", "one word of a dictionary of 25", [](BenchPanel& panel) { panel.lookUp(); }},
};

BenchPanel::BenchPanel() {
    m_display.onChange([](void* panel) { static_cast<BenchPanel*>(panel)->pack(); }, this);
    run("font 0 F9x5m");
    for (const char* word : kWords) {
        m_words.Set(word, 1);
    }
}

void BenchPanel::lookUp() {
    m_words.Find("text", m_found);
}

void BenchPanel::run(const std::vector<std::string>& lines) {
    for (const std::string& line : lines) {
        run(line.c_str());
    }
}

void BenchPanel::pack() {
    packFrame(m_display.vdbuf(), m_packed);
}
