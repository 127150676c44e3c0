// The input is a text and how to draw it, changes to a good glyph cache file, which is over 6 kB, and its
// length.

#include "fuzz/FuzzFiles.h"
#include "fuzz/FuzzTarget.h"
#include "fuzz/TextJob.h"
#include "tests/unit/glyph_cache_file.h"

namespace {

constexpr std::size_t kHeadBytes = 4 + 256 * 24 + 8;

// Overwrites one of the file's 32-bit numbers; the numbers of a few characters for most inputs.
void change(std::string& file, FuzzInput& input) {
    const unsigned int what = input.byte();
    std::size_t at = 0;
    if (what < 64) {
        at = 4 + ('A' + what / 8) * std::size_t{24} + what % 6 * 4;
    } else if (what < 96) {
        at = kHeadBytes - 8 + what % 2 * 4;
    } else {
        at = input.half() % (file.size() - 3);
    }
    std::uint32_t number = (what & 0x80) != 0 ? input.word() : input.half();
    for (std::size_t i = 0; i < 4; ++i, number >>= 8) {
        file[at + i] = static_cast<char>(number);
    }
}

std::string damagedFile(FuzzInput& input) {
    static const std::string good = makeSmallFont().bytes();
    std::string file = good;
    for (unsigned int changes = input.byte() % 16; changes > 0; --changes) {
        change(file, input);
    }
    const std::size_t length = input.half();
    return length == 0 ? file : file.substr(0, length);
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static FuzzFolder folder;
    static FuzzFile file("font/cache.font");
    FuzzInput input(data, size);
    const TextJob job(input);
    file.put(damagedFile(input));
    font_t* const font = Fnt_LoadFont("cache");
    if (font != nullptr) {
        job.run(font, input.restAsText());
    }
    Fnt_CloseFont(font);
    return 0;
}
