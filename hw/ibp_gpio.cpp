#include "hw/ibp_gpio.h"

#include <array>
#include <cstdio>

#include "hw/ox_gpio.h"

namespace {

struct ibp_gpio_struct {
    int iSysfsNum;  // the kernel's number of the line
    int iFd;        // descriptor of the value file, -1 when closed
    const char* strName;
    int iDirection;  // kGpioInput, kGpioOutputLow or kGpioOutputHigh
    int iCurrLevel;
    int iInitLevel;
};

std::array<ibp_gpio_struct, 4> mGpio = {{
    {254, -1, "Power LED", kGpioOutputLow, -1, -1},
    {9, -1, "Vibration Motor", kGpioOutputLow, -1, -1},
    {105, -1, "Mic ADC Reset_N", kGpioOutputHigh, -1, -1},
    {255, -1, "OLED Display Reset_N", kGpioOutputHigh, -1, -1},
}};

// The line, open or not; null for no such line.
ibp_gpio_struct* findLine(int id) {
    const auto idx = static_cast<unsigned int>(id);
    return idx < mGpio.size() ? &mGpio[idx] : nullptr;
}

// The line when it is open, or null.
ibp_gpio_struct* findOpenLine(int id) {
    ibp_gpio_struct* gpio = findLine(id);
    return gpio != nullptr && gpio->iFd != -1 ? gpio : nullptr;
}

int startLevel(const ibp_gpio_struct& gpio) {
    return gpio.iDirection == kGpioInput        ? oxgp_readGpio(gpio.iFd)
           : gpio.iDirection == kGpioOutputHigh ? 1
                                                : 0;
}

bool openLine(ibp_gpio_struct* gpio) {
    gpio->iFd = oxgp_openGpio(gpio->iSysfsNum, gpio->iDirection);
    if (gpio->iFd == -1) {
        // Most likely still exported by a run that was killed.
        oxgp_closeGpio(gpio->iSysfsNum, -1);
        gpio->iFd = oxgp_openGpio(gpio->iSysfsNum, gpio->iDirection);
    }
    if (gpio->iFd == -1) {
        return false;
    }
    const int level = startLevel(*gpio);
    if (level == -1) {
        oxgp_closeGpio(gpio->iSysfsNum, gpio->iFd);
        gpio->iFd = -1;
        return false;
    }
    gpio->iInitLevel = gpio->iCurrLevel = level;
    return true;
}

void dumpLine(int id) {
    const ibp_gpio_struct& gpio = *findLine(id);
    std::fprintf(stderr, "GPIO[%d] data: Name=%s, number=%d\n", id, gpio.strName, gpio.iSysfsNum);
    std::fprintf(stderr, "  FD=%d,Dir=%d,Lvl: Curr=%d,Init=%d\n", gpio.iFd, gpio.iDirection, gpio.iCurrLevel,
                 gpio.iInitLevel);
    std::fprintf(stderr, "  Get Level=%d\n", gpioGetLevel(id));
}

}  // namespace

int gpioOpenAll() {
    int result = 0;
    for (ibp_gpio_struct& gpio : mGpio) {
        if (!openLine(&gpio)) {
            --result;
        }
    }
    return result;
}

int gpioGetLevel(int id) {
    ibp_gpio_struct* gpio = findOpenLine(id);
    if (gpio == nullptr) {
        return -1;
    }
    if (gpio->iDirection == kGpioInput) {
        gpio->iCurrLevel = oxgp_readGpio(gpio->iFd);
        if (gpio->iCurrLevel == -1) {
            gpio->iFd = -1;  // Required: not closed, as in gpioSetLevel
        }
    }
    return gpio->iCurrLevel;
}

int gpioSetLevel(int id, int level) {
    ibp_gpio_struct* gpio = findOpenLine(id);
    if (gpio == nullptr) {
        return -1;
    }
    if (oxgp_writeGpio(gpio->iFd, level) == -1) {
        // Required: marked closed without closing. The line must stay exported and keep its level; a reset
        // line that floats would restart its chip.
        gpio->iFd = gpio->iCurrLevel = -1;
        return -1;
    }
    gpio->iCurrLevel = level;
    return 0;
}

void gpioCloseAll() {
    for (ibp_gpio_struct& gpio : mGpio) {
        if (gpio.iFd >= 0) {
            oxgp_closeGpio(gpio.iSysfsNum, gpio.iFd);
            gpio.iFd = -1;
        }
    }
}

int gpioDumpData(int id) {
    if (id != -1) {
        if (findLine(id) == nullptr) {
            return -1;
        }
        dumpLine(id);
        return 0;
    }
    const int count = static_cast<int>(mGpio.size());
    std::fprintf(stderr, "Num GPIOs = %d\n", count);
    for (int i = 0; i < count; ++i) {
        dumpLine(i);
    }
    return 0;
}
