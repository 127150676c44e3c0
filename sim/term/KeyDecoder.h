// What a terminal sends, as keys.
#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace sim {

// A byte as it came, 0 .. 255, or one of the named keys.
using Key = int;

constexpr Key kTab = '\t';
constexpr Key kEnter = '\r';
constexpr Key kEscape = 27;
constexpr Key kBackspace = 127;
constexpr Key kUp = 256;
constexpr Key kDown = 257;
constexpr Key kRight = 258;
constexpr Key kLeft = 259;
constexpr Key kPageUp = 260;
constexpr Key kPageDown = 261;

[[nodiscard]] constexpr Key controlKey(char letter) {
    return letter & 0x1F;
}

// Takes escape sequences apart. Those that it does not know are swallowed whole, so that their letters press
// nothing.
class KeyDecoder {
public:
    using Sequences = std::map<std::string, Key>;

    // sequences: those of this terminal, besides the usual ones.
    explicit KeyDecoder(const Sequences& sequences = {});

    // Bytes as they come, cut anywhere.
    [[nodiscard]] std::vector<Key> take(std::string_view bytes);
    // What may be the beginning of a sequence waits for the rest of it.
    [[nodiscard]] bool waits() const { return !m_begun.empty(); }
    // No rest has come: an escape that stood alone was the key of that name; other pieces are swallowed.
    [[nodiscard]] std::vector<Key> giveUp();

private:
    Sequences m_sequences;
    std::string m_begun;  // empty, or from an escape on
};

}  // namespace sim
