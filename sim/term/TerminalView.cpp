#include "sim/term/TerminalView.h"

#include <sys/epoll.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstring>
#include <utility>

#include "sim/base/Alarm.h"
#include "sim/term/CursesScreen.h"
#include "sim/term/LinePrompt.h"
#include "sim/term/PanelHands.h"
#include "sim/term/StandardStreams.h"
#include "sim/term/Terminal.h"

namespace sim {
namespace {

using std::chrono::milliseconds;

constexpr milliseconds kBetweenPages{33};
constexpr milliseconds kSequenceTime{100};   // the bytes of one key come within it
constexpr milliseconds kHangUpGrace{500};    // for the kernel's own SIGHUP, which comes first or not at all
constexpr milliseconds kLeavePatience{500};  // with a terminal that does not take the last bytes
constexpr std::uint64_t kMostLines = 200;    // rows that any terminal shows
constexpr int kSignalExit = 128;             // a status of 128 + n: ended by signal n

sigset_t windowChange() {
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGWINCH);
    return set;
}

UniqueFd windowChanges() {
    const sigset_t set = windowChange();
    return UniqueFd(::signalfd(-1, &set, SFD_CLOEXEC | SFD_NONBLOCK));
}

std::string endOf(const std::string& command, int status) {
    const std::string name = "beltpack_sim: " + command.substr(0, command.find(' ')) + " ended ";
    const char* const signal = status > kSignalExit ? ::sigdescr_np(status - kSignalExit) : nullptr;
    if (signal == nullptr) {
        return name + "with status " + std::to_string(status) + '\n';
    }
    return name + "by signal " + std::to_string(status - kSignalExit) + " (" + signal + "), status " +
           std::to_string(status) + '\n';
}

}  // namespace

// ---- While it runs ----

class TerminalView::Desk : private PanelListener {
public:
    explicit Desk(const ViewSeam& seam)
        : m_seam(seam),
          m_redraw(seam.loop, [this] { drawIfChanged(); }),
          m_sequenceEnd(seam.loop, [this] { take(m_decoder.giveUp()); }),
          m_hangUp(seam.loop, [] { ::kill(::getpid(), SIGHUP); }),
          m_hands(seam.loop, seam.controls, seam.panel.inputs) {}

    [[nodiscard]] std::string begin();
    void end();
    // Something to be shown is new.
    void changed();

private:
    void onStart(const std::string& command) override { m_command = command; }

    [[nodiscard]] Page page() const;
    void drawIfChanged();
    void draw();
    void sendOut();

    void watchTerminal(std::uint32_t events);
    void serve(std::uint32_t events);
    void takeInput();
    void take(const std::vector<Key>& keys);
    void take(Key key);
    void act(const Binding& binding);
    void quit();
    void takeWindowChange();
    void lose();

    const ViewSeam m_seam;
    Terminal m_terminal;
    CursesScreen m_screen;
    StandardStreams m_streams;
    const UniqueFd m_windowChanges = windowChanges();
    KeyDecoder m_decoder;
    Alarm m_redraw;       // armed: the last page is younger than kBetweenPages
    Alarm m_sequenceEnd;  // the rest of a key's bytes has not come
    Alarm m_hangUp;
    PanelHands m_hands;
    LinePrompt m_prompt;
    std::string m_command;
    std::string m_notice;
    bool m_help = false;
    bool m_changed = true;        // since the last page
    bool m_lost = false;          // the terminal is gone
    std::uint32_t m_watched = 0;  // events of the terminal
};

std::string TerminalView::Desk::begin() {
    std::string error = m_terminal.open();
    if (error.empty()) {
        error = m_screen.open();
    }
    if (!error.empty()) {
        return error;
    }
    m_decoder = KeyDecoder(m_screen.keySequences());
    m_streams.takeFrom(m_terminal);
    m_terminal.takeKeys();
    m_seam.panel.listen(*this);
    m_seam.loop.watch(m_windowChanges.get(), EPOLLIN, [this](std::uint32_t) { takeWindowChange(); });
    draw();
    return {};
}

void TerminalView::Desk::end() {
    watchTerminal(0);
    m_seam.loop.unwatch(m_windowChanges.get());
    m_terminal.leave(m_screen.leave(), kLeavePatience);
    m_streams.giveBack();
    if (const auto status = m_seam.keeper.state().exitStatus) {
        m_terminal.write(endOf(m_command, *status));
        (void)m_terminal.pump();
    }
}

// ---- Out ----

void TerminalView::Desk::changed() {
    m_changed = true;
    if (!m_redraw.armed()) {
        drawIfChanged();
    }
}

