// The real daemon as a process on the emulated panel: what it costs, and what its controller's pipes do to
// it.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

namespace {

using std::chrono::milliseconds;

// The simulator with the daemon in it, a pipe at either end.
class Process {
public:
    Process() {
        int in[2];
        int out[2];
        EXPECT_EQ(pipe2(in, O_CLOEXEC), 0);
        EXPECT_EQ(pipe2(out, O_CLOEXEC), 0);
        m_pid = fork();
        if (m_pid == 0) {
            dup2(in[0], STDIN_FILENO);
            dup2(out[1], STDOUT_FILENO);
            execl(BELTPACK_SIM_PATH, BELTPACK_SIM_PATH, nullptr);
            _exit(127);
        }
        close(in[0]);
        close(out[1]);
        m_to = in[1];
        m_from = out[0];
        waitFor("OnFpKey(99,-1,-1)\n");
    }
    ~Process() {
        closeInput();
        closeOutput();
        if (m_pid > 0) {
            kill(m_pid, SIGTERM);
            waitpid(m_pid, nullptr, 0);
        }
    }
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;

    void send(const std::string& text) const {
        ASSERT_EQ(write(m_to, text.data(), text.size()), static_cast<ssize_t>(text.size()));
    }
    void closeInput() { closeOnce(m_to); }
    void closeOutput() { closeOnce(m_from); }

    // Reads until the text has come; false after ten seconds of silence.
    bool waitFor(const std::string& text) {
        while (m_output.find(text) == std::string::npos) {
            if (!readMore()) {
                ADD_FAILURE() << "no " << text << " in " << m_output;
                return false;
            }
        }
        return true;
    }
    // Reads what has come and is still coming, up to its end.
    const std::string& readToEnd() {
        while (readMore()) {
        }
        return m_output;
    }

    // The exit status, -1 when a signal ended it.
    int wait() {
        int status = 0;
        waitpid(m_pid, &status, 0);
        m_pid = -1;
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

    // The daemon's own process, a child of the simulator.
    [[nodiscard]] pid_t daemon() const {
        const std::string task = std::to_string(m_pid);
        std::ifstream children("/proc/" + task + "/task/" + task + "/children");
        pid_t child = 0;
        children >> child;
        return child;
    }
    // A number of the daemon's /proc status, e.g. VmRSS in kB.
    [[nodiscard]] long status(const std::string& name) const {
        std::ifstream file("/proc/" + std::to_string(daemon()) + "/status");
        std::string line;
        while (std::getline(file, line)) {
            if (line.rfind(name + ":", 0) == 0) {
                return std::stol(line.substr(name.size() + 1));
            }
        }
        ADD_FAILURE() << "no " << name;
        return -1;
    }
    [[nodiscard]] long descriptors() const {
        const std::filesystem::directory_iterator files("/proc/" + std::to_string(daemon()) + "/fd");
        return std::distance(begin(files), end(files));
    }

private:
    static void closeOnce(int& fd) {
        if (fd >= 0) {
            close(fd);
            fd = -1;
        }
    }
    bool readMore() {
        pollfd ready = {m_from, POLLIN, 0};
        char buffer[65536];
        const ssize_t got = poll(&ready, 1, 10000) == 1 ? read(m_from, buffer, sizeof buffer) : -1;
        if (got > 0) {
            m_output.append(buffer, static_cast<std::size_t>(got));
        }
        return got > 0;
    }

    pid_t m_pid = -1;
    int m_to = -1;
    int m_from = -1;
    std::string m_output;
};

std::size_t countLines(const std::string& text, const std::string& line) {
    std::size_t n = 0;
    for (std::size_t at = text.find(line); at != std::string::npos; at = text.find(line, at + line.size())) {
        ++n;
    }
    return n;
}

}  // namespace

TEST(Process, SleepsWhenNothingBlinksAndNothingArrives) {
    Process process;
    process.send("g:info\n");
    process.waitFor("OnDisplayInfo1");
    std::this_thread::sleep_for(milliseconds(100));  // until it is back in select
    const long before = process.status("voluntary_ctxt_switches");
    std::this_thread::sleep_for(milliseconds(1000));
    EXPECT_EQ(process.status("voluntary_ctxt_switches"), before);
}

TEST(Process, WakesForTheBlinkAlone) {
    Process process;
    process.send("a:set 9 3\ng:info\n");
    process.waitFor("OnDisplayInfo1");
    std::this_thread::sleep_for(milliseconds(100));
    const long before = process.status("voluntary_ctxt_switches");
    std::this_thread::sleep_for(milliseconds(2000));
    // Four phases of 500 ms; each is one wake-up and one write, in which it waits for the answer.
    const long wakeUps = process.status("voluntary_ctxt_switches") - before;
    EXPECT_GE(wakeUps, 3);
    EXPECT_LE(wakeUps, 12);
}

TEST(Process, StaysWithinFourMegabytes) {
    if (*BELTPACK_SANITIZERS != '\0') {
        GTEST_SKIP() << "the sanitizers' own memory counts as the process's";
    }
    Process process;
    process.send("g:text 0 0 0 'some text' white\ng:flush 0\na:set 9 1\ng:info\n");
    process.waitFor("OnDisplayInfo1");
    EXPECT_LE(process.status("VmRSS"), 4096);
}

TEST(Process, LeaksNoDescriptor) {
    Process process;
    const long before = process.descriptors();
    std::string commands;
    for (int i = 0; i < 50; ++i) {
        commands += "g:font 0 nosuchfont\ng:font 0 /dev\ng:flush 0 1\na:set 204 40\n";
    }
    commands += "g:info\n";
    process.send(commands);
    process.waitFor("OnDisplayInfo1");
    EXPECT_EQ(process.descriptors(), before);
}

TEST(Process, CarriesOutEveryCommandOfAStream) {
    constexpr std::size_t kCommands = 100000;
    const std::string command = "g:info 7\n";
    Process process;
    std::thread writer([&] {
        std::string block;
        for (std::size_t i = 0; i < kCommands; ++i) {
            block += command;
            // A pipe takes up to 4096 bytes in one piece, so that no command is ever cut in two.
            if (block.size() + command.size() > 4096 || i + 1 == kCommands) {
                process.send(block);
                block.clear();
            }
        }
        process.closeInput();
    });
    const std::string& output = process.readToEnd();
    writer.join();
    EXPECT_EQ(countLines(output, "OnDisplayInfo2(7,0,0)\n"), kCommands);
    EXPECT_EQ(process.wait(), 0);
}

TEST(Process, OutlivesAControllerThatStopsReading) {
    Process process;
    process.closeOutput();
    process.send("g:info\ng:foo\n");
    std::this_thread::sleep_for(milliseconds(50));
    process.send("g:info\na:set 9 1\n");
    process.closeInput();
    EXPECT_EQ(process.wait(), 0);
}

TEST(Process, EndsInOrderWhenItsInputEnds) {
    Process process;
    process.closeInput();
    process.readToEnd();
    EXPECT_EQ(process.wait(), 0);
}
