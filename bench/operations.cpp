#include "operations.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <random>

using VelaGraphics::ETH_NO_TRANSPARENCY;
using VelaGraphics::ETH_USE_ALPHA;
using VelaGraphics::ETH_USE_COLOR;

namespace {

constexpr int kShapeSide = 32;  // px

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

constexpr const char* kFontFile = "/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf";

// Loads the scalable font. Fonts are found in the folder font/ of the working directory: makes one for the
// time of the loading.
void loadFont(BenchPanel& panel) {
    namespace fs = std::filesystem;
    if (!fs::exists(kFontFile)) {
        std::fprintf(stderr, "no %s: scripts/setup.sh test installs it\n", kFontFile);
        std::exit(2);
    }
    const fs::path before = fs::current_path();
    std::string folder = fs::temp_directory_path() / "bench.XXXXXX";
    if (mkdtemp(folder.data()) == nullptr) {
        std::perror(folder.c_str());
        std::exit(2);
    }
    fs::create_directory(folder + "/font");
    fs::create_symlink(kFontFile, folder + "/font/sans.ttf");
    fs::current_path(folder);
    panel.run("ufont sans.ttf");
    fs::current_path(before);
    fs::remove_all(folder);
}

// The live screen of the panel test with every key pressed and every light lit, command by command as the
// daemon sends it.
std::vector<std::string> makeTestScreen() {
    struct Box {
        const char* size;  // x y w h
        const char* text;  // x y 'text'
        bool filled;
    };
    constexpr Box kBoxes[] = {
        {"70 30 15 11", "72 32 'C2'", true},  {"62 30 9 11", "64 32 'R'", true},
        {"70 10 15 16", "72 15 'T2'", true},  {"62 15 9 11", "64 17 'R'", true},
        {"34 8 27 11", "36 10 'Menu'", true}, {"10 10 15 16", "12 15 'T1'", true},
        {"24 15 9 11", "26 17 'R'", true},    {"10 30 15 11", "12 32 'C1'", true},
        {"24 30 9 11", "26 32 'R'", true},    {"62 53 15 11", "64 55 'HP'", true},
        {"0 20 9 11", "2 22 '0'", false},     {"86 20 9 11", "88 22 '0'", false},
        {"86 53 9 11", "88 55 '0'", false},
    };
    std::vector<std::string> lines = {"clear 0", "rect 0 0 49 96 2 white white",
                                      "text 0 0 55 'Rear Panel' white", "rect 0 0 0 9 5 white white"};
    for (const Box& box : kBoxes) {
        lines.push_back(std::string("rect 0 ") + box.size + " white " + (box.filled ? "white" : ""));
        lines.push_back(std::string("text 0 ") + box.text + (box.filled ? " black white" : " white "));
    }
    lines.emplace_back("flush 0");
    return lines;
}

constexpr std::uint16_t kDepths[] = {8, 24, 32};

// An image whose bytes, and so its colours and alphas, have no order.
BMP* makeImage(std::uint16_t depth) {
    BMP* const image = BMP_Create(96, 64, depth);
    std::mt19937 random(depth);
    const auto anyByte = [&random] { return static_cast<std::uint8_t>(random()); };
    std::generate_n(image->Data, image->Header.ImageDataSize, anyByte);
    if (image->Palette != nullptr) {
        std::generate_n(image->Palette, 1024, anyByte);
    }
    return image;
}

// A mask in which every other pixel is set.
std::vector<unsigned char> makeMask() {
    std::vector<unsigned char> mask(std::size_t{kShapeSide} * kShapeSide);
    for (std::size_t i = 0; i < mask.size(); i += 2) {
        mask[i] = 1;
    }
    return mask;
}

}  // namespace

const std::vector<std::string> kScene = makeScene();
const std::vector<std::string> kTestScreen = makeTestScreen();

