// The front-panel daemon: options, start-up, the one loop, routing of commands, event lines, the panel test,
// shutdown.

#include <fcntl.h>
#include <sys/select.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <climits>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string_view>
#include <vector>

#include "app/Args.h"
#include "graphics/GrVirtualDisplay.h"
#include "graphics/GraphicsCommandProcessor.h"
#include "hw/IntercomBeltpack.h"
#include "hw/TrulyOLED1M4012.h"
#include "hw/fp_button.h"
#include "hw/fp_led.h"
#include "hw/fp_renc.h"
#include "hw/ibp_gpio.h"
#include "hw/ibp_micGain.h"
#include "hw/ox_utility.h"

using VelaGraphics::VirtualDisplay;

// Tables

namespace {

constexpr const char* kAppName = "beltpack_fpui";
constexpr const char* kPanelId = "beltpack";
constexpr int kDisplayCount = 1;
constexpr int kScreenWidth = 96;   // px
constexpr int kScreenHeight = 64;  // px
constexpr int kRencCount = 3;
constexpr int kBtnCount = 8;
constexpr int kLedCount = 8;
constexpr int kDefaultScanMs = 25;

// LED states and colours of the LED module.
enum LedState { LED_OFF = 1, LED_ON = 2, LED_BLINK = 3 };
enum LedColor { LED_RED = 1, LED_GREEN = 2 };

// Results of the application loop.
constexpr int kGoOn = 0;
constexpr int kInputEnded = -1;
constexpr int kSwitchToTest = -2;

struct RencEntry {
    const char* name;
    int extKeyCode;  // the key code of its event lines
};
constexpr RencEntry kRencEntries[kRencCount] = {{"Left", 7}, {"Right", 8}, {"Rear", 6}};

struct BtnEntry {
    const char* name;
    int extKeyCode;
    int type;  // 1 for the headphone switch, which is reported like a key
};
constexpr BtnEntry kBtnEntries[] = {{"Call_2", 4, 0}, {"Talk_2", 3, 0}, {"Menu", 5, 0},
                                    {"Talk_1", 1, 0}, {"Call_1", 2, 0}, {"Hp_Detect", 99, 1}};

// The LED pair of each key, by the key's LED code: the ID of the "set" command that switches the pair.
struct KeyLeds {
    int keyCode;
    int green;
    int red;
};
constexpr KeyLeds kKeyLeds[] = {
    {9, 4, 5}, {10, 6, 7}, {11, 2, 3}, {12, 0, 1}};  // Talk_1 Call_1 Talk_2 Call_2

// The states of a pair by the value of its "set" command.
struct PairState {
    int green;
    int red;
};
constexpr PairState kPairStates[] = {
    {LED_OFF, LED_OFF}, {LED_ON, LED_OFF}, {LED_OFF, LED_ON}, {LED_BLINK, LED_OFF}, {LED_OFF, LED_BLINK}};

constexpr int kContrastSteps = 11;
constexpr int kDefaultContrastStep = 5;
const int miDisplayContrastStepTab[kContrastSteps] = {4, 9, 20, 36, 57, 82, 109, 140, 175, 213, 254};

// Module state

int miPrint = 0;                        // debug level of the system log, 0 .. 3
int miCopyGfxCmds = 0;                  // 1: copy every accepted graphics command to a file
int miTestMode = 0;                     // 1: run the front-panel test
int miAllowTestExit = 0;                // 1: the test may be left with the exit chord
int miScanEveryNMsec = kDefaultScanMs;  // scan interval of the test, ms

fp_ledGrp_struct mLedGrp;
fp_renc_struct mRenc[kRencCount];
fp_btnGrp_struct mBtnGrp;

// Standard input between two reads. The buffer holds pBuf .. pIn.
struct ibfp_inCtrl_struct {
    int iState;             // of the input machine
    int iErrCt;             // failed reads in a row, end of file included
    unsigned char* pRead;   // where the search for the next delimiter goes on
    unsigned char* pIn;     // end of the data; the next read stores here
    unsigned char* pDelim;  // the last delimiter found, or null
    unsigned char* pBuf;    // start of the buffer
};
constexpr int kInBufSize = 2048;
constexpr int kInBufFull = 1536;  // bytes held above which an incomplete command is moved or dropped
constexpr unsigned char kDelimiter = '\n';
ibfp_inCtrl_struct mInCtrl = {};
unsigned char mInBuf[kInBufSize];

// What a display's change listener needs to bring it to the panel. Owns nothing.
struct VirtualDisplayInfo {
    VirtualDisplayInfo(IntercomBeltpack* hardware, VirtualDisplay* display, unsigned int number)
        : icomBeltpack(hardware), disp(display), index(number) {}

    IntercomBeltpack* icomBeltpack;
    VirtualDisplay* disp;
    unsigned int index;  // the hardware display's number
};

// Prints what the hardware object reports by itself; the event lines come from the loop below.
// (The spelling is the name's.)
class MyHarwareEventHandler : public IIntercomHardwareEvent {
public:
    void OnId(const char* id, unsigned int displayCount, unsigned int width, unsigned int height) override {
        std::fprintf(stderr, "ID=%s,DisplayCount=%u,Width=%u,Height=%u\n", id, displayCount, width, height);
    }
    void OnKeyPress(int key, int event, int msec) override {
        std::fprintf(stderr, "Key=%d,Event=%d,msec=%d\n", key, event, msec);
    }
};

}  // namespace

// Event lines

static void sendOutput(char* line) {
    if (std::fputs(line, stdout) == EOF) {
        if (miPrint > 1) {
            syslog(LOG_ERR, "%s ERR=%s writing: %s", "sendOutput", std::strerror(errno), line);
        }
    } else if (miPrint > 1) {
        syslog(LOG_DEBUG, "%s Out: %s", "sendOutput", line);
    }
}

// event: 1 pressed, -1 released, 2 and -2 a step clockwise or counter-clockwise. ms: since the device's
// previous change, -1 for an initial state.
static void sendKeyEvent(int extKeyCode, int event, int ms) {
    char line[256];
    std::snprintf(line, sizeof line, "OnFpKey(%d,%d,%d)\n", extKeyCode, event, ms);
    sendOutput(line);
}

static void sendStartMsg() {
    char line[256];
    std::snprintf(line, sizeof line, "OnFpId(\"%s\",%d,%d,%d)\n", kPanelId, kDisplayCount, kScreenWidth,
                  kScreenHeight);
    sendOutput(line);
}

static bool isDown(const fp_btn_struct& btn) {
    return btn.iCurrVal == 1;
}

// Required, do not mend: any value but 1 is a release to the controller, the auto-repeat of a held key
// included.
static int buttonEvent(const fp_btn_struct& btn) {
    return isDown(btn) ? 1 : -1;
}

static void sendInitialFpState() {
    for (int i = 0; i < kBtnCount; ++i) {
        const fp_btn_struct& btn = mBtnGrp.btn[i];
        if (!btn.iActive) {
            continue;
        }
        if (miPrint > 1) {
            syslog(LOG_DEBUG, "%s Btn[%d] %s KeyCode=%d,Ext=%d, Initial Value=%s", "sendInitialFpState", i,
                   btn.sName, btn.iKeyCode, btn.iExtKeyCode, isDown(btn) ? "Down" : "Up");
        }
        sendKeyEvent(btn.iExtKeyCode, buttonEvent(btn), -1);
    }
}

