#include <gtest/gtest.h>

#include <cerrno>
#include <climits>
#include <string>
#include <vector>

#include "hw/ibp_micGain.h"
#include "tests/unit/fake_kernel.h"

namespace {

constexpr const char* kPath = "/dev/spidev4.0";
using Calls = std::vector<std::string>;

class MicGain : public testing::Test {
protected:
    // The module's descriptor outlives a test: it is left closed.
    ~MicGain() override {
        device.failAlways(Call::open, ENXIO);
        ibp_micGain_init();
    }

    FakeKernel kernel;
    FakeDevice& device = kernel.device(kPath);
};

const Calls kOpenCalls = {"open /dev/spidev4.0 O_RDWR|O_NONBLOCK", "ioctl /dev/spidev4.0 SPI_IOC_WR_MODE 0",
                          "ioctl /dev/spidev4.0 SPI_IOC_WR_BITS_PER_WORD 16",
                          "ioctl /dev/spidev4.0 SPI_IOC_WR_MAX_SPEED_HZ 4000000"};

}  // namespace

TEST_F(MicGain, InitOpensAndConfiguresTheDevice) {
    ibp_micGain_init();
    EXPECT_EQ(kernel.calls(), kOpenCalls);
    EXPECT_EQ(kernel.openPaths(), Calls({kPath}));
}

TEST_F(MicGain, SecondInitClosesTheDeviceFirst) {
    ibp_micGain_init();
    kernel.clearCalls();
    ibp_micGain_init();
    Calls expected = kOpenCalls;
    expected.insert(expected.begin(), "close /dev/spidev4.0");
    EXPECT_EQ(kernel.calls(), expected);
    EXPECT_EQ(kernel.openPaths(), Calls({kPath}));
}

TEST_F(MicGain, GainIsOneLittleEndianWordOfFiveBits) {
    ibp_micGain_init();
    for (const int gain : {0, 18, 31, 32, 33, -1, -31, INT_MIN}) {
        ibp_micGain_setGain(gain);
    }
    EXPECT_EQ(
        device.transfers(),
        std::vector<Bytes>({{0, 0}, {18, 0}, {0x1F, 0}, {0, 0}, {0x01, 0}, {0x1F, 0}, {0x01, 0}, {0, 0}}));
}

TEST_F(MicGain, SetOpensAClosedDevice) {
    ibp_micGain_setGain(7);
    Calls expected = kOpenCalls;
    expected.push_back("transfer /dev/spidev4.0 07 00");
    EXPECT_EQ(kernel.calls(), expected);
}

TEST_F(MicGain, SetWithoutADeviceIsSilent) {
    device.failNext(Call::open, ENOENT);
    ibp_micGain_setGain(7);
    EXPECT_TRUE(device.transfers().empty());
    EXPECT_TRUE(kernel.log().empty());
}

TEST_F(MicGain, AnyFailedConfigurationClosesTheDevice) {
    for (unsigned int nth = 1; nth <= 3; ++nth) {
        device.failNth(Call::ioctl, nth, EINVAL);
        ibp_micGain_init();
        EXPECT_TRUE(kernel.openPaths().empty()) << nth;
    }
    EXPECT_EQ(device.count(Call::ioctl), 1u + 2u + 3u) << "nothing follows a failure";
}

TEST_F(MicGain, FailedTransferClosesAndTheNextCallOpensAgain) {
    ibp_micGain_init();
    device.failNext(Call::ioctl, EIO);
    ibp_micGain_setGain(3);
    EXPECT_TRUE(kernel.openPaths().empty());
    ibp_micGain_setGain(4);
    EXPECT_EQ(device.transfers(), std::vector<Bytes>({{4, 0}}));
    EXPECT_EQ(kernel.openPaths(), Calls({kPath}));
}
