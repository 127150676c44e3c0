// The eight LEDs behind the panel's four keys.
#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <string_view>

#include "sim/panel/PanelListener.h"

namespace sim {

class LedModel {
public:
    // Colour and key, in the order of the driver's outputs.
    static constexpr std::array<std::string_view, 8> kNames = {"grn:c2", "red:c2", "grn:t2", "red:t2",
                                                               "grn:t1", "red:t1", "grn:c1", "red:c1"};
    static constexpr unsigned kMaxLevel = 255;

    // The listener is not owned.
    explicit LedModel(PanelListener& listener) : m_listener(listener) {}

    [[nodiscard]] static std::optional<std::size_t> indexOf(std::string_view name);

    // index: 0 .. 7. A level above kMaxLevel is taken as kMaxLevel.
    void setLevel(std::size_t index, unsigned long level);
    [[nodiscard]] unsigned level(std::size_t index) const { return m_levels[index]; }

private:
    PanelListener& m_listener;
    std::array<unsigned, kNames.size()> m_levels{};
};

}  // namespace sim
