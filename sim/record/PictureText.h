// Panel pictures as text.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "sim/panel/Picture.h"

namespace sim {

// 1024 characters of base64 (RFC 4648, no line feeds): 768 bytes, row after row from the top, 12 bytes a row,
// the leftmost pixel in the highest bit, 1 for lit.
[[nodiscard]] std::string pictureText(const Picture& picture);

// Nothing: the text is none of pictureText's.
[[nodiscard]] std::optional<Picture> pictureFromText(std::string_view text);

}  // namespace sim
