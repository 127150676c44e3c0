// Keeps standard input, output and error off the terminal while a page is shown there.
#pragma once

#include <string>

#include "sim/base/UniqueFd.h"
#include "sim/term/Terminal.h"

namespace sim {

// Those of the three that are the terminal are replaced, for this process and the programs that it starts:
// keys belong to the page, and what others write would spoil it. The rest stays as it is.
class StandardStreams {
public:
    // input: never gives a byte, nor ends by itself. output: is lost. error: is kept in memory.
    void takeFrom(const Terminal& terminal);
    // The end of what stands for standard input. False: nothing does, or it has been ended.
    [[nodiscard]] bool endInput();
    // Keeps memory bounded: drops what standard error was given when it is over a megabyte.
    void trim() const;
    // Everything is as before, and the last of what was kept is written to standard error.
    void giveBack();

private:
    UniqueFd m_input;  // the terminal's; none: not replaced
    UniqueFd m_output;
    UniqueFd m_error;
    UniqueFd m_noInput;  // the other end of what stands for standard input
    UniqueFd m_kept;
};

}  // namespace sim
