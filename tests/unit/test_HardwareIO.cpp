#include <gtest/gtest.h>

#include <cerrno>
#include <string>
#include <vector>

#include "hw/HardwareIO.h"
#include "hw/TrulyOLED1M4012.h"
#include "tests/unit/fake_kernel.h"

namespace {

constexpr const char* kCmdPath = "/dev/spidev3.0";
constexpr const char* kDataPath = "/dev/spidev3.1";

struct Frames {
    std::vector<Bytes> cmd;
    std::vector<Bytes> data;
};

// What two frames send. The first frame of the process is drawn once, whichever test asks for it first.
struct FirstFrames {
    Frames first;
    Frames second;
};

Frames drawFrame(FakeDevice& cmd, FakeDevice& data) {
    Bytes frame(768, 0x5A);
    cmd.clearOutput();
    data.clearOutput();
    hardwareWriteFrameToDisplay(frame.data());
    return {cmd.transfers(), data.transfers()};
}

void closePanel(FakeDevice& cmd) {
    cmd.failAlways(Call::open, ENXIO);
    OLEDintf_init();
}

const FirstFrames& firstFrames() {
    static const FirstFrames frames = [] {
        FakeKernel kernel;
        FakeDevice& cmd = kernel.device(kCmdPath);
        FakeDevice& data = kernel.device(kDataPath);
        FirstFrames drawn;
        drawn.first = drawFrame(cmd, data);
        drawn.second = drawFrame(cmd, data);
        closePanel(cmd);
        return drawn;
    }();
    return frames;
}

}  // namespace

TEST(FirstFrame, SetsThePanelUpBeforeTheFrame) {
    const Frames& first = firstFrames().first;
    ASSERT_EQ(first.cmd.size(), 1u + 8u);
    EXPECT_EQ(first.cmd[0].size(), 26u);
    EXPECT_EQ(first.cmd[1], Bytes({0xB0, 0x00, 0x12}));
    EXPECT_EQ(first.data, std::vector<Bytes>(8, Bytes(96, 0x5A)));
}

TEST(LaterFrame, IsWrittenWithoutTheSetup) {
    const Frames& second = firstFrames().second;
    EXPECT_EQ(second.cmd.size(), 8u);
    EXPECT_EQ(second.cmd[0], Bytes({0xB0, 0x00, 0x12}));
    EXPECT_EQ(second.data.size(), 8u);
}

TEST(LaterFrame, ReopensAPanelWithoutTheSetup) {
    firstFrames();
    FakeKernel kernel;
    FakeDevice& cmd = kernel.device(kCmdPath);
    FakeDevice& data = kernel.device(kDataPath);
    const Frames frames = drawFrame(cmd, data);
    EXPECT_EQ(frames.cmd.size(), 8u);
    EXPECT_EQ(frames.data.size(), 8u);
    closePanel(cmd);
}

TEST(KeyScan, ReportsNothingAndWritesNothing) {
    int a = 1;
    int b = 2;
    int c = 3;
    EXPECT_EQ(hardwareScanForKeyEvents(&a, &b, &c), 0);
    EXPECT_EQ(a, 1);
    EXPECT_EQ(b, 2);
    EXPECT_EQ(c, 3);
    EXPECT_EQ(hardwareScanForKeyEvents(nullptr, nullptr, nullptr), 0);
}
