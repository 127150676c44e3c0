// The input is a session: lines of the drawing language, with a shape, two bitmaps and a bitmap font to be
// loaded. Scalable text has a target of its own, fuzz_utext.

#include <new>
#include <set>

#include "fuzz/FuzzFiles.h"
#include "fuzz/FuzzTarget.h"
#include "fuzz/PanelInterpreter.h"
#include "graphics/BuiltinFonts.h"
#include "graphics/qdbmp.h"

namespace {

void makeBitmap(const char* path, std::uint16_t depth) {
    BMP* const image = BMP_Create(9, 7, depth);
    require(image != nullptr, "a bitmap can be made");
    for (std::uint32_t i = 0; i < image->Header.ImageDataSize; ++i) {
        image->Data[i] = static_cast<std::uint8_t>(i * 37);
    }
    BMP_WriteFile(image, path);
    BMP_Free(image);
}

void makeAssets() {
    silence(stdout);
    FuzzFile("a.shp").put(std::string("SHPE\x03\0\x02\0\1\0\1\0\1\0", 14));
    makeBitmap("a.bmp", 24);
    makeBitmap("b.bmp", 32);
    require(VelaGraphics::Font(VelaGraphics::F9x5p).saveToFile("a.fnt"), "a font can be saved");
}

// The interpreter leaves loaded bitmaps to the end of the process, which does not come here: the session
// remembers their names and deletes them.
class BitmapNames {
public:
    void note(const char* line) {
        SimpleString word;
        SimpleString name;
        const bool loads = GraphicsCommandProcessor::getString(line, word) &&
                           (word == "bmp" || word == "bmpa" || word == "bmpt");
        if (loads && GraphicsCommandProcessor::getString(line, name)) {
            m_names.insert(name.c_str());
        }
    }
    void deleteAll(PanelInterpreter& interpreter) const {
        for (const std::string& name : m_names) {
            interpreter.run("bmpdel " + quoted(name));
        }
    }

private:
    static std::string quoted(const std::string& name) {
        std::string text = "'";
        for (const char c : name) {
            char escaped[5];
            std::snprintf(escaped, sizeof escaped, "\\x%02x", static_cast<unsigned char>(c));
            text += escaped;
        }
        return text + "'";
    }

    std::set<std::string> m_names;
};

bool isQuit(const char* line) {
    SimpleString word;
    return GraphicsCommandProcessor::getString(line, word) && word == "quit";
}

}  // namespace

// The form of new that displays take their pixels with: a large one fails as without memory.
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
    constexpr std::size_t kMost = std::size_t{1} << 18;
    return size <= kMost ? ::operator new[](size) : nullptr;
}

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static FuzzFolder folder;
    static const bool made = (makeAssets(), true);
    static_cast<void>(made);
    PanelInterpreter interpreter;
    BitmapNames bitmaps;
    std::string line;
    for (FuzzInput input(data, size); !input.isEmpty(); line.clear()) {
        for (char c = 0; !input.isEmpty() && (c = static_cast<char>(input.byte())) != '\n';) {
            line += c;
        }
        bitmaps.note(line.c_str());
        require(interpreter.run(line) == !isQuit(line.c_str()), "only \"quit\" is refused");
    }
    bitmaps.deleteAll(interpreter);
    return 0;
}
