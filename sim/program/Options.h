// The command line of beltpack_sim.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "sim/web/WebAddress.h"

namespace sim {

struct Options {
    std::optional<int> panel;              // --panel; none: 0, or the one of the recording
    std::optional<std::string> disptype;   // --disptype; none: as the panel, or the recording, has it
    int disptypeStatus = 0;                // --disptype-status
    std::string screenshot;                // --screenshot; empty: none
    unsigned scale = 4;                    // --scale
    std::string log;                       // --log; empty: none
    bool trace = false;                    // --trace
    bool lines = false;                    // --lines
    bool term = false;                     // --term
    std::optional<WebAddress> web;         // --web
    std::string daemon = "beltpack_fpui";  // --daemon
    std::string script;                    // --script; empty: none
    bool virtualTime = false;              // --clock virtual
    std::string record;                    // --record; empty: none
    std::string replay;                    // --replay; empty: none
    std::optional<double> speed = 1;       // --speed; none: as fast as can be
    std::string gif;                       // --gif; empty: none
    std::string frames;                    // --frames; empty: none
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
