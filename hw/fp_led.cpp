#include "hw/fp_led.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <string>

#include "hw/DeviceLog.h"
#include "hw/FileDescriptor.h"
#include "hw/ox_utility.h"

namespace {

constexpr int kMaxLevel = 254;
constexpr int kDefaultStep = 5;
constexpr int kDefaultBlinkMs = 500;
constexpr int kMinBlinkMs = 100;
constexpr int kMaxBlinkMs = 10000;
// A phase with no more than this left ends at once: the panel loop could not be back in time.
constexpr int kPhaseSlackMs = 20;

// Brightness levels that look evenly spaced.
int miInternalBrtStepTab[] = {4, 9, 20, 36, 57, 82, 109, 140, 175, 213, 254};
constexpr int kNumSteps = static_cast<int>(std::size(miInternalBrtStepTab));

struct LedDefaults {
    const char* baseName;
    const char* brtPath;
    const char* blinkPath;
    int color;
};

#define LED_ENTRY(base, color) \
    { base, "/sys/class/leds/pca963x" base "brightness", "/sys/class/leds/pca963x" base "trigger", color }
constexpr LedDefaults kDefaults[kNumLeds] = {
    LED_ENTRY(":grn:c2/", kLedGreen), LED_ENTRY(":red:c2/", kLedRed),   LED_ENTRY(":grn:t2/", kLedGreen),
    LED_ENTRY(":red:t2/", kLedRed),   LED_ENTRY(":grn:t1/", kLedGreen), LED_ENTRY(":red:t1/", kLedRed),
    LED_ENTRY(":grn:c1/", kLedGreen), LED_ENTRY(":red:c1/", kLedRed),
};
#undef LED_ENTRY

bool isLed(const fp_ledGrp_struct* grp, int idx) {
    return grp != nullptr && static_cast<unsigned int>(idx) < static_cast<unsigned int>(kNumLeds);
}

void resetLed(fp_led_struct* led) {
    led->iState = kLedOff;
    led->iLit = led->iBlinking = led->iCurrLvl = 0;
    led->iOnLvl = miInternalBrtStepTab[kDefaultStep];
}

void setBlinkTimes(fp_led_struct* led, const fp_ledGrp_struct& grp) {
    led->iBlinkOnMs = grp.iBlinkOnMs;
    led->iBlinkOffMs = grp.iBlinkOffMs;
}

fp_led_struct defaultLed(const LedDefaults& defaults) {
    fp_led_struct led = {};
    led.sBaseFolderName = defaults.baseName;
    led.sBrtFileName = defaults.brtPath;
    led.sBlinkFileName = defaults.blinkPath;
    led.iBrtFd = led.iBlinkFd = -1;
    led.iColor = defaults.color;
    resetLed(&led);
    return led;
}

// Returns the number of bytes written, negative on failure.
int writeLevel(const fp_led_struct& led, int level) {
    const std::string text = std::to_string(level);
    return static_cast<int>(write(led.iBrtFd, text.data(), text.size()));
}

int startBlinking(fp_ledGrp_struct* grp, int idx) {
    grp->uiBlinkActiveFlags |= 1u << idx;
    grp->led[idx].iBlinking = 1;
    grp->led[idx].iState = kLedBlink;
    return 0;
}

// Switches the LED on or off for good.
int setSteady(fp_ledGrp_struct* grp, int idx, int state) {
    fp_led_struct& led = grp->led[idx];
    const bool on = state == kLedOn;
    if (on && led.iOnLvl == -1) {
        return 0;
    }
    const int written = writeLevel(led, on ? led.iOnLvl : 0);
    if (written < 0) {
        return written;
    }
    led.iBlinking = 0;
    grp->uiBlinkActiveFlags &= ~(1u << idx);
    led.iLit = on ? 1 : 0;
    // Required: the level used when lit is recorded for off as well. The dump shows it as the level that the
    // next "on" takes up again; do not mend to 0.
    led.iCurrLvl = led.iOnLvl;
    led.iState = state;
    return 0;
}

}  // namespace

int ledBuildAll(fp_ledGrp_struct* grp) {
    if (grp == nullptr) {
        return -1;
    }
    *grp = {};
    grp->iBlinkOnMs = grp->iBlinkOffMs = kDefaultBlinkMs;
    grp->iBrtNumSteps = kNumSteps;
    grp->iBrtStepTable = miInternalBrtStepTab;
    grp->iBlinkState = 2;
    for (int i = 0; i < kNumLeds; ++i) {
        grp->led[i] = defaultLed(kDefaults[i]);
        setBlinkTimes(&grp->led[i], *grp);
    }
    return 0;
}

