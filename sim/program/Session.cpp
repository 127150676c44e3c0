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
      m_pipeIsTheDaemons(m_options.piped &&
                         std::filesystem::path(m_options.command.front()).filename() == m_options.daemon),
      m_virtual(m_options.virtualTime
                    ? std::make_unique<VirtualClock>(m_loop, [this] { return m_devices.waitError(); })
                    : nullptr),
      m_panel(m_options.variant),
      m_devices(m_loop, m_panel, m_log),
      m_control(m_loop, [this](Request& request) { return answer(request); }),
      m_input(
          m_child.input(), [this](const std::string& text) { tellLineIn(text); }, [this] { tellInputEnd(); }),
      m_linesOut([this](const std::string& text) { tellLineOut(text); }),
      m_taps(m_loop, m_panel.listeners()),
      m_controls(m_panel, m_devices, [this](const std::string& text) { return sendLine(text); }),
      m_views(m_loop, m_panel, m_controls, m_options.variant, [this] { return m_log.milliseconds(); }) {}

Session::~Session() {
    if (m_running) {
        kill();
    }
    killLeftBehind();
    m_views.stop();
}

std::string Session::prepare() {
    // What our programs leave behind becomes our child, so that it can be ended too.
    ::prctl(PR_SET_CHILD_SUBREAPER, 1);
    ::signal(SIGPIPE, SIG_IGN);
    if (!m_control.listen() || !watchSignals()) {
        return std::string("cannot make the control socket: ") + std::strerror(errno);
    }
    if (m_virtual && !m_virtual->valid()) {
        return "cannot make the clock's page";
    }
    if (!m_boot.valid() || !m_boot.answer(m_options.boot)) {
        return std::string("cannot make a temporary folder: ") + std::strerror(errno);
    }
    return m_views.start();
}

bool Session::serve(int milliseconds) {
    const bool happened = m_loop.runOnce(milliseconds);
    m_views.afterRound();
    return happened;
}

Reply Session::answer(Request& request) {
    switch (request.head.operation) {
        case BELTPACK_TAP:
            return m_taps.open(request);
        case BELTPACK_CLOCK:
        case BELTPACK_WAIT:
        case BELTPACK_LEAVE:
            return m_virtual ? m_virtual->answer(request) : Reply{Result::failed(ENOSYS), {}, 0, {}, {}};
        default:
            return m_devices.handle(request);
    }
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
    ++m_interruptions;
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
    m_linesOut.end();
    m_taps.pump();
    m_loop.unwatch(m_child.output().get());
    m_child.output().reset();
    m_child.input().reset();
    if (m_virtual) {
        m_virtual->forget(m_child.pid());
    }
    m_running = false;
    m_exitStatus = WIFSIGNALED(waitStatus) ? kSignalExit + WTERMSIG(waitStatus) : WEXITSTATUS(waitStatus);
    m_records.event("exit", std::to_string(*m_exitStatus));
    m_panel.listeners().onExit(*m_exitStatus);
}

Launch Session::launchOf(const std::vector<std::string>& arguments) const {
    Launch launch;
    launch.arguments = m_options.command;
    launch.arguments.insert(launch.arguments.end(), arguments.begin(), arguments.end());
    launch.environment = {{"LD_PRELOAD", prepended("LD_PRELOAD", m_options.shim)},
                          {"PATH", prepended("PATH", m_boot.folder())},
                          {BELTPACK_SOCKET_VARIABLE, m_control.name()}};
    launch.piped = m_options.piped;
    const auto name = [&](const char* variable, bool wanted) {
        if (wanted) {
            launch.environment.emplace_back(variable, m_options.daemon);
        } else if (std::getenv(variable) != nullptr) {
            launch.environment.emplace_back(variable, "");  // another simulator's
        }
    };
    name(BELTPACK_TAP_VARIABLE, m_views.wantLines() && !m_pipeIsTheDaemons);
    name(BELTPACK_CLOCK_VARIABLE, m_options.virtualTime);
    return launch;
}

bool Session::start(const std::vector<std::string>& arguments) {
    const Launch launch = launchOf(arguments);
    m_command = launch.arguments;
    m_records.event("start", commandLine(launch.arguments));
    m_panel.listeners().onStart(commandLine(launch.arguments));
    m_exitStatus.reset();
    m_input.restart();
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
        if (m_options.echo) {
            writeAll(STDOUT_FILENO, bytes);
        }
        m_output.append(bytes);
        m_linesOut.append(bytes);
    }
    if (length == 0) {
        m_loop.unwatch(m_child.output().get());
    }
}

// ---- Lines ----

// A pipe to or from a controller carries lines of its own, not the daemon's.
void Session::tellLineIn(const std::string& text) {
    if (m_pipeIsTheDaemons) {
        m_panel.listeners().onLineIn(text);
    }
}

void Session::tellLineOut(const std::string& text) {
    if (m_pipeIsTheDaemons) {
        m_panel.listeners().onLineOut(text);
    }
}

void Session::tellInputEnd() {
    if (m_pipeIsTheDaemons) {
        m_panel.listeners().onInputEnd();
    }
}

std::string Session::sendLine(const std::string& text) {
    return m_pipeIsTheDaemons ? m_input.sendLine(text + '\n') : m_taps.sendLine(text + '\n');
}

// ---- The end ----

void Session::finish() {
    killLeftBehind();
    const unsigned before = m_interruptions;
    m_taps.pump();
    while (m_taps.delivering() && m_interruptions == before) {
        serve(-1);
    }
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
