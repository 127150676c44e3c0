#include "sim/program/LineTap.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <pty.h>
#include <sys/socket.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <climits>
#include <csignal>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include "tests/unit/sim/TemporaryFolder.h"

namespace {

using sim::UniqueFd;

struct Pipe {
    UniqueFd readEnd;
    UniqueFd writeEnd;
};

Pipe makePipe() {
    std::array<int, 2> ends{-1, -1};
    EXPECT_EQ(pipe2(ends.data(), O_CLOEXEC), 0);
    return {UniqueFd(ends[0]), UniqueFd(ends[1])};
}

ssize_t put(const UniqueFd& fd, const std::string& text) {
    return write(fd.get(), text.data(), text.size());
}

bool readable(const UniqueFd& fd) {
    pollfd asked = {fd.get(), POLLIN, 0};
    return poll(&asked, 1, 0) > 0;
}

// One read; nothing when it would wait.
std::string get(const UniqueFd& fd, std::size_t room = 65536) {
    std::string text(room, '?');
    const ssize_t length = readable(fd) ? read(fd.get(), text.data(), room) : 0;
    text.resize(static_cast<std::size_t>(std::max<ssize_t>(length, 0)));
    return text;
}

// The end of the stream stands next.
bool atEnd(const UniqueFd& fd) {
    char byte = 0;
    return readable(fd) && read(fd.get(), &byte, 1) == 0;
}

int flags(const UniqueFd& fd) {
    return fcntl(fd.get(), F_GETFL);
}

void makeNonBlocking(const UniqueFd& fd) {
    fcntl(fd.get(), F_SETFL, flags(fd) | O_NONBLOCK);
}

// Lines of 1 to 60 bytes, whose numbers tell whether all are there.
std::string manyLines(std::size_t bytes) {
    std::string text;
    for (unsigned n = 0; text.size() < bytes; ++n) {
        text += std::to_string(n) + std::string(n % 50, 'x') + '\n';
    }
    return text;
}

class LineTaps : public ::testing::Test, public sim::PanelListener {
protected:
    // What the tapped daemon has in place of its own descriptors.
    struct Daemon {
        UniqueFd input;
        UniqueFd output;
    };

    LineTaps() { signal(SIGPIPE, SIG_IGN); }

    Daemon tap(UniqueFd input, UniqueFd output) {
        sim::Request request;
        request.head.operation = BELTPACK_TAP;
        request.fds[0] = std::move(input);
        request.fds[1] = std::move(output);
        sim::Reply reply = taps.open(request);
        EXPECT_EQ(reply.result.error, 0);
        return {std::move(reply.fd), std::move(reply.outputFd)};
    }
    // A daemon whose controller holds the other ends.
    Daemon tapPipes() {
        Pipe input = makePipe();
        Pipe output = makePipe();
        toDaemon = std::move(input.writeEnd);
        fromDaemon = std::move(output.readEnd);
        return tap(std::move(input.readEnd), std::move(output.writeEnd));
    }

    // Serves what has happened already.
    void settle() {
        while (loop.runOnce(0)) {
        }
    }
    void serveUntil(const std::function<bool()>& done) {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
        while (!done()) {
            ASSERT_LT(std::chrono::steady_clock::now(), deadline);
            loop.runOnce(10);
        }
    }

    void onLineIn(const std::string& text) override {
        told.push_back("< " + text);
        heard(text);
    }
    void onLineOut(const std::string& text) override { told.push_back("> " + text); }

