#include "sim/term/CursesScreen.h"

#include <fcntl.h>
#include <langinfo.h>
#include <sys/mman.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <clocale>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <string_view>

// Functions instead of macros: these would take over common names.
#define NCURSES_NOMACROS
#define NCURSES_WIDECHAR 1
#include <curses.h>
#include <term.h>
#undef tone  // a capability there, how a cell looks here

namespace sim {
namespace {

// Curses puts handlers of its own in place of the default ones. The session owns the process's signals.
class KeptSignals {
public:
    KeptSignals() {
        for (std::size_t i = 0; i < kSignals.size(); ++i) {
            ::sigaction(kSignals[i], nullptr, &m_actions[i]);
        }
    }
    ~KeptSignals() {
        for (std::size_t i = 0; i < kSignals.size(); ++i) {
            ::sigaction(kSignals[i], &m_actions[i], nullptr);
        }
    }
    KeptSignals(const KeptSignals&) = delete;
    KeptSignals& operator=(const KeptSignals&) = delete;

private:
    static constexpr std::array<int, 4> kSignals = {SIGINT, SIGTERM, SIGTSTP, SIGWINCH};
    std::array<struct sigaction, kSignals.size()> m_actions{};
};

// How a tone looks; colours where the terminal has them.
struct Look {
    attr_t attributes;
    short foreground;  // -1: the terminal's own
    short background;
};
constexpr short kOwn = -1;
// In the order of Tone. The glass is white on black on every terminal.
constexpr std::array<Look, 8> kLooks = {{{A_NORMAL, kOwn, kOwn},
                                         {A_NORMAL, COLOR_CYAN, kOwn},
                                         {A_BOLD, kOwn, kOwn},
                                         {A_NORMAL, COLOR_WHITE, COLOR_BLACK},
                                         {A_BOLD, COLOR_GREEN, kOwn},
                                         {A_BOLD, COLOR_RED, kOwn},
                                         {A_REVERSE, kOwn, kOwn},
                                         {A_BOLD, COLOR_RED, kOwn}}};

// The colour pair of a tone; curses keeps pair 0 for itself.
short pairOf(std::size_t tone) {
    return static_cast<short>(tone + 1);
}

void prepareColours() {
    if (!::has_colors()) {
        return;
    }
    ::start_color();
    ::use_default_colors();
    for (std::size_t tone = 0; tone < kLooks.size(); ++tone) {
        ::init_pair(pairOf(tone), kLooks[tone].foreground, kLooks[tone].background);
    }
}

void putCell(int x, int y, const Cell& cell) {
    const auto tone = static_cast<std::size_t>(cell.tone);
    const std::array<wchar_t, 2> glyph = {static_cast<wchar_t>(cell.glyph), L'\0'};
    cchar_t drawn;
    ::setcchar(&drawn, glyph.data(), kLooks[tone].attributes, ::has_colors() ? pairOf(tone) : short{0},
               nullptr);
    ::mvadd_wch(y, x, &drawn);
}

// Asked before newterm, which loses memory when it does not know the terminal.
bool isKnown(const std::string& terminal, int fd) {
    int error = 0;
    if (::setupterm(terminal.c_str(), fd, &error) != OK) {
        return false;
    }
    ::del_curterm(cur_term);
    return true;
}

bool speaksUtf8() {
    return std::string_view(::nl_langinfo(CODESET)) == "UTF-8";
}

Charset charsetOf(std::string_view terminal) {
    if (!speaksUtf8()) {
        return Charset::Ascii;
    }
    return terminal.substr(0, 5) == "linux" ? Charset::Blocks : Charset::Full;
}

}  // namespace

CursesScreen::~CursesScreen() {
    if (m_screen != nullptr) {
        (void)leave();
        ::delscreen(m_screen);
    }
    if (m_file != nullptr) {
        std::fclose(m_file);
    }
}

std::string CursesScreen::open() {
    const char* const name = std::getenv("TERM");
    const std::string terminal = name != nullptr ? name : "";
    std::setlocale(LC_CTYPE, "");
    m_file = ::fdopen(::memfd_create("beltpack_sim-screen", MFD_CLOEXEC), "r+");
    if (m_file == nullptr) {
        return std::string("cannot make memory for the screen: ") + std::strerror(errno);
    }
    const KeptSignals signals;
    if (isKnown(terminal, ::fileno(m_file))) {
        m_screen = ::newterm(terminal.c_str(), m_file, m_file);
    }
    if (m_screen == nullptr) {
        return "unknown kind of terminal: TERM is \"" + terminal + '"';
    }
    if (::tigetstr("cup") == nullptr) {
        return "this kind of terminal cannot place its cursor: TERM is \"" + terminal + '"';
    }
    m_charset = charsetOf(terminal);
    ::typeahead(-1);  // else it would look for input before it draws
    prepareColours();
    // What it has written assumes a size. It writes the like again with the first page.
    ::endwin();
    (void)takeBytes();
    return {};
}

KeyDecoder::Sequences CursesScreen::keySequences() const {
    struct Named {
        const char* capability;
        Key key;
    };
    constexpr std::array<Named, 7> kNamed = {{{"kcuu1", kUp},
                                              {"kcud1", kDown},
                                              {"kcuf1", kRight},
                                              {"kcub1", kLeft},
                                              {"kpp", kPageUp},
                                              {"knp", kPageDown},
                                              {"kbs", kBackspace}}};
    KeyDecoder::Sequences sequences;
    for (const Named& named : kNamed) {
        const char* const sequence = ::tigetstr(named.capability);
        if (sequence != nullptr) {
            sequences.emplace(sequence, named.key);
        }
    }
    return sequences;
}

// Through leaving, so that the scrolling region is made anew for the new size.
void CursesScreen::resize(Size size) {
    if (!m_away) {
        ::endwin();
        m_away = true;
    }
    ::resize_term(size.height, size.width);
    m_size = size;
    forget();
}

std::string CursesScreen::show(const DrawnPage& page) {
    const Size size = page.cells.size();
    if (size != m_size) {
        resize(size);
    }
    for (int y = 0; y < size.height; ++y) {
        for (int x = 0; x < size.width; ++x) {
            putCell(x, y, page.cells.at(x, y));
        }
    }
    ::curs_set(page.cursor ? 1 : 0);
    if (page.cursor) {
        ::move(page.cursor->y, page.cursor->x);
    }
    ::refresh();
    if (m_away) {
        ::keypad(stdscr, TRUE);  // leaving has switched it off
        m_away = false;
    }
    return takeBytes();
}

void CursesScreen::forget() {
    ::clearok(stdscr, TRUE);
}

// The last row is cleared for what is written next: where a terminal has one screen only, the page stays.
std::string CursesScreen::leave() {
    if (!m_away) {
        ::move(m_size.height - 1, 0);
        ::clrtoeol();
        ::refresh();
        ::endwin();
        m_away = true;
    }
    return takeBytes();
}

std::string CursesScreen::takeBytes() {
    const int fd = ::fileno(m_file);
    std::string bytes(static_cast<std::size_t>(::lseek(fd, 0, SEEK_CUR)), '\0');
    const ssize_t length = ::pread(fd, bytes.data(), bytes.size(), 0);
    bytes.resize(length > 0 ? static_cast<std::size_t>(length) : 0);
    if (::ftruncate(fd, 0) == 0) {
        ::lseek(fd, 0, SEEK_SET);
    }
    return bytes;
}

}  // namespace sim
