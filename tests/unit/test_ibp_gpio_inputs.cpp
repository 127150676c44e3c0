// An input among the panel's lines, of which the beltpack has none.

#include <gtest/gtest.h>

#include <cerrno>
#include <string>
#include <vector>

#include "tests/unit/fake_kernel.h"

// The table of the lines is file-static.
#include "hw/ibp_gpio.cpp"  // NOLINT

namespace {

constexpr int kInputLine = 1;

class GpioInputs : public testing::Test {
protected:
    GpioInputs() {
        for (const ibp_gpio_struct& line : mGpio) {
            kernel.device(path(line, "direction"));
            kernel.device(path(line, "value")).setContent("1\n");
        }
        kernel.device("/sys/class/gpio/export");
        mGpio[kInputLine].iDirection = kGpioInput;
    }
    ~GpioInputs() override {
        gpioCloseAll();
        mGpio[kInputLine].iDirection = kGpioOutputLow;
    }

    static std::string path(const ibp_gpio_struct& line, const char* file) {
        return "/sys/class/gpio/gpio" + std::to_string(line.iSysfsNum) + "/" + file;
    }

    FakeKernel kernel;
    FakeDevice& unexportFile = kernel.device("/sys/class/gpio/unexport");
    FakeDevice& direction = kernel.device(path(mGpio[kInputLine], "direction"));
    FakeDevice& value = kernel.device(path(mGpio[kInputLine], "value"));
};

TEST_F(GpioInputs, StartWithTheLevelThatTheyHave) {
    EXPECT_EQ(gpioOpenAll(), 0);
    EXPECT_EQ(direction.written(), "in");
    EXPECT_EQ(mGpio[kInputLine].iInitLevel, 1);
}

TEST_F(GpioInputs, AreReadAnewEachTime) {
    gpioOpenAll();
    EXPECT_EQ(gpioGetLevel(kInputLine), 1);
    value.setContent("0\n");
    EXPECT_EQ(gpioGetLevel(kInputLine), 0);
}

TEST_F(GpioInputs, ThatCannotBeReadAtTheStartAreUnexportedAndCountAsFailed) {
    value.failAlways(Call::read, EIO);
    EXPECT_EQ(gpioOpenAll(), -1);
    EXPECT_EQ(mGpio[kInputLine].iFd, -1);
    EXPECT_EQ(unexportFile.writes(), std::vector<std::string>({"9"}));
    EXPECT_EQ(gpioGetLevel(kInputLine), -1);
}

TEST_F(GpioInputs, ThatCannotBeReadLaterAreNoLongerUsed) {
    gpioOpenAll();
    value.failNext(Call::read, EIO);
    EXPECT_EQ(gpioGetLevel(kInputLine), -1);
    EXPECT_EQ(mGpio[kInputLine].iFd, -1);
    EXPECT_EQ(gpioGetLevel(kInputLine), -1);
    EXPECT_EQ(value.count(Call::read), 2U) << "at the start and once";
}

}  // namespace
