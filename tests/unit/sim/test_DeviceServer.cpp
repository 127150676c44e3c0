#include "sim/kernel/DeviceServer.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>

namespace {

constexpr char kLed[] = "/sys/class/leds/pca963x:grn:c2/brightness";
constexpr char kKeys[] = "/dev/input/event4";
constexpr char kLeft[] = "/dev/input/event1";
constexpr std::size_t kEventSize = 24;

// Speaks to the server as a process does, but for the socket between.
class DeviceServerTest : public ::testing::Test {
protected:
    DeviceServerTest() {
        ::signal(SIGPIPE, SIG_IGN);
        log.keep();
    }

    sim::Reply open(const char* path, int flags) {
        sim::Request request;
        request.head.operation = BELTPACK_OPEN;
        request.head.argument = static_cast<std::uint32_t>(flags);
        request.head.event_size = kEventSize;
        request.payload = path;
        return server.handle(request);
    }
    sim::Result call(const sim::Reply& file, std::uint32_t operation, const std::string& payload = "") {
        struct stat status {};
        ::fstat(file.fd.get(), &status);
        sim::Request request;
        request.head.operation = operation;
        request.head.argument = static_cast<std::uint32_t>(payload.empty() ? 64 : payload.size());
        request.head.device = status.st_dev;
        request.head.inode = status.st_ino;
        request.payload = payload;
        return server.handle(request).result;
    }
    [[nodiscard]] long recorded(const std::string& text) const {
        return std::count(log.texts().begin(), log.texts().end(), text);
    }

    sim::EventLoop loop;
    sim::Panel panel{0};
    sim::EventLog log;
    sim::DeviceServer server{loop, panel, log};
};

TEST_F(DeviceServerTest, FilesAreKnownByTheirInode) {
    const sim::Reply file = open(kLed, O_RDWR);
    EXPECT_EQ(file.kind, BELTPACK_ATTRIBUTE);
    EXPECT_EQ(call(file, BELTPACK_WRITE, "82").value, 2);
    EXPECT_EQ(panel.leds.level(0), 82U);
    sim::Reply other;
    other.fd = sim::UniqueFd(::open("/dev/null", O_RDONLY));
    EXPECT_EQ(call(other, BELTPACK_WRITE, "9").error, ENODEV);
    EXPECT_EQ(panel.leds.level(0), 82U);
}

TEST_F(DeviceServerTest, SlotOfAClosedFileIsUsedAgain) {
    sim::Reply first = open(kLed, O_RDWR);
    const sim::Reply second = open(kLed, O_RDWR);
    EXPECT_NE(first.slot, second.slot);
    first.fd.reset();
    while (loop.runOnce(0)) {
    }
    EXPECT_EQ(open(kLed, O_RDWR).slot, first.slot);
}

TEST_F(DeviceServerTest, SlotOfAnUnpluggedDeviceStaysTaken) {
    const sim::Reply file = open(kKeys, O_RDONLY);
    EXPECT_TRUE(server.unplug(kKeys));
    EXPECT_EQ(call(file, BELTPACK_READ).error, ENODEV);
    EXPECT_EQ(open(kKeys, O_RDONLY).result.error, ENOENT);
    EXPECT_TRUE(server.plug(kKeys));
    EXPECT_NE(open(kKeys, O_RDONLY).slot, file.slot);
    EXPECT_FALSE(server.unplug("/dev/nothing"));
}

TEST_F(DeviceServerTest, EveryOpenOfADeviceGetsItsEvents) {
    const sim::Reply one = open(kKeys, O_RDONLY | O_NONBLOCK);
    const sim::Reply two = open(kKeys, O_RDONLY | O_NONBLOCK);
    const sim::Reply left = open(kLeft, O_RDONLY | O_NONBLOCK);
    panel.inputs.press(103);
    std::array<char, 1024> room{};
    EXPECT_EQ(::read(one.fd.get(), room.data(), room.size()), 48);
    EXPECT_EQ(::read(two.fd.get(), room.data(), room.size()), 48);
    EXPECT_EQ(::read(left.fd.get(), room.data(), room.size()), -1);
    EXPECT_EQ(errno, EAGAIN);
}

TEST_F(DeviceServerTest, FullPipeDropsWholeWritesAndTellsIt) {
    const sim::Reply file = open(kKeys, O_RDONLY | O_NONBLOCK);
    for (int i = 0; i < 3000; ++i) {
        panel.inputs.repeat(103);
    }
    EXPECT_GT(recorded(std::string("drop ") + kKeys), 0);
    std::array<char, 4080> room{};
    for (ssize_t length = 0; (length = ::read(file.fd.get(), room.data(), room.size())) > 0;) {
        EXPECT_EQ(static_cast<std::size_t>(length) % kEventSize, 0U);
    }
}

TEST_F(DeviceServerTest, CallsAreRecordedBeforeWhatTheyCause) {
    const sim::Reply file = open("/dev/spidev3.0", O_RDWR);
    EXPECT_EQ(call(file, BELTPACK_WRITE, "\xE9").value, 1);
    const std::vector<std::string> expected = {"open /dev/spidev3.0 O_RDWR", "spi /dev/spidev3.0 E9",
                                               "protocol-error unknown command: E9"};
    EXPECT_EQ(log.texts(), expected);
}

TEST_F(DeviceServerTest, FaultIsRecordedBeforeItsCall) {
    sim::Fault fault;
    fault.call = sim::DeviceCall::Open;
    fault.path = kLed;
    fault.error = EACCES;
    server.order(fault);
    EXPECT_EQ(open(kLed, O_RDWR | O_NONBLOCK).result.error, EACCES);
    const std::vector<std::string> expected = {std::string("fault open ") + kLed + " EACCES",
                                               std::string("open ") + kLed + " O_RDWR|O_NONBLOCK = EACCES"};
    EXPECT_EQ(log.texts(), expected);
}

TEST_F(DeviceServerTest, UnknownOperationIsRefused) {
    const sim::Reply file = open(kLed, O_RDWR);
    EXPECT_EQ(call(file, 99).error, ENOSYS);
}

}  // namespace
