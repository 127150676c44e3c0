// The last lines that went into and came out of the daemon.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <string>
#include <utility>
#include <vector>

namespace sim {

struct ShownLine {
    std::uint64_t number = 0;  // from 1 on, over both directions in the order of passing
    bool out = false;          // out of the daemon, else into it
    bool error = false;        // an OnError line
    std::string text;          // without its line feed; bytes as they came, at most 4096 of them
    double ms = 0;             // when it passed, in the log's time
};

// The newest lines, up to a number of them; the numbers tell where older ones were dropped.
class LineRing {
public:
    struct Newer {
        std::vector<ShownLine> lines;  // oldest first
        std::uint64_t missed = 0;      // newer ones that are gone already, however the rest is numbered
    };

    explicit LineRing(std::size_t capacity) : m_capacity(capacity) {}

    // Numbers grow from line to line; they may jump.
    void add(ShownLine line) {
        if (m_lines.size() == m_capacity) {
            m_lines.pop_front();
        }
        m_last = line.number;
        m_lines.push_back(std::move(line));
    }

    // What came behind the line with this number; 0: all of them.
    [[nodiscard]] Newer since(std::uint64_t number) const {
        auto first = m_lines.end();
        while (first != m_lines.begin() && (first - 1)->number > number) {
            --first;
        }
        Newer newer{{first, m_lines.end()}, 0};
        newer.missed = number < m_last ? m_last - number - newer.lines.size() : 0;
        return newer;
    }

    // The newest line's number; 0: there was none.
    [[nodiscard]] std::uint64_t last() const { return m_last; }

private:
    const std::size_t m_capacity;
    std::deque<ShownLine> m_lines;
    std::uint64_t m_last = 0;
};

}  // namespace sim
