// A small display for drawing, and the same pixels again for a slow drawing that is known to be right.
#pragma once

#include <cstdint>
#include <cstring>
#include <vector>

#include "fuzz/FuzzTarget.h"
#include "graphics/GrDisplayBuffer.h"

class Surface {
public:
    using Pixel = VelaGraphics::Pixel;
    using Size = VelaGraphics::Size;

    // Of an extent that is taken from the input: 1 .. 32 x 1 .. 24. Every pixel differs from its neighbours,
    // and each array ends where its memory ends.
    explicit Surface(FuzzInput& input) : m_size(extentOf(input)), m_drawn(count()), m_model(count()) {
        std::uint32_t color = 0x80000000U;
        for (Pixel& pixel : m_drawn) {
            pixel.px = color += 0x00010305U;
        }
        std::memcpy(m_model.data(), m_drawn.data(), bytes());
    }

    [[nodiscard]] VelaGraphics::DisplayBuffer drawn() { return {m_drawn.data(), m_size}; }
    [[nodiscard]] VelaGraphics::DisplayBuffer model() { return {m_model.data(), m_size}; }
    [[nodiscard]] const Size& size() const { return m_size; }

    void requireSame(const char* rule) const {
        require(std::memcmp(m_drawn.data(), m_model.data(), bytes()) == 0, rule);
    }

private:
    static Size extentOf(FuzzInput& input) {
        const std::int32_t width = input.byte() % 32 + 1;
        return {width, input.byte() % 24 + 1};
    }
    [[nodiscard]] std::size_t count() const { return static_cast<std::size_t>(m_size.area()); }
    [[nodiscard]] std::size_t bytes() const { return count() * sizeof(Pixel); }

    Size m_size;
    std::vector<Pixel> m_drawn;
    std::vector<Pixel> m_model;
};
