// The input is a size, a text and how to draw it, and behind them a font file of any kind that FreeType
// reads.

#include "fuzz/FuzzFiles.h"
#include "fuzz/FuzzTarget.h"
#include "fuzz/TextJob.h"

namespace {

constexpr const char* kSizes[] = {"ft:face.ttf:12px", "ft:face.ttf:8px", "ft:face.ttf:30px",
                                  "ft:face.ttf:9.5"};
constexpr std::int64_t kMostArea = 512 * 512;  // pixels: larger ones only cost time

// What the face's largest glyph would take at the font's size.
bool isSmall(const font_t* font) {
    const FT_Face face = font->face;
    if (!FT_IS_SCALABLE(face)) {
        return true;
    }
    const std::int64_t em = face->units_per_EM > 0 ? face->units_per_EM : 1;
    const std::int64_t width =
        (face->bbox.xMax - face->bbox.xMin) * std::int64_t{font->face->size->metrics.x_ppem} / em;
    const std::int64_t height =
        (face->bbox.yMax - face->bbox.yMin) * std::int64_t{font->face->size->metrics.y_ppem} / em;
    return width >= 0 && height >= 0 && width * height <= kMostArea;
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static FuzzFolder folder;
    static const bool silent = (silence(stdout), true);
    static_cast<void>(silent);
    static FuzzFile file("font/face.ttf");
    FuzzInput input(data, size);
    const char* const name = kSizes[input.byte() % std::size(kSizes)];
    const TextJob job(input);
    const std::string text = input.text();
    file.put(input.rest());
    font_t* const font = Fnt_LoadFont(name);
    if (font != nullptr && isSmall(font)) {
        job.run(font, text);
    }
    Fnt_CloseFont(font);
    return 0;
}