void ledOpenAll(fp_ledGrp_struct* grp) {
    if (grp == nullptr) {
        return;
    }
    for (fp_led_struct& led : grp->led) {
        led.iBrtFd = open(led.sBrtFileName, O_RDWR);
        if (led.iBrtFd < 0) {
            logDeviceError("ledOpen", errno);
            continue;
        }
        resetLed(&led);
        setBlinkTimes(&led, *grp);
    }
}

void ledCloseAll(fp_ledGrp_struct* grp) {
    if (grp == nullptr) {
        return;
    }
    for (fp_led_struct& led : grp->led) {
        closeDescriptor(&led.iBrtFd);
        closeDescriptor(&led.iBlinkFd);
    }
}

int ledSetState(fp_ledGrp_struct* grp, int idx, int state) {
    if (!isLed(grp, idx)) {
        return -1;
    }
    switch (state) {
        case kLedOff:
        case kLedOn:
            return setSteady(grp, idx, state);
        case kLedBlink:
            return startBlinking(grp, idx);
        default:
            return -1;
    }
}

int ledGetState(fp_ledGrp_struct* grp, int idx) {
    return isLed(grp, idx) ? grp->led[idx].iState : -1;
}

int ledSetBrt(fp_ledGrp_struct* grp, int idx, int level) {
    if (!isLed(grp, idx) || level < 0 || level > kMaxLevel) {
        return -1;
    }
    fp_led_struct& led = grp->led[idx];
    led.iOnLvl = level;
    return led.iLit != 0 ? std::min(writeLevel(led, level), 0) : 0;
}

int ledSetBrtStep(fp_ledGrp_struct* grp, int idx, int step) {
    if (grp == nullptr || grp->iBrtStepTable == nullptr || step < 0 || step >= grp->iBrtNumSteps) {
        return -1;
    }
    return ledSetBrt(grp, idx, grp->iBrtStepTable[step]);
}

int ledGetBrt(fp_ledGrp_struct* grp, int idx) {
    return isLed(grp, idx) ? grp->led[idx].iOnLvl : -1;
}

int ledGetColor(fp_ledGrp_struct* grp, int idx) {
    return isLed(grp, idx) ? grp->led[idx].iColor : -1;
}

int ledGetBrtNumSteps(fp_ledGrp_struct* grp) {
    return grp != nullptr && grp->iBrtStepTable != nullptr ? grp->iBrtNumSteps : -1;
}

std::uint32_t ledGetBlinkFlags(fp_ledGrp_struct* grp) {
    return grp != nullptr ? grp->uiBlinkActiveFlags : 0;
}

int ledSetBlinkTime(fp_ledGrp_struct* grp, int which, int ms) {
    if (grp == nullptr || ms < kMinBlinkMs || ms > kMaxBlinkMs) {
        return -1;
    }
    (which == 0 ? grp->iBlinkOnMs : grp->iBlinkOffMs) = ms;
    for (fp_led_struct& led : grp->led) {
        (which == 0 ? led.iBlinkOnMs : led.iBlinkOffMs) = ms;
    }
    return 0;
}

int ledGetBlinkTime(fp_ledGrp_struct* grp, int which) {
    if (grp == nullptr) {
        return -1;
    }
    return which == 0 ? grp->iBlinkOnMs : grp->iBlinkOffMs;
}

// The blink clock.
//
//   state          event                 action                                   next
//   stopped        an LED blinks         blinking LEDs dark                       off phase
//   off phase (1)  its end               blinking LEDs lit                        on phase
//   on phase (2)   its end               blinking LEDs dark                       off phase
//   other          its end               none; lasts the off time                 on phase
//   any            no LED blinks         none                                     stopped (length 0)

