#include "sim/base/Text.h"

#include <fnmatch.h>

#include <array>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <system_error>

namespace sim {
namespace {

constexpr int kLastErrno = 133;
constexpr char kHexDigits[] = "0123456789ABCDEF";

void appendHex(std::string& to, char byte) {
    const auto value = static_cast<unsigned char>(byte);
    to += kHexDigits[value >> 4U];
    to += kHexDigits[value & 0x0FU];
}

void appendPrintable(std::string& to, char c) {
    switch (c) {
        case '\n':
            to += "\\n";
            return;
        case '\t':
            to += "\\t";
            return;
        case '\\':
            to += "\\\\";
            return;
        default:
            break;
    }
    if (c >= ' ' && c <= '~') {
        to += c;
        return;
    }
    to += "\\x";
    appendHex(to, c);
}

}  // namespace

std::string hexBytes(std::string_view bytes) {
    std::string text;
    text.reserve(bytes.size() * 3);
    for (const char byte : bytes) {
        if (!text.empty()) {
            text += ' ';
        }
        appendHex(text, byte);
    }
    return text;
}

std::string printable(std::string_view text) {
    if (!text.empty() && text.back() == '\n') {
        text.remove_suffix(1);
    }
    std::string shown;
    for (const char c : text) {
        appendPrintable(shown, c);
    }
    return shown;
}

bool globMatches(const std::string& pattern, const std::string& text) {
    return ::fnmatch(pattern.c_str(), text.c_str(), 0) == 0;
}

std::optional<int> parseInt(std::string_view text, int minimum, int maximum) {
    int value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc{} || end != text.data() + text.size() || value < minimum || value > maximum) {
        return std::nullopt;
    }
    return value;
}

std::string errorName(int error) {
    const char* name = ::strerrorname_np(error);
    return name != nullptr ? name : std::to_string(error);
}

std::optional<int> errorNumber(std::string_view name) {
    for (int error = 1; error <= kLastErrno; ++error) {
        if (errorName(error) == name) {
            return error;
        }
    }
    return std::nullopt;
}

}  // namespace sim