static void sendButtonChanges() {
    for (int i = 0; i < kBtnCount; ++i) {
        const fp_btn_struct& btn = mBtnGrp.btn[i];
        if (!btn.iActive || !btn.iChange) {
            continue;
        }
        if (miPrint > 2) {
            syslog(LOG_DEBUG, "%s btn[%d] %s %s\n", "fpApp_main", i, btn.sName, isDown(btn) ? "Down" : "Up");
        }
        sendKeyEvent(btn.iExtKeyCode, buttonEvent(btn), btn.iElapsedMs);
    }
}

// One line a read, whatever the number of steps: the controller is told the direction alone.
static void sendRencChange(int i) {
    const fp_renc_struct& renc = mRenc[i];
    const bool ccw = renc.iRotSteps < 1;
    if (miPrint > 2) {
        syslog(LOG_DEBUG, "%s renc[%d] %s turned %s\n", "fpApp_main", i, renc.sName, ccw ? "CCW" : "CW");
    }
    sendKeyEvent(renc.iExtKeyCode, ccw ? -2 : 2, renc.iElapsedMs);
}

// LEDs of the keys

static const KeyLeds* findKeyLeds(int ledKeyCode) {
    const auto* found = std::find_if(std::begin(kKeyLeds), std::end(kKeyLeds),
                                     [=](const KeyLeds& leds) { return leds.keyCode == ledKeyCode; });
    return found == std::end(kKeyLeds) ? nullptr : found;
}

// The LED index of one colour of a key, -1 for a code that no key has.
static int btnLedIdx(const char* function, int ledKeyCode, int KeyLeds::*led, LedColor color) {
    const KeyLeds* leds = findKeyLeds(ledKeyCode);
    if (leds == nullptr) {
        if (miPrint > 0) {
            syslog(LOG_ERR, "%s BAD LED Keycode=%d", function, ledKeyCode);
        }
        return -1;
    }
    const int idx = leds->*led;
    const int found = miPrint > 1 ? ledGetColor(&mLedGrp, idx) : color;
    if (found != color) {
        syslog(LOG_ERR, "%s BtnKeycode=%d, led[%d], COLOR MISMATCH=%d\n", function, ledKeyCode, idx, found);
    }
    return idx;
}

static int btnGreenLedIdx(int ledKeyCode) {
    return btnLedIdx("btnGreenLedIdx", ledKeyCode, &KeyLeds::green, LED_GREEN);
}

static int btnRedLedIdx(int ledKeyCode) {
    return btnLedIdx("btnRedLedIdx", ledKeyCode, &KeyLeds::red, LED_RED);
}

// "set" commands: one action a group of identifiers, each given the identifier and the state

// Required, do not mend: a state that does not exist is logged and still switches the pair off, so that a
// wrong command never leaves a talk light on.
static PairState pairState(int state) {
    if (static_cast<unsigned int>(state) < std::size(kPairStates)) {
        return kPairStates[state];
    }
    if (miPrint > 0) {
        syslog(LOG_ERR, "%s command \"set\" bad State=%d", "processSetCommand", state);
    }
    return {LED_OFF, LED_OFF};
}

static void displaySetContrastStep(int step) {
    if (static_cast<unsigned int>(step) >= kContrastSteps) {
        if (miPrint > 0) {
            syslog(LOG_ERR, "%s Bad display contrast step %d, use %d\n", "displaySetContrastStep", step,
                   kDefaultContrastStep);
        }
        step = kDefaultContrastStep;
    }
    OLEDintf_dim(miDisplayContrastStepTab[step]);
}

static void setKeyPair(int id, int state) {
    const int green = btnGreenLedIdx(id);
    const int red = btnRedLedIdx(id);
    const PairState pair = pairState(state);
    ledSetState(&mLedGrp, green, pair.green);
    ledSetState(&mLedGrp, red, pair.red);
}

static void setAllPairs(int, int state) {
    const PairState pair = pairState(state);
    for (int i = 0; i < kLedCount; ++i) {
        const int color = ledGetColor(&mLedGrp, i);
        if (color == LED_GREEN) {
            ledSetState(&mLedGrp, i, pair.green);
        } else if (color == LED_RED) {
            ledSetState(&mLedGrp, i, pair.red);
        }
    }
}

static void setTestMode(int, int) {
    miTestMode = 1;
}

static void setContrast(int, int step) {
    displaySetContrastStep(step);
}

static void setBlinkTime(int id, int ms) {
    ledSetBlinkTime(&mLedGrp, id - 202, ms);
}

// dB to the amplifier's code, in steps of 3 dB: 16 .. 18 dB is code 0, 70 dB and more is code 18.
static void setMicGain(int, int gain) {
    int code = 0;
    if (gain > 70) {
        code = 18;
    } else if (gain > 15) {
        code = (gain - 16) / 3;
    }
    ibp_micGain_setGain(code);
}

static void setDebugLevel(int id, int level) {
    if (static_cast<unsigned int>(level) <= 3) {
        miPrint = level;
    } else if (miPrint > 0) {
        syslog(LOG_ERR, "%s ID=%d, bad value=%d", "processSetCommand", id, level);
    }
}

static void setOutput(int id, int level) {
    gpioSetLevel(id - 400, level);
}

static void setKeyBrtStep(int id, int step) {
    ledSetBrtStep(&mLedGrp, btnGreenLedIdx(id - 500), step);
    ledSetBrtStep(&mLedGrp, btnRedLedIdx(id - 500), step);
}

static void setAllBrtStep(int, int step) {
    for (int i = 0; i < kLedCount; ++i) {
        ledSetBrtStep(&mLedGrp, i, step);
    }
}

static void setKeyBrt(int id, int level) {
    ledSetBrt(&mLedGrp, btnGreenLedIdx(id - 550), level);
    ledSetBrt(&mLedGrp, btnRedLedIdx(id - 550), level);
}

static void setAllBrt(int, int level) {
    for (int i = 0; i < kLedCount; ++i) {
        ledSetBrt(&mLedGrp, i, level);
    }
}

namespace {

struct SetCommand {
    int firstId;
    int lastId;
    void (*action)(int id, int state);
};
constexpr SetCommand kSetCommands[] = {
    {9, 12, setKeyPair},       {20, 20, setAllPairs},     {200, 200, setTestMode},   {201, 201, setContrast},
    {202, 203, setBlinkTime},  {204, 204, setMicGain},    {299, 299, setDebugLevel}, {400, 403, setOutput},
    {509, 512, setKeyBrtStep}, {520, 520, setAllBrtStep}, {559, 562, setKeyBrt},     {570, 570, setAllBrt},
};

}  // namespace

static void processSetCommand(int id, int state) {
    for (const SetCommand& command : kSetCommands) {
        if (id >= command.firstId && id <= command.lastId) {
            command.action(id, state);
            return;
        }
    }
    if (miPrint > 0) {
        syslog(LOG_ERR, "%s command \"set\" bad ID=%d", "processSetCommand", id);
    }
}

// Numbers of "set" commands, as a 32-bit unsigned long is read: decimal, 0x or leading-0 octal, white space
// before it, a minus sign negates modulo 2^32. False without a digit, with *end = text, and when it does not
// fit 32 bits, with *end behind it.
static bool parseSetNumber(const char* text, const char** end, std::uint32_t& value) {
    char* behind = nullptr;
    errno = 0;
    const unsigned long long raw = std::strtoull(text, &behind, 0);
    const bool negative = text[std::strspn(text, " \t\n\v\f\r")] == '-';
    const unsigned long long magnitude = negative ? 0 - raw : raw;
    *end = behind;
    value = static_cast<std::uint32_t>(raw);
    return errno == 0 && behind != text && magnitude <= UINT32_MAX;
}