namespace {

constexpr int kOffPhase = 1;
constexpr int kOnPhase = 2;

// Milliseconds left of the running phase; 0 when it has passed or the clock cannot be read.
int phaseMsLeft(const fp_ledGrp_struct& grp) {
    timeval now;
    if (gettimeofday(&now, nullptr) != 0 || !oxut_isBefore(&now, &grp.tvTmoBlink)) {
        return 0;
    }
    return oxut_msLeft(&now, &grp.tvTmoBlink);
}

int startPhase(fp_ledGrp_struct* grp, int phase, int ms) {
    grp->iBlinkState = phase;
    grp->iBlinkStateMs = std::max(ms, 0);
    if (grp->iBlinkStateMs != 0) {
        oxut_gettimeofdayFutureMs(static_cast<unsigned int>(grp->iBlinkStateMs), &grp->tvTmoBlink);
    }
    return grp->iBlinkStateMs;
}

void showBlinking(fp_ledGrp_struct* grp, bool lit) {
    for (fp_led_struct& led : grp->led) {
        if (led.iBlinking != 0) {
            led.iLit = lit ? 1 : 0;
            writeLevel(led, lit ? led.iOnLvl : 0);
        }
    }
}

int startOffPhase(fp_ledGrp_struct* grp) {
    showBlinking(grp, false);
    return startPhase(grp, kOffPhase, grp->iBlinkOffMs);
}

int startOnPhase(fp_ledGrp_struct* grp) {
    showBlinking(grp, true);
    return startPhase(grp, kOnPhase, grp->iBlinkOnMs);
}

int endPhase(fp_ledGrp_struct* grp) {
    switch (grp->iBlinkState) {
        case kOffPhase:
            return startOnPhase(grp);
        case kOnPhase:
            return startOffPhase(grp);
        default:
            return startPhase(grp, kOnPhase, grp->iBlinkOffMs);
    }
}

}  // namespace

int ledSwBlinkManager(fp_ledGrp_struct* grp) {
    if (grp == nullptr) {
        return -1;
    }
    if (grp->uiBlinkActiveFlags == 0) {
        return grp->iBlinkStateMs = 0;
    }
    if (grp->iBlinkStateMs == 0) {
        return startOffPhase(grp);
    }
    const int left = phaseMsLeft(*grp);
    if (left > kPhaseSlackMs) {
        return grp->iBlinkStateMs = left;
    }
    return endPhase(grp);
}

// The dump.

namespace {

void dumpSteps(const fp_ledGrp_struct& grp) {
    constexpr int kStepsPerLine = 6;
    const bool hasTable = grp.iBrtStepTable != nullptr;
    std::fprintf(stderr, "  BrtStepTable NumSteps=%d %s", grp.iBrtNumSteps,
                 hasTable ? "Step Table Data:" : "NO STEP TABLE\n");
    if (!hasTable) {
        return;
    }
    for (int i = 0; i < grp.iBrtNumSteps; ++i) {
        std::fprintf(stderr, "%s[%d]=%3d, ", i % kStepsPerLine == 0 ? "\n  " : "", i, grp.iBrtStepTable[i]);
    }
    std::fputc('\n', stderr);
}

void dumpGroup(const fp_ledGrp_struct& grp) {
    std::fprintf(stderr, "LED Group data: NumLEDs=%d, BlnkOnMs=%d, BlnkOffMs=%d\n", kNumLeds, grp.iBlinkOnMs,
                 grp.iBlinkOffMs);
    std::fprintf(stderr, "  Blink: St=%d,Flgs=0x%02x,Ms=%d\n", grp.iBlinkState, grp.uiBlinkActiveFlags,
                 grp.iBlinkStateMs);
    dumpSteps(grp);
}

void dumpLed(const fp_led_struct& led, int idx) {
    std::fprintf(stderr, "LED[%d] data: BaseName=%s\n", idx, led.sBaseFolderName);
    std::fprintf(stderr, "  BrtFile  FD=%d,Name=%s\n", led.iBrtFd, led.sBrtFileName);
    std::fprintf(stderr, "  BlnkFile FD=%d,Name=%s\n", led.iBlinkFd, led.sBlinkFileName);
    std::fprintf(stderr, "  St=%d,Blnk=%d,Lit=%d,CurrLvl=%d,OnLvl=%d,Color=%d\n", led.iState, led.iBlinking,
                 led.iLit, led.iCurrLvl, led.iOnLvl, led.iColor);
    std::fprintf(stderr, "  BlinkOnMs=%d,BlinkOffMs=%d\n", led.iBlinkOnMs, led.iBlinkOffMs);
}

}  // namespace

int ledDumpData(fp_ledGrp_struct* grp, int idx) {
    if (grp != nullptr && idx == -1) {
        dumpGroup(*grp);
        for (int i = 0; i < kNumLeds; ++i) {
            dumpLed(grp->led[i], i);
        }
        return 0;
    }
    if (!isLed(grp, idx)) {
        return -1;
    }
    dumpLed(grp->led[idx], idx);
    return 0;
}

// The LED test.

