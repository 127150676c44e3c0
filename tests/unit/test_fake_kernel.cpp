#include <errno.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/ioctl.h>
#include <syslog.h>
#include <unistd.h>

#include <cstdio>
#include <string>
#include <vector>

#include "tests/unit/fake_kernel.h"

// What the compiler makes of open, read and syslog in hardened builds.
extern "C" {
int __open_2(const char* path, int flags);
ssize_t __read_chk(int fd, void* buffer, std::size_t size, std::size_t room);
void __syslog_chk(int priority, int level, const char* format, ...);
}

namespace {

using Calls = std::vector<std::string>;

std::string readOnce(int fd, std::size_t size) {
    std::string buffer(size, '\0');
    const ssize_t length = read(fd, buffer.data(), size);
    return length < 0 ? "error " + std::to_string(errno) : buffer.substr(0, static_cast<std::size_t>(length));
}

}  // namespace

TEST(FakeKernel, LetsUnknownPathsReachTheRealFiles) {
    FakeKernel kernel;
    const int fd = open("/dev/zero", O_RDONLY);
    ASSERT_GE(fd, 0);
    EXPECT_EQ(readOnce(fd, 2), std::string(2, '\0'));
    EXPECT_EQ(close(fd), 0);
    EXPECT_TRUE(kernel.calls().empty());
}

TEST(FakeKernel, RecordsCallsAndNamesTheirErrors) {
    FakeKernel kernel;
    FakeDevice& device = kernel.device("/x");
    device.failNth(Call::write, 2, ENOSPC);
    const int fd = open("/x", O_WRONLY | O_CREAT | O_TRUNC, 0777);
    EXPECT_EQ(write(fd, "a", 1), 1);
    EXPECT_EQ(write(fd, "b", 1), -1);
    EXPECT_EQ(errno, ENOSPC);
    EXPECT_EQ(kernel.openPaths(), Calls({"/x"}));
    EXPECT_EQ(close(fd), 0);
    EXPECT_EQ(kernel.calls(),
              Calls({"open /x O_WRONLY|O_CREAT|O_TRUNC", "write /x a", "write /x b = ENOSPC", "close /x"}));
    EXPECT_EQ(device.written(), "a");
    EXPECT_TRUE(kernel.openPaths().empty());
}

TEST(FakeKernel, ShortWritesTakeTheirPartOnly) {
    FakeKernel kernel;
    FakeDevice& device = kernel.device("/x");
    device.shortenNthWrite(1, 2);
    const int fd = open("/x", O_WRONLY);
    EXPECT_EQ(write(fd, "abc", 3), 2);
    EXPECT_EQ(write(fd, "abc", 3), 3);
    EXPECT_EQ(device.written(), "ababc");
}

TEST(FakeKernel, StandardInputComesInItsPiecesAndEnds) {
    FakeKernel kernel;
    FakeDevice& input = kernel.standardInput();
    input.queueRead("g:cl");
    input.queueReadError(EINTR);
    input.queueRead("ear 0\n");
    EXPECT_EQ(readOnce(0, 100), "g:cl");
    EXPECT_EQ(readOnce(0, 100), "error 4");
    EXPECT_EQ(readOnce(0, 3), "ear");
    EXPECT_EQ(readOnce(0, 100), " 0\n");
    EXPECT_EQ(readOnce(0, 100), "");
    EXPECT_TRUE(kernel.openPaths().empty()) << "standard input is nobody's leak";
}

TEST(FakeKernel, SelectReportsWhatIsReadableOrLetsTheTimeoutPass) {
    FakeKernel kernel;
    FakeDevice& keys = kernel.device("/keys");
    const int fd = open("/keys", O_RDONLY);
    fd_set set;
    FD_ZERO(&set);
    FD_SET(fd, &set);
    timeval timeout = {0, 25000};
    EXPECT_EQ(select(fd + 1, &set, nullptr, nullptr, &timeout), 0);
    timeval now;
    gettimeofday(&now, nullptr);
    EXPECT_EQ(now.tv_usec, 25000);
    keys.queueRead("x");
    FD_SET(fd, &set);
    EXPECT_EQ(select(fd + 1, &set, nullptr, nullptr, nullptr), 1);
    EXPECT_TRUE(FD_ISSET(fd, &set));
    EXPECT_EQ(kernel.callsOf("select"), Calls({"select /keys timeout=25000us", "select /keys timeout=none"}));
}

TEST(FakeKernel, SelectRefusesAMillionMicroseconds) {
    FakeKernel kernel;
    timeval timeout = {0, 1000000};
    EXPECT_EQ(select(0, nullptr, nullptr, nullptr, &timeout), -1);
    EXPECT_EQ(errno, EINVAL);
    timeout = {1, 0};
    EXPECT_EQ(select(0, nullptr, nullptr, nullptr, &timeout), 0);
}

