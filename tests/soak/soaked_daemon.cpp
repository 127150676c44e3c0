#include "tests/soak/soaked_daemon.h"

#include <fcntl.h>
#include <sys/epoll.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <memory>
#include <utility>

namespace {

constexpr auto kPatience = std::chrono::seconds(60);  // for what has to come

// Has a descriptor watched by the simulator's loop.
class Ears final : public sim::View {
public:
    Ears(int fd, std::function<void()> hear) : m_fd(fd), m_hear(std::move(hear)) {}

    [[nodiscard]] bool wantsLines() const override { return false; }
    std::string start(const sim::ViewSeam& seam) override {
        m_loop = &seam.loop;
        return m_loop->watch(m_fd, EPOLLIN, [this](std::uint32_t) { m_hear(); }) ? "" : "no output to watch";
    }
    void stop() override { m_loop->unwatch(m_fd); }

private:
    const int m_fd;
    const std::function<void()> m_hear;
    sim::EventLoop* m_loop = nullptr;
};

std::string withoutMilliseconds(const std::string& line) {
    return line.rfind("OnFpKey(", 0) == 0 ? line.substr(0, line.rfind(',')) + ",MS)" : line;
}

// Our only child.
std::string process() {
    const std::string task = std::to_string(getpid());
    std::ifstream children("/proc/" + task + "/task/" + task + "/children");
    std::string child;
    children >> child;
    return child;
}

}  // namespace

void fail(const std::string& why) {
    std::fprintf(stderr, "soak: %s\n", why.c_str());
    std::exit(1);
}

SoakedDaemon::SoakedDaemon(const std::string& program, const std::string& shim)
    : m_splitter([this](const std::string& line) {
          ++m_came[withoutMilliseconds(line)];
          ++m_lines;
      }) {
    std::array<int, 2> in{};
    std::array<int, 2> out{};
    if (pipe2(in.data(), O_CLOEXEC) != 0 || pipe2(out.data(), O_CLOEXEC) != 0) {
        fail("no pipe");
    }
    fcntl(in[1], F_SETFL, O_NONBLOCK);
    fcntl(out[0], F_SETFL, O_NONBLOCK);
    m_to = sim::UniqueFd(in[1]);
    m_from = sim::UniqueFd(out[0]);
    start(program, shim, in[0], out[1]);
    close(in[0]);
    close(out[1]);
}

// A session's program has the simulator's own standard input and output, which are the pipes while it starts.
void SoakedDaemon::start(const std::string& program, const std::string& shim, int input, int output) {
    sim::SessionOptions options;
    options.boot = sim::BootAnswer::parse("0", 0);
    options.command = {program};
    options.shim = shim;
    options.daemon = "beltpack_fpui";
    m_session.emplace(std::move(options));
    m_session->add(std::make_unique<Ears>(m_from.get(), [this] { readLines(); }));
    const sim::UniqueFd ownInput(fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 3));
    const sim::UniqueFd ownOutput(fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3));
    dup2(input, STDIN_FILENO);
    dup2(output, STDOUT_FILENO);
    const bool started = m_session->prepare().empty() && m_session->start({});
    dup2(ownInput.get(), STDIN_FILENO);
    dup2(ownOutput.get(), STDOUT_FILENO);
    if (!started) {
        fail("cannot start " + program);
    }
}

void SoakedDaemon::readLines() {
    std::array<char, 65536> buffer;
    const ssize_t length = read(m_from.get(), buffer.data(), buffer.size());
    if (length > 0) {
        m_splitter.append({buffer.data(), static_cast<std::size_t>(length)});
    }
}

void SoakedDaemon::send(const std::string& lines) {
    while (write(m_to.get(), lines.data(), lines.size()) < 0) {
        if (errno != EAGAIN) {
            fail("the daemon reads no longer");
        }
        m_session->serve(1);
    }
}

void SoakedDaemon::expect(const std::string& line, long count) {
    m_expected[line] += count;
    m_expectedLines += count;
}

void SoakedDaemon::expect(const LineCounts& lines) {
    for (const auto& [line, count] : lines) {
        expect(line, count);
    }
}

void SoakedDaemon::catchUp() {
    const auto deadline = std::chrono::steady_clock::now() + kPatience;
    while (m_lines < m_expectedLines) {
        if (std::chrono::steady_clock::now() > deadline) {
            compareLines();
        }
        m_session->serve(100);
    }
}

void SoakedDaemon::compareLines() const {
    LineCounts all = m_expected;
    all.insert(m_came.begin(), m_came.end());
    for (const auto& entry : all) {
        const auto timesIn = [&entry](const LineCounts& counts) {
            const auto found = counts.find(entry.first);
            return found == counts.end() ? 0 : found->second;
        };
        if (timesIn(m_came) != timesIn(m_expected)) {
            fail(entry.first + " came " + std::to_string(timesIn(m_came)) + " times and not " +
                 std::to_string(timesIn(m_expected)));
        }
    }
}

int SoakedDaemon::end() {
    m_to.reset();
    const auto deadline = std::chrono::steady_clock::now() + kPatience;
    while (m_session->running()) {
        if (std::chrono::steady_clock::now() > deadline) {
            fail("the daemon does not end");
        }
        m_session->serve(100);
    }
    m_session->finish();
    return *m_session->exitStatus();
}

long SoakedDaemon::memory() {
    std::ifstream file("/proc/" + process() + "/status");
    std::string line;
    while (std::getline(file, line)) {
        if (line.rfind("RssAnon:", 0) == 0) {
            return std::stol(line.substr(8));
        }
    }
    fail("the daemon has gone");
}

long SoakedDaemon::descriptors() {
    const std::filesystem::directory_iterator files("/proc/" + process() + "/fd");
    return std::distance(std::filesystem::begin(files), std::filesystem::end(files));
}
