#include "sim/term/Terminal.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>

namespace sim {
namespace {

constexpr Size kUsualSize = {80, 24};

bool mayComeLater(int error) {
    return error == EAGAIN || error == EINTR;
}

}  // namespace

// /dev/tty gives a description of our own: O_NONBLOCK touches no one else.
std::string Terminal::open() {
    m_fd = UniqueFd(::open("/dev/tty", O_RDWR | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    if (!m_fd.valid() || ::tcgetattr(m_fd.get(), &m_before) < 0) {
        return std::string("there is no terminal to show the panel in: ") + std::strerror(errno);
    }
    return {};
}

void Terminal::takeKeys() {
    termios settings = m_before;
    settings.c_iflag &= ~static_cast<tcflag_t>(BRKINT | ICRNL | INLCR | IGNCR | ISTRIP | IXON | IXOFF);
    settings.c_oflag &= ~static_cast<tcflag_t>(OPOST);
    settings.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO | ECHONL | IEXTEN);
    settings.c_lflag |= ISIG;
    settings.c_cc[VQUIT] = _POSIX_VDISABLE;
    settings.c_cc[VSUSP] = _POSIX_VDISABLE;
    settings.c_cc[VMIN] = 1;
    settings.c_cc[VTIME] = 0;
    ::tcsetattr(m_fd.get(), TCSANOW, &settings);
}

// TCSANOW: waiting for the output to drain could take for ever.
void Terminal::leave(std::string_view bytes, std::chrono::milliseconds patience) {
    const auto end = std::chrono::steady_clock::now() + patience;
    write(bytes);
    while (pump() && busy()) {
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(end - std::chrono::steady_clock::now());
        pollfd asked = {m_fd.get(), POLLOUT, 0};
        if (left.count() <= 0 || ::poll(&asked, 1, static_cast<int>(left.count())) == 0) {
            break;
        }
    }
    m_pending.clear();
    restoreSettings();
}

// Also from the background, where the kernel would stop the process instead.
void Terminal::restoreSettings() const {
    sigset_t stop;
    sigset_t before;
    sigemptyset(&stop);
    sigaddset(&stop, SIGTTOU);
    ::sigprocmask(SIG_BLOCK, &stop, &before);
    ::tcsetattr(m_fd.get(), TCSANOW, &m_before);
    ::sigprocmask(SIG_SETMASK, &before, nullptr);
}

Size Terminal::size() const {
    winsize window{};
    if (::ioctl(m_fd.get(), TIOCGWINSZ, &window) < 0 || window.ws_col == 0 || window.ws_row == 0) {
        return kUsualSize;
    }
    return {window.ws_col, window.ws_row};
}

bool Terminal::is(int fd) const {
    unsigned ours = 0;
    unsigned other = 0;
    return ::ioctl(m_fd.get(), TIOCGDEV, &ours) == 0 && ::ioctl(fd, TIOCGDEV, &other) == 0 && ours == other;
}

std::optional<std::string> Terminal::read() const {
    std::array<char, 1024> buffer{};
    const ssize_t length = ::read(m_fd.get(), buffer.data(), buffer.size());
    if (length > 0) {
        return std::string(buffer.data(), static_cast<std::size_t>(length));
    }
    return length < 0 && mayComeLater(errno) ? std::optional<std::string>("") : std::nullopt;
}

bool Terminal::pump() {
    while (busy()) {
        const ssize_t length = ::write(m_fd.get(), m_pending.data(), m_pending.size());
        if (length < 0) {
            return mayComeLater(errno);
        }
        m_pending.erase(0, static_cast<std::size_t>(length));
    }
    return true;
}

}  // namespace sim
