// What of the daemon's lines can be compared between two runs.
#pragma once

#include <string>

namespace sim {

struct ComparedLine {
    // Lines of one stream have an order; between streams it is chance: keys, encoders and commands that wait
    // at the same time are served in the order of the daemon's loop, and which of them wait is a matter of
    // moments. Each key or encoder has a stream, named by its number; all other lines are of the stream "".
    std::string stream;
    // The line; with masked times an event line's milliseconds stand as MS, except for the -1 that stands for
    // none.
    std::string text;
};

[[nodiscard]] ComparedLine comparedLine(const std::string& line, bool maskTimes);

}  // namespace sim
