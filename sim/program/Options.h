// The command line of beltpack_sim.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace sim {

struct Options {
    int panel = 0;                         // --panel
    std::optional<std::string> disptype;   // --disptype; none: as the panel that is fitted
    int disptypeStatus = 0;                // --disptype-status
    std::string screenshot;                // --screenshot; empty: none
    unsigned scale = 4;                    // --scale
    std::string log;                       // --log; empty: none
    bool trace = false;                    // --trace
    bool lines = false;                    // --lines
    bool term = false;                     // --term
    std::string daemon = "beltpack_fpui";  // --daemon
    std::string script;                    // --script; empty: none
    bool virtualTime = false;              // --clock virtual
    int timeout = 10;                      // --timeout, seconds
    std::string artifacts = ".";           // --artifacts
    bool updatePictures = false;           // --update-pictures
    std::vector<std::string> command;      // behind "--"; empty: the daemon beside the simulator
};

// Reads the command line into the options. Nothing, or the exit status of a program that is done: 0 after
// --help and
// --version, 2 after a usage message.
[[nodiscard]] std::optional<int> parseOptions(int argc, char** argv, Options& options);

}  // namespace sim
