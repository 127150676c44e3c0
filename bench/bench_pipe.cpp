// Times the real daemon through its pipes: commands a second, and the round trip of "g:info".
//   bench_pipe COMMAND [ARGS...]      e.g. bench_pipe beltpack_sim
// COMMAND is the daemon or a program that runs it with its standard input and output passed through.

#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

double seconds(Clock::time_point from) {
    return std::chrono::duration<double>(Clock::now() - from).count();
}

// The daemon as a child process with a pipe at either end.
class Daemon {
public:
    explicit Daemon(char** command) {
        int in[2];
        int out[2];
        if (pipe(in) != 0 || pipe(out) != 0) {
            fail("pipe");
        }
        m_pid = fork();
        if (m_pid == 0) {
            dup2(in[0], STDIN_FILENO);
            dup2(out[1], STDOUT_FILENO);
            for (const int fd : {in[0], in[1], out[0], out[1]}) {
                close(fd);
            }
            execvp(command[0], command);
            fail(command[0]);
        }
        close(in[0]);
        close(out[1]);
        m_to = in[1];
        m_from = out[0];
    }
    ~Daemon() {
        close(m_to);
        close(m_from);
        waitpid(m_pid, nullptr, 0);
    }
    Daemon(const Daemon&) = delete;
    Daemon& operator=(const Daemon&) = delete;

    void send(const std::string& text) const {
        if (write(m_to, text.data(), text.size()) != static_cast<ssize_t>(text.size())) {
            fail("write");
        }
    }

    // Reads until `line` has come.
    void waitFor(const std::string& line) {
        while (m_pending.find(line) == std::string::npos) {
            char buffer[4096];
            const ssize_t got = read(m_from, buffer, sizeof buffer);
            if (got <= 0) {
                fail("the daemon ended");
            }
            m_pending.append(buffer, static_cast<std::size_t>(got));
        }
        m_pending.erase(0, m_pending.find(line) + line.size());
    }

private:
    [[noreturn]] static void fail(const char* what) {
        std::perror(what);
        std::exit(1);
    }

    pid_t m_pid = -1;
    int m_to = -1;
    int m_from = -1;
    std::string m_pending;
};

const std::string kInfo = "OnDisplayInfo1(1,96,64)\n";

void roundTrip(Daemon& daemon) {
    daemon.send("g:info\n");
    daemon.waitFor(kInfo);
}

void timeCommands(Daemon& daemon) {
    const std::string command = "g:pixel 0 10 10 white\n";
    std::string block;  // whole commands, no longer than what a pipe takes in one piece
    while (block.size() + command.size() <= 4096) {
        block += command;
    }
    const std::size_t perBlock = block.size() / command.size();
    constexpr std::size_t kCommands = 4'000'000;
    const auto start = Clock::now();
    for (std::size_t sent = 0; sent < kCommands; sent += perBlock) {
        daemon.send(block);
    }
    roundTrip(daemon);
    std::printf("commands a second through the pipe: %.0f\n",
                static_cast<double>(kCommands) / seconds(start));
}

void timeRoundTrips(Daemon& daemon) {
    constexpr std::size_t kTrips = 20000;
    std::vector<double> trips;
    for (std::size_t i = 0; i < kTrips; ++i) {
        const auto start = Clock::now();
        roundTrip(daemon);
        trips.push_back(seconds(start) * 1e6);
    }
    std::sort(trips.begin(), trips.end());
    std::printf("round trip of g:info: median %.1f us, 99th percentile %.1f us\n", trips[kTrips / 2],
                trips[kTrips * 99 / 100]);
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 2) {
        std::fprintf(stderr, "usage: %s COMMAND [ARGS...]\n", argv[0]);
        return 2;
    }
    Daemon daemon(argv + 1);
    daemon.waitFor("OnFpKey(99,");
    timeCommands(daemon);
    timeRoundTrips(daemon);
    return 0;
}