    sim::EventLoop loop;
    std::vector<std::string> told;
    std::function<void(const std::string&)> heard = [](const std::string&) {};
    sim::LineTaps taps{loop, *this};
    UniqueFd toDaemon;
    UniqueFd fromDaemon;
};

using Told = std::vector<std::string>;

// ---- Passing on ----

TEST_F(LineTaps, LinesGoThroughAndAreTold) {
    const Daemon daemon = tapPipes();
    put(toDaemon, "one\ntwo\n");
    settle();
    EXPECT_EQ(get(daemon.input), "one\ntwo\n");
    put(daemon.output, "answer\n");
    settle();
    EXPECT_EQ(get(fromDaemon), "answer\n");
    EXPECT_EQ(told, (Told{"< one", "< two", "> answer"}));
}

TEST_F(LineTaps, BytesPassAsTheyAre) {
    const Daemon daemon = tapPipes();
    const std::string bytes("\0\x01\xFF\r\n\0", 6);
    put(toDaemon, bytes);
    put(daemon.output, bytes);
    settle();
    EXPECT_EQ(get(daemon.input), bytes);
    EXPECT_EQ(get(fromDaemon), bytes);
}

TEST_F(LineTaps, PartOfALineIsPassedOnAtOnce) {
    const Daemon daemon = tapPipes();
    put(toDaemon, "g:re");
    settle();
    EXPECT_EQ(get(daemon.input), "g:re");
    put(toDaemon, "ct\n");
    settle();
    EXPECT_EQ(get(daemon.input), "ct\n");
    EXPECT_EQ(told, (Told{"< g:rect"}));
}

TEST_F(LineTaps, OverlongLineIsCutForListenersOnly) {
    const Daemon daemon = tapPipes();
    const std::string line(10000, 'x');
    put(toDaemon, line + "\nnext\n");
    settle();
    EXPECT_EQ(get(daemon.input), line + "\nnext\n");
    EXPECT_EQ(told, (Told{"< " + line.substr(0, 4096), "< next"}));
}

TEST_F(LineTaps, WithoutDescriptorsNothingIsTapped) {
    sim::Request request;
    request.head.operation = BELTPACK_TAP;
    EXPECT_EQ(taps.open(request).result.error, EINVAL);
    EXPECT_FALSE(taps.delivering());
}

// ---- Ends ----

TEST_F(LineTaps, EndOfInputReachesTheDaemon) {
    const Daemon daemon = tapPipes();
    put(toDaemon, "last");
    toDaemon.reset();
    settle();
    EXPECT_EQ(get(daemon.input), "last");
    EXPECT_TRUE(atEnd(daemon.input));
    EXPECT_EQ(told, (Told{"< last"}));
    EXPECT_NE(taps.sendLine("more\n"), "");
}

TEST_F(LineTaps, EndOfOutputReachesTheControllerBehindTheLastBytes) {
    Daemon daemon = tapPipes();
    put(daemon.output, "last\n");
    daemon = {};
    EXPECT_TRUE(taps.delivering());
    settle();
    EXPECT_FALSE(taps.delivering());
    EXPECT_EQ(get(fromDaemon), "last\n");
    EXPECT_TRUE(atEnd(fromDaemon));
}

TEST_F(LineTaps, ReaderThatIsGoneIsToldToTheDaemon) {
    const Daemon daemon = tapPipes();
    fromDaemon.reset();
    settle();
    EXPECT_EQ(put(daemon.output, "x\n"), -1);
    EXPECT_EQ(errno, EPIPE);
}

TEST_F(LineTaps, DaemonThatStopsReadingIsToldToTheController) {
    Daemon daemon = tapPipes();
    daemon.input.reset();
    settle();
    EXPECT_EQ(put(toDaemon, "x\n"), -1);
    EXPECT_EQ(errno, EPIPE);
    EXPECT_NE(taps.sendLine("more\n"), "");
}

TEST_F(LineTaps, DaemonThatEndsLeavesTheRestOfTheInput) {
    Pipe input = makePipe();
    const UniqueFd next(dup(input.readEnd.get()));
    Daemon daemon = tap(std::move(input.readEnd), UniqueFd(open("/dev/null", O_WRONLY)));
    daemon = {};
    settle();
    put(input.writeEnd, "rest\n");
    settle();
    EXPECT_EQ(get(next), "rest\n");
}

// ---- Pace ----

TEST_F(LineTaps, SlowDaemonHoldsUpItsController) {
    const Daemon daemon = tapPipes();
    makeNonBlocking(toDaemon);
    const std::string block(4096, 'x');
    std::size_t taken = 0;
    for (bool moved = true; moved; settle()) {
        moved = put(toDaemon, block) > 0;
        taken += moved ? block.size() : 0;
    }
    EXPECT_EQ(errno, EAGAIN);
    EXPECT_LE(taken, 4U * 65536);
    EXPECT_FALSE(loop.runOnce(0));  // and costs nothing meanwhile
    std::size_t arrived = 0;
    serveUntil([&] {
        arrived += get(daemon.input).size();
        return arrived == taken;
    });
}

TEST_F(LineTaps, NoLineIsEverCutByTheWay) {
    const Daemon daemon = tapPipes();
    ASSERT_GT(fcntl(toDaemon.get(), F_SETPIPE_SZ, 1 << 20), 900000);
    const std::string text = manyLines(900000);
    ASSERT_EQ(put(toDaemon, text), static_cast<ssize_t>(text.size()));
    std::string arrived;
    while (arrived.size() < text.size()) {
        ASSERT_TRUE(loop.runOnce(0));
        for (std::string part = get(daemon.input); !part.empty(); part = get(daemon.input)) {
            arrived += part;
        }
        ASSERT_TRUE(arrived.empty() || arrived.back() == '\n');
    }
    EXPECT_EQ(arrived, text);
}

TEST_F(LineTaps, MegabyteGoesBothWaysPastSlowReaders) {
    const Daemon daemon = tapPipes();
    const std::string text = manyLines(1 << 20);
    makeNonBlocking(toDaemon);
    makeNonBlocking(daemon.output);
    std::size_t sent = 0;
    std::size_t answered = 0;
    std::string arrived;
    std::string back;
    serveUntil([&] {
        sent += static_cast<std::size_t>(std::max<ssize_t>(put(toDaemon, text.substr(sent, 50000)), 0));
        arrived += get(daemon.input, 3001);
        answered += static_cast<std::size_t>(
            std::max<ssize_t>(put(daemon.output, arrived.substr(answered, 4096)), 0));
        back += get(fromDaemon, 2999);
        return back.size() == text.size();
    });
    EXPECT_EQ(arrived, text);
    EXPECT_EQ(back, text);
    EXPECT_EQ(told.size(), 2U * static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n')));
}

TEST_F(LineTaps, SeveralDaemonsHaveTheirOwn) {
    const Daemon first = tapPipes();
    const UniqueFd toFirst = std::move(toDaemon);
    const UniqueFd fromFirst = std::move(fromDaemon);
    const Daemon second = tapPipes();
    put(toFirst, "1\n");
    put(toDaemon, "2\n");
    put(first.output, "one\n");
    put(second.output, "two\n");
    settle();
    EXPECT_EQ(get(first.input), "1\n");
    EXPECT_EQ(get(second.input), "2\n");
    EXPECT_EQ(get(fromFirst), "one\n");
    EXPECT_EQ(get(fromDaemon), "two\n");
}

// ---- Injected lines ----

TEST_F(LineTaps, InjectedLineStandsBetweenTwoOfTheControllers) {
    const Daemon daemon = tapPipes();
    EXPECT_EQ(taps.sendLine("first\n"), "");
    EXPECT_EQ(get(daemon.input), "first\n");
    put(toDaemon, "par");
    settle();
    EXPECT_EQ(taps.sendLine("mine\n"), "");
    EXPECT_EQ(get(daemon.input), "par");
    put(toDaemon, "t\nnext\n");
    settle();
    EXPECT_EQ(get(daemon.input), "t\nmine\nnext\n");
    EXPECT_EQ(told, (Told{"< first", "< part", "< mine", "< next"}));
}

TEST_F(LineTaps, InjectedLineGoesToTheNewestDaemonThatReads) {
    EXPECT_NE(taps.sendLine("x\n"), "");
    const Daemon first = tapPipes();
    const UniqueFd toFirst = std::move(toDaemon);
    Daemon second = tapPipes();
    EXPECT_EQ(taps.sendLine("new\n"), "");
    EXPECT_EQ(get(second.input), "new\n");
    second = {};
    settle();
    EXPECT_EQ(taps.sendLine("old\n"), "");
    EXPECT_EQ(get(first.input), "old\n");
}

TEST_F(LineTaps, ListenerMayInjectWhileItIsTold) {
    const Daemon daemon = tapPipes();
    heard = [this](const std::string& text) {
        if (text == "ask") {
            EXPECT_EQ(taps.sendLine("injected\n"), "");
        }
    };
    put(toDaemon, "ask\nnext\n");
    settle();
    EXPECT_EQ(get(daemon.input), "ask\nnext\ninjected\n");
}

TEST_F(LineTaps, InjectedLinesNeverStandInsideOneHoweverTheStreamIsCut) {
    const Daemon daemon = tapPipes();
    makeNonBlocking(toDaemon);
    std::mt19937 dice(1);
    const std::string text = manyLines(300000);
    std::size_t sent = 0;
    std::size_t injected = 0;
    std::string arrived;
    serveUntil([&] {
        const ssize_t taken = put(toDaemon, text.substr(sent, dice() % 20000));
        sent += static_cast<std::size_t>(std::max<ssize_t>(taken, 0));
        if (dice() % 4 == 0 && sent < text.size()) {
            EXPECT_EQ(taps.sendLine("injected\n"), "");
            ++injected;
        }
        arrived += get(daemon.input, dice() % 30000 + 1);
        return arrived.size() == text.size() + injected * 9;
    });
    ASSERT_GT(injected, 5U);
    std::size_t found = 0;
    for (std::size_t at = arrived.find("injected\n"); at != std::string::npos;
         at = arrived.find("injected\n", at)) {
        ASSERT_TRUE(at == 0 || arrived[at - 1] == '\n');
        arrived.erase(at, 9);
        ++found;
    }
    EXPECT_EQ(found, injected);
    EXPECT_EQ(arrived, text);
}

// ---- What standard input and output may be ----

TEST_F(LineTaps, SharedDescriptorsKeepTheirFlags) {
    Pipe input = makePipe();
    Pipe output = makePipe();
    const UniqueFd controllersInput(dup(input.readEnd.get()));
    const UniqueFd controllersOutput(dup(output.writeEnd.get()));
    const int before = flags(controllersInput);
    const Daemon daemon = tap(std::move(input.readEnd), std::move(output.writeEnd));
    put(input.writeEnd, "in\n");
    put(daemon.output, "out\n");
    settle();
    EXPECT_EQ(get(daemon.input), "in\n");
    EXPECT_EQ(get(output.readEnd), "out\n");
    EXPECT_EQ(flags(controllersInput), before);
    EXPECT_EQ(flags(controllersOutput) & O_NONBLOCK, 0);
    EXPECT_EQ(flags(daemon.input) & O_NONBLOCK, 0);
    EXPECT_EQ(flags(daemon.output) & O_NONBLOCK, 0);
}

TEST_F(LineTaps, NonBlockingDescriptorsAreReplacedBySuch) {
    Pipe input = makePipe();
    Pipe output = makePipe();
    makeNonBlocking(input.readEnd);
    makeNonBlocking(output.writeEnd);
    const Daemon daemon = tap(std::move(input.readEnd), std::move(output.writeEnd));
    EXPECT_NE(flags(daemon.input) & O_NONBLOCK, 0);
    EXPECT_NE(flags(daemon.output) & O_NONBLOCK, 0);
}

TEST_F(LineTaps, FilesAreReadToTheirEndAndWrittenFromTheirPosition) {
    const TemporaryFolder work;
    const std::string text = manyLines(200000);
    work.write("in", text);
    work.write("out", "before\n");
    UniqueFd output(open(work.file("out").c_str(), O_WRONLY));
    lseek(output.get(), 0, SEEK_END);
    Daemon daemon = tap(UniqueFd(open(work.file("in").c_str(), O_RDONLY)), std::move(output));
    makeNonBlocking(daemon.output);
    std::string arrived;
    std::size_t answered = 0;
    serveUntil([&] {
        arrived += get(daemon.input);
        answered += static_cast<std::size_t>(
            std::max<ssize_t>(put(daemon.output, arrived.substr(answered, 4096)), 0));
        return answered == text.size();
    });
    serveUntil([&] { return atEnd(daemon.input); });
    daemon = {};
    serveUntil([&] { return !taps.delivering(); });
    EXPECT_EQ(arrived, text);
    EXPECT_EQ(work.read("out"), "before\n" + text);
}

TEST_F(LineTaps, NullDeviceEndsTheInputAndTakesTheOutput) {
    const Daemon daemon = tap(UniqueFd(open("/dev/null", O_RDONLY)), UniqueFd(open("/dev/null", O_WRONLY)));
    serveUntil([&] { return atEnd(daemon.input); });
    put(daemon.output, "gone\n");
    settle();
    EXPECT_EQ(told, (Told{"> gone"}));
    EXPECT_FALSE(loop.runOnce(0));
}

TEST_F(LineTaps, OutputThatFailsIsAClosedOne) {
    Pipe input = makePipe();
    const Daemon daemon = tap(std::move(input.readEnd), UniqueFd(open("/dev/full", O_WRONLY)));
    put(daemon.output, "x\n");
    settle();
    EXPECT_EQ(put(daemon.output, "y\n"), -1);
    EXPECT_EQ(errno, EPIPE);
}

TEST_F(LineTaps, OneSocketServesAsBoth) {
    std::array<int, 2> ends{-1, -1};
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, ends.data()), 0);
    UniqueFd controller(ends[0]);
    const UniqueFd kept(dup(ends[1]));
    const Daemon daemon = tap(UniqueFd(dup(ends[1])), UniqueFd(ends[1]));
    put(controller, "in\n");
    put(daemon.output, "out\n");
    settle();
    EXPECT_EQ(get(daemon.input), "in\n");
    EXPECT_EQ(get(controller), "out\n");
    EXPECT_EQ(flags(kept) & O_NONBLOCK, 0);
    controller.reset();
    settle();
    EXPECT_TRUE(atEnd(daemon.input));
    EXPECT_EQ(put(daemon.output, "x\n"), -1);
}