namespace {

constexpr int kNoColor = 0;
constexpr int kBlinkCycleType = 7;
constexpr int kCallsPerBlinkStep = 3;

// What a call of the test does after the set-up.
enum class TestStep { cycle, fade, keep, slowFade };

struct TestType {
    bool defaultLevel;  // start at the default brightness
    int color;  // the LEDs that show `state`, the others being switched off; kNoColor: none is switched
    int state;
    TestStep step;
};
constexpr std::array<TestType, 8> kTestTypes = {{
    {true, kNoColor, kLedOn, TestStep::cycle},
    {true, kLedRed, kLedOn, TestStep::fade},
    {true, kLedGreen, kLedOn, TestStep::fade},
    {true, kLedRed, kLedBlink, TestStep::keep},
    {true, kLedGreen, kLedBlink, TestStep::keep},
    {false, kLedRed, kLedBlink, TestStep::slowFade},
    {false, kLedGreen, kLedBlink, TestStep::slowFade},
    {true, kNoColor, kLedBlink, TestStep::cycle},
}};

struct TestState {
    int previousType = -1;
    int brtStep = 0;
    int cycleIdx = 0;
    int blinkStepCount = 0;
};

bool qualifies(const fp_led_struct& led) {
    return led.sBrtFileName != nullptr && led.iBrtFd > 0;
}

void testSetState(fp_ledGrp_struct* grp, int idx, int state, int fp_led_struct::*fd) {
    if (ledSetState(grp, idx, state) < 0) {
        grp->led[idx].*fd = -1;
    }
}

void setUpTest(fp_ledGrp_struct* grp, const TestType& type) {
    for (int i = 0; i < kNumLeds; ++i) {
        fp_led_struct& led = grp->led[i];
        if (!qualifies(led)) {
            continue;
        }
        if (type.defaultLevel) {
            led.iOnLvl = miInternalBrtStepTab[kDefaultStep];
        }
        if (type.color != kNoColor) {
            testSetState(grp, i, led.iColor == type.color ? type.state : kLedOff, &fp_led_struct::iBrtFd);
        }
    }
}

void nextBrtStep(const fp_ledGrp_struct& grp, TestState* test) {
    if (++test->brtStep >= grp.iBrtNumSteps) {
        test->brtStep = 0;
    }
}

// Gives the brightness step to the LEDs that are in the state of the test.
void showBrtStep(fp_ledGrp_struct* grp, int step, int state) {
    for (int i = 0; i < kNumLeds; ++i) {
        fp_led_struct& led = grp->led[i];
        if (qualifies(led) && led.iState == state && ledSetBrtStep(grp, i, step) < 0) {
            led.iBrtFd = -1;
        }
    }
}

// Shows the next LED whose descriptor `fd` is open and switches the others off. Writes nothing when there is
// none.
void cycleLeds(fp_ledGrp_struct* grp, int state, int fp_led_struct::*fd, TestState* test) {
    int found = test->cycleIdx;
    for (int tries = 0; tries < kNumLeds && grp->led[found].*fd <= 0; ++tries) {
        found = (found + 1) % kNumLeds;
    }
    for (int i = 0; i < kNumLeds; ++i) {
        if (grp->led[i].*fd > 0) {
            testSetState(grp, i, i == found ? state : kLedOff, fd);
        }
    }
    test->cycleIdx = (found + 1) % kNumLeds;
}

void stepTest(fp_ledGrp_struct* grp, const TestType& type, int fp_led_struct::*cycleFd, TestState* test) {
    switch (type.step) {
        case TestStep::cycle:
            cycleLeds(grp, type.state, cycleFd, test);
            break;
        case TestStep::fade:
            nextBrtStep(*grp, test);
            showBrtStep(grp, test->brtStep, type.state);
            break;
        case TestStep::keep:
            break;
        case TestStep::slowFade:
            nextBrtStep(*grp, test);
            if (++test->blinkStepCount == kCallsPerBlinkStep) {
                test->blinkStepCount = 0;
                showBrtStep(grp, test->brtStep, type.state);
            }
            break;
    }
}

}  // namespace

int ledTestAll(fp_ledGrp_struct* grp, int type) {
    static TestState test;
    if (grp == nullptr) {
        return -1;
    }
    if (static_cast<unsigned int>(type) >= kTestTypes.size()) {
        type = 0;
    }
    const TestType& testType = kTestTypes[static_cast<unsigned int>(type)];
    if (type != test.previousType) {
        test = {type, kDefaultStep, 0, 0};
        setUpTest(grp, testType);
    }
    stepTest(grp, testType, type == kBlinkCycleType ? &fp_led_struct::iBlinkFd : &fp_led_struct::iBrtFd,
             &test);
    return test.brtStep;
}