// text: the command from "set " on.
static void processSetText(const char* text) {
    const char* end = nullptr;
    std::uint32_t id = 0;
    std::uint32_t state = 0;
    if (!parseSetNumber(text + 4, &end, id)) {
        if (miPrint > 0) {
            syslog(LOG_ERR, "%s Bad ID, Cmd=\"%s\"\n", "processInput", text);
        }
        return;
    }
    if (!parseSetNumber(end, &end, state)) {
        if (miPrint > 0) {
            syslog(LOG_ERR, "%s Bad State, Cmd=\"%s\"\n", "processInput", text);
        }
        return;
    }
    if (miPrint > 2) {
        syslog(LOG_DEBUG, "%s Id=%d,State=%d\n", "processSetCommand", static_cast<int>(id),
               static_cast<int>(state));
    }
    processSetCommand(static_cast<int>(id), static_cast<int>(state));
}

// Graphics commands

namespace {

// The copy of all accepted graphics commands (-g). Each line carries the "g:" prefix, so that the file can be
// fed back to the daemon's input unchanged.
constexpr char caGraphicsFilename[30] = "/tmp/beltpack_GfxCommands.txt";
constexpr char cDelim = '\n';
constexpr char cPrefix[3] = "g:";

}  // namespace

// Writes one piece of a copied line. On failure logs it under `what`; copying then stops for good.
static bool writeCopy(int fd, const char* what, const char* data, std::size_t length) {
    const ssize_t written = write(fd, data, length);
    if (written >= 0 && static_cast<std::size_t>(written) == length) {
        return true;
    }
    syslog(LOG_ERR, "%s Could not write %s %s WriteLen=%d,Err=%d,%s\n", "processGraphicsCommand", what,
           caGraphicsFilename, static_cast<int>(length), errno, std::strerror(errno));
    return false;
}

static bool copyLine(int fd, const char* cmd) {
    const std::size_t length = std::strlen(cmd);
    if (std::strncmp(cmd, cPrefix, 2) != 0 && !writeCopy(fd, "prefix to", cPrefix, 2)) {
        return false;
    }
    if (!writeCopy(fd, "to", cmd, length)) {
        return false;
    }
    return (length > 0 && cmd[length - 1] == cDelim) || writeCopy(fd, "Delim to", &cDelim, 1);
}

static int openCopyFile() {
    const int fd = open(caGraphicsFilename, O_WRONLY | O_CREAT | O_TRUNC, 0777);
    if (fd < 0) {
        syslog(LOG_ERR, "%s Could not open %s Err=%d,%s", "processGraphicsCommand", caGraphicsFilename, errno,
               std::strerror(errno));
    }
    return fd;
}

static void copyGraphicsCommand(const char* cmd) {
    static int iFirstTime = 1;
    static int iFd = -1;  // stays open to the end of the process
    if (iFirstTime) {
        iFirstTime = 0;
        iFd = openCopyFile();
    }
    if (iFd != -1 && !copyLine(iFd, cmd)) {
        iFd = -1;
    }
}

static void processGraphicsCommand(GraphicsCommandProcessor& gcp, const char* cmd) {
    if (!gcp.processCommand(cmd)) {
        if (miPrint > 0) {
            syslog(LOG_ERR, "%s Bad command \"%s\"\n", "processGraphicsCommand", cmd);
        }
        return;
    }
    if (miCopyGfxCmds) {
        copyGraphicsCommand(cmd);
    }
}

// Routing

static void logInput(const char* line, int length) {
    constexpr int kMostLogged = 100;
    if (length <= kMostLogged && std::strlen(line) <= kMostLogged) {
        syslog(LOG_DEBUG, "%s Len=%d, Data=%s", "processInput", length, line);
    } else {
        syslog(LOG_DEBUG, "%s Len=%d, Data (truncated to 100 char)=%.100s...", "processInput", length, line);
    }
}

// The command behind a two-character prefix: one blank after it is skipped, no more.
static const char* behindPrefix(const char* line) {
    return line[2] == ' ' || line[2] == '\t' ? line + 3 : line + 2;
}

static void processAppCommand(const char* text) {
    if (std::strncmp(text, "set ", 4) == 0) {
        processSetText(text);
    } else if (miPrint > 0) {
        syslog(LOG_ERR, "%s SubSyst=%s, UNKNOWN CMD=\"%s\"\n", "processInput", "a:", text);
    }
}

// line: one command, zero-terminated where its delimiter was. length: its bytes with the delimiter.
static void processInput(GraphicsCommandProcessor& gcp, unsigned char* line, int length) {
    const char* text = reinterpret_cast<const char*>(line);
    if (miPrint > 1) {
        logInput(text, length);
    }
    if (std::strncmp(text, "a:", 2) == 0) {
        processAppCommand(behindPrefix(text));
    } else if (std::strncmp(text, "g:", 2) == 0) {
        processGraphicsCommand(gcp, behindPrefix(text));
    } else if (*text != '\0' && miPrint > 0) {
        syslog(LOG_ERR, "%s UNKNOWN SubSyst, Cmd=\"%s\"\n", "processInput", text);
    }
}

// Standard input

static void dumpText(const unsigned char* data, int from, int to) {
    std::fputc(' ', stderr);
    for (int i = from; i < to; ++i) {
        std::fputc(data[i] >= 32 && data[i] <= 126 ? data[i] : '.', stderr);
    }
}

// A hex dump to standard error, 16 bytes a line with their text behind.
static void dumpData(const char* title, const unsigned char* data, int len) {
    constexpr int kPerLine = 16;
    std::fprintf(stderr, "%s  Len=%d", title, len);
    for (int i = 0; i < len; ++i) {
        if (i % kPerLine == 0) {
            if (i > 0) {
                dumpText(data, i - kPerLine, i);
            }
            std::fprintf(stderr, "\n  %04x : ", static_cast<unsigned int>(i));
        }
        std::fprintf(stderr, "%02x ", data[i]);
    }
    const int lastLine = len > 0 ? (len - 1) / kPerLine * kPerLine : 0;
    for (int i = len; i % kPerLine != 0; ++i) {
        std::fputs("   ", stderr);
    }
    dumpText(data, lastLine, len);
    std::fputs("\n\n", stderr);
}

// The input machine. "go on" dispatches the new state at once, "wait" goes back to the loop.
//   INIT        -> READ (go on)
//   READ        data -> PARSE (go on)
//               up to 3 ends of file in a row, EAGAIN, EINTR: wait
//               up to 3 other errors in a row -> READ (go on)
//               the 4th of either -> ABORT (go on)
//   PARSE       test mode asked for -> TEST (go on)
//               all data used, or more than kInBufFull bytes of one command -> RESET (go on)
//               else -> READ (wait)
//   RESET       -> READ (wait)
//   RESET_READ  -> READ (go on); no transition leads here
//   ABORT       stays; the loop ends
//   TEST        stays; the loop ends
enum InputState { IN_INIT, IN_READ, IN_PARSE, IN_RESET, IN_RESET_READ, IN_ABORT, IN_TEST };

