#include <gtest/gtest.h>

#include <cerrno>
#include <numeric>
#include <string>
#include <vector>

#include "hw/TrulyOLED1M4012.h"
#include "tests/unit/fake_kernel.h"

namespace {

using Calls = std::vector<std::string>;

const Calls kOpenCmd = {"open /dev/spidev3.0 O_RDWR|O_NONBLOCK", "ioctl /dev/spidev3.0 SPI_IOC_WR_MODE 0",
                        "ioctl /dev/spidev3.0 SPI_IOC_WR_BITS_PER_WORD 8",
                        "ioctl /dev/spidev3.0 SPI_IOC_WR_MAX_SPEED_HZ 2500000"};
const Calls kOpenData = {"open /dev/spidev3.1 O_RDWR|O_NONBLOCK", "ioctl /dev/spidev3.1 SPI_IOC_WR_MODE 0",
                         "ioctl /dev/spidev3.1 SPI_IOC_WR_BITS_PER_WORD 8",
                         "ioctl /dev/spidev3.1 SPI_IOC_WR_MAX_SPEED_HZ 2500000"};
const std::string kSetup =
    "transfer /dev/spidev3.0 ae 00 12 40 81 7f a1 a4 a6 a8 3f ad 8a b0 c0 d3 00 d5 f0 d9 f1 da 12 db 34 af";

Calls operator+(Calls a, const Calls& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

class Oled : public testing::Test {
protected:
    Oled() : frame(768) { std::iota(frame.begin(), frame.end(), static_cast<unsigned char>(1)); }
    // The module's state outlives a test: it is left closed, with the first variant.
    ~Oled() override {
        cmd.failAlways(Call::open, ENXIO);
        OLEDintf_init();
        OLEDintf_setDisplayType(0);
    }

    [[nodiscard]] Bytes page(unsigned int p) const {
        const auto start = frame.begin() + p * 96;
        return {start, start + 96};
    }
    void write() { OLEDintf_write(0, frame.data()); }

    FakeKernel kernel;
    FakeDevice& cmd = kernel.device("/dev/spidev3.0");
    FakeDevice& data = kernel.device("/dev/spidev3.1");
    Bytes frame;
};

}  // namespace

TEST_F(Oled, InitSendsTheSetupBetweenOpeningTheNodes) {
    OLEDintf_init();
    EXPECT_EQ(kernel.calls(), kOpenCmd + Calls({kSetup}) + kOpenData);
    EXPECT_EQ(cmd.transfers().size(), 1u);
    EXPECT_EQ(cmd.transfers()[0].size(), 26u);
}

TEST_F(Oled, SecondInitClosesBothNodesFirst) {
    OLEDintf_init();
    kernel.clearCalls();
    OLEDintf_init();
    EXPECT_EQ(kernel.calls(), Calls({"close /dev/spidev3.0", "close /dev/spidev3.1"}) + kOpenCmd +
                                  Calls({kSetup}) + kOpenData);
}

TEST_F(Oled, InitWithoutTheCommandNodeLeavesTheDataNode) {
    cmd.failNext(Call::open, ENOENT);
    OLEDintf_init();
    EXPECT_EQ(data.count(Call::open), 0u);
    EXPECT_TRUE(kernel.openPaths().empty());
}

TEST_F(Oled, InitWithoutTheDataNodeKeepsTheCommandNode) {
    data.failNext(Call::open, ENOENT);
    OLEDintf_init();
    EXPECT_EQ(kernel.openPaths(), Calls({"/dev/spidev3.0"}));
}

TEST_F(Oled, RefusedSetupKeepsTheCommandNodeOpenAndTheDataNodeClosed) {
    cmd.failNth(Call::ioctl, 4, EIO);
    OLEDintf_init();
    EXPECT_EQ(kernel.openPaths(), Calls({"/dev/spidev3.0"}));
    EXPECT_EQ(data.count(Call::open), 0u);
    OLEDintf_dim(1);
    EXPECT_EQ(cmd.count(Call::open), 1u) << "still the same descriptor";
}

TEST_F(Oled, AnyFailedConfigurationClosesTheNode) {
    for (unsigned int nth = 1; nth <= 3; ++nth) {
        cmd.failNth(Call::ioctl, nth, EINVAL);
        OLEDintf_init();
        EXPECT_TRUE(kernel.openPaths().empty()) << nth;
    }
    EXPECT_TRUE(kernel.log().empty());
}

TEST_F(Oled, FrameIsWrittenPageByPage) {
    OLEDintf_init();
    kernel.clearCalls();
    cmd.clearOutput();
    write();
    ASSERT_EQ(cmd.transfers().size(), 8u);
    ASSERT_EQ(data.transfers().size(), 8u);
    for (unsigned int p = 0; p < 8; ++p) {
        EXPECT_EQ(cmd.transfers()[p], Bytes({static_cast<unsigned char>(0xB0 + p), 0x00, 0x12}));
        EXPECT_EQ(data.transfers()[p], page(p));
        EXPECT_EQ(kernel.calls()[2 * p].find("transfer /dev/spidev3.0 "), 0u);
        EXPECT_EQ(kernel.calls()[2 * p + 1].find("transfer /dev/spidev3.1 "), 0u);
    }
    EXPECT_EQ(kernel.calls().size(), 16u);
}

TEST_F(Oled, WriteBeforeAnyInitOpensBothNodesWithoutTheSetup) {
    write();
    const Calls first(kernel.calls().begin(), kernel.calls().begin() + 8);
    EXPECT_EQ(first, kOpenData + kOpenCmd);
    EXPECT_EQ(cmd.transfers().size(), 8u);
    EXPECT_EQ(cmd.transfers()[0], Bytes({0xB0, 0x00, 0x12}));
    EXPECT_EQ(data.transfers().size(), 8u);
}

TEST_F(Oled, WriteWithoutTheDataNodeSendsNothing) {
    data.failAlways(Call::open, ENOENT);
    write();
    EXPECT_EQ(kernel.calls(), Calls({"open /dev/spidev3.1 O_RDWR|O_NONBLOCK = ENOENT"}));
    OLEDintf_dim(5);
    kernel.clearCalls();
    write();
    EXPECT_EQ(kernel.callsOf("transfer").size(), 0u) << "nor with the command node open";
}

TEST_F(Oled, WriteWithoutTheCommandNodeSendsNothing) {
    cmd.failAlways(Call::open, ENOENT);
    write();
    EXPECT_TRUE(kernel.callsOf("transfer").empty());
    EXPECT_EQ(kernel.openPaths(), Calls({"/dev/spidev3.1"}));
}

TEST_F(Oled, DisplayNumberIsIgnored) {
    OLEDintf_write(7, frame.data());
    EXPECT_EQ(data.transfers().size(), 8u);
}

TEST_F(Oled, FailedCommandEndsTheFrameAndIsReopenedByTheNext) {
    OLEDintf_init();
    cmd.clearOutput();
    cmd.failNth(Call::ioctl, 3, EIO);
    write();
    EXPECT_EQ(cmd.transfers().size(), 2u);
    EXPECT_EQ(data.transfers().size(), 2u);
    EXPECT_EQ(kernel.openPaths(), Calls({"/dev/spidev3.1"}));
    kernel.clearCalls();
    write();
    EXPECT_EQ(Calls(kernel.calls().begin(), kernel.calls().begin() + 4), kOpenCmd);
    EXPECT_EQ(cmd.transfers().size(), 2u + 8u) << "no set-up again";
    EXPECT_EQ(data.transfers().size(), 2u + 8u);
}

TEST_F(Oled, FailedPageEndsTheFrameAndIsReopenedByTheNext) {
    OLEDintf_init();
    cmd.clearOutput();
    data.failNth(Call::ioctl, 1, EIO);
    write();
    EXPECT_EQ(cmd.transfers().size(), 1u);
    EXPECT_TRUE(data.transfers().empty());
    EXPECT_EQ(kernel.openPaths(), Calls({"/dev/spidev3.0"}));
    kernel.clearCalls();
    write();
    EXPECT_EQ(Calls(kernel.calls().begin(), kernel.calls().begin() + 4), kOpenData);
    EXPECT_EQ(data.transfers().size(), 8u);
}

TEST_F(Oled, DisplayTypeMovesTheStartColumnOfTheNextFrame) {
    OLEDintf_init();
    kernel.clearCalls();
    OLEDintf_setDisplayType(1);
    EXPECT_TRUE(kernel.calls().empty());
    cmd.clearOutput();
    write();
    EXPECT_EQ(cmd.transfers()[0], Bytes({0xB0, 0x0C, 0x11}));
    EXPECT_EQ(cmd.transfers()[7], Bytes({0xB7, 0x0C, 0x11}));
}

TEST_F(Oled, EveryTypeButOneIsTypeZero) {
    for (const int type : {2, 0, -1}) {
        OLEDintf_setDisplayType(1);
        OLEDintf_setDisplayType(type);
        cmd.clearOutput();
        write();
        EXPECT_EQ(cmd.transfers()[0], Bytes({0xB0, 0x00, 0x12})) << type;
    }
}

TEST_F(Oled, ContrastIsSentWithItsLowByte) {
    OLEDintf_init();
    cmd.clearOutput();
    OLEDintf_dim(82);
    OLEDintf_dim(300);
    OLEDintf_dim(-1);
    EXPECT_EQ(cmd.transfers(), std::vector<Bytes>({{0x81, 82}, {0x81, 0x2C}, {0x81, 0xFF}}));
}

TEST_F(Oled, ContrastOpensTheCommandNodeWithoutTheSetup) {
    OLEDintf_dim(1);
    EXPECT_EQ(kernel.calls(), kOpenCmd + Calls({"transfer /dev/spidev3.0 81 01"}));
    EXPECT_EQ(data.count(Call::open), 0u);
}

TEST_F(Oled, ContrastWithoutADeviceIsSilent) {
    cmd.failNext(Call::open, ENOENT);
    OLEDintf_dim(1);
    EXPECT_TRUE(cmd.transfers().empty());
    EXPECT_TRUE(kernel.log().empty());
}

TEST_F(Oled, FailedContrastClosesTheCommandNodeOnly) {
    OLEDintf_init();
    cmd.failNext(Call::ioctl, EIO);
    OLEDintf_dim(1);
    EXPECT_EQ(kernel.openPaths(), Calls({"/dev/spidev3.1"}));
    OLEDintf_dim(2);
    EXPECT_EQ(cmd.transfers().back(), Bytes({0x81, 2}));
}
