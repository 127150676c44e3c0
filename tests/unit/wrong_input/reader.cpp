#include "wrong_input/reader.h"

#include <algorithm>

namespace wrong_input {
namespace {

const std::string kBlanks = " \t\n\v\f\r";
const std::string kHex = "0123456789abcdef";

// The value of a hexadecimal digit, npos for another character.
std::size_t hexDigit(char c) {
    return c == '\0' ? std::string::npos : kHex.find(lowerCase(std::string(1, c)));
}

}  // namespace

std::string lowerCase(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
    return text;
}

void Reader::skipBlanks() {
    const std::size_t next = m_line.find_first_not_of(kBlanks, m_at);
    m_at = next == std::string::npos ? m_line.size() : next;
}

bool Reader::atEnd() {
    skipBlanks();
    return m_at == m_line.size();
}

std::uint32_t Reader::digits() {
    std::uint64_t value = 0;
    for (; look() >= '0' && look() <= '9'; ++m_at) {
        value = (10 * value + static_cast<std::uint64_t>(look() - '0')) % 0x100000000U;
    }
    return static_cast<std::uint32_t>(value);
}

// A minus alone counts.
std::optional<std::int32_t> Reader::integer() {
    skipBlanks();
    const std::size_t start = m_at;
    const bool minus = look() == '-';
    m_at += minus ? 1 : 0;
    const std::uint32_t value = digits();
    if (m_at == start) {
        return std::nullopt;
    }
    return static_cast<std::int32_t>(minus ? ~value + 1 : value);
}

std::string Reader::word() {
    const std::size_t end = std::min(m_line.find_first_of(kBlanks, m_at), m_line.size());
    const std::string found = m_line.substr(m_at, end - m_at);
    m_at = end;
    return found;
}

std::optional<std::string> Reader::quoted() {
    const char quote = look();
    std::string found;
    for (++m_at; look() != quote; ++m_at) {
        if (look() == '\\') {
            ++m_at;
            if (look() == 'x') {
                const std::size_t high = hexDigit(look(1));
                const std::size_t low = hexDigit(look(2));
                if (high == std::string::npos || low == std::string::npos) {
                    return std::nullopt;
                }
                found += static_cast<char>(static_cast<unsigned char>(16 * high + low));
                m_at += 2;
                continue;
            }
        }
        if (look() == '\0') {
            return std::nullopt;
        }
        found += look();
    }
    ++m_at;
    return found.c_str();  // users of a text see it up to a NUL that \x00 put there
}

std::optional<std::string> Reader::text() {
    if (atEnd()) {
        return std::nullopt;
    }
    return look() == '"' || look() == '\'' ? quoted() : word();
}

std::optional<std::uint32_t> Reader::channels() {
    std::uint32_t color = 0xFF;
    for (const char behind : {',', ',', ')'}) {
        ++m_at;  // "(" or ","
        const std::optional<std::int32_t> value = integer();
        skipBlanks();
        if (!value || *value < 0 || *value > 255 || look() != behind) {
            return std::nullopt;
        }
        color = color << 8 | static_cast<std::uint32_t>(*value);
    }
    ++m_at;
    return color;
}

std::optional<std::uint32_t> Reader::hexadecimal() {
    std::string found;
    for (++m_at; found.size() < 8 && hexDigit(look()) != std::string::npos; ++m_at) {
        found += look();
    }
    switch (found.size()) {
        case 3:  // #RGB and #ARGB: one digit a byte, from 0 to 15
            found = "FF0" + found.substr(0, 1) + "0" + found.substr(1, 1) + "0" + found.substr(2, 1);
            break;
        case 4:
            found = "0" + found.substr(0, 1) + "0" + found.substr(1, 1) + "0" + found.substr(2, 1) + "0" +
                    found.substr(3, 1);
            break;
        case 6:
            found = "FF" + found;
            break;
        case 8:
            break;
        default:
            return std::nullopt;
    }
    return static_cast<std::uint32_t>(std::stoul(found, nullptr, 16));
}

std::optional<std::uint32_t> Reader::color(const Colors& named) {
    skipBlanks();
    if (look() == '(') {
        return channels();
    }
    if (look() == '#') {
        return hexadecimal();
    }
    if (look() >= '0' && look() <= '9') {
        return digits();
    }
    const std::optional<std::string> name = text();
    const auto found = name ? named.find(lowerCase(*name)) : named.end();
    return found == named.end() ? std::nullopt : std::optional(found->second);
}

}  // namespace wrong_input