namespace {

constexpr int kDispatch = 1;  // "go on"; the other results are those of the application loop, kGoOn to wait
constexpr int kMostFailedReads = 3;

}  // namespace

static int inGoTo(InputState state, int result) {
    mInCtrl.iState = state;
    return result;
}

static void inClear() {
    mInCtrl.pBuf = mInCtrl.pRead = mInCtrl.pIn = mInBuf;
    mInCtrl.pDelim = nullptr;
}

static int inInit() {
    mInCtrl.iErrCt = 0;
    inClear();
    return inGoTo(IN_READ, kDispatch);
}

static int inReset(int result) {
    inClear();
    return inGoTo(IN_READ, result);
}

// The controller has closed its end.
static int inEndOfFile(int room) {
    ++mInCtrl.iErrCt;
    const bool last = mInCtrl.iErrCt > kMostFailedReads;
    if (last && miPrint > 0) {
        syslog(LOG_ERR, "%s %d reads with no data", "readInput", mInCtrl.iErrCt);
    }
    if (miPrint > 1) {
        syslog(LOG_ERR, "%s No Data: iInLen=%d, iBufLen=%d\n", "readInput", 0, room);
    }
    return last ? inGoTo(IN_ABORT, kDispatch) : kGoOn;
}

static int inReadError(int err) {
    if (err == EAGAIN || err == EINTR) {
        mInCtrl.iErrCt = 0;
        return kGoOn;
    }
    if (++mInCtrl.iErrCt <= kMostFailedReads) {
        return kDispatch;
    }
    syslog(LOG_ERR, "%s ReadErr ErrCt=%d,ErrNo=%d,%s", "readInput", mInCtrl.iErrCt, err, std::strerror(err));
    return inGoTo(IN_ABORT, kDispatch);
}

static int inRead(int fd) {
    const auto room = static_cast<std::size_t>(mInCtrl.pBuf + kInBufSize - mInCtrl.pIn);
    const ssize_t got = read(fd, mInCtrl.pIn, room);
    const int err = errno;
    const int len = static_cast<int>(got);
    if (miPrint > 2) {
        syslog(LOG_INFO, "%s stdin read: iInLen=%d", "readInput", len);
        if (len > 0) {
            dumpData("stdin data", mInCtrl.pIn, len);
        }
    }
    if (len == 0) {
        return inEndOfFile(static_cast<int>(room));
    }
    if (len < 0) {
        return inReadError(err);
    }
    mInCtrl.iErrCt = 0;
    mInCtrl.pIn += len;
    return inGoTo(IN_PARSE, kDispatch);
}

// Carries out every complete command from pRead on; returns the start of the incomplete rest.
static unsigned char* inRunCommands(GraphicsCommandProcessor& gcp) {
    unsigned char* start = mInCtrl.pRead;
    while (mInCtrl.pRead < mInCtrl.pIn) {
        const auto left = static_cast<std::size_t>(mInCtrl.pIn - mInCtrl.pRead);
        auto* delimiter = static_cast<unsigned char*>(std::memchr(mInCtrl.pRead, kDelimiter, left));
        if (delimiter == nullptr) {
            mInCtrl.pRead = mInCtrl.pIn;
            break;
        }
        mInCtrl.pDelim = delimiter;
        *delimiter = '\0';
        processInput(gcp, start, static_cast<int>(delimiter - start) + 1);
        mInCtrl.pRead = start = delimiter + 1;
    }
    return start;
}

static int inParse(GraphicsCommandProcessor& gcp) {
    unsigned char* tail = inRunCommands(gcp);
    if (miTestMode) {
        return inGoTo(IN_TEST, kDispatch);
    }
    if (mInCtrl.pDelim == mInCtrl.pIn - 1) {
        return inGoTo(IN_RESET, kDispatch);
    }
    if (mInCtrl.pIn <= mInCtrl.pBuf + kInBufFull) {
        // Required, do not mend: pRead stays behind the incomplete command, so its first bytes are skipped
        // when the rest arrives. Controllers write each command whole.
        return inGoTo(IN_READ, kGoOn);
    }
    if (tail == mInCtrl.pBuf) {
        return inGoTo(IN_RESET, kDispatch);  // no command is this long: dropped
    }
    // Here, unlike above, the incomplete command is kept and scanned again from its start.
    const auto length = static_cast<std::size_t>(mInCtrl.pIn - tail);
    std::memmove(mInCtrl.pBuf, tail, length);
    inClear();
    mInCtrl.pIn += length;
    return inGoTo(IN_READ, kGoOn);
}

static int inAbort() {
    syslog(LOG_ERR, "%s Abort FSM - ErrCt=%d", "readInput", mInCtrl.iErrCt);
    inClear();
    return kInputEnded;
}

static int inSwitchToTest() {
    syslog(LOG_INFO, "%s Switch to Front Panel Test Mode", "readInput");
    inClear();
    return kSwitchToTest;
}

static int inDispatch(GraphicsCommandProcessor& gcp, int fd) {
    switch (mInCtrl.iState) {
        case IN_INIT:
            return inInit();
        case IN_READ:
            return inRead(fd);
        case IN_PARSE:
            return inParse(gcp);
        case IN_RESET:
            return inReset(kGoOn);
        case IN_RESET_READ:
            return inReset(kDispatch);
        case IN_ABORT:
            return inAbort();
        case IN_TEST:
            return inSwitchToTest();
        default:
            return inGoTo(IN_INIT, kDispatch);
    }
}

// Reads what standard input has and carries out the commands in it. Returns 0 to go on, kInputEnded or
// kSwitchToTest to end the loop.
static int readInput(GraphicsCommandProcessor& gcp, int fd) {
    int result = kDispatch;
    while (result == kDispatch) {
        result = inDispatch(gcp, fd);
    }
    return result;
}

// The loop

static void watch(int fd, fd_set& set, int& greatest) {
    if (fd >= 0 && fd < FD_SETSIZE) {
        FD_SET(fd, &set);
        greatest = std::max(greatest, fd);
    }
}

static bool isReady(int fd, const fd_set& set) {
    return fd >= 0 && fd < FD_SETSIZE && FD_ISSET(fd, &set);
}

// Puts the open encoders and buttons, alone, into the set. Returns the greatest descriptor, -1 for none.
static int watchPanel(fd_set& set) {
    FD_ZERO(&set);
    int greatest = -1;
    for (const fp_renc_struct& renc : mRenc) {
        watch(renc.iFd, set, greatest);
    }
    watch(mBtnGrp.iFd, set, greatest);
    return greatest;
}

// Waits for a device or standard input, for waitMs milliseconds at the most, 0 for ever. False when nothing
// is ready.
static bool waitForInput(fd_set& ready, int waitMs) {
    int greatest = watchPanel(ready);
    watch(STDIN_FILENO, ready, greatest);
    timeval timeout = {waitMs / 1000, waitMs % 1000 * 1000};
    return select(greatest + 1, &ready, nullptr, nullptr, waitMs > 0 ? &timeout : nullptr) > 0;
}

static void serveEncoders(const fd_set& ready) {
    for (int i = 0; i < kRencCount; ++i) {
        if (isReady(mRenc[i].iFd, ready) && rencGetChg(mRenc, i) != 0) {
            sendRencChange(i);
        }
    }
}

static void serveButtons(const fd_set& ready) {
    if (isReady(mBtnGrp.iFd, ready) && buttonGetGrpData(&mBtnGrp) != 0) {
        sendButtonChanges();
    }
}