void TerminalView::Desk::drawIfChanged() {
    if (m_changed && !m_lost && !m_terminal.busy()) {
        draw();
    }
}

void TerminalView::Desk::draw() {
    m_changed = false;
    m_streams.trim();
    m_terminal.write(m_screen.show(drawPage(page(), m_terminal.size(), m_screen.charset())));
    m_redraw.set(kBetweenPages);
    sendOut();
}

Page TerminalView::Desk::page() const {
    const LineRing& lines = m_seam.keeper.lines();
    Page page;
    page.state = m_seam.keeper.state();
    page.lines = lines.since(lines.last() - std::min(lines.last(), kMostLines)).lines;
    if (m_prompt.isOpen()) {
        page.prompt = m_prompt.text();
    }
    page.notice = m_notice;
    page.help = m_help;
    return page;
}

void TerminalView::Desk::sendOut() {
    if (!m_terminal.pump()) {
        lose();
        return;
    }
    watchTerminal(m_terminal.busy() ? EPOLLIN | EPOLLOUT : EPOLLIN);
    if (!m_redraw.armed()) {
        drawIfChanged();
    }
}

// ---- In ----

void TerminalView::Desk::watchTerminal(std::uint32_t events) {
    if (events == m_watched) {
        return;
    }
    if (m_watched != 0) {
        m_seam.loop.unwatch(m_terminal.fd());
    }
    if (events != 0) {
        m_seam.loop.watch(m_terminal.fd(), events, [this](std::uint32_t now) { serve(now); });
    }
    m_watched = events;
}

void TerminalView::Desk::serve(std::uint32_t events) {
    if ((events & EPOLLOUT) != 0) {
        sendOut();
    }
    if (!m_lost && (events & ~static_cast<std::uint32_t>(EPOLLOUT)) != 0) {
        takeInput();
    }
}

void TerminalView::Desk::takeInput() {
    const auto bytes = m_terminal.read();
    if (!bytes) {
        lose();
        return;
    }
    m_sequenceEnd.cancel();
    take(m_decoder.take(*bytes));
    if (m_decoder.waits()) {
        m_sequenceEnd.set(kSequenceTime);
    }
}

void TerminalView::Desk::take(const std::vector<Key>& keys) {
    for (const Key key : keys) {
        take(key);
    }
    changed();
}

// A page of help takes any key and shows the panel again.
void TerminalView::Desk::take(Key key) {
    m_notice.clear();
    if (std::exchange(m_help, false)) {
        return;
    }
    if (m_prompt.isOpen()) {
        if (const auto line = m_prompt.take(key)) {
            m_notice = m_seam.controls.sendLine(*line);
        }
    } else if (const Binding* const binding = bindingOf(key)) {
        act(*binding);
    }
}

void TerminalView::Desk::act(const Binding& binding) {
    switch (binding.action) {
        case Action::Prompt:
            m_prompt.open();
            break;
        case Action::Help:
            m_help = true;
            break;
        case Action::Redraw:
            m_screen.forget();
            break;
        case Action::Quit:
            quit();
            break;
        default:
            m_notice = m_hands.perform(binding);
    }
}

// By the gentlest means that has not been tried yet; the session kills at the second signal.
void TerminalView::Desk::quit() {
    if (m_streams.endInput()) {
        m_notice = "The program's input has been closed. If it goes on, q asks it to end.";
        return;
    }
    m_notice = "The program has been asked to end. If it goes on, q kills it.";
    ::kill(::getpid(), SIGTERM);
}

// ---- The terminal itself ----

void TerminalView::Desk::takeWindowChange() {
    signalfd_siginfo information{};
    while (::read(m_windowChanges.get(), &information, sizeof information) > 0) {
    }
    changed();
}

void TerminalView::Desk::lose() {
    m_lost = true;
    watchTerminal(0);
    m_hangUp.set(kHangUpGrace);
}

// ---- TerminalView ----

TerminalView::TerminalView() {
    const sigset_t set = windowChange();
    ::sigprocmask(SIG_BLOCK, &set, nullptr);
}

TerminalView::~TerminalView() = default;

std::string TerminalView::start(const ViewSeam& seam) {
    m_desk = std::make_unique<Desk>(seam);
    std::string error = m_desk->begin();
    if (!error.empty()) {
        m_desk.reset();
        return error;
    }
    seam.snapshots.onNews([this] { m_desk->changed(); });
    return {};
}

void TerminalView::stop() {
    m_desk->end();
}

}  // namespace sim
