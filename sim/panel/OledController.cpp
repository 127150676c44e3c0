#include "sim/panel/OledController.h"

#include <algorithm>
#include <cstdio>

namespace sim {
namespace {

constexpr std::array<std::size_t, 2> kFirstColumns = {32, 28};  // by panel variant
constexpr unsigned kAllPages = (1U << OledController::kPages) - 1;
constexpr std::size_t kRowsPerPage = 8;

struct Default {
    std::uint8_t command;
    std::uint8_t value;
};
constexpr Default kPowerOnRegisters[] = {
    {0x81, 0x80},  // contrast
    {0xA8, 0x3F},  // multiplex ratio 64
    {0xAD, 0x8B},  // DC-DC on
    {0xD3, 0x00},  // display offset
    {0xD5, 0x50},  // clock
    {0xD9, 0x22},  // pre-charge
    {0xDA, 0x12},  // COM pins
    {0xDB, 0x35},  // VCOMH level
};

}  // namespace

struct OledController::Command {
    std::uint8_t first;
    std::uint8_t last;
    std::size_t arguments;  // bytes that follow: 0 or 1
    void (OledController::*apply)(std::uint8_t code, std::uint8_t argument);
};

const OledController::Command OledController::kCommands[] = {
    {0x00, 0x0F, 0, &OledController::setColumnLow},     {0x10, 0x1F, 0, &OledController::setColumnHigh},
    {0x40, 0x7F, 0, &OledController::setStartLine},     {0x81, 0x81, 1, &OledController::setContrast},
    {0xA0, 0xA1, 0, &OledController::setSegmentRemap},  {0xA4, 0xA5, 0, &OledController::setAllOn},
    {0xA6, 0xA7, 0, &OledController::setInverse},       {0xA8, 0xA8, 1, &OledController::setRegister},
    {0xAD, 0xAD, 1, &OledController::setRegister},      {0xAE, 0xAF, 0, &OledController::setDisplayOn},
    {0xB0, 0xB7, 0, &OledController::setPage},          {0xC0, 0xC0, 0, &OledController::setScanDirection},
    {0xC8, 0xC8, 0, &OledController::setScanDirection}, {0xD3, 0xD3, 1, &OledController::setRegister},
    {0xD5, 0xD5, 1, &OledController::setRegister},      {0xD9, 0xD9, 1, &OledController::setRegister},
    {0xDA, 0xDA, 1, &OledController::setRegister},      {0xDB, 0xDB, 1, &OledController::setRegister},
};

OledController::OledController(int variant, PanelListener& listener)
    : m_firstColumn(kFirstColumns[variant == 1 ? 1 : 0]), m_listener(listener) {
    powerOnDefaults();
}

const OledController::Command* OledController::find(std::uint8_t code) {
    const auto* found = std::find_if(
        std::begin(kCommands), std::end(kCommands),
        [code](const Command& command) { return command.first <= code && code <= command.last; });
    return found == std::end(kCommands) ? nullptr : found;
}

void OledController::command(const std::uint8_t* bytes, std::size_t size) {
    if (m_resetHeld) {
        return;
    }
    for (std::size_t i = 0; i < size; ++i) {
        const std::uint8_t code = bytes[i];
        const Command* known = find(code);
        if (known == nullptr) {
            protocolError("unknown command", code);
            continue;
        }
        if (i + known->arguments >= size) {
            protocolError("command without its argument", code);
            return;
        }
        i += known->arguments;
        (this->*known->apply)(code, bytes[i]);
    }
}

void OledController::data(const std::uint8_t* bytes, std::size_t size) {
    if (m_resetHeld) {
        return;
    }
    const std::size_t stored = std::min(size, kColumns - m_column);
    std::copy_n(bytes, stored, m_ram[m_page].begin() + static_cast<std::ptrdiff_t>(m_column));
    m_column += stored;
    if (stored < size) {
        protocolError("data behind the last column", bytes[stored]);
    }
    notePageData(size);
}

void OledController::notePageData(std::size_t size) {
    m_pageBytes += size;
    if (m_pageBytes < Picture::kWidth) {
        return;
    }
    m_pagesWritten |= 1U << m_page;
    if (m_page + 1 < kPages || m_pagesWritten != kAllPages) {
        return;
    }
    m_pagesWritten = 0;
    m_lastFrame = picture();
    m_listener.onFrame(++m_frames, m_lastFrame);
}

void OledController::setReset(bool held) {
    m_resetHeld = held;
    if (held) {
        powerOnDefaults();
        m_listener.onDisplayOn(m_on);
        m_listener.onContrast(contrast());
    }
}

void OledController::powerOnDefaults() {
    for (const Default& entry : kPowerOnRegisters) {
        m_registers[entry.command] = entry.value;
    }
    m_column = m_page = m_startLine = m_pageBytes = 0;
    m_pagesWritten = 0;
    m_segmentRemap = m_scanReversed = m_allOn = m_inverse = m_on = false;
}

Picture OledController::picture() const {
    Picture shown;
    for (std::size_t y = 0; m_on && y < Picture::kHeight; ++y) {
        for (std::size_t x = 0; x < Picture::kWidth; ++x) {
            shown.set(x, y, (m_allOn || litInRam(x, y)) != m_inverse);
        }
    }
    return shown;
}

// The glass is mounted mirrored: with the segments remapped, and the rows scanned the normal way, it is
// upright.
bool OledController::litInRam(std::size_t x, std::size_t y) const {
    const std::size_t column = m_firstColumn + (m_segmentRemap ? Picture::kWidth - 1 - x : x);
    const std::size_t scanned = m_scanReversed ? Picture::kHeight - 1 - y : y;
    const std::size_t row = (scanned + m_startLine + m_registers[kDisplayOffset]) % Picture::kHeight;
    return ((m_ram[row / kRowsPerPage][column] >> (row % kRowsPerPage)) & 1) != 0;
}

void OledController::protocolError(const char* what, std::uint8_t byte) {
    char text[64];
    std::snprintf(text, sizeof text, "%s: %02X", what, byte);
    ++m_protocolErrors;
    m_listener.onProtocolError(text);
}

void OledController::setColumnLow(std::uint8_t code, std::uint8_t) {
    m_column = (m_column & 0xF0U) | (code & 0x0FU);
    m_column = std::min(m_column, kColumns);
}

void OledController::setColumnHigh(std::uint8_t code, std::uint8_t) {
    m_column = (m_column & 0x0FU) | ((code & 0x0FU) << 4U);
    m_column = std::min(m_column, kColumns);
}

void OledController::setStartLine(std::uint8_t code, std::uint8_t) {
    m_startLine = code & 0x3FU;
}

void OledController::setContrast(std::uint8_t code, std::uint8_t argument) {
    setRegister(code, argument);
    m_listener.onContrast(argument);
}

void OledController::setSegmentRemap(std::uint8_t code, std::uint8_t) {
    m_segmentRemap = (code & 1) != 0;
}
void OledController::setAllOn(std::uint8_t code, std::uint8_t) {
    m_allOn = (code & 1) != 0;
}
void OledController::setInverse(std::uint8_t code, std::uint8_t) {
    m_inverse = (code & 1) != 0;
}
void OledController::setRegister(std::uint8_t code, std::uint8_t argument) {
    m_registers[code] = argument;
}

void OledController::setDisplayOn(std::uint8_t code, std::uint8_t) {
    m_on = (code & 1) != 0;
    m_listener.onDisplayOn(m_on);
}

void OledController::setPage(std::uint8_t code, std::uint8_t) {
    m_page = code & 0x07U;
    m_pageBytes = 0;
}

void OledController::setScanDirection(std::uint8_t code, std::uint8_t) {
    m_scanReversed = (code & 8) != 0;
}

}  // namespace sim