// Runs until standard input ends (kInputEnded) or a command asks for the test (kSwitchToTest). Devices are
// served before standard input, so that an event is reported before the commands read in the same pass are
// carried out.
static int fpApp_main(GraphicsCommandProcessor& gcp) {
    sendStartMsg();
    sendInitialFpState();
    int result = kGoOn;
    int waitMs = 0;
    while (result == kGoOn) {
        fd_set ready;
        if (waitForInput(ready, waitMs)) {
            serveEncoders(ready);
            serveButtons(ready);
            if (isReady(STDIN_FILENO, ready)) {
                result = readInput(gcp, STDIN_FILENO);
            }
        }
        waitMs = ledSwBlinkManager(&mLedGrp);
    }
    return result;
}

// The front-panel test: tables and state

namespace {

// Where a box and its text stand, px.
struct fptestBox_struct {
    int enabled;  // 0: the row has no box
    unsigned int x, y, w, h;
    unsigned int tx, ty;
};

struct fptestBtnBox_struct {
    fptestBox_struct box;
    const char* label;
};
// By button, as kBtnEntries.
constexpr fptestBtnBox_struct fptestBtnBox[] = {
    {{1, 70, 30, 15, 11, 72, 32}, "C2"},  {{1, 70, 10, 15, 16, 72, 15}, "T2"},
    {{1, 34, 8, 27, 11, 36, 10}, "Menu"}, {{1, 10, 10, 15, 16, 12, 15}, "T1"},
    {{1, 10, 30, 15, 11, 12, 32}, "C1"},  {{1, 62, 53, 15, 11, 64, 55}, "HP"},
};

struct fptestLedBox_struct {
    fptestBox_struct box;
    int green, red;  // LED indexes
};
// The lights of each button.
constexpr fptestLedBox_struct fptestLedBox[] = {
    {{1, 62, 30, 9, 11, 64, 32}, 0, 1}, {{1, 62, 15, 9, 11, 64, 17}, 2, 3}, {{0, 0, 0, 0, 0, 0, 0}, 0, 0},
    {{1, 24, 15, 9, 11, 26, 17}, 4, 5}, {{1, 24, 30, 9, 11, 26, 32}, 6, 7}, {{0, 0, 0, 0, 0, 0, 0}, 0, 0},
};

// By encoder, as kRencEntries.
constexpr fptestBox_struct fptestRencBox[kRencCount] = {
    {1, 0, 20, 9, 11, 2, 22}, {1, 86, 20, 9, 11, 88, 22}, {1, 86, 53, 9, 11, 88, 55}};

struct fptestLine_struct {
    unsigned int tx, ty;
    const char* text;
};
constexpr fptestLine_struct fptestTitle[] = {{2, 2, "FRONT"}, {36, 2, "PANEL"}, {70, 2, "TEST"}};
constexpr fptestLine_struct fptestInvitation[] = {
    {2, 12, "Press any key"}, {2, 22, "to continue."}, {2, 37, "C2: LED tests"}};
constexpr fptestLine_struct fptestExitLine = {2, 47, "T2+C2: Exit"};
constexpr fptestLine_struct fptestEnded = {2, 12, "Test ended."};

// Buttons of the test, as indexes of kBtnEntries, and values of a button.
enum TestButton { BTN_CALL_2 = 0, BTN_TALK_2 = 1 };
enum BtnValue { BTN_RELEASED = 0, BTN_PRESSED = 1, BTN_REPEATING = 2 };

constexpr unsigned int kExitMs = 3000;  // how long the chord has to be held
constexpr int kLedStepMs = 500;
constexpr int kLastLedTestType = 4;
constexpr int kInvitationMs = 1000;  // per state of the invitation
constexpr int kActivityBarMost = 9;  // px
constexpr int kEncoderDigits = 10;

// Longer scan intervals would leave the panel dark after the start and the exit chord unheard.
constexpr int kMostScanMs = 60000;
constexpr int kMostScanMsToExit = 1000;  // while the chord is held
constexpr int kUsPerMs = 1000;
constexpr int kUsPerSec = 1000000;

// The test runs once in a process.
struct fptest_struct {
    int iActivityDetected = 0;   // 1 from the first touch on
    int iExitPending = 0;        // 1 while the exit chord is held
    timeval tvExit = {};         // when it will have been held long enough
    int iLedTestType = -1;       // 0 .. 4; -1 before the first step
    int iLedTestCycleCount = 0;  // passes since the last step
    int iCyclesPerLedStep = 1;   // passes
    std::int64_t due = 0;        // when the next pass is due, us
};
fptest_struct mTest;

struct fptestInactive_struct {
    int iFirstTime = 1;
    int iCyclesPerState = 1;
    int iCycleCount = 0;
    int iState = 0;  // 0 all lit, 1 the text
};
fptestInactive_struct mTestInactive;

struct fptestActive_struct {
    int iFirstTime = 1;
    int iActivityBar_w = 0;  // px
};
fptestActive_struct mTestActive;

}  // namespace

// The front-panel test: drawing. The texts are commands of the drawing language, as a controller would send
// them, and go the same way.

namespace {

// One command, composed argument by argument; each puts a blank before itself. (Formatted with printf, the
// commands of a redraw would cost as much as all the drawing.)
class TestCommand {
public:
    explicit TestCommand(std::string_view command) { append(command); }

    TestCommand& number(unsigned int value) {
        append(" ");
        m_end = std::to_chars(m_end, limit(), value).ptr;
        return *this;
    }
    // An empty word leaves its blank.
    TestCommand& word(std::string_view text) {
        append(" ");
        append(text);
        return *this;
    }
    TestCommand& quoted(std::string_view text) {
        append(" '");
        append(text);
        append("'");
        return *this;
    }
    void draw(GraphicsCommandProcessor& gcp) {
        *m_end = '\0';
        processGraphicsCommand(gcp, m_text);
    }

private:
    char* limit() { return m_text + sizeof m_text - 1; }
    void append(std::string_view text) {
        m_end += text.copy(m_end, static_cast<std::size_t>(limit() - m_end));
    }

    char m_text[128];
    char* m_end = m_text;
};

}  // namespace

static void fpTest_selectFont(GraphicsCommandProcessor& gcp) {
    processGraphicsCommand(gcp, "font 0 'F9x5m'");
}

static void fpTest_drawLine(GraphicsCommandProcessor& gcp, const fptestLine_struct& line) {
    TestCommand("text 0").number(line.tx).number(line.ty).quoted(line.text).word("white").draw(gcp);
}

// Draws a box and its text, dark on light when filled.
static void fpTest_drawBox(GraphicsCommandProcessor& gcp, const fptestBox_struct& box, const char* text,
                           bool filled) {
    const char* color = filled ? "black" : "white";
    const char* fill = filled ? "white" : "";
    TestCommand("rect 0")
        .number(box.x)
        .number(box.y)
        .number(box.w)
        .number(box.h)
        .word("white")
        .word(fill)
        .draw(gcp);
    TestCommand("text 0").number(box.tx).number(box.ty).quoted(text).word(color).word(fill).draw(gcp);
}

static void fpTest_drawInvitation(GraphicsCommandProcessor& gcp) {
    processGraphicsCommand(gcp, "clear 0");
    for (const fptestLine_struct& line : fptestTitle) {
        fpTest_drawLine(gcp, line);
    }
    for (const fptestLine_struct& line : fptestInvitation) {
        fpTest_drawLine(gcp, line);
    }
    if (miAllowTestExit) {
        fpTest_drawLine(gcp, fptestExitLine);
    }
}