const std::vector<Operation> kOperations = {
    {"scene", "a whole screen from text lines to packed bytes", [](BenchPanel& panel) { panel.run(kScene); }},
    {"test", "a redraw of the panel test, from command texts to packed bytes",
     [](BenchPanel& panel) { panel.run(kTestScreen); }},
    {"pack", "96 x 64 pixels to 768 bytes", [](BenchPanel& panel) { panel.pack(); }},
    {"text", "one line of 14 characters in F9x5m",
     [](BenchPanel& panel) { panel.run("text 0 0 10 'Channel 1 Talk' white"); }},
    {"rect", "a filled rectangle of 40 x 20",
     [](BenchPanel& panel) { panel.run("rect 0 10 10 40 20 white red"); }},
    {"line", "a diagonal of 60 pixels", [](BenchPanel& panel) { panel.run("line 0 0 0 60 60 white"); }},
    {"utext", "20 characters of a scalable font at 24 px, all on the display",
     [](BenchPanel& panel) { panel.run("utext 1 'Channel 12, Volume 9' white 3 0 0 5"); }},
    {"utextfit", "the same, fitted to the panel",
     [](BenchPanel& panel) { panel.run("utext 0 'Channel 12, Volume 9' white"); }},
    {"bmp8", "a bitmap of 96 x 64 with a palette",
     [](BenchPanel& panel) { panel.drawBitmap(8, ETH_NO_TRANSPARENCY); }},
    {"bmp24", "a bitmap of 96 x 64 with 24 bits a pixel",
     [](BenchPanel& panel) { panel.drawBitmap(24, ETH_NO_TRANSPARENCY); }},
    {"bmp32", "a bitmap of 96 x 64 with 32 bits a pixel",
     [](BenchPanel& panel) { panel.drawBitmap(32, ETH_NO_TRANSPARENCY); }},
    {"bmp8key", "bmp8 with a transparent colour",
     [](BenchPanel& panel) { panel.drawBitmap(8, ETH_USE_COLOR); }},
    {"bmp24key", "bmp24 with a transparent colour",
     [](BenchPanel& panel) { panel.drawBitmap(24, ETH_USE_COLOR); }},
    {"bmp32key", "bmp32 with a transparent colour",
     [](BenchPanel& panel) { panel.drawBitmap(32, ETH_USE_COLOR); }},
    {"bmpalpha", "bmp32 mixed with the display by its alpha",
     [](BenchPanel& panel) { panel.drawBitmap(32, ETH_USE_ALPHA); }},
    {"shape", "a shape of 32 x 32", [](BenchPanel& panel) { panel.drawShape(); }},
    {"lookup", "one word of a dictionary of 25", [](BenchPanel& panel) { panel.lookUp(); }},
};

BenchPanel::BenchPanel()
    : m_mask(makeMask()),
      m_shape(VelaGraphics::Position(), VelaGraphics::Size(kShapeSide, kShapeSide), m_mask.data()) {
    m_display.onChange([](void* panel) { static_cast<BenchPanel*>(panel)->pack(); }, this);
    run("font 0 F9x5m");
    loadFont(*this);
    run("vdisp 1 320 64");
    m_shape.setFg(VelaGraphics::Pixel(0xFFFFFFFF));
    for (const char* word : kWords) {
        m_words.Set(word, 1);
    }
    for (std::size_t i = 0; i < std::size(kDepths); ++i) {
        m_bitmaps[i].bmp = makeImage(kDepths[i]);
    }
}

void BenchPanel::lookUp() {
    m_words.Find("text", m_found);
}

void BenchPanel::drawBitmap(int depth, VelaGraphics::ETranparencyHandling handling) {
    const auto* const found = std::find(std::begin(kDepths), std::end(kDepths), depth);
    VelaGraphics::Bmp& bitmap = m_bitmaps[found - std::begin(kDepths)];
    bitmap.th = handling;
    m_display.draw(bitmap);
}

void BenchPanel::run(const std::vector<std::string>& lines) {
    for (const std::string& line : lines) {
        run(line.c_str());
    }
}

void BenchPanel::pack() {
    packFrame(m_display.vdbuf(), m_packed);
}
