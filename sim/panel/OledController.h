// The controller of the panel's display and the glass that is wired to it.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "sim/panel/PanelListener.h"
#include "sim/panel/Picture.h"

namespace sim {

// Takes the byte streams of the two chip selects, commands and data, into the controller's registers and its
// RAM of 8 pages (8 rows each, bit 0 the top one) by 132 columns.
//
// The glass has 96 columns and is wired to the middle of the controller's 132: panel variant 0 to the columns
// from 32, variant 1 to those from 28. A program that addresses the columns of the other variant shows a
// shifted picture here, as it does on the panel.
class OledController {
public:
    static constexpr std::size_t kPages = 8;
    static constexpr std::size_t kColumns = 132;

    // variant: the fitted panel, 0 or 1. The listener is not owned.
    OledController(int variant, PanelListener& listener);

    // One transfer to the command select. A byte that is no command, or a command whose argument is missing
    // from the transfer, is a protocol error: it is told to the listener and skipped.
    void command(const std::uint8_t* bytes, std::size_t size);

    // One transfer to the data select: bytes for the RAM from the current column of the current page on. The
    // column counter stops behind the last column; data written there are lost and a protocol error.
    void data(const std::uint8_t* bytes, std::size_t size);

    // The reset line. While it is held low the registers have their power-on values and transfers are
    // ignored.
    void setReset(bool held);

    // What the glass shows now: dark unless the display is on.
    [[nodiscard]] Picture picture() const;

    // A frame is whole when 96 columns of page 7 have been written after those of pages 0 to 6.
    [[nodiscard]] unsigned frames() const { return m_frames; }
    // What the glass showed at the last whole frame; dark before the first.
    [[nodiscard]] const Picture& lastFrame() const { return m_lastFrame; }

    [[nodiscard]] std::uint8_t contrast() const { return registerValue(kContrast); }  // 0 .. 255
    [[nodiscard]] bool displayOn() const { return m_on; }
    [[nodiscard]] unsigned protocolErrors() const { return m_protocolErrors; }

    // The last argument of a two-byte command, e.g. 0xA8 for the multiplex ratio.
    [[nodiscard]] std::uint8_t registerValue(std::uint8_t command) const { return m_registers[command]; }
    [[nodiscard]] std::uint8_t ram(std::size_t page, std::size_t column) const { return m_ram[page][column]; }

private:
    static constexpr std::uint8_t kContrast = 0x81;
    static constexpr std::uint8_t kDisplayOffset = 0xD3;

    struct Command;
    static const Command kCommands[];
    static const Command* find(std::uint8_t code);

    void setColumnLow(std::uint8_t code, std::uint8_t argument);
    void setColumnHigh(std::uint8_t code, std::uint8_t argument);
    void setStartLine(std::uint8_t code, std::uint8_t argument);
    void setContrast(std::uint8_t code, std::uint8_t argument);
    void setSegmentRemap(std::uint8_t code, std::uint8_t argument);
    void setAllOn(std::uint8_t code, std::uint8_t argument);
    void setInverse(std::uint8_t code, std::uint8_t argument);
    void setRegister(std::uint8_t code, std::uint8_t argument);
    void setDisplayOn(std::uint8_t code, std::uint8_t argument);
    void setPage(std::uint8_t code, std::uint8_t argument);
    void setScanDirection(std::uint8_t code, std::uint8_t argument);

    void powerOnDefaults();
    void protocolError(const char* what, std::uint8_t byte);
    void notePageData(std::size_t size);
    [[nodiscard]] bool litInRam(std::size_t x, std::size_t y) const;

    const std::size_t m_firstColumn;
    PanelListener& m_listener;
    std::array<std::array<std::uint8_t, kColumns>, kPages> m_ram{};
    std::array<std::uint8_t, 256> m_registers{};  // arguments of the two-byte commands, by command
    std::size_t m_column = 0;
    std::size_t m_page = 0;
    std::size_t m_startLine = 0;
    bool m_segmentRemap = false;
    bool m_scanReversed = false;
    bool m_allOn = false;
    bool m_inverse = false;
    bool m_on = false;
    bool m_resetHeld = false;
    std::size_t m_pageBytes = 0;  // data since the page was addressed
    unsigned m_pagesWritten = 0;  // bit p: page p is whole since the last frame
    unsigned m_frames = 0;
    unsigned m_protocolErrors = 0;
    Picture m_lastFrame;
};

}  // namespace sim