// One pass before the first touch: about once a second the display changes between all lit and the
// invitation. scanMs: the scan interval as it was asked for.
static void fpTest_drawInactiveDisplay(GraphicsCommandProcessor& gcp, int scanMs) {
    fptestInactive_struct& test = mTestInactive;
    if (test.iFirstTime) {
        test.iFirstTime = 0;
        fpTest_selectFont(gcp);
        // An interval below 1 is waited for as 1 ms, yet it stands for "as fast as it goes", where the bus
        // sets the pace and not the clock: the state lasts so many passes, at least ten seconds.
        test.iCyclesPerState = scanMs < 1 ? 10000 : kInvitationMs / scanMs;
        test.iState = 0;
        test.iCycleCount = test.iCyclesPerState;  // draws at once
    }
    if (++test.iCycleCount < test.iCyclesPerState) {
        return;
    }
    test.iCycleCount = 0;
    if (test.iState == 0) {
        processGraphicsCommand(gcp, "clear 0 white");
    } else {
        fpTest_drawInvitation(gcp);
    }
    processGraphicsCommand(gcp, "flush 0");
    test.iState = 1 - test.iState;
}

// Grows by a pixel a pass, so that a frozen display shows.
static void fpTest_drawActivityBar(GraphicsCommandProcessor& gcp) {
    int& width = mTestActive.iActivityBar_w;
    width = width >= kActivityBarMost ? 1 : width + 1;
    TestCommand("rect 0 0 0").number(static_cast<unsigned int>(width)).word("5 white white").draw(gcp);
}

static void fpTest_drawButton(GraphicsCommandProcessor& gcp, const fptestBtnBox_struct& row,
                              const fp_btn_struct& btn) {
    if (row.box.enabled) {
        const bool pressed = btn.iActive && btn.iCurrVal != BTN_RELEASED;
        fpTest_drawBox(gcp, row.box, btn.iActive ? row.label : "XX", pressed);
    }
}

// Red comes first: it is the one shown when both are lit, and a pair without it shows X, filled when the
// green one is lit or was when it failed.
static void fpTest_drawLeds(GraphicsCommandProcessor& gcp, const fptestLedBox_struct& row) {
    if (!row.box.enabled) {
        return;
    }
    const fp_led_struct& green = mLedGrp.led[row.green];
    const fp_led_struct& red = mLedGrp.led[row.red];
    if (red.iBrtFd <= 0) {
        fpTest_drawBox(gcp, row.box, "X", green.iLit);
    } else if (red.iLit) {
        fpTest_drawBox(gcp, row.box, "R", true);
    } else if (green.iBrtFd <= 0) {
        fpTest_drawBox(gcp, row.box, "X", false);
    } else {
        fpTest_drawBox(gcp, row.box, green.iLit ? "G" : " ", green.iLit);
    }
}

static void fpTest_drawEncoder(GraphicsCommandProcessor& gcp, const fptestBox_struct& box,
                               const fp_renc_struct& renc) {
    if (!box.enabled) {
        return;
    }
    const char digit[] = {static_cast<char>('0' + renc.iCurrPos), '\0'};
    fpTest_drawBox(gcp, box, renc.iFd > 0 ? digit : "X", false);
}

// One pass after the first touch: the panel's picture.
static void fpTest_drawActiveDisplay(GraphicsCommandProcessor& gcp) {
    processGraphicsCommand(gcp, "clear 0");
    if (mTestActive.iFirstTime) {
        mTestActive.iFirstTime = 0;
        fpTest_selectFont(gcp);
    }
    processGraphicsCommand(gcp, "rect 0 0 49 96 2 white white");
    processGraphicsCommand(gcp, "text 0 0 55 'Rear Panel' white");
    fpTest_drawActivityBar(gcp);
    for (std::size_t row = 0; row < std::size(fptestBtnBox); ++row) {
        fpTest_drawButton(gcp, fptestBtnBox[row], mBtnGrp.btn[row]);
        fpTest_drawLeds(gcp, fptestLedBox[row]);
    }
    for (std::size_t row = 0; row < std::size(fptestRencBox); ++row) {
        fpTest_drawEncoder(gcp, fptestRencBox[row], mRenc[row]);
    }
    processGraphicsCommand(gcp, "flush 0");
}

// What stays on the display after the test.
static void fpTest_drawExit(GraphicsCommandProcessor& gcp) {
    processGraphicsCommand(gcp, "clear 0");
    for (const fptestLine_struct& line : fptestTitle) {
        fpTest_drawLine(gcp, line);
    }
    fpTest_drawLine(gcp, fptestEnded);
    processGraphicsCommand(gcp, "flush 0");
}

// The front-panel test: devices

// What a changed key of the exit chord, the other one being `other`, means for the exit: a press with both
// held starts its time, a release cancels it, and the auto-repeat of a held key leaves it as it is.
static void fpTest_updateExit(const fp_btn_struct& btn, const fp_btn_struct& other) {
    if (btn.iCurrVal == BTN_REPEATING) {
        return;
    }
    const bool bothHeld = btn.iCurrVal == BTN_PRESSED && other.iActive && other.iCurrVal != BTN_RELEASED;
    mTest.iExitPending = bothHeld ? 1 : 0;
    if (bothHeld) {
        oxut_gettimeofdayFutureMs(kExitMs, &mTest.tvExit);
    }
}

static void fpTest_logExit(int i) {
    if (miPrint > 1) {
        syslog(LOG_INFO, "%s Btn[%d],Val=%d,ExitPending=%d\n", "fpTest_main", i, mBtnGrp.btn[i].iCurrVal,
               mTest.iExitPending);
    }
}

static void fpTest_call2Changed() {
    const fp_btn_struct& btn = mBtnGrp.btn[BTN_CALL_2];
    if (btn.iCurrVal == BTN_PRESSED) {
        mTest.iLedTestType = mTest.iLedTestType >= kLastLedTestType ? 0 : mTest.iLedTestType + 1;
    }
    if (miAllowTestExit) {
        fpTest_updateExit(btn, mBtnGrp.btn[BTN_TALK_2]);
    }
    fpTest_logExit(BTN_CALL_2);
}

static void fpTest_talk2Changed() {
    if (miAllowTestExit) {
        fpTest_updateExit(mBtnGrp.btn[BTN_TALK_2], mBtnGrp.btn[BTN_CALL_2]);
        fpTest_logExit(BTN_TALK_2);
    }
}

static void fpTest_serveButton(int i) {
    const fp_btn_struct& btn = mBtnGrp.btn[i];
    if (miPrint > 1) {
        syslog(LOG_INFO, "%s Btn[%d] %s %s KeyCode=%d,Ext=%d,Val=%d,ElapsedMs=%d", "fpTest_main", i,
               btn.sName, btn.iChange ? "*" : "", btn.iKeyCode, btn.iExtKeyCode, btn.iCurrVal,
               btn.iElapsedMs);
    }
    if (btn.iChange && i == BTN_CALL_2) {
        fpTest_call2Changed();
    } else if (btn.iChange && i == BTN_TALK_2) {
        fpTest_talk2Changed();
    }
}

