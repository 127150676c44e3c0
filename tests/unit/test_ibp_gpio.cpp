#include <gtest/gtest.h>

#include <cerrno>
#include <string>
#include <vector>

#include "hw/ibp_gpio.h"
#include "tests/unit/fake_kernel.h"

namespace {

using Calls = std::vector<std::string>;

class Gpios : public testing::Test {
protected:
    // The table of lines outlives a test: it is left with all lines closed.
    ~Gpios() override { gpioCloseAll(); }

    FakeDevice& file(int num, const char* name) {
        return kernel.device("/sys/class/gpio/gpio" + std::to_string(num) + "/" + name);
    }
    static std::string dump(int id, int expected) {
        testing::internal::CaptureStderr();
        EXPECT_EQ(gpioDumpData(id), expected);
        return testing::internal::GetCapturedStderr();
    }

    FakeKernel kernel;
    FakeDevice& exportFile = kernel.device("/sys/class/gpio/export");
    FakeDevice& unexportFile = kernel.device("/sys/class/gpio/unexport");
    FakeDevice& powerDirection = file(254, "direction");
    FakeDevice& power = file(254, "value");
    FakeDevice& motorDirection = file(9, "direction");
    FakeDevice& motor = file(9, "value");
    FakeDevice& micDirection = file(105, "direction");
    FakeDevice& mic = file(105, "value");
    FakeDevice& oledDirection = file(255, "direction");
    FakeDevice& oled = file(255, "value");
};

}  // namespace

// The first test of the program: it sees the table as it is before anything was opened.
TEST_F(Gpios, LinesThatWereNeverOpenedAreRefused) {
    for (int id = 0; id < 4; ++id) {
        const std::string text = dump(id, 0);
        EXPECT_NE(text.find("\n  FD=-1,"), std::string::npos) << text;
        EXPECT_NE(text.find(",Lvl: Curr=-1,Init=-1\n"), std::string::npos) << text;
        EXPECT_EQ(gpioGetLevel(id), -1);
        EXPECT_EQ(gpioSetLevel(id, 1), -1);
    }
    EXPECT_TRUE(kernel.calls().empty());
}

TEST_F(Gpios, ClosedLinesAreRefused) {
    gpioOpenAll();
    gpioCloseAll();
    const std::size_t calls = kernel.calls().size();
    for (int id = 0; id < 4; ++id) {
        EXPECT_EQ(gpioGetLevel(id), -1);
        EXPECT_EQ(gpioSetLevel(id, 1), -1);
    }
    EXPECT_EQ(kernel.calls().size(), calls);
}

TEST_F(Gpios, AreExportedInOrderWithTheirStartLevels) {
    EXPECT_EQ(gpioOpenAll(), 0);
    EXPECT_EQ(exportFile.writes(), Calls({"254", "9", "105", "255"}));
    EXPECT_EQ(powerDirection.written(), "low");
    EXPECT_EQ(motorDirection.written(), "low");
    EXPECT_EQ(micDirection.written(), "high");
    EXPECT_EQ(oledDirection.written(), "high");
    EXPECT_EQ(gpioGetLevel(0), 0);
    EXPECT_EQ(gpioGetLevel(1), 0);
    EXPECT_EQ(gpioGetLevel(2), 1);
    EXPECT_EQ(gpioGetLevel(3), 1);
    EXPECT_TRUE(unexportFile.writes().empty());
    EXPECT_EQ(power.count(Call::read), 0u) << "an output is not read";
}

TEST_F(Gpios, LineStillExportedIsUnexportedAndOpenedAgain) {
    exportFile.failNth(Call::write, 2, EBUSY);
    EXPECT_EQ(gpioOpenAll(), 0);
    EXPECT_EQ(exportFile.writes(), Calls({"254", "9", "105", "255"}));
    EXPECT_EQ(unexportFile.writes(), Calls({"9"}));
    EXPECT_EQ(gpioSetLevel(1, 1), 0);
}

