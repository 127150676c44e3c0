// The terminal that a person sits at, whatever standard input and output are.
#pragma once

#include <termios.h>

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

#include "sim/base/UniqueFd.h"
#include "sim/term/CellGrid.h"

namespace sim {

// Never waits, but in leave.
class Terminal {
public:
    // Opens the controlling terminal and remembers its settings. An error text, or an empty one.
    [[nodiscard]] std::string open();
    // Keys come one by one and unseen, and bytes go out as they are. The interrupt key (Control-C) stays;
    // those that quit and suspend are ordinary ones, since they would leave the terminal as it is now.
    void takeKeys();
    // Writes the last bytes, for as long as this takes at most, and restores the settings.
    void leave(std::string_view bytes, std::chrono::milliseconds patience);

    [[nodiscard]] int fd() const { return m_fd.get(); }
    // Columns and rows. A terminal that does not tell, like a serial line, has 80 x 24.
    [[nodiscard]] Size size() const;
    // Whether the descriptor is this terminal.
    [[nodiscard]] bool is(int fd) const;

    // The bytes that have come; none: not now. Nothing: the terminal is gone.
    [[nodiscard]] std::optional<std::string> read() const;
    // Bytes to go out behind those that are on their way.
    void write(std::string_view bytes) { m_pending += bytes; }
    // Writes what the terminal takes now. False: it is gone.
    [[nodiscard]] bool pump();
    // Bytes are on their way.
    [[nodiscard]] bool busy() const { return !m_pending.empty(); }

private:
    void restoreSettings() const;

    UniqueFd m_fd;
    termios m_before{};
    std::string m_pending;
};

}  // namespace sim
