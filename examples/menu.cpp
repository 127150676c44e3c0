// An intercom menu: a small but whole controlling application of the front panel; menu.py is the same in
// Python.
//
// usage: example_menu [--idle SECONDS] [--tap MS] [DAEMON [ARGUMENT...]]
//
// It starts the daemon (beltpack_fpui unless another is named), reads its event lines and answers with
// commands, until the daemon ends, a signal comes or the other end of its standard input is closed. The exit
// status is the daemon's. What it answers is decided in menu.h; here is what joins that to the daemon's pipes
// and to the clock.
#include "examples/menu.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/signalfd.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <string_view>

namespace {

// The daemon as a process, a pipe at either end of it.
struct Daemon {
    pid_t pid = -1;
    int input = -1;   // commands are written here
    int output = -1;  // event lines are read here
};

Ms nowMs() {
    using std::chrono::milliseconds;
    const auto now = std::chrono::steady_clock::now().time_since_epoch();  // the wall clock may be set
    return std::chrono::duration_cast<milliseconds>(now).count();
}

// From here on signals to end are read from the descriptor that this returns, instead of ending the program.
int watchSignals(sigset_t* former) {
    std::signal(SIGPIPE, SIG_IGN);  // a daemon that has ended is noticed at its output
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGINT);
    sigaddset(&set, SIGTERM);
    sigprocmask(SIG_BLOCK, &set, former);
    return signalfd(-1, &set, SFD_CLOEXEC);
}

// Returns 0 or an error number.
int start(char** command, const sigset_t& signals, Daemon& daemon) {
    std::array<int, 2> in{};
    std::array<int, 2> out{};
    if (pipe2(in.data(), O_CLOEXEC) < 0 || pipe2(out.data(), O_CLOEXEC) < 0) {
        return errno;
    }
    posix_spawn_file_actions_t files;
    posix_spawn_file_actions_init(&files);
    posix_spawn_file_actions_adddup2(&files, in[0], STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&files, out[1], STDOUT_FILENO);
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    // In a session of its own: Ctrl-C at a terminal is then for us alone, and the daemon can end in order.
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSID | POSIX_SPAWN_SETSIGMASK);
    posix_spawnattr_setsigmask(&attributes, &signals);
    const int error = posix_spawnp(&daemon.pid, command[0], &files, &attributes, command, environ);
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&files);
    close(in[0]);
    close(out[1]);
    daemon.input = in[1];
    daemon.output = out[0];
    return error;
}

// Each command whole and in a write of its own: of one that comes in two reads the daemon loses the first
// part.
void send(int fd, const Strings& commands) {
    for (const std::string& command : commands) {
        const std::string line = command + '\n';
        if (write(fd, line.data(), line.size()) < 0) {
            return;
        }
    }
}

// Reads what the daemon says and answers every whole line of it. `rest` keeps the beginning of the next one.
// False at the end of the daemon's output.
bool answer(Menu& menu, const Daemon& daemon, std::string& rest) {
    std::array<char, 4096> buffer{};
    const ssize_t got = read(daemon.output, buffer.data(), buffer.size());
    if (got <= 0) {
        return false;
    }
    rest.append(buffer.data(), static_cast<std::size_t>(got));
    for (std::size_t end = rest.find('\n'); end != std::string::npos; end = rest.find('\n')) {
        const std::string line = rest.substr(0, end);
        rest.erase(0, end + 1);
        if (line.rfind("OnError(", 0) == 0) {  // one of our drawing commands was wrong
            std::fprintf(stderr, "%s\n", line.c_str());
        }
        send(daemon.input, menu.handle(line, nowMs()));
    }
    return true;
}

// Answers until there is a reason to end.
void converse(Menu& menu, const Daemon& daemon, int signals) {
    std::string rest;
    // Nothing is read from standard input. Without events to wait for, poll still tells that its other end is
    // closed.
    std::array<pollfd, 3> ready = {{{daemon.output, POLLIN, 0}, {signals, POLLIN, 0}, {STDIN_FILENO, 0, 0}}};
    for (;;) {
        poll(ready.data(), ready.size(), menu.waitMs(nowMs()));
        if (ready[1].revents != 0 || ready[2].revents != 0) {
            return;
        }
        if (ready[0].revents != 0 && !answer(menu, daemon, rest)) {
            return;  // the daemon has ended
        }
        send(daemon.input, menu.tick(nowMs()));
    }
}

// Returns the daemon's exit status, 128 + n when signal n ended it.
int finish(const Daemon& daemon) {
    close(daemon.input);  // that ends the daemon, which darkens the panel
    std::array<char, 4096> buffer{};
    while (read(daemon.output, buffer.data(), buffer.size()) > 0) {
    }  // what it still says: a full pipe would hold it
    int status = 0;
    waitpid(daemon.pid, &status, 0);
    return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}

}  // namespace

int main(int argc, char** argv) {
    double idle = 10;  // seconds until the display is dimmed
    double tap = 300;  // ms; a shorter press of a talk key latches it
    char** word = argv + 1;
    for (; argv + argc - word > 1; word += 2) {
        if (std::string_view(*word) == "--idle") {
            idle = std::atof(word[1]);
        } else if (std::string_view(*word) == "--tap") {
            tap = std::atof(word[1]);
        } else {
            break;
        }
    }
    std::string name = "beltpack_fpui";
    std::array<char*, 2> otherwise = {name.data(), nullptr};
    char** command = *word != nullptr ? word : otherwise.data();
    sigset_t former;
    const int signals = watchSignals(&former);
    Daemon daemon;
    if (const int error = start(command, former, daemon); error != 0) {
        std::fprintf(stderr, "%s: %s\n", command[0], std::strerror(error));
        return 127;
    }
    Menu menu(static_cast<Ms>(idle * 1000), static_cast<Ms>(tap));
    converse(menu, daemon, signals);
    return finish(daemon);
}
