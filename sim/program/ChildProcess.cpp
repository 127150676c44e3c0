#include "sim/program/ChildProcess.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace sim {
namespace {

constexpr int kCannotRun = 127;

struct Pipe {
    UniqueFd readEnd;
    UniqueFd writeEnd;

    [[nodiscard]] bool open() {
        std::array<int, 2> ends{-1, -1};
        if (::pipe2(ends.data(), O_CLOEXEC) < 0) {
            return false;
        }
        readEnd = UniqueFd(ends[0]);
        writeEnd = UniqueFd(ends[1]);
        return true;
    }
};

void restoreSignals() {
    sigset_t none;
    sigemptyset(&none);
    ::sigprocmask(SIG_SETMASK, &none, nullptr);
    ::signal(SIGPIPE, SIG_DFL);
}

void dieWithParent(pid_t parent) {
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (::getppid() != parent) {
        ::_exit(kCannotRun);
    }
}

[[noreturn]] void run(const Launch& launch) {
    for (const auto& [name, value] : launch.environment) {
        ::setenv(name.c_str(), value.c_str(), 1);
    }
    std::vector<char*> arguments;
    for (const std::string& argument : launch.arguments) {
        arguments.push_back(const_cast<char*>(argument.c_str()));
    }
    arguments.push_back(nullptr);
    ::execvp(arguments[0], arguments.data());
    std::fprintf(stderr, "beltpack_sim: cannot run %s: %s\n", arguments[0], std::strerror(errno));
    ::_exit(kCannotRun);
}

}  // namespace

bool ChildProcess::start(const Launch& launch) {
    Pipe input;
    Pipe output;
    if (launch.piped && (!input.open() || !output.open())) {
        return false;
    }
    const pid_t parent = ::getpid();
    m_pid = ::fork();
    if (m_pid == 0) {
        dieWithParent(parent);
        if (launch.piped) {
            ::dup2(input.readEnd.get(), STDIN_FILENO);
            ::dup2(output.writeEnd.get(), STDOUT_FILENO);
        }
        restoreSignals();
        run(launch);
    }
    m_input = std::move(input.writeEnd);
    m_output = std::move(output.readEnd);
    if (launch.piped) {
        ::fcntl(m_input.get(), F_SETFL, O_NONBLOCK);
        ::fcntl(m_output.get(), F_SETFL, O_NONBLOCK);
    }
    return m_pid > 0;
}

}  // namespace sim
