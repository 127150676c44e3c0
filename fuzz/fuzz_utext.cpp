// The input is lines of arguments of "utext", with a real font in all sizes and displays of several sizes. A
// line leaves nothing behind but pixels and glyphs, so one interpreter serves all inputs.

#include "fuzz/FuzzFiles.h"
#include "fuzz/FuzzTarget.h"
#include "fuzz/PanelInterpreter.h"

namespace {

constexpr const char* kSans = "/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf";

class ScalableTextInterpreter : public PanelInterpreter {
public:
    ScalableTextInterpreter() {
        std::filesystem::create_symlink(kSans, "font/sans.ttf");
        require(std::filesystem::exists("font/sans.ttf"), "the font of fonts-dejavu-core is there");
        silence(stdout);
        for (const char* line : {"ufont sans.ttf", "vdisp 1 1 1", "vdisp 2 30 20", "vdisp 3 200 100"}) {
            run(line);
        }
    }
};

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static FuzzFolder folder;
    static ScalableTextInterpreter interpreter;
    FuzzInput input(data, size);
    while (!input.isEmpty()) {
        std::string line = "utext ";
        for (char c = 0; !input.isEmpty() && (c = static_cast<char>(input.byte())) != '\n';) {
            line += c;
        }
        interpreter.run(line);
    }
    return 0;
}
