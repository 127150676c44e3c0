// The program's standard input when it is a pipe of ours.
#pragma once

#include <deque>
#include <string>
#include <string_view>
#include <utility>

#include "sim/base/LineSplitter.h"
#include "sim/base/UniqueFd.h"

namespace sim {

// Takes the bytes of a script as they come, and lines of a person between two lines of these.
class PipedInput {
public:
    // fd: the pipe's end, not owned: non-blocking while a program runs, else closed. tell: gets each line
    // that has gone in.
    PipedInput(UniqueFd& fd, LineSplitter::Tell tell) : m_fd(fd), m_lines(std::move(tell)) {}

    // A program has started on a new pipe.
    void restart();
    void close() { m_fd.reset(); }

    // Hands as much in, in one write, as the pipe takes now: 0 when it is full, -1 when it is closed.
    [[nodiscard]] long write(std::string_view bytes);

    // Hands the line in, or keeps it until the line that has begun is whole. An error text, or an empty one.
    // line: with its line feed, up to PIPE_BUF bytes.
    [[nodiscard]] std::string sendLine(const std::string& line);

private:
    [[nodiscard]] long put(std::string_view bytes);

    UniqueFd& m_fd;
    LineSplitter m_lines;
    std::deque<std::string> m_waiting;
    bool m_atLineStart = true;
};

}  // namespace sim
