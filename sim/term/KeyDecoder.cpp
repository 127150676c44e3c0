#include "sim/term/KeyDecoder.h"

namespace sim {
namespace {

constexpr char kEscapeByte = 27;
constexpr char kLineFeed = '\n';
constexpr char kErase = '\b';

// What the usual terminals send, in either of their two modes.
const KeyDecoder::Sequences& usualSequences() {
    static const KeyDecoder::Sequences usual = {
        {"\033[A", kUp},      {"\033[B", kDown},      {"\033[C", kRight}, {"\033[D", kLeft},
        {"\033OA", kUp},      {"\033OB", kDown},      {"\033OC", kRight}, {"\033OD", kLeft},
        {"\033[5~", kPageUp}, {"\033[6~", kPageDown},
    };
    return usual;
}

bool isParameter(char c) {
    return ' ' <= c && c <= '?';
}

// Whether a sequence has come to its end, by the grammar of ECMA-48: ESC [ parameters final, ESC O character,
// ESC character; and ESC [ [ character, the function keys of Linux.
bool ended(std::string_view text) {
    constexpr std::string_view kLonger = "[O";
    if (text.size() < 3) {
        return text.size() == 2 && kLonger.find(text[1]) == std::string_view::npos;
    }
    if (text == "\033[[") {
        return false;
    }
    return text[1] == 'O' || !isParameter(text.back());
}

Key plainKey(char c) {
    if (c == kLineFeed) {
        return kEnter;
    }
    return c == kErase ? kBackspace : static_cast<unsigned char>(c);
}

}  // namespace

KeyDecoder::KeyDecoder(const Sequences& sequences) : m_sequences(sequences) {
    m_sequences.insert(usualSequences().begin(), usualSequences().end());
}

std::vector<Key> KeyDecoder::take(std::string_view bytes) {
    std::vector<Key> keys;
    for (const char c : bytes) {
        // A second escape begins anew: the one before it stood alone.
        if (c == kEscapeByte && !m_begun.empty()) {
            const std::vector<Key> before = giveUp();
            keys.insert(keys.end(), before.begin(), before.end());
        }
        if (m_begun.empty() && c != kEscapeByte) {
            keys.push_back(plainKey(c));
            continue;
        }
        m_begun += c;
        const auto known = m_sequences.find(m_begun);
        if (known != m_sequences.end()) {
            keys.push_back(known->second);
            m_begun.clear();
        } else if (ended(m_begun)) {
            m_begun.clear();
        }
    }
    return keys;
}

std::vector<Key> KeyDecoder::giveUp() {
    const bool alone = m_begun.size() == 1;
    m_begun.clear();
    return alone ? std::vector<Key>{kEscape} : std::vector<Key>{};
}

}  // namespace sim
