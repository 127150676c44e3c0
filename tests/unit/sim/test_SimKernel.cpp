#include <gtest/gtest.h>
#include <linux/input.h>
#include <linux/spi/spidev.h>

#include <cerrno>
#include <cstring>

#include "sim/kernel/DeviceTree.h"
#include "sim/kernel/FaultTable.h"
#include "sim/kernel/InputNode.h"
#include "sim/kernel/KernelText.h"

namespace {

using sim::DeviceCall;
using sim::Fault;
using sim::Result;

TEST(KernelText, NumbersMayEndInOneLineFeed) {
    EXPECT_EQ(sim::kernelUnsigned("82\n", 10).value, 82);
    EXPECT_EQ(sim::kernelUnsigned("+7", 10).value, 7);
    EXPECT_EQ(sim::kernelSigned("-7", 10).value, -7);
    for (const char* bad : {"", "\n", "1\n\n", " 1", "1 ", "-1", "+", "0x10", "x"}) {
        EXPECT_EQ(sim::kernelUnsigned(bad, 10).error, EINVAL) << bad;
    }
}

TEST(KernelText, BaseZeroTakesHexadecimalAndOctal) {
    EXPECT_EQ(sim::kernelSigned("0x10", 0).value, 16);
    EXPECT_EQ(sim::kernelSigned("010", 0).value, 8);
}

TEST(KernelText, NumbersAreThoseOfA32BitTarget) {
    EXPECT_EQ(sim::kernelUnsigned("4294967295", 10).error, 0);
    EXPECT_EQ(sim::kernelUnsigned("4294967296", 10).error, ERANGE);
    EXPECT_EQ(sim::kernelSigned("2147483648", 10).error, ERANGE);
    EXPECT_EQ(sim::kernelSigned("99999999999999999999", 10).error, ERANGE);
}

TEST(KernelText, WordsMayEndInALineFeed) {
    EXPECT_TRUE(sim::kernelEquals("none\n", "none"));
    EXPECT_TRUE(sim::kernelEquals("none", "none"));
    EXPECT_FALSE(sim::kernelEquals("none ", "none"));
}

Fault writeFault(unsigned nth, unsigned times) {
    Fault fault;
    fault.call = DeviceCall::Write;
    fault.path = "/dev/x";
    fault.error = EIO;
    fault.nth = nth;
    fault.times = times;
    return fault;
}

TEST(FaultTable, NthCallFailsOnce) {
    sim::FaultTable table;
    table.add(writeFault(2, 1));
    EXPECT_FALSE(table.take(DeviceCall::Write, "/dev/x"));
    EXPECT_EQ(table.take(DeviceCall::Write, "/dev/x")->error, EIO);
    EXPECT_FALSE(table.take(DeviceCall::Write, "/dev/x"));
}

TEST(FaultTable, OtherCallsAndPathsAreNotCounted) {
    sim::FaultTable table;
    table.add(writeFault(1, 1));
    EXPECT_FALSE(table.take(DeviceCall::Read, "/dev/x"));
    EXPECT_FALSE(table.take(DeviceCall::Write, "/dev/y"));
    EXPECT_TRUE(table.take(DeviceCall::Write, "/dev/x"));
}

TEST(FaultTable, FaultLastsSoManyCallsOrForGood) {
    sim::FaultTable table;
    table.add(writeFault(1, 2));
    EXPECT_TRUE(table.take(DeviceCall::Write, "/dev/x"));
    EXPECT_TRUE(table.take(DeviceCall::Write, "/dev/x"));
    EXPECT_FALSE(table.take(DeviceCall::Write, "/dev/x"));
    table.add(writeFault(1, Fault::kAlways));
    for (int i = 0; i < 10; ++i) {
        EXPECT_TRUE(table.take(DeviceCall::Write, "/dev/x"));
    }
}

TEST(FaultTable, FirstOrderedOfTwoDueWinsAndBothCount) {
    sim::FaultTable table;
    table.add(writeFault(1, 1));
    Fault second = writeFault(1, 2);
    second.error = ENOSPC;
    table.add(second);
    EXPECT_EQ(table.take(DeviceCall::Write, "/dev/x")->error, EIO);
    EXPECT_EQ(table.take(DeviceCall::Write, "/dev/x")->error, ENOSPC);
    EXPECT_FALSE(table.take(DeviceCall::Write, "/dev/x"));
}

class DeviceTreeTest : public ::testing::Test {
protected:
    [[nodiscard]] sim::DeviceNode& node(const char* path) const { return *tree.find(path); }

