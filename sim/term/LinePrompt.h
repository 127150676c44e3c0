// A line for the daemon while it is typed.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "sim/term/KeyDecoder.h"

namespace sim {

class LinePrompt {
public:
    void open() { m_open = true; }
    [[nodiscard]] bool isOpen() const { return m_open; }
    // What has been typed: bytes as they came.
    [[nodiscard]] const std::string& text() const { return m_text; }

    // A key for the prompt while it is open. Enter gives the line, which is to be sent, and leaves the prompt
    // open for the next; Enter without a text, and Escape, close it. Backspace takes back a character,
    // Control-U all; Up and Down bring back lines that were given before.
    [[nodiscard]] std::optional<std::string> take(Key key);

private:
    static constexpr std::size_t kKeptLines = 100;

    [[nodiscard]] std::optional<std::string> give();
    void close();
    void takeBack();
    void bringBack(std::size_t place);

    bool m_open = false;
    std::string m_text;
    std::vector<std::string> m_given;  // oldest first
    std::size_t m_place = 0;           // in m_given; its size: the line that is being typed
};

}  // namespace sim
