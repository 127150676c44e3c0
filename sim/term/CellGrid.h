// What a terminal shows: rows of characters, each with a tone.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace sim {

// What a character is, not how it looks: colours and attributes are chosen where the terminal is known.
enum class Tone : std::uint8_t { Plain, Dim, Title, Glass, Green, Red, Marked, Error };

struct Size {
    int width = 0;   // columns
    int height = 0;  // rows

    [[nodiscard]] bool operator==(const Size& other) const {
        return width == other.width && height == other.height;
    }
    [[nodiscard]] bool operator!=(const Size& other) const { return !(*this == other); }
};

struct Cell {
    char32_t glyph = U' ';  // one that takes one column
    Tone tone = Tone::Plain;
};

// (0, 0) is the top left cell. What is put outside is left out.
class CellGrid {
public:
    explicit CellGrid(Size size)
        : m_size(size),
          m_cells(static_cast<std::size_t>(size.width) * static_cast<std::size_t>(size.height)) {}

    [[nodiscard]] Size size() const { return m_size; }
    // Inside only.
    [[nodiscard]] const Cell& at(int x, int y) const { return m_cells[index(x, y)]; }

    void put(int x, int y, char32_t glyph, Tone tone) {
        if (0 <= x && x < m_size.width && 0 <= y && y < m_size.height) {
            m_cells[index(x, y)] = {glyph, tone};
        }
    }
    void put(int x, int y, std::u32string_view text, Tone tone) {
        for (const char32_t glyph : text) {
            put(x++, y, glyph, tone);
        }
    }
    // text: ASCII.
    void put(int x, int y, std::string_view text, Tone tone) {
        for (const char glyph : text) {
            put(x++, y, static_cast<char32_t>(static_cast<unsigned char>(glyph)), tone);
        }
    }

private:
    [[nodiscard]] std::size_t index(int x, int y) const {
        return static_cast<std::size_t>(y) * static_cast<std::size_t>(m_size.width) +
               static_cast<std::size_t>(x);
    }

    Size m_size;
    std::vector<Cell> m_cells;
};

}  // namespace sim
