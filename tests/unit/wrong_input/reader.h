// How the arguments of the drawing language are read, written down a second time.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>

namespace wrong_input {

using Colors = std::map<std::string, std::uint32_t>;  // by name in lower case

std::string lowerCase(std::string text);

// A line up to its first NUL, and how far it has been read. Each operation skips white space, reads one
// argument and tells what it was; nothing when there is none of its kind.
class Reader {
public:
    explicit Reader(const std::string& line) : m_line(line.c_str()) {}

    bool atEnd();
    std::optional<std::int32_t> integer();
    std::optional<std::string> text();
    std::optional<std::uint32_t> color(const Colors& named);

private:
    char look(std::size_t ahead = 0) const {
        return m_at + ahead < m_line.size() ? m_line[m_at + ahead] : '\0';
    }
    void skipBlanks();
    std::uint32_t digits();
    std::optional<std::string> quoted();
    std::string word();
    std::optional<std::uint32_t> channels();
    std::optional<std::uint32_t> hexadecimal();

    std::string m_line;
    std::size_t m_at = 0;
};

}  // namespace wrong_input