TEST(FakeKernel, ScriptedSelectsComeFirst) {
    FakeKernel kernel;
    kernel.device("/keys").queueRead("x");
    kernel.standardInput();
    const int fd = open("/keys", O_RDONLY);
    kernel.queueSelect({"stdin"});
    kernel.queueSelectError(EINTR);
    fd_set set;
    FD_ZERO(&set);
    FD_SET(0, &set);
    FD_SET(fd, &set);
    EXPECT_EQ(select(fd + 1, &set, nullptr, nullptr, nullptr), 1);
    EXPECT_TRUE(FD_ISSET(0, &set));
    EXPECT_FALSE(FD_ISSET(fd, &set));
    EXPECT_EQ(select(fd + 1, &set, nullptr, nullptr, nullptr), -1);
    EXPECT_EQ(errno, EINTR);
}

TEST(FakeKernelDeathTest, EndsALoopThatWouldWaitForEver) {
    FakeKernel kernel;
    fd_set set;
    FD_ZERO(&set);
    EXPECT_DEATH(select(1, &set, nullptr, nullptr, nullptr), "the loop would never end");
}

TEST(FakeKernel, SleepMovesTheClock) {
    FakeKernel kernel;
    kernel.setTime(5, 999000);
    usleep(2000);
    timeval now;
    EXPECT_EQ(gettimeofday(&now, nullptr), 0);
    EXPECT_EQ(now.tv_sec, 6);
    EXPECT_EQ(now.tv_usec, 1000);
    kernel.failClock(true);
    EXPECT_EQ(gettimeofday(&now, nullptr), -1);
}

TEST(FakeKernel, CommandsAnswerAsScripted) {
    FakeKernel kernel;
    kernel.setCommand("tool -n name", "1\nmore\n", 256);
    std::FILE* stream = popen("tool -n name", "r");
    ASSERT_NE(stream, nullptr);
    char line[100];
    EXPECT_STREQ(std::fgets(line, sizeof(line), stream), "1\n");
    EXPECT_EQ(pclose(stream), 256);
    kernel.failCommandClose("tool -n name", ECHILD);
    stream = popen("tool -n name", "r");
    EXPECT_EQ(pclose(stream), -1);
    EXPECT_EQ(errno, ECHILD);
    kernel.failCommand("tool -n name", ENOMEM);
    EXPECT_EQ(popen("tool -n name", "r"), nullptr);
    EXPECT_EQ(kernel.callsOf("popen").back(), "popen tool -n name = ENOMEM");
}

TEST(FakeKernel, MissingCommandPrintsNothingAndFailsAsTheShellDoes) {
    FakeKernel kernel;
    std::FILE* stream = popen("missing", "r");
    ASSERT_NE(stream, nullptr);
    EXPECT_EQ(std::fgetc(stream), EOF);
    EXPECT_EQ(pclose(stream), 127 << 8);
}

TEST(FakeKernel, CapturesTheSystemLog) {
    FakeKernel kernel;
    openlog("name", LOG_CONS, 0);
    syslog(LOG_ERR, "%s Error %d: %s", "open", 2, "none");
    EXPECT_EQ(kernel.log(), std::vector<LogLine>({{LOG_ERR, "open Error 2: none"}}));
    EXPECT_EQ(kernel.calls(), Calls({"openlog name 2 0"}));
}

TEST(FakeKernel, FormsOfHardenedBuildsAreTheSameCalls) {
    FakeKernel kernel;
    kernel.device("/x").queueRead("abc");
    const int fd = __open_2("/x", O_RDONLY);
    char buffer[2];
    EXPECT_EQ(__read_chk(fd, buffer, 2, sizeof(buffer)), 2);
    EXPECT_EQ(std::string(buffer, 2), "ab");
    EXPECT_EQ(close(fd), 0);
    EXPECT_EQ(kernel.calls(), Calls({"open /x O_RDONLY", "read /x 2", "close /x"}));
    __syslog_chk(LOG_ERR, 1, "%d %s", 7, "lines");
    EXPECT_EQ(kernel.log(), std::vector<LogLine>({{LOG_ERR, "7 lines"}}));
}

TEST(FakeKernelDeathTest, ReadBeyondItsBufferEndsHardenedPrograms) {
    FakeKernel kernel;
    kernel.standardInput().queueRead("abc");
    char buffer[2];
    EXPECT_DEATH((void)__read_chk(0, buffer, 3, sizeof(buffer)), "");
}
