// The input is the name of a font, in a folder that holds a real one and a glyph cache file.

#include <vector>

#include "freetype/gui_fnt.h"
#include "fuzz/FuzzFiles.h"
#include "fuzz/FuzzTarget.h"
#include "tests/unit/glyph_cache_file.h"

namespace {

constexpr const char* kSans = "/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf";
constexpr int kMostDrawn = 64;  // rows of a cell: a glyph of the largest size takes a tenth of a second

void makeFonts() {
    std::filesystem::create_symlink(kSans, "font/sans.ttf");
    std::filesystem::create_directory("font/folder.ttf");
    FuzzFile("font/small.font").put(makeSmallFont().bytes());
    silence(stdout);
    font_t* const font = Fnt_LoadFont("ft:sans.ttf:12px");
    require(font != nullptr, "the font of fonts-dejavu-core is there");
    Fnt_CloseFont(font);
}

void use(font_t* font, const std::string& name) {
    require(name.substr(0, sizeof font->name - 1) == font->name, "a font keeps its name, cut to what fits");
    require(font->hash == 0 && font->next == nullptr, "a font is in no list");
    const int width = Fnt_MeasureText(font, "AV", nullptr);
    require(width >= 0, "a good font's letters have a width");
    if (font->sy <= kMostDrawn) {
        std::vector<unsigned char> pixels(32 * 16 * 4);
        image_t image = {};
        image.w = 32;
        image.h = 16;
        image.stride = 32 * 4;
        image.data = pixels.data();
        Fnt_RenderText(&image, nullptr, font, "AV", nullptr, 0, 0);
    }
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static FuzzFolder folder;
    static const bool made = (makeFonts(), true);
    static_cast<void>(made);
    FuzzInput input(data, size);
    const std::string name = input.restAsText();
    font_t* const font = Fnt_LoadFont(name.c_str());
    if (font != nullptr) {
        use(font, name);
    }
    Fnt_CloseFont(font);
    return 0;
}
