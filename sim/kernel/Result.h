// The outcome of a device call.
#pragma once

#include <cstdint>
#include <string>
#include <utility>

namespace sim {

struct Result {
    int error = 0;           // errno, or 0
    std::int64_t value = 0;  // what the call returns when error is 0
    std::string bytes;       // what it stores for the caller

    [[nodiscard]] static Result failed(int errorNumber) { return {errorNumber, 0, {}}; }
    [[nodiscard]] static Result returned(std::int64_t number) { return {0, number, {}}; }
    // Bytes for the caller, whose count is the result.
    [[nodiscard]] static Result gave(std::string bytes) {
        const auto size = static_cast<std::int64_t>(bytes.size());
        return {0, size, std::move(bytes)};
    }
};

}  // namespace sim
