// Small text helpers.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace sim {

// "81 52": two upper-case hexadecimal digits a byte, one blank between.
[[nodiscard]] std::string hexBytes(std::string_view bytes);

// The text without one line feed at its end, and with \n, \t, \\ and \xHH for what cannot be shown on one
// line.
[[nodiscard]] std::string printable(std::string_view text);

// Shell-style match of the whole text: *, ?, [abc], with a backslash before a special character to take it as
// itself.
[[nodiscard]] bool globMatches(const std::string& pattern, const std::string& text);

// A decimal number from minimum to maximum; nothing else in the text.
[[nodiscard]] std::optional<int> parseInt(std::string_view text, int minimum, int maximum);

// The name of an errno, e.g. "ENOENT"; its number for a name that is none of them.
[[nodiscard]] std::string errorName(int error);
[[nodiscard]] std::optional<int> errorNumber(std::string_view name);

}  // namespace sim
