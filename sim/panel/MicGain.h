// The gain control of the headset microphone's amplifier.
#pragma once

#include <cstddef>
#include <cstdint>

#include "sim/panel/PanelListener.h"

namespace sim {

// Takes 16-bit words, low byte first, and keeps the gain code in the low five bits of the last.
class MicGain {
public:
    // The listener is not owned.
    explicit MicGain(PanelListener& listener) : m_listener(listener) {}

    // size: bytes; an odd one at the end makes no word.
    void transfer(const std::uint8_t* bytes, std::size_t size) {
        for (std::size_t i = 0; i + 1 < size; i += 2) {
            m_code = bytes[i] & 0x1FU;
            ++m_words;
            m_listener.onGain(m_code);
        }
    }

    [[nodiscard]] unsigned code() const { return m_code; }    // 0 .. 31
    [[nodiscard]] unsigned words() const { return m_words; }  // received since power-on

private:
    PanelListener& m_listener;
    unsigned m_code = 0;
    unsigned m_words = 0;
};

}  // namespace sim