static void fpTest_serveEncoder(int i) {
    const int change = rencGetChg(mRenc, i);
    fp_renc_struct& renc = mRenc[i];
    const int position = (renc.iCurrPos + change % kEncoderDigits) % kEncoderDigits;
    renc.iCurrPos = position < 0 ? position + kEncoderDigits : position;
    if (miPrint > 1) {
        // Required, do not mend: the external code stands as KeyCode and the device's as Ext. The log's
        // readers know the encoders by these numbers.
        syslog(LOG_INFO, "%s renc[%d] %s %s KeyCode=%d,Ext=%d,Rot=%d,Pos=%d,ElapsedMs=%d", "fpTest_main", i,
               renc.sName, renc.iRotSteps ? "*" : "", renc.iExtKeyCode, renc.iKeyCode, renc.iRotSteps,
               renc.iCurrPos, renc.iElapsedMs);
    }
}

static void fpTest_serveDevices(const fd_set& ready) {
    for (int i = 0; i < kRencCount; ++i) {
        if (isReady(mRenc[i].iFd, ready)) {
            fpTest_serveEncoder(i);
        }
    }
    if (!isReady(mBtnGrp.iFd, ready) || buttonGetGrpData(&mBtnGrp) == 0) {
        return;
    }
    for (int i = 0; i < kBtnCount; ++i) {
        if (mBtnGrp.btn[i].iActive) {
            fpTest_serveButton(i);
        }
    }
}

// The front-panel test: the loop

// The scan interval as it is waited for and divided by, ms.
static int fpTest_scanMs() {
    return std::clamp(miScanEveryNMsec, 1, mTest.iExitPending ? kMostScanMsToExit : kMostScanMs);
}

// Of the system clock, us; 0 when it cannot be read.
static std::int64_t fpTest_now() {
    timeval now = {};
    gettimeofday(&now, nullptr);
    return static_cast<std::int64_t>(now.tv_sec) * kUsPerSec + now.tv_usec;
}

// The interval runs from pass to pass and not from the end of a pass: a frame takes the bus long enough to
// slow the test by a tenth. A pass that is longer than the interval still leaves the processor a millisecond,
// and a stepped clock costs one interval at the most.
static int fpTest_usToNextPass() {
    const std::int64_t left = mTest.due - fpTest_now();
    return static_cast<int>(std::clamp<std::int64_t>(left, kUsPerMs, fpTest_scanMs() * kUsPerMs));
}

// Waits for a device until the next pass is due. False when nothing is ready.
static bool fpTest_waitForDevice(fd_set& ready) {
    const int greatest = watchPanel(ready);
    const int waitUs = fpTest_usToNextPass();
    if (greatest < 0) {
        usleep(static_cast<useconds_t>(waitUs));
        return false;
    }
    timeval timeout = {waitUs / kUsPerSec, waitUs % kUsPerSec};
    return select(greatest + 1, &ready, nullptr, nullptr, &timeout) > 0;
}

// Sets when the next pass is due. A pass that came in time counts from when it was due, so that late
// awakenings do not add up; a touch, and a pass that is late by more than an interval, count from now.
static void fpTest_schedule(bool touched) {
    const std::int64_t intervalUs = fpTest_scanMs() * kUsPerMs;
    const std::int64_t now = fpTest_now();
    const std::int64_t late = now - mTest.due;
    const bool inTime = !touched && late >= 0 && late < intervalUs;
    mTest.due = (inTime ? mTest.due : now) + intervalUs;
}

static bool fpTest_exitIsDue() {
    if (!mTest.iExitPending || !oxut_timeout(&mTest.tvExit)) {
        return false;
    }
    if (miPrint > 1) {
        syslog(LOG_INFO, "%s exit: button timeout %d ms", "fpTest_main", static_cast<int>(kExitMs));
    }
    return true;
}

// Advances the LED pattern about every 500 ms; a pattern that fades takes the display's contrast with it.
static void fpTest_stepLeds() {
    if (++mTest.iLedTestCycleCount < mTest.iCyclesPerLedStep) {
        return;
    }
    mTest.iLedTestCycleCount = 0;
    mTest.iLedTestType = std::max(mTest.iLedTestType, 0);
    displaySetContrastStep(ledTestAll(&mLedGrp, mTest.iLedTestType));
}

static void fpTest_setUp() {
    mTest.iCyclesPerLedStep = std::max(1, kLedStepMs / fpTest_scanMs());
    mTest.due = fpTest_now() + fpTest_scanMs() * kUsPerMs;
}

// One pass: wait, devices, exit, display, lights. False when the exit chord has been held long enough.
static bool fpTest_pass(GraphicsCommandProcessor& gcp) {
    fd_set ready;
    const bool touched = fpTest_waitForDevice(ready);
    fpTest_schedule(touched);
    if (touched) {
        mTest.iActivityDetected = 1;
        fpTest_serveDevices(ready);
    }
    if (fpTest_exitIsDue()) {
        return false;
    }
    if (mTest.iActivityDetected) {
        fpTest_drawActiveDisplay(gcp);
        ledSwBlinkManager(&mLedGrp);
        fpTest_stepLeds();
    } else {
        fpTest_drawInactiveDisplay(gcp, miScanEveryNMsec);
    }
    return true;
}

// Lets a technician check the panel. Returns when the exit chord has been held long enough, never without
// miAllowTestExit. Neither reads standard input nor writes to standard output.
static void fpTest_main(GraphicsCommandProcessor& gcp) {
    fpTest_setUp();
    while (fpTest_pass(gcp)) {
    }
}

// The start state

// The boot loader's tool prints the variable and a line feed; the number is read as a 32-bit long is.
static int parseDisplayType(const char* command, const char* name, const char* line) {
    errno = 0;
    const long long value = std::strtoll(line, nullptr, 10);
    const int type = static_cast<int>(std::clamp<long long>(value, INT_MIN, INT_MAX));
    if (type != value) {
        errno = ERANGE;
    }
    if (errno != 0) {
        syslog(LOG_ERR, "%s cmd %s, get %s Ret=%d, ERROR=%s, STDOUT=\"%s\"", "getDisplayType", command, name,
               type, std::strerror(errno), line);
        return -1;
    }
    return type;
}

// The panel variant from the boot loader's environment, -1 when it cannot be had.
static int getDisplayType() {
    constexpr const char* kFunction = "getDisplayType";
    constexpr const char* kTool = "fw_printenv";
    constexpr const char* kVariable = "disptype";
    char command[64];
    std::snprintf(command, sizeof command, "%s -n %s", kTool, kVariable);
    FILE* stream = popen(command, "r");
    if (stream == nullptr) {
        syslog(LOG_ERR, "%s Could not open \"%s\"", kFunction, command);
        return -1;
    }
    char line[100];
    if (std::fgets(line, sizeof line, stream) == nullptr) {
        syslog(LOG_ERR, "%s no %s returned from cmd %s", kFunction, kVariable, command);
        pclose(stream);
        return -1;
    }
    errno = 0;
    const int status = pclose(stream);
    if (status == -1) {
        syslog(LOG_ERR, "%s cmd %s, get %s ERROR: %s", kFunction, command, kVariable, std::strerror(errno));
        return -1;
    }
    if (status != 0) {
        syslog(LOG_ERR, "%s cmd %s Ret=%d, no %s found", kFunction, command,
               WIFEXITED(status) ? WEXITSTATUS(status) : status, kVariable);
        return -1;
    }
    return parseDisplayType(command, kVariable, line);
}

