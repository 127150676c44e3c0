#include "sim/program/Session.h"

#include <sys/epoll.h>
#include <sys/prctl.h>
#include <sys/signalfd.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <utility>

#include "sim/base/Text.h"

namespace sim {
namespace {

constexpr int kSignalExit = 128;  // shells report an end by signal n as 128 + n

// "NEW" before what the variable has already, with a colon between.
std::string prepended(const char* variable, const std::string& text) {
    const char* present = std::getenv(variable);
    return present != nullptr && *present != '\0' ? text + ':' + present : text;
}

void writeAll(int fd, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t written = ::write(fd, bytes.data(), bytes.size());
        if (written < 0 && errno != EINTR) {
            return;
        }
        bytes.remove_prefix(static_cast<std::size_t>(std::max<ssize_t>(written, 0)));
    }
}

// As the log shows it: the program without its folder, which differs from machine to machine.
std::string commandLine(const std::vector<std::string>& words) {
    std::string text = std::filesystem::path(words.front()).filename();
    for (auto word = words.begin() + 1; word != words.end(); ++word) {
        text += ' ' + printable(*word);
    }
    return text;
}

}  // namespace

Session::Session(SessionOptions options)
    : m_options(std::move(options)),
      m_panel(m_options.variant),
      m_devices(m_loop, m_panel, m_log),
      m_control(m_loop, [this](const Request& request) { return m_devices.handle(request); }) {}

Session::~Session() {
    if (m_running) {
        kill();
    }
    killLeftBehind();
}

std::string Session::prepare() {
    // What our programs leave behind becomes our child, so that it can be ended too.
    ::prctl(PR_SET_CHILD_SUBREAPER, 1);
    ::signal(SIGPIPE, SIG_IGN);
    if (!m_control.listen() || !watchSignals()) {
        return std::string("cannot make the control socket: ") + std::strerror(errno);
    }
    if (!m_boot.valid() || !m_boot.answer(m_options.boot)) {
        return std::string("cannot make a temporary folder: ") + std::strerror(errno);
    }
    return {};
}

bool Session::watchSignals() {
    sigset_t set;
    sigemptyset(&set);
    for (const int signal : {SIGCHLD, SIGINT, SIGTERM, SIGHUP}) {
        sigaddset(&set, signal);
    }
    ::sigprocmask(SIG_BLOCK, &set, nullptr);
    m_signals = UniqueFd(::signalfd(-1, &set, SFD_CLOEXEC | SFD_NONBLOCK));
    if (!m_signals.valid()) {
        return false;
    }
    m_loop.watch(m_signals.get(), EPOLLIN, [this](std::uint32_t) { takeSignal(); });
    return true;
}

void Session::takeSignal() {
    signalfd_siginfo information{};
    if (::read(m_signals.get(), &information, sizeof information) != sizeof information) {
        return;
    }
    const auto signal = static_cast<int>(information.ssi_signo);
    if (signal == SIGCHLD) {
        reapChildren();
    } else {
        passOn(signal);
    }
}

void Session::passOn(int signal) {
    const int passed = m_interruption != 0 ? SIGKILL : signal;
    m_interruption = signal;
    if (m_running) {
        sendSignal(passed);
    }
}

void Session::reapChildren() {
    int status = 0;
    for (pid_t pid = ::waitpid(-1, &status, WNOHANG); pid > 0; pid = ::waitpid(-1, &status, WNOHANG)) {
        if (pid == m_child.pid() && m_running) {
            noteExit(status);
        }
    }
}

void Session::noteExit(int waitStatus) {
    relayOutput();  // what it wrote last is still in the pipe
    m_loop.unwatch(m_child.output().get());
    m_child.output().reset();
    m_child.input().reset();
    m_running = false;
    m_exitStatus = WIFSIGNALED(waitStatus) ? kSignalExit + WTERMSIG(waitStatus) : WEXITSTATUS(waitStatus);
    m_records.event("exit", std::to_string(*m_exitStatus));
}

Launch Session::launchOf(const std::vector<std::string>& arguments) const {
    Launch launch;
    launch.arguments = m_options.command;
    launch.arguments.insert(launch.arguments.end(), arguments.begin(), arguments.end());
    launch.environment = {{"LD_PRELOAD", prepended("LD_PRELOAD", m_options.shim)},
                          {"PATH", prepended("PATH", m_boot.folder())},
                          {BELTPACK_SOCKET_VARIABLE, m_control.name()}};
    launch.piped = m_options.piped;
    return launch;
}

bool Session::start(const std::vector<std::string>& arguments) {
    const Launch launch = launchOf(arguments);
    m_records.event("start", commandLine(launch.arguments));
    m_exitStatus.reset();
    m_running = m_child.start(launch);
    if (m_running && launch.piped) {
        m_loop.watch(m_child.output().get(), EPOLLIN, [this](std::uint32_t) { relayOutput(); });
    }
    return m_running;
}

void Session::relayOutput() {
    std::array<char, 4096> buffer{};
    ssize_t length = 0;
    while ((length = ::read(m_child.output().get(), buffer.data(), buffer.size())) > 0) {
        const std::string_view bytes(buffer.data(), static_cast<std::size_t>(length));
        writeAll(STDOUT_FILENO, bytes);
        m_output.append(bytes);
    }
    if (length == 0) {
        m_loop.unwatch(m_child.output().get());
    }
}

long Session::writeInput(std::string_view bytes) {
    const ssize_t written = ::write(m_child.input().get(), bytes.data(), bytes.size());
    if (written < 0) {
        return errno == EAGAIN ? 0 : -1;
    }
    return written;
}

void Session::sendSignal(int signal) {
    ::kill(m_child.pid(), signal);
}

void Session::kill() {
    sendSignal(SIGKILL);
    while (m_running) {
        serve(-1);
    }
}

void Session::killLeftBehind() {
    const std::string file = "/proc/self/task/" + std::to_string(::getpid()) + "/children";
    for (bool found = true; found;) {
        std::ifstream children(file);
        found = false;
        for (pid_t pid = 0; children >> pid; found = true) {
            ::kill(pid, SIGKILL);
            ::waitpid(pid, nullptr, 0);
        }
    }
}

}  // namespace sim
