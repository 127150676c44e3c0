// The program under simulation.
#pragma once

#include <sys/types.h>

#include <string>
#include <utility>
#include <vector>

#include "sim/base/UniqueFd.h"

namespace sim {

struct Launch {
    std::vector<std::string> arguments;  // the program (searched in PATH) and its arguments
    std::vector<std::pair<std::string, std::string>> environment;  // set over the caller's
    bool piped = false;  // standard input and output are pipes of ours, else the caller's own
};

// It is killed when the simulator dies, however that comes about.
class ChildProcess {
public:
    // Signals are unblocked, and SIGPIPE is given back its default, in the child. A program that cannot be
    // run tells so on standard error and ends with status 127. False: no process could be made.
    [[nodiscard]] bool start(const Launch& launch);

    [[nodiscard]] pid_t pid() const { return m_pid; }
    // Our non-blocking ends of the pipes, when piped.
    [[nodiscard]] UniqueFd& input() { return m_input; }
    [[nodiscard]] UniqueFd& output() { return m_output; }

private:
    pid_t m_pid = -1;
    UniqueFd m_input;
    UniqueFd m_output;
};

}  // namespace sim
