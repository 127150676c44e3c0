// The language of scripted sessions: reading. docs/simulator.md is its manual.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "sim/kernel/FaultTable.h"

namespace sim {

// One line of a script. The arguments are checked: numbers are in range, names are known.
struct Step {
    std::string file;                    // where it stands
    int line;                            // counted from 1
    std::string source;                  // the line as it stands
    std::string word;                    // e.g. "press" or "wait line"
    std::vector<std::string> arguments;  // without quotes and escapes
};

struct Script {
    std::string file;
    std::vector<Step> steps;
};

// Reads a script's text, and those that it includes in the places where it does. An error text of the form
// "FILE:LINE: what is wrong", or an empty one.
[[nodiscard]] std::string parseScript(const std::string& file, std::string_view text, Script& script);
[[nodiscard]] std::string parseScriptFile(const std::string& file, Script& script);

// Cuts a line into words at blanks. "..." keeps blanks and knows \n \\ \" \0 and \xHH. Nothing: a quote is
// open or an escape unknown.
[[nodiscard]] std::optional<std::vector<std::string>> splitWords(std::string_view line);

// A signal by its name without SIG, of those that a session may send: TERM, KILL, INT and HUP.
[[nodiscard]] std::optional<int> parseSignal(std::string_view name);

// The arguments of the word "fault": CALL PATH (ERRNO | short COUNT) [nth N] [times N|always], where select
// has no PATH.
[[nodiscard]] std::optional<Fault> parseFault(const std::vector<std::string>& arguments);

}  // namespace sim
