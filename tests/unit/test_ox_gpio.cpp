#include <gtest/gtest.h>

#include <cerrno>
#include <string>
#include <vector>

#include "hw/ox_gpio.h"
#include "tests/unit/fake_kernel.h"

namespace {

using Calls = std::vector<std::string>;

class GpioLine : public testing::Test {
protected:
    FakeKernel kernel;
    FakeDevice& exportFile = kernel.device("/sys/class/gpio/export");
    FakeDevice& unexportFile = kernel.device("/sys/class/gpio/unexport");
    FakeDevice& direction = kernel.device("/sys/class/gpio/gpio9/direction");
    FakeDevice& value = kernel.device("/sys/class/gpio/gpio9/value");
};

}  // namespace

TEST_F(GpioLine, IsExportedDirectedAndOpened) {
    const int fd = oxgp_openGpio(9, kGpioOutputLow);
    EXPECT_GE(fd, 0);
    EXPECT_EQ(
        kernel.calls(),
        Calls({"open /sys/class/gpio/export O_WRONLY", "write /sys/class/gpio/export 9",
               "close /sys/class/gpio/export", "open /sys/class/gpio/gpio9/direction O_WRONLY|O_CLOEXEC",
               "write /sys/class/gpio/gpio9/direction low", "close /sys/class/gpio/gpio9/direction",
               "open /sys/class/gpio/gpio9/value O_RDWR"}));
    EXPECT_EQ(kernel.openPaths(), Calls({"/sys/class/gpio/gpio9/value"}));
}

TEST_F(GpioLine, DirectionTextFollowsTheDirection) {
    for (const int dir : {kGpioOutputHigh, kGpioInput, 3, -1}) {
        EXPECT_GE(oxgp_openGpio(9, dir), 0);
    }
    EXPECT_EQ(direction.writes(), Calls({"high", "in", "in", "in"}));
}

TEST_F(GpioLine, AnyFailedStepFailsTheOpenWithoutALeak) {
    exportFile.failNext(Call::open, EACCES);
    EXPECT_EQ(oxgp_openGpio(9, 1), -1);
    exportFile.failNext(Call::write, EBUSY);
    EXPECT_EQ(oxgp_openGpio(9, 1), -1);
    exportFile.shortenNthWrite(1, 0);
    EXPECT_EQ(oxgp_openGpio(9, 1), -1);
    EXPECT_EQ(direction.count(Call::open), 0u);
    direction.failNext(Call::open, ENOENT);
    EXPECT_EQ(oxgp_openGpio(9, 1), -1);
    direction.failNext(Call::write, EIO);
    EXPECT_EQ(oxgp_openGpio(9, 1), -1);
    EXPECT_EQ(value.count(Call::open), 0u);
    value.failNext(Call::open, ENOENT);
    EXPECT_EQ(oxgp_openGpio(9, 1), -1);
    EXPECT_TRUE(kernel.openPaths().empty());
    EXPECT_TRUE(kernel.log().empty());
}

TEST_F(GpioLine, CloseUnexports) {
    const int fd = oxgp_openGpio(9, 1);
    kernel.clearCalls();
    oxgp_closeGpio(9, fd);
    EXPECT_EQ(kernel.calls(),
              Calls({"close /sys/class/gpio/gpio9/value", "open /sys/class/gpio/unexport O_WRONLY|O_CLOEXEC",
                     "write /sys/class/gpio/unexport 9", "close /sys/class/gpio/unexport"}));
}

TEST_F(GpioLine, CloseOfAClosedLineOnlyUnexports) {
    oxgp_closeGpio(9, -1);
    EXPECT_EQ(unexportFile.writes(), Calls({"9"}));
    EXPECT_EQ(kernel.callsOf("close"), Calls({"close /sys/class/gpio/unexport"}));
}

TEST_F(GpioLine, ReadStartsAtTheBeginning) {
    const int fd = oxgp_openGpio(9, 0);
    kernel.clearCalls();
    value.setContent("1\n");
    EXPECT_EQ(oxgp_readGpio(fd), 1);
    EXPECT_EQ(oxgp_readGpio(fd), 1);
    EXPECT_EQ(kernel.calls(),
              Calls({"lseek /sys/class/gpio/gpio9/value 0", "read /sys/class/gpio/gpio9/value 1",
                     "lseek /sys/class/gpio/gpio9/value 0", "read /sys/class/gpio/gpio9/value 1"}));
}

TEST_F(GpioLine, OnlyTheCharacterZeroReadsAsLow) {
    const int fd = oxgp_openGpio(9, 0);
    value.setContent("0\n");
    EXPECT_EQ(oxgp_readGpio(fd), 0);
    value.setContent("x");
    EXPECT_EQ(oxgp_readGpio(fd), 1);
    value.setContent("");
    EXPECT_EQ(oxgp_readGpio(fd), 0) << "an empty file";
}

TEST_F(GpioLine, FailedSeekOrReadIsReported) {
    const int fd = oxgp_openGpio(9, 0);
    value.setContent("1");
    value.failNext(Call::lseek, EIO);
    EXPECT_EQ(oxgp_readGpio(fd), -1);
    EXPECT_EQ(value.count(Call::read), 0u);
    value.failNext(Call::read, EIO);
    EXPECT_EQ(oxgp_readGpio(fd), -1);
}

TEST_F(GpioLine, WriteSendsOneDigitWithoutSeeking) {
    const int fd = oxgp_openGpio(9, 1);
    kernel.clearCalls();
    EXPECT_EQ(oxgp_writeGpio(fd, 5), 0);
    EXPECT_EQ(oxgp_writeGpio(fd, 0), 0);
    EXPECT_EQ(oxgp_writeGpio(fd, -1), 0);
    EXPECT_EQ(kernel.calls(),
              Calls({"write /sys/class/gpio/gpio9/value 1", "write /sys/class/gpio/gpio9/value 0",
                     "write /sys/class/gpio/gpio9/value 1"}));
}

TEST_F(GpioLine, FailedOrEmptyWriteIsReported) {
    const int fd = oxgp_openGpio(9, 1);
    value.failNext(Call::write, EPERM);
    EXPECT_EQ(oxgp_writeGpio(fd, 1), -1);
    EXPECT_EQ(errno, EPERM);
    value.shortenNthWrite(1, 0);
    EXPECT_EQ(oxgp_writeGpio(fd, 1), -1);
    EXPECT_EQ(errno, 0) << "the kernel named no reason";
}
