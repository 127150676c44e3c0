// The panel in a terminal: shown, and worked with its keys.
#pragma once

#include <memory>
#include <string>

#include "sim/view/View.h"

namespace sim {

// Works on the simulator's thread. The terminal is the one that controls the process, so that standard input
// and output stay free for the daemon's lines; where they are that terminal, they are replaced. At most some
// thirty pages a second are drawn, and each only when the terminal has taken the one before, however long
// that takes.
//
// The key that quits ends the program's input, where that would be this terminal. Else the view asks the
// session to end by signals to its own process: SIGTERM for that key, SIGHUP when the terminal is gone.
class TerminalView final : public View {
public:
    // On the main thread before others are made: blocks SIGWINCH for all of them.
    TerminalView();
    ~TerminalView() override;

    [[nodiscard]] std::string start(const ViewSeam& seam) override;
    // Leaves the terminal as it was, but for a line that tells how the program has ended.
    void stop() override;

private:
    class Desk;  // what there is while it runs

    std::unique_ptr<Desk> m_desk;
};

}  // namespace sim
