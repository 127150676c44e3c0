#include "sim/panel/LedModel.h"

#include <algorithm>

namespace sim {

std::optional<std::size_t> LedModel::indexOf(std::string_view name) {
    const auto* const found = std::find(kNames.begin(), kNames.end(), name);
    if (found == kNames.end()) {
        return std::nullopt;
    }
    return static_cast<std::size_t>(found - kNames.begin());
}

void LedModel::setLevel(std::size_t index, unsigned long level) {
    const auto bounded = static_cast<unsigned>(std::min<unsigned long>(level, kMaxLevel));
    if (m_levels[index] == bounded) {
        return;
    }
    m_levels[index] = bounded;
    m_listener.onLed(index, bounded);
}

}  // namespace sim
