#include <gtest/gtest.h>

#include <cerrno>
#include <cstdint>
#include <random>
#include <vector>

#include "hw/IntercomBeltpack.h"
#include "hw/TrulyOLED1M4012.h"
#include "tests/unit/fake_kernel.h"

using VelaGraphics::Pixel;

namespace {

constexpr std::size_t kWidth = 96;
constexpr std::size_t kHeight = 64;
using Frame = std::vector<Pixel>;

Frame blackFrame() {
    return Frame(kWidth * kHeight);
}

Frame withPixel(std::size_t x, std::size_t y, std::uint32_t color = 0xFFFFFFFF) {
    Frame frame = blackFrame();
    frame[y * kWidth + x] = Pixel(color);
    return frame;
}

Bytes pack(const Frame& frame) {
    Bytes packed(768 + 1, 0xEE);
    packFrame(frame.data(), packed.data());
    EXPECT_EQ(packed.back(), 0xEE) << "written past the end";
    packed.pop_back();
    return packed;
}

Bytes withByte(std::size_t index, unsigned char value) {
    Bytes packed(768, 0);
    packed[index] = value;
    return packed;
}

// The packing, pixel by pixel.
Bytes packPlainly(const Frame& frame) {
    Bytes packed(768, 0);
    for (std::size_t y = 0; y < kHeight; ++y) {
        for (std::size_t x = 0; x < kWidth; ++x) {
            if ((frame[y * kWidth + x].px & 0x00FFFFFF) != 0) {
                unsigned char& byte = packed[y / 8 * kWidth + (kWidth - 1 - x)];
                byte = static_cast<unsigned char>(byte | 1u << y % 8);
            }
        }
    }
    return packed;
}

class Recorder : public IIntercomHardwareEvent {
public:
    void OnId(const char* /*id*/, unsigned int /*a*/, unsigned int /*b*/, unsigned int /*c*/) override {
        ++calls;
    }
    void OnKeyPress(int /*a*/, int /*b*/, int /*c*/) override { ++calls; }

    int calls = 0;
};

}  // namespace

TEST(FramePacking, BlackIsDarkWithAnyAlpha) {
    for (const std::uint32_t alpha : {0x00000000u, 0x01000000u, 0x80000000u, 0xFF000000u}) {
        EXPECT_EQ(pack(Frame(kWidth * kHeight, Pixel(alpha))), Bytes(768, 0)) << alpha;
    }
}

TEST(FramePacking, WhiteLightsEveryBit) {
    EXPECT_EQ(pack(Frame(kWidth * kHeight, Pixel(0x00FFFFFF))), Bytes(768, 0xFF));
}

TEST(FramePacking, TopLeftPixelIsTheLowBitOfTheLastColumn) {
    EXPECT_EQ(pack(withPixel(0, 0)), withByte(95, 0x01));
}

TEST(FramePacking, BottomRightPixelIsTheHighBitOfTheLastPagesFirstColumn) {
    EXPECT_EQ(pack(withPixel(95, 63)), withByte(7 * 96, 0x80));
}

TEST(FramePacking, EveryPixelHasItsOwnBit) {
    for (std::size_t y = 0; y < kHeight; ++y) {
        for (std::size_t x = 0; x < kWidth; ++x) {
            const auto bit = static_cast<unsigned char>(1u << y % 8);
            ASSERT_EQ(pack(withPixel(x, y)), withByte(y / 8 * 96 + 95 - x, bit)) << x << "," << y;
        }
    }
}

TEST(FramePacking, EveryColourBitLightsThePixelAndNoAlphaBitDoes) {
    for (unsigned int bit = 0; bit < 32; ++bit) {
        const Bytes expected = bit < 24 ? withByte(95 - 17, 0x04) : Bytes(768, 0);
        EXPECT_EQ(pack(withPixel(17, 2, 1u << bit)), expected) << bit;
    }
}

TEST(FramePacking, EveryPatternOfAColumnIsKept) {
    for (unsigned int pattern = 0; pattern < 256; ++pattern) {
        Frame frame = blackFrame();
        for (std::size_t k = 0; k < 8; ++k) {
            frame[(16 + k) * kWidth + 40] = Pixel((pattern >> k & 1) != 0 ? 0xFF000100u : 0xFF000000u);
        }
        EXPECT_EQ(pack(frame), withByte(2 * 96 + 95 - 40, static_cast<unsigned char>(pattern))) << pattern;
    }
}

TEST(FramePacking, RandomFramesArePackedAsPixelByPixel) {
    std::mt19937 random(1);
    for (int i = 0; i < 50; ++i) {
        Frame frame = blackFrame();
        for (Pixel& pixel : frame) {
            const auto value = static_cast<std::uint32_t>(random());
            pixel.px = (value & 1) != 0 ? value : 1u << (value >> 1 & 31);
        }
        ASSERT_EQ(pack(frame), packPlainly(frame)) << i;
    }
}

TEST(Beltpack, HasOneDisplayOf96By64) {
    IntercomBeltpack beltpack;
    EXPECT_EQ(beltpack.GetDisplayCount(), 1u);
    for (const unsigned int display : {0u, 1u, 99u}) {
        EXPECT_EQ(beltpack.GetDisplayWidth(display), 96u);
        EXPECT_EQ(beltpack.GetDisplayHeight(display), 64u);
    }
}

TEST(Beltpack, DrawSendsThePackedFrameWhateverTheDisplayNumber) {
    FakeKernel kernel;
    FakeDevice& cmd = kernel.device("/dev/spidev3.0");
    FakeDevice& data = kernel.device("/dev/spidev3.1");
    IntercomBeltpack beltpack;
    IIntercomHardware& hardware = beltpack;
    Frame frame = withPixel(3, 9);
    frame[63 * kWidth].px = 1;
    for (const unsigned int display : {0u, 5u}) {
        data.clearOutput();
        hardware.DrawDisplay(display, frame.data());
        Bytes sent;
        for (const Bytes& page : data.transfers()) {
            sent.insert(sent.end(), page.begin(), page.end());
        }
        EXPECT_EQ(sent, packPlainly(frame)) << display;
    }
    // The panel's descriptors outlive a test: they are left closed.
    cmd.failAlways(Call::open, ENXIO);
    OLEDintf_init();
}

TEST(Beltpack, IndicatorsTouchNoDevice) {
    FakeKernel kernel;
    IntercomBeltpack beltpack;
    beltpack.SetIndicator(0, 1);
    EXPECT_TRUE(kernel.calls().empty());
}

TEST(Beltpack, ScanNeverCallsTheCallback) {
    IntercomBeltpack beltpack;
    beltpack.ScanForHarwareEvents();
    Recorder recorder;
    beltpack.RegisterEventCallback(&recorder);
    beltpack.ScanForHarwareEvents();
    EXPECT_EQ(recorder.calls, 0);
}
