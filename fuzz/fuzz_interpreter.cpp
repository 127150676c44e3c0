// The input is a session: lines of the drawing language, with a shape, two bitmaps and a bitmap font to be
// loaded. Scalable text has a target of its own, fuzz_utext.

#include <algorithm>
#include <iterator>
#include <new>
#include <optional>
#include <set>
#include <string_view>

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
    // arguments: behind the command's word.
    void note(std::string_view word, const char* arguments) {
        SimpleString name;
        const bool loads = word == "bmp" || word == "bmpa" || word == "bmpt";
        if (loads && GraphicsCommandProcessor::getString(arguments, name)) {
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

bool isQuit(std::string_view word) {
    return word == "quit";
}

// Whether the command can leave more than pixels behind. Other words, also those that are no command, cannot.
bool staysInEffect(std::string_view word) {
    static constexpr const char* kLasting[] = {"font", "ufont",  "shape", "shaped", "bmp",   "bmpa",
                                               "bmpt", "bmpdel", "vdisp", "vdispd", "color", "set"};
    return std::any_of(std::begin(kLasting), std::end(kLasting),
                       [&](const char* name) { return word == name; });
}

// The interpreter, as new for each session. Making one takes longer than most sessions: after one that only
// drew, the display is cleared and it is used again.
class SessionInterpreter {
public:
    PanelInterpreter& operator*() { return *m_interpreter; }
    void note(std::string_view word) { m_lasts = m_lasts || staysInEffect(word); }
    // At the session's end, not at the next one's start: libFuzzer looks for leaks after an input that took
    // more memory than it gave back.
    void renew() {
        if (m_lasts) {
            m_interpreter.emplace();
        } else {
            m_interpreter->clear();
        }
        m_lasts = false;
    }

private:
    std::optional<PanelInterpreter> m_interpreter{std::in_place};
    bool m_lasts = false;  // what the session did
};

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
    static SessionInterpreter interpreter;
    BitmapNames bitmaps;
    std::string line;
    for (FuzzInput input(data, size); !input.isEmpty(); line.clear()) {
        for (char c = 0; !input.isEmpty() && (c = static_cast<char>(input.byte())) != '\n';) {
            line += c;
        }
        const char* arguments = line.c_str();
        SimpleString word;
        if (!GraphicsCommandProcessor::getString(arguments, word)) {
            word = "";  // an unclosed quote: what was read of it is no command
        }
        interpreter.note(word.c_str());
        bitmaps.note(word.c_str(), arguments);
        require((*interpreter).run(line) == !isQuit(word.c_str()), "only \"quit\" is refused");
    }
    bitmaps.deleteAll(*interpreter);
    interpreter.renew();
    return 0;
}