static void initializeFpOutputs() {
    for (int i = 0; i < kLedCount; ++i) {
        ledSetState(&mLedGrp, i, LED_OFF);
    }
    OLEDintf_setDisplayType(getDisplayType() == 1 ? 1 : 0);
}

static void clearAll(GraphicsCommandProcessor& gcp) {
    processGraphicsCommand(gcp, "clear 0");
    processGraphicsCommand(gcp, "flush 0");
    displaySetContrastStep(kDefaultContrastStep);
}

// The command line

static int Usage(const char* progName) {
    std::fprintf(stderr,
                 "Intercom Arvo Beltpack UI Interface Application.\n"
                 "Build: " __DATE__
                 "\n"
                 "\n"
                 "Compiled for IMX6 I/O devices.\n"
                 "Interface to OLED display, discrete LEDs, buttons, rotary encoders.\n"
                 "STDIN sent to output device (display, discrete LEDs, GPOs).\n"
                 "Input device activity (button, rotary encoder, GPIs) sent to STDOUT.\n"
                 "Front panel OLED screen size: %dW x %dH pixels.\n"
                 "\n"
                 "Usage: %s [options]\n"
                 "\n"
                 "  options:\n"
                 "  -h       View this help text.\n"
                 "  -t       Front Panel Test mode. Show button + rotary encoder + LED\n"
                 "           activity on OLED display.\n"
                 "  -s ms    Test Mode scan rate interval in msec (default=%d)\n"
                 "  -p       Print debug info to syslog, appname = \"%s\".\n"
                 "  -g       Copy graphics commands to a file in /tmp.\n"
                 "\n",
                 kScreenWidth, kScreenHeight, progName, kDefaultScanMs, kAppName);
    return 1;
}

// False when the usage text is wanted instead of a run.
static bool parseOptions(Args args) {
    while (args.next()) {
        if (args == "-p") {
            miPrint = 2;
        } else if (args == "-s") {
            if (!args.next() || !args.isInt()) {
                return false;
            }
            miScanEveryNMsec = args.asInt();
        } else if (args == "-g") {
            miCopyGfxCmds = 1;
        } else if (args == "-t") {
            miTestMode = 1;
            miAllowTestExit = 1;
        } else if (args == "-h") {
            return false;
        } else {
            syslog(LOG_ERR, "%s Command line argument \"%s\" not recognized", "main", args.asStr());
        }
    }
    return true;
}

static void logOptions() {
    const auto yesNo = [](int flag) { return flag ? "Y" : "N"; };
    if (miPrint > 1) {
        syslog(LOG_INFO,
               "Screen %dW x %dH px, TestMode=%s, Allow Test Exit=%s, CopyGfxCmds=%s, Test Mode Scan %d ms\n",
               kScreenWidth, kScreenHeight, yesNo(miTestMode), yesNo(miAllowTestExit), yesNo(miCopyGfxCmds),
               miScanEveryNMsec);
    }
}

// Start-up and shutdown

// A descriptor 0, 1 or 2 that the parent left closed would be given to the next device, which would then be
// read as the controller's input or take the event lines.
static void holdStandardDescriptors() {
    int fd = 0;
    do {
        fd = open("/dev/null", O_RDWR);
    } while (fd >= 0 && fd <= STDERR_FILENO);
    if (fd > STDERR_FILENO) {
        close(fd);
    }
}

// Dispositions, not handlers. A controller that closes its end of the output must not end the daemon; a
// parent that ignores SIGCHLD must not keep pclose() from the boot loader tool's exit status.
static void setSignalDispositions() {
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGCHLD, SIG_DFL);
}

// Builds and opens the panel's devices. Each module logs what it cannot open; the daemon works with the rest.
static void openDevices() {
    gpioOpenAll();
    ibp_micGain_init();
    rencBuildAll(mRenc);
    for (int i = 0; i < kRencCount; ++i) {
        rencBuildEntry(mRenc, i, kRencEntries[i].name, kRencEntries[i].extKeyCode);
    }
    buttonBuildGrp(&mBtnGrp);
    int i = 0;
    for (const BtnEntry& entry : kBtnEntries) {
        buttonBuildEntry(&mBtnGrp, i++, entry.name, entry.extKeyCode, entry.type);
    }
    ledBuildAll(&mLedGrp);
    rencOpenAll(mRenc);
    buttonOpenGrp(&mBtnGrp);
    ledOpenAll(&mLedGrp);
}

static void closeDevices() {
    rencCloseAll(mRenc);
    buttonCloseGrp(&mBtnGrp);
    ledCloseAll(&mLedGrp);
    gpioCloseAll();
}

// Hands the display's whole frame, 96 x 64 pixels, to the hardware. ctx: the display's VirtualDisplayInfo.
static void onDisplayChange(void* ctx) {
    const auto* info = static_cast<const VirtualDisplayInfo*>(ctx);
    info->icomBeltpack->DrawDisplay(info->index, info->disp->vdbuf());
}

namespace {

// One virtual display per hardware display, each flushed to the hardware.
class PanelDisplays {
public:
    explicit PanelDisplays(IntercomBeltpack& hardware) {
        const unsigned int count = hardware.GetDisplayCount();
        m_infos.reserve(count);  // the listeners keep pointers into it
        for (unsigned int i = 0; i < count; ++i) {
            m_owned.push_back(
                std::make_unique<VirtualDisplay>(static_cast<long>(hardware.GetDisplayWidth(i)),
                                                 static_cast<long>(hardware.GetDisplayHeight(i))));
            m_displays.push_back(m_owned.back().get());
            m_infos.emplace_back(&hardware, m_displays.back(), i);
            m_displays.back()->onChange(onDisplayChange, &m_infos.back());
        }
    }

    [[nodiscard]] VirtualDisplay** array() { return m_displays.data(); }
    [[nodiscard]] unsigned int count() const { return static_cast<unsigned int>(m_displays.size()); }

private:
    std::vector<std::unique_ptr<VirtualDisplay>> m_owned;
    std::vector<VirtualDisplay*> m_displays;
    std::vector<VirtualDisplayInfo> m_infos;
};

}  // namespace

// The start state and then the application loop or the test, which the loop may hand over to once.
static void runPanel(GraphicsCommandProcessor& gcp) {
    for (;;) {
        initializeFpOutputs();
        clearAll(gcp);
        if (miTestMode) {
            fpTest_main(gcp);
            return;
        }
        if (fpApp_main(gcp) != kSwitchToTest) {
            return;
        }
        miTestMode = 1;
    }
}

static void shutDown(GraphicsCommandProcessor& gcp) {
    initializeFpOutputs();
    clearAll(gcp);
    if (miTestMode) {
        fpTest_drawExit(gcp);
    }
    if (miPrint != 0) {
        syslog(LOG_INFO, "%s closing app.", kAppName);
    }
    closeDevices();
}

int main(int argc, char** argv) {
    setlinebuf(stdout);  // each event line leaves the process as soon as it is written
    holdStandardDescriptors();
    setSignalDispositions();
    openlog(kAppName, LOG_CONS, 0);
    if (!parseOptions(Args(argc, argv))) {
        return Usage(argv[0]);
    }
    logOptions();
    openDevices();
    MyHarwareEventHandler events;
    IntercomBeltpack hardware;
    hardware.RegisterEventCallback(&events);
    PanelDisplays displays(hardware);
    GraphicsCommandProcessor gcp(displays.array(), displays.count(), &hardware);
    runPanel(gcp);
    shutDown(gcp);
    return 0;
}
