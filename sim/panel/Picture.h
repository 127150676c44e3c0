// A picture of the panel's glass.
#pragma once

#include <bitset>
#include <cstddef>

namespace sim {

// 96 x 64 pixels, each lit or dark; (0, 0) is the top left one as the wearer sees it.
class Picture {
public:
    static constexpr std::size_t kWidth = 96;   // px
    static constexpr std::size_t kHeight = 64;  // px

    [[nodiscard]] bool lit(std::size_t x, std::size_t y) const { return m_pixels[y * kWidth + x]; }
    void set(std::size_t x, std::size_t y, bool lit) { m_pixels[y * kWidth + x] = lit; }

    [[nodiscard]] std::size_t litCount() const { return m_pixels.count(); }
    [[nodiscard]] bool operator==(const Picture& other) const { return m_pixels == other.m_pixels; }
    [[nodiscard]] bool operator!=(const Picture& other) const { return !(*this == other); }

private:
    std::bitset<kWidth * kHeight> m_pixels;
};

}  // namespace sim
