// The program's standard input when it is a pipe of ours.
#pragma once

#include <deque>
#include <functional>
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
    // that has gone in. tellEnd: called when it is closed here while a program runs.
    PipedInput(UniqueFd& fd, LineSplitter::Tell tell, std::function<void()> tellEnd = {})
        : m_fd(fd), m_lines(std::move(tell)), m_tellEnd(std::move(tellEnd)) {}

    // A program has started on a new pipe.
    void restart();
    void close();
    // Whether the program has taken all that was handed in.
    [[nodiscard]] bool drained() const;

    // Hands as much in, in one write, as the pipe takes now: 0 when it is full, -1 when it is closed.
    [[nodiscard]] long write(std::string_view bytes);

    // Hands the line in, or keeps it until the line that has begun is whole. An error text, or an empty one.
    // line: with its line feed, up to PIPE_BUF bytes.
    [[nodiscard]] std::string sendLine(const std::string& line);

private:
    [[nodiscard]] long put(std::string_view bytes);

    UniqueFd& m_fd;
    LineSplitter m_lines;
    const std::function<void()> m_tellEnd;
    std::deque<std::string> m_waiting;
    bool m_atLineStart = true;
};

}  // namespace sim
