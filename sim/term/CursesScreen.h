// Draws pages with curses, which knows what each kind of terminal understands.
#pragma once

#include <cstdio>
#include <string>

#include "sim/base/UniqueFd.h"
#include "sim/term/KeyDecoder.h"
#include "sim/term/Page.h"

struct screen;  // curses' own

namespace sim {

// Curses writes into memory here, never to the terminal: it would wait for a slow one, and with it the whole
// simulator. The bytes of each page go out as the terminal takes them, and the page after them is drawn when
// they are gone.
//
// One at a time in a process, since curses keeps its screen in global variables.
class CursesScreen {
public:
    CursesScreen() = default;
    ~CursesScreen();
    CursesScreen(const CursesScreen&) = delete;
    CursesScreen& operator=(const CursesScreen&) = delete;

    // Takes the locale and the variable TERM from the environment. An error text, or an empty one.
    [[nodiscard]] std::string open();

    [[nodiscard]] Charset charset() const { return m_charset; }
    // What the terminal's keys send.
    [[nodiscard]] KeyDecoder::Sequences keySequences() const;

    // The bytes that make the terminal show this page, after those of the page before. A page of another size
    // is drawn wholly.
    [[nodiscard]] std::string show(const DrawnPage& page);
    // The next page is drawn wholly.
    void forget();
    // The bytes that leave the terminal as it was.
    [[nodiscard]] std::string leave();

private:
    [[nodiscard]] std::string takeBytes();
    void resize(Size size);

    screen* m_screen = nullptr;
    std::FILE* m_file = nullptr;  // memory that curses writes to
    Charset m_charset = Charset::Ascii;
    Size m_size;
    bool m_away = true;  // the terminal is, or will be, as it was
};

}  // namespace sim
