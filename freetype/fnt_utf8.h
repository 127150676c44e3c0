// Decoding of UTF-8 text.
#pragma once

#include <cstdint>

namespace fnt {

constexpr std::uint32_t kNewline = '\n';

// The character at `*text`, which is moved behind it; 0, without moving, at the NUL. Also an overlong
// sequence can give 0, which ends a text like the NUL. Never reads behind the NUL.
std::uint32_t nextCode(const char** text);

// True at what ends a line for measuring and aligning.
[[nodiscard]] constexpr bool endsLine(std::uint32_t code) {
    return code == 0 || code == kNewline;
}

}  // namespace fnt
