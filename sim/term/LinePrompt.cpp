#include "sim/term/LinePrompt.h"

#include "sim/view/Controls.h"

namespace sim {
namespace {

// A byte of UTF-8 that goes on with the character before it.
bool goesOn(char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U;
}

}  // namespace

std::optional<std::string> LinePrompt::take(Key key) {
    switch (key) {
        case kEnter:
            return give();
        case kEscape:
            close();
            break;
        case kBackspace:
            takeBack();
            break;
        case controlKey('U'):
            m_text.clear();
            break;
        case kUp:
            bringBack(m_place - 1);
            break;
        case kDown:
            bringBack(m_place + 1);
            break;
        default:
            if (' ' <= key && key < kUp && m_text.size() < Controls::kMaxLineBytes) {
                m_text += static_cast<char>(key);
            }
    }
    return std::nullopt;
}

std::optional<std::string> LinePrompt::give() {
    if (m_text.empty()) {
        close();
        return std::nullopt;
    }
    if (m_given.size() == kKeptLines) {
        m_given.erase(m_given.begin());
    }
    m_given.push_back(m_text);
    m_place = m_given.size();
    m_text.clear();
    return m_given.back();
}

void LinePrompt::close() {
    m_open = false;
    m_text.clear();
    m_place = m_given.size();
}

void LinePrompt::takeBack() {
    while (!m_text.empty() && goesOn(m_text.back())) {
        m_text.pop_back();
    }
    if (!m_text.empty()) {
        m_text.pop_back();
    }
}

// A place before the first is beyond the end too, by the wrap of unsigned numbers.
void LinePrompt::bringBack(std::size_t place) {
    if (place > m_given.size()) {
        return;
    }
    m_place = place;
    m_text = place < m_given.size() ? m_given[place] : std::string();
}

}  // namespace sim