TEST_F(Gpios, FailedLinesAreCountedAndStayClosed) {
    motor.failAlways(Call::open, EACCES);
    oledDirection.failAlways(Call::write, EIO);
    EXPECT_EQ(gpioOpenAll(), -2);
    EXPECT_EQ(gpioGetLevel(1), -1);
    EXPECT_EQ(gpioSetLevel(1, 1), -1);
    EXPECT_EQ(gpioGetLevel(3), -1);
    EXPECT_EQ(gpioGetLevel(2), 1);
    EXPECT_EQ(motor.count(Call::open), 2u);
    EXPECT_EQ(kernel.openPaths(), Calls({"/sys/class/gpio/gpio254/value", "/sys/class/gpio/gpio105/value"}));
}

TEST_F(Gpios, LevelIsWrittenAsOneDigitAndKeptAsGiven) {
    gpioOpenAll();
    EXPECT_EQ(gpioSetLevel(1, 5), 0);
    EXPECT_EQ(motor.writes(), Calls({"1"}));
    EXPECT_EQ(gpioGetLevel(1), 5);
    EXPECT_EQ(gpioSetLevel(1, 0), 0);
    EXPECT_EQ(motor.writes(), Calls({"1", "0"}));
    EXPECT_EQ(gpioGetLevel(1), 0);
}

TEST_F(Gpios, NoSuchLineIsRefused) {
    gpioOpenAll();
    EXPECT_EQ(gpioGetLevel(4), -1);
    EXPECT_EQ(gpioGetLevel(-1), -1);
    EXPECT_EQ(gpioSetLevel(4, 1), -1);
    EXPECT_EQ(gpioSetLevel(-1, 1), -1);
    EXPECT_TRUE(power.writes().empty());
    EXPECT_TRUE(oled.writes().empty());
}

TEST_F(Gpios, FailedWriteMarksTheLineClosedWithoutClosingIt) {
    gpioOpenAll();
    power.failNext(Call::write, EIO);
    EXPECT_EQ(gpioSetLevel(0, 1), -1);
    EXPECT_EQ(gpioGetLevel(0), -1);
    EXPECT_EQ(gpioSetLevel(0, 1), -1);
    EXPECT_EQ(power.count(Call::write), 1u);
    gpioCloseAll();
    EXPECT_EQ(kernel.openPaths(), Calls({"/sys/class/gpio/gpio254/value"}));
    EXPECT_EQ(unexportFile.writes(), Calls({"9", "105", "255"}));
}

TEST_F(Gpios, CloseUnexportsEveryOpenLine) {
    gpioOpenAll();
    gpioCloseAll();
    EXPECT_EQ(unexportFile.writes(), Calls({"254", "9", "105", "255"}));
    EXPECT_TRUE(kernel.openPaths().empty());
    gpioCloseAll();
    EXPECT_EQ(unexportFile.writes().size(), 4u);
}

TEST_F(Gpios, DumpOfAClosedLineShowsNoLevel) {
    const std::string text = dump(3, 0);
    EXPECT_NE(text.find("GPIO[3] data: Name=OLED Display Reset_N, number=255\n  FD=-1,Dir=2,Lvl: "),
              std::string::npos);
    EXPECT_NE(text.find("\n  Get Level=-1\n"), std::string::npos);
}

TEST_F(Gpios, DumpOfAllBeginsWithTheCount) {
    gpioOpenAll();
    gpioSetLevel(1, 7);
    const std::string all = dump(-1, 0);
    EXPECT_EQ(all, "Num GPIOs = 4\n" + dump(0, 0) + dump(1, 0) + dump(2, 0) + dump(3, 0));
    const std::string one = dump(1, 0);
    EXPECT_EQ(one.find("GPIO[1] data: Name=Vibration Motor, number=9\n  FD="), 0u);
    EXPECT_NE(one.find(",Dir=1,Lvl: Curr=7,Init=0\n  Get Level=7\n"), std::string::npos);
}

TEST_F(Gpios, DumpOfNoSuchLineIsRefused) {
    EXPECT_EQ(dump(4, -1), "");
    EXPECT_EQ(dump(-2, -1), "");
}
