// How a session in a terminal ends, and what a terminal that takes nothing does to the daemon: at the plain
// end of a pseudo-terminal.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <pty.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstring>
#include <string>

namespace {

constexpr int kLongestMs = 20'000;
constexpr char kPage[] = "Display 0, off, frame 0";  // of the first page
constexpr char kLeave[] = "\033[?1049l";             // back from the alternate screen

class TerminalEnd : public ::testing::Test {
protected:
    TerminalEnd() {
        winsize size{24, 80, 0, 0};
        EXPECT_EQ(openpty(&m_person, &m_program, nullptr, nullptr, &size), 0);
        EXPECT_EQ(pipe2(m_in.data(), O_CLOEXEC), 0);
        EXPECT_EQ(pipe2(m_out.data(), O_CLOEXEC), 0);
        tcgetattr(m_program, &m_before);
        setenv("TERM", "xterm-256color", 1);
        setenv("LC_ALL", "C.UTF-8", 1);
    }
    ~TerminalEnd() override {
        hangUp();
        if (m_pid > 0) {
            kill(m_pid, SIGKILL);
            waitpid(m_pid, nullptr, 0);
        }
        for (const int fd : {m_in[0], m_in[1], m_out[0], m_out[1]}) {
            close(fd);
        }
    }

    // The simulator leads the terminal's session; its standard input and output are pipes.
    void start() {
        m_pid = fork();
        if (m_pid == 0) {
            takeTerminal();
            simulate();
        }
        awaitPage();
    }
    // A shell-like process that survives the terminal leads the session, and ends as the simulator does. The
    // kernel tells a hang-up to the leader alone.
    void startUnderALeader() {
        m_pid = fork();
        if (m_pid == 0) {
            takeTerminal();
            signal(SIGHUP, SIG_IGN);
            const pid_t simulator = fork();
            if (simulator == 0) {
                signal(SIGHUP, SIG_DFL);
                simulate();
            }
            close(m_person);
            close(m_program);
            int status = 0;
            waitpid(simulator, &status, 0);
            _exit(WIFEXITED(status) ? WEXITSTATUS(status) : 99);
        }
        awaitPage();
    }

