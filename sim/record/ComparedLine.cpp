#include "sim/record/ComparedLine.h"

#include <cstddef>
#include <optional>
#include <string_view>

namespace sim {
namespace {

constexpr std::string_view kEventBegin = "OnFpKey(";

// Takes a decimal number, and the character behind it, off the text; the number as it stands.
std::optional<std::string_view> takeNumber(std::string_view& text, char behind) {
    const std::size_t sign = text.substr(0, 1) == "-" ? 1 : 0;
    const std::size_t end = text.find_first_not_of("0123456789", sign);
    if (end == sign || end == std::string_view::npos || text[end] != behind) {
        return std::nullopt;
    }
    const std::string_view number = text.substr(0, end);
    text.remove_prefix(end + 1);
    return number;
}

}  // namespace

ComparedLine comparedLine(const std::string& line, bool maskTimes) {
    std::string_view rest = line;
    if (rest.substr(0, kEventBegin.size()) != kEventBegin) {
        return {"", line};
    }
    rest.remove_prefix(kEventBegin.size());
    const auto key = takeNumber(rest, ',');
    const auto value = key ? takeNumber(rest, ',') : std::nullopt;
    const auto milliseconds = value ? takeNumber(rest, ')') : std::nullopt;
    if (!milliseconds || !rest.empty()) {
        return {"", line};
    }
    const bool timed = maskTimes && milliseconds->front() != '-';
    const std::size_t kept = line.size() - milliseconds->size() - 1;
    return {std::string(*key), timed ? line.substr(0, kept) + "MS)" : line};
}

}  // namespace sim