    sim::Panel panel{0};
    sim::DeviceTree tree{panel};
};

TEST_F(DeviceTreeTest, HoldsEveryDeviceOfThePanel) {
    for (const char* path : {"/dev/input/event1", "/dev/input/event4", "/dev/spidev3.0", "/dev/spidev3.1",
                             "/dev/spidev4.0", "/sys/class/leds/pca963x:red:t1/brightness",
                             "/sys/class/leds/pca963x:red:t1/trigger", "/sys/class/gpio/export"}) {
        EXPECT_NE(tree.find(path), nullptr) << path;
    }
    EXPECT_EQ(tree.find("/dev/input/event5"), nullptr);
    EXPECT_EQ(tree.find("/sys/class/gpio/gpio10/value"), nullptr);
}

TEST_F(DeviceTreeTest, EveryLedHasItsOwnBrightness) {
    EXPECT_EQ(node("/sys/class/leds/pca963x:red:c1/brightness").write("9", 1).value, 1);
    EXPECT_EQ(panel.leds.level(7), 9U);
    EXPECT_EQ(node("/sys/class/leds/pca963x:red:c1/brightness").read(0, 10).bytes, "9\n");
    EXPECT_EQ(node("/sys/class/leds/pca963x:grn:c1/brightness").read(0, 10).bytes, "0\n");
}

TEST_F(DeviceTreeTest, LineFilesExistWhileExported) {
    const sim::DeviceNode& value = node("/sys/class/gpio/gpio105/value");
    EXPECT_FALSE(value.exists());
    EXPECT_EQ(node("/sys/class/gpio/export").write("105", 3).error, 0);
    EXPECT_TRUE(value.exists());
    EXPECT_EQ(node("/sys/class/gpio/unexport").write("105", 3).error, 0);
    EXPECT_FALSE(value.exists());
}

TEST_F(DeviceTreeTest, DirectionWordsSetTheLevelToo) {
    ASSERT_EQ(node("/sys/class/gpio/export").write("9", 1).error, 0);
    sim::DeviceNode& direction = node("/sys/class/gpio/gpio9/direction");
    EXPECT_EQ(direction.write("high", 4).error, 0);
    EXPECT_EQ(panel.gpio.line(9)->level, 1);
    EXPECT_EQ(direction.write("out\n", 4).error, 0);
    EXPECT_EQ(panel.gpio.line(9)->level, 0);
    EXPECT_EQ(direction.write("in", 2).error, 0);
    EXPECT_EQ(node("/sys/class/gpio/gpio9/value").write("bad", 3).error, EPERM);
}

TEST_F(DeviceTreeTest, AttributesTellWhatTheyAllow) {
    EXPECT_EQ(node("/sys/class/gpio/export").allows(false, true), 0);
    EXPECT_EQ(node("/sys/class/gpio/export").allows(true, true), EACCES);
    EXPECT_EQ(node("/sys/class/leds/pca963x:grn:c2/max_brightness").allows(true, false), 0);
    EXPECT_EQ(node("/sys/class/leds/pca963x:grn:c2/max_brightness").allows(true, true), EACCES);
}

TEST_F(DeviceTreeTest, BusesReachTheirChips) {
    const std::string contrast("\x81\x52", 2);
    EXPECT_EQ(node("/dev/spidev3.0").transfer({contrast}, 2).value, 2);
    EXPECT_EQ(panel.oled.contrast(), 0x52);
    EXPECT_EQ(node("/dev/spidev3.1").transfer({"A"}, 1).value, 1);
    EXPECT_EQ(panel.oled.ram(0, 0), 'A');
    EXPECT_EQ(node("/dev/spidev4.0").transfer({std::string("\x21\0", 2)}, 2).value, 2);
    EXPECT_EQ(panel.micGain.code(), 1U);
}

TEST_F(DeviceTreeTest, MessageOverTheBufferIsTooLong) {
    EXPECT_EQ(node("/dev/spidev3.1").transfer({std::string(4096, 'x')}, 4096).value, 4096);
    EXPECT_EQ(node("/dev/spidev3.1").transfer({}, 4097).error, EMSGSIZE);
}

TEST_F(DeviceTreeTest, BusSettingsReadBack) {
    sim::DeviceNode& bus = node("/dev/spidev4.0");
    EXPECT_EQ(bus.ioctl(SPI_IOC_WR_BITS_PER_WORD, "\x10").error, 0);
    EXPECT_EQ(bus.ioctl(SPI_IOC_RD_BITS_PER_WORD, "").bytes, "\x10");
    EXPECT_EQ(bus.ioctl(SPI_IOC_WR_BITS_PER_WORD, "\x21").error, EINVAL);
    EXPECT_EQ(bus.transfer({"odd"}, 3).error, EINVAL);
    EXPECT_EQ(bus.ioctl(SPI_IOC_WR_BITS_PER_WORD, std::string(1, '\0')).error, 0);
    EXPECT_EQ(bus.transfer({"odd"}, 3).value, 3);
    EXPECT_EQ(bus.describe(SPI_IOC_WR_MAX_SPEED_HZ, std::string("\x00\x09\x3d\x00", 4)),
              "SPI_IOC_WR_MAX_SPEED_HZ 4000000");
}

TEST_F(DeviceTreeTest, KeyStateIsABitArrayOfTheAskedSize) {
    panel.inputs.press(103);
    const Result all = node("/dev/input/event4").ioctl(EVIOCGKEY(200), "");
    EXPECT_EQ(all.value, 96);
    EXPECT_EQ(all.bytes[103 / 8], static_cast<char>(1 << 103 % 8));
    EXPECT_EQ(node("/dev/input/event4").ioctl(EVIOCGKEY(4), "").value, 4);
    EXPECT_EQ(node("/dev/input/event1").ioctl(EVIOCGKEY(96), "").bytes, std::string(96, '\0'));
    EXPECT_EQ(node("/dev/input/event4").ioctl(EVIOCGVERSION, "").error, EINVAL);
}

TEST(InputEvents, HaveTheSizeOfTheReader) {
    const std::vector<sim::InputEvent> events = {{EV_KEY, 103, 1}, {EV_SYN, 0, 0}};
    constexpr std::int64_t kTime = 1'600'000'000'250'000;
    const std::string wide = sim::encodeEvents(events, 24, kTime);
    const std::string narrow = sim::encodeEvents(events, 16, kTime);
    EXPECT_EQ(wide.size(), 48U);
    EXPECT_EQ(narrow.size(), 32U);
    EXPECT_EQ(wide.substr(16, 8), narrow.substr(8, 8));
    sim::InputEvent first{};
    std::memcpy(&first, narrow.data() + 8, sizeof first);
    EXPECT_EQ(first.code, 103);
    EXPECT_EQ(first.value, 1);
    std::array<std::uint32_t, 2> time{};
    std::memcpy(time.data(), narrow.data() + 16, sizeof time);
    EXPECT_EQ(time, (std::array<std::uint32_t, 2>{1'600'000'000, 250'000}));
    std::array<std::uint64_t, 2> wideTime{};
    std::memcpy(wideTime.data(), wide.data() + 24, sizeof wideTime);
    EXPECT_EQ(wideTime, (std::array<std::uint64_t, 2>{1'600'000'000, 250'000}));
}

}  // namespace