class TappedTerminal : public LineTaps {
protected:
    void SetUp() override {
        int terminal = -1;
        int program = -1;
        ASSERT_EQ(openpty(&terminal, &program, nullptr, nullptr, nullptr), 0);
        termios modes{};
        tcgetattr(program, &modes);
        modes.c_lflag &= static_cast<tcflag_t>(~ECHO);
        modes.c_oflag &= static_cast<tcflag_t>(~OPOST);
        tcsetattr(program, TCSANOW, &modes);
        user = UniqueFd(terminal);
        kept = UniqueFd(program);
        daemon = tap(UniqueFd(dup(program)), UniqueFd(dup(program)));
    }

    UniqueFd user;  // who types and reads
    UniqueFd kept;  // a copy of the descriptor that the daemon was started with
    Daemon daemon;
};

TEST_F(TappedTerminal, LinesAreTypedAndShown) {
    put(user, "typed\n");
    serveUntil([this] { return readable(daemon.input); });
    EXPECT_EQ(get(daemon.input), "typed\n");
    put(daemon.output, "shown\n");
    serveUntil([this] { return readable(user); });
    EXPECT_EQ(get(user), "shown\n");
    EXPECT_EQ(flags(kept) & O_NONBLOCK, 0);
}

TEST_F(TappedTerminal, EndOfInputIsTyped) {
    put(user, "\x04");
    serveUntil([this] { return readable(daemon.input); });
    EXPECT_TRUE(atEnd(daemon.input));
    EXPECT_TRUE(taps.delivering());
}

TEST_F(TappedTerminal, StoppedOutputHoldsUpTheDaemonAlone) {
    makeNonBlocking(daemon.output);
    const std::string text = manyLines(100000);
    std::size_t written = 0;
    for (ssize_t taken = 1; taken > 0; settle()) {  // until nobody takes more: the user does not read
        taken = put(daemon.output, text.substr(written, 4096));
        written += static_cast<std::size_t>(std::max<ssize_t>(taken, 0));
    }
    std::string shown;
    serveUntil([&] {
        shown += get(user);
        return shown.size() == written;
    });
    EXPECT_EQ(shown, text.substr(0, written));
}

TEST_F(TappedTerminal, TerminalThatIsGoneEndsTheInput) {
    kept.reset();
    user.reset();
    serveUntil([this] { return !taps.delivering(); });
    serveUntil([this] { return atEnd(daemon.input); });
    EXPECT_EQ(put(daemon.output, "x\n"), -1);
}

}  // namespace