    void signalIt(int signal) const { kill(m_pid, signal); }
    void hangUp() {
        for (int* fd : {&m_person, &m_program}) {
            if (*fd >= 0) {
                close(*fd);
                *fd = -1;
            }
        }
    }
    // Whatever the program shows is read until it has ended.
    int statusWhileReading() {
        int status = 0;
        while (waitpid(m_pid, &status, WNOHANG) == 0) {
            readScreen(20);
        }
        m_pid = -1;
        while (readScreen(0)) {
        }
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
    int status() {
        int status = 0;
        waitpid(m_pid, &status, 0);
        m_pid = -1;
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
    [[nodiscard]] bool settingsAreAsBefore() const {
        termios now{};
        return tcgetattr(m_program, &now) == 0 && now.c_iflag == m_before.c_iflag &&
               now.c_oflag == m_before.c_oflag && now.c_cflag == m_before.c_cflag &&
               now.c_lflag == m_before.c_lflag && std::memcmp(now.c_cc, m_before.c_cc, sizeof now.c_cc) == 0;
    }

    // The terminal takes nothing until it goes on.
    void stall() const {
        ASSERT_EQ(tcflow(m_program, TCOOFF), 0);
        ASSERT_TRUE(stalled());
    }
    void goOn() const { ASSERT_EQ(tcflow(m_program, TCOON), 0); }
    [[nodiscard]] bool stalled() const {
        pollfd asked = {m_program, POLLOUT, 0};
        return poll(&asked, 1, 0) == 0;
    }

    void send(const std::string& text) const {
        ASSERT_EQ(write(m_in[1], text.data(), text.size()), static_cast<ssize_t>(text.size()));
    }
    // Lines of the daemon on the pipe.
    [[nodiscard]] bool answers(const std::string& text) {
        while (m_answers.find(text) == std::string::npos) {
            if (!readMore(m_out[0], m_answers, kLongestMs)) {
                return false;
            }
        }
        m_answers.erase(0, m_answers.find(text) + text.size());
        return true;
    }
    // Reads the terminal until it shows the text.
    [[nodiscard]] bool shows(const std::string& text) {
        while (m_screen.find(text) == std::string::npos) {
            if (!readScreen(kLongestMs)) {
                return false;
            }
        }
        return true;
    }
    // How many of the texts with a number below count behind them were ever shown.
    [[nodiscard]] int shownOf(const std::string& text, int count) const {
        int shown = 0;
        for (int i = 0; i < count; ++i) {
            shown += m_screen.find(text + std::to_string(i)) != std::string::npos ? 1 : 0;
        }
        return shown;
    }
    void awaitPage() {
        m_screen.clear();
        ASSERT_TRUE(shows(kPage)) << m_screen;
        ASSERT_TRUE(answers("OnFpKey(99,-1,-1)\n"));
    }
    [[nodiscard]] const std::string& screen() const { return m_screen; }

private:
    void takeTerminal() const {
        setsid();
        ioctl(m_program, TIOCSCTTY, 0);
    }
    [[noreturn]] void simulate() const {
        dup2(m_in[0], STDIN_FILENO);
        dup2(m_out[1], STDOUT_FILENO);
        dup2(m_program, STDERR_FILENO);
        close(m_person);
        close(m_program);
        execl(BELTPACK_SIM_PATH, BELTPACK_SIM_PATH, "--term", nullptr);
        _exit(127);
    }
    bool readScreen(int milliseconds) { return readMore(m_person, m_screen, milliseconds); }
    static bool readMore(int fd, std::string& text, int milliseconds) {
        pollfd asked = {fd, POLLIN, 0};
        std::array<char, 4096> buffer{};
        if (poll(&asked, 1, milliseconds) <= 0) {
            return false;
        }
        const ssize_t length = read(fd, buffer.data(), buffer.size());
        text.append(buffer.data(), length > 0 ? static_cast<std::size_t>(length) : 0);
        return length > 0;
    }

    int m_person = -1;   // the end of who looks and types
    int m_program = -1;  // the end of the programs
    std::array<int, 2> m_in{};
    std::array<int, 2> m_out{};
    termios m_before{};
    pid_t m_pid = -1;
    std::string m_screen;
    std::string m_answers;
};

TEST_F(TerminalEnd, SettingsAreOthersWhileThePageIsShown) {
    start();
    EXPECT_FALSE(settingsAreAsBefore());
    signalIt(SIGTERM);
    EXPECT_EQ(statusWhileReading(), 128 + SIGTERM);
    EXPECT_TRUE(settingsAreAsBefore());
}

TEST_F(TerminalEnd, SignalsLeaveTheTerminalAsItWas) {
    for (const int signal : {SIGTERM, SIGINT, SIGHUP}) {
        start();
        signalIt(signal);
        EXPECT_EQ(statusWhileReading(), 128 + signal);
        EXPECT_TRUE(settingsAreAsBefore());
        const auto left = screen().rfind(kLeave);
        ASSERT_NE(left, std::string::npos);
        EXPECT_NE(screen().find("ended by signal " + std::to_string(signal), left), std::string::npos)
            << screen().substr(left);
    }
}

TEST_F(TerminalEnd, SlowTerminalNeverHoldsUpTheDaemon) {
    start();
    stall();
    for (int i = 0; i < 20; ++i) {
        for (int row = 0; row < 64; ++row) {
            send("g:rect 0 0 " + std::to_string(row) + " 96 1 " + (i % 2 == 0 ? "white" : "black") + "\n");
            send("g:flush 0\n");
        }
        send("g:info\n");
        ASSERT_TRUE(answers("OnDisplayInfo1("));
    }
    EXPECT_TRUE(stalled());
    signalIt(SIGTERM);
    EXPECT_EQ(status(), 128 + SIGTERM);
    EXPECT_TRUE(settingsAreAsBefore());
}

TEST_F(TerminalEnd, SlowTerminalShowsTheNewestPageWhenItGoesOn) {
    constexpr int kLines = 50;
    start();
    stall();
    for (int i = 0; i < kLines; ++i) {
        send("g:nonsense " + std::to_string(i) + "\n");
    }
    send("g:info\n");
    ASSERT_TRUE(answers("OnDisplayInfo1("));
    send("g:last\n");
    ASSERT_TRUE(answers("'last'"));
    goOn();
    EXPECT_TRUE(shows("'last'"));
    signalIt(SIGTERM);
    EXPECT_EQ(statusWhileReading(), 128 + SIGTERM);
    // One page was on its way, one more may have been drawn for it to wait; each has at most four of the
    // lines.
    EXPECT_LE(shownOf("g:nonsense ", kLines), 12);
    EXPECT_TRUE(settingsAreAsBefore());
}

TEST_F(TerminalEnd, HangUpEndsTheSession) {
    start();
    hangUp();
    EXPECT_EQ(status(), 128 + SIGHUP);
}

TEST_F(TerminalEnd, HangUpThatIsNotSignalledEndsTheSessionToo) {
    startUnderALeader();
    hangUp();
    EXPECT_EQ(status(), 128 + SIGHUP);
}

TEST_F(TerminalEnd, WithoutATerminalItSaysSo) {
    const pid_t pid = fork();
    ASSERT_GE(pid, 0);
    if (pid == 0) {
        setsid();
        execl("/bin/sh", "sh", "-c",
              "\"$0\" --term </dev/null 2>&1 | grep -q 'there is no terminal to show the panel in' && exit "
              "3; exit 4",
              BELTPACK_SIM_PATH, nullptr);
        _exit(127);
    }
    int ended = 0;
    EXPECT_EQ(waitpid(pid, &ended, 0), pid);
    EXPECT_EQ(WEXITSTATUS(ended), 3);
}

}  // namespace
