// The lines that a program wrote, for scripts to take one after the other.
#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace sim {

class LineQueue {
public:
    // Bytes as they come, cut anywhere.
    void append(std::string_view bytes) {
        for (const char c : bytes) {
            if (c == '\n') {
                m_lines.push_back(std::move(m_partial));
                m_partial.clear();
            } else {
                m_partial += c;
            }
        }
    }

    // Whole lines, oldest first, without their line feeds.
    [[nodiscard]] const std::vector<std::string>& lines() const { return m_lines; }
    // The text behind the last line feed.
    [[nodiscard]] const std::string& partial() const { return m_partial; }

private:
    std::vector<std::string> m_lines;
    std::string m_partial;
};

}  // namespace sim
