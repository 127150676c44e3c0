// Input that people get wrong: every command with every argument missing, unreadable, too long, too large,
// with quotes left open, NULs and bytes above 127; every "set" identifier likewise; and lines that arrive in
// pieces. The daemon reads the bytes; what it prints, logs, draws and sends to its devices is held against a
// second, independent description of the commands (wrong_input/).

#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <utility>
#include <vector>

#include "bmp_files.h"
#include "fake_kernel.h"
#include "graphics/BuiltinFonts.h"
#include "scratch_folder.h"
#include "wrong_input/cases.h"
#include "wrong_input/station.h"

// Standard input's functions are file-static.
#define main daemonMain
#include "app/main.cpp"  // NOLINT
#undef main

using wrong_input::Case;
using wrong_input::Group;
using wrong_input::Language;
using wrong_input::Station;
using wrong_input::Surface;

namespace {

constexpr std::size_t kLeastCases = 5000;
constexpr std::size_t kEvery = BELTPACK_CASES_EVERY;  // every so many cases are tried: few in an emulator
constexpr std::size_t kMostTold = 5;                  // failures of a group that are told in full
constexpr char kFontFile[] = "/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf";
constexpr const char* kCommandBus = "/dev/spidev3.0";
constexpr const char* kGainBus = "/dev/spidev4.0";
constexpr const char* kLedNames[] = {"grn:c2", "red:c2", "grn:t2", "red:t2",
                                     "grn:t1", "red:t1", "grn:c1", "red:c1"};
constexpr int kGpios[] = {254, 9, 105, 255};

std::string ledPath(int i) {
    return std::string("/sys/class/leds/pca963x:") + kLedNames[i] + "/brightness";
}
std::string gpioPath(int number, const char* file) {
    return "/sys/class/gpio/gpio" + std::to_string(number) + "/" + file;
}

class Indicators : public IIntercomHardware {
public:
    unsigned int GetDisplayCount() override { return 1; }
    unsigned int GetDisplayWidth(unsigned int) override { return 96; }
    unsigned int GetDisplayHeight(unsigned int) override { return 64; }
    void DrawDisplay(unsigned int, const VelaGraphics::Pixel*) override {}
    void SetIndicator(unsigned int indicator, unsigned int state) override {
        set.emplace_back(indicator, state);
    }
    void ScanForHarwareEvents() override {}

    std::vector<std::pair<std::uint32_t, std::uint32_t>> set;
};

// What is in the working directory, as the description knows it.
wrong_input::Files makeFiles() {
    wrong_input::Files files;
    writeFile("arrow.shp", shapeFile(3, 2, std::string("\1\0\1\0\1\0", 6)));
    files.shapes["arrow"] = {3, 2, {1, 0, 1, 0, 1, 0}};

    Bytes dot = fittingHeader(2, 2, 24).bytes();  // the lower row first, blue first, rows of 8 bytes
    for (const int byte : {1, 2, 3, 0x56, 0x34, 0xFF, 0, 0, 40, 50, 60, 70, 80, 90, 0, 0}) {
        dot.push_back(static_cast<std::uint8_t>(byte));
    }
    writeFile("dot.bmp", std::string(dot.begin(), dot.end()));
    files.bitmaps["dot.bmp"] = {2, 2, {0xFF3C3228, 0xFF5A5046, 0xFF030201, 0xFFFF3456}};

    Bytes alpha = fittingHeader(2, 1, 32).bytes();
    for (const int byte : {10, 20, 30, 128, 200, 210, 220, 0}) {
        alpha.push_back(static_cast<std::uint8_t>(byte));
    }
    writeFile("alpha.bmp", std::string(alpha.begin(), alpha.end()));
    files.alphaBitmaps["alpha.bmp"] = {2, 1, {0x801E140A, 0x00DCD2C8}};

    EXPECT_TRUE(VelaGraphics::Font(VelaGraphics::F9x5m).saveToFile("own.fnt"));
    files.font = "own";
    std::filesystem::create_directory("font");
    std::filesystem::create_symlink(kFontFile, "font/sans.ttf");
    files.scalableFont = "sans.ttf";
    return files;
}

// What happened, as text that can be compared and read.

std::string visible(const std::string& text) {
    std::string shown;
    for (const char c : text) {
        char hex[8];
        std::snprintf(hex, sizeof hex, "\\x%02X", static_cast<unsigned char>(c));
        shown += c >= ' ' && c <= '~' ? std::string(1, c) : hex;
    }
    return shown.size() > 300 ? shown.substr(0, 200) + " ... " + std::to_string(shown.size()) + " characters"
                              : shown;
}

std::string joined(const std::vector<std::string>& words) {
    std::string all;
    for (const std::string& word : words) {
        all += " " + visible(word);
    }
    return all;
}

class Account {
public:
    void tell(const std::string& what, const std::string& value) { m_text += what + ": " + value + "\n"; }
    void tell(const std::string& what, std::int64_t value) { tell(what, std::to_string(value)); }
    void log(int priority, const std::string& text) {
        tell("log " + std::to_string(priority), visible(text) + sum(text));
    }
    void output(const std::string& text) { tell("output", visible(text) + sum(text)); }
    template <typename Pixels>
    void surface(const std::string& number, std::int32_t width, std::int32_t height, const Pixels& pixels,
                 bool changed) {
        tell("display " + number, std::to_string(width) + " x " + std::to_string(height) +
                                      (changed ? " changed" : "") + sum(pixels));
    }
    const std::string& text() const { return m_text; }

private:
    // Tells long texts and pictures apart.
    template <typename Values>
    static std::string sum(const Values& values) {
        std::uint64_t hash = 14695981039346656037U;
        for (const auto value : values) {
            hash = (hash ^ static_cast<std::uint32_t>(value)) * 1099511628211U;
        }
        return " #" + std::to_string(hash);
    }

    std::string m_text;
};

std::string account(const Station& station) {
    Account account;
    account.output(station.language.output);
    for (const wrong_input::Logged& line : station.log) {
        account.log(line.priority, line.text);
    }
    for (const auto& [number, surface] : station.language.surfaces) {
        if (number[0] != '-') {  // those are kept, but cannot be drawn on
            account.surface(number, surface.width, surface.height, surface.pixels, surface.changed);
        }
    }
    for (const auto& [indicator, state] : station.language.indicators) {
        account.tell("indicator " + std::to_string(indicator), state);
    }
    account.tell("frames", station.language.frames);
    for (const wrong_input::Light& light : station.lights) {
        account.tell("light", joined(light.writes) + (light.blinking ? " blinks" : ""));
    }
    account.tell("blink on", station.blinkMs[0]);
    account.tell("blink off", station.blinkMs[1]);
    for (const int level : station.contrasts) {
        account.tell("contrast", level);
    }
    for (const int code : station.gains) {
        account.tell("gain", code);
    }
    for (const auto& [output, levels] : station.outputs) {
        account.tell("output " + std::to_string(output), joined(levels));
    }
    account.tell("debug level", station.debugLevel);
    account.tell("test mode", station.testMode ? 1 : 0);
    return account.text();
}

// The daemon over a panel with all its devices, as it is after its start.
class Daemon {
public:
    explicit Daemon(FakeKernel& kernel) : m_kernel(kernel) {
        miPrint = miTestMode = miCopyGfxCmds = 0;
        mInCtrl = {};
        ledBuildAll(&mLedGrp);
        ledOpenAll(&mLedGrp);
        gpioOpenAll();
        forget();
        m_panel.onChange([](void* count) { ++*static_cast<int*>(count); }, &m_frames);
    }
    ~Daemon() {
        ledCloseAll(&mLedGrp);
        gpioCloseAll();
        m_kernel.clearCalls();
    }
    Daemon(const Daemon&) = delete;
    Daemon& operator=(const Daemon&) = delete;

    void receive(const std::string& bytes) {
        if (bytes.empty() || miTestMode) {
            return;
        }
        FakeDevice& input = m_kernel.standardInput();
        input.queueRead(bytes);
        while (input.isReadable() && !miTestMode) {
            readInput(m_gcp, STDIN_FILENO);
        }
    }

    // `surfaces`: the displays that there have to be.
    std::string account(const std::string& output, const std::map<std::string, Surface>& surfaces) {
        Account account;
        account.output(output);
        for (const LogLine& line : m_kernel.log()) {
            account.log(line.priority, line.text);
        }
        for (const auto& [number, surface] : surfaces) {
            const char* text = number.c_str();
            if (VirtualDisplay* display = m_gcp.getDisplay(text, nullptr)) {
                account.surface(number, display->width(), display->height(), pixels(*display),
                                display->changed());
            }
        }
        for (const auto& [indicator, state] : m_indicators.set) {
            account.tell("indicator " + std::to_string(indicator), state);
        }
        account.tell("frames", m_frames);
        devices(account);
        return account.text();
    }

private:
    static std::vector<std::uint32_t> pixels(const VirtualDisplay& display) {
        std::vector<std::uint32_t> all;
        for (std::uint32_t i = 0; i < display.length(); ++i) {
            all.push_back(display.vdbuf()[i].color());
        }
        return all;
    }

    void devices(Account& account) {
        for (int i = 0; i < 8; ++i) {
            const bool blinks = (ledGetBlinkFlags(&mLedGrp) >> i & 1) != 0;
            account.tell("light", joined(m_kernel.device(ledPath(i)).writes()) + (blinks ? " blinks" : ""));
        }
        account.tell("blink on", ledGetBlinkTime(&mLedGrp, 0));
        account.tell("blink off", ledGetBlinkTime(&mLedGrp, 1));
        for (const Bytes& sent : m_kernel.device(kCommandBus).transfers()) {
            const bool isContrast = sent.size() == 2 && sent[0] == 0x81;
            account.tell(isContrast ? "contrast" : "unknown", sent.back());
        }
        for (const Bytes& sent : m_kernel.device(kGainBus).transfers()) {
            account.tell("gain", sent[0] + 256 * sent[1]);
        }
        for (std::size_t i = 0; i < std::size(kGpios); ++i) {
            const std::vector<std::string>& levels = m_kernel.device(gpioPath(kGpios[i], "value")).writes();
            if (!levels.empty()) {
                account.tell("output " + std::to_string(i), joined(levels));
            }
        }
        account.tell("debug level", miPrint);
        account.tell("test mode", miTestMode);
    }

    void forget() {
        for (int i = 0; i < 8; ++i) {
            m_kernel.device(ledPath(i)).clearOutput();
        }
        for (const int number : kGpios) {
            m_kernel.device(gpioPath(number, "value")).clearOutput();
        }
        m_kernel.device(kCommandBus).clearOutput();
        m_kernel.device(kGainBus).clearOutput();
        m_kernel.clearLog();
    }

    FakeKernel& m_kernel;
    VirtualDisplay m_panel{96, 64};
    VirtualDisplay* m_displays[1] = {&m_panel};
    Indicators m_indicators;
    int m_frames = 0;
    GraphicsCommandProcessor m_gcp{m_displays, 1, &m_indicators};
};

class WrongInput : public testing::TestWithParam<std::string> {
protected:
    WrongInput() {
        for (const char* path : {kCommandBus, "/dev/spidev3.1", kGainBus, "/sys/class/gpio/export",
                                 "/sys/class/gpio/unexport"}) {
            kernel.device(path);
        }
        for (const int number : kGpios) {
            kernel.device(gpioPath(number, "direction"));
            kernel.device(gpioPath(number, "value"));
        }
        for (int i = 0; i < 8; ++i) {
            kernel.device(ledPath(i));
        }
        kernel.standardInput().setIdleError(EAGAIN);
        OLEDintf_init();
        ibp_micGain_init();
    }
    // The bus modules keep their descriptors for the life of a process.
    ~WrongInput() override {
        for (const char* bus : {kCommandBus, kGainBus}) {
            kernel.device(bus).failAlways(Call::open, ENOENT);
        }
        OLEDintf_init();
        ibp_micGain_init();
    }

    // What is read in a case, the lines around it included.
    static std::vector<std::string> everyRead(const Group& group, const Case& one) {
        std::vector<std::string> all;
        for (const std::string& line : group.before) {
            all.push_back(line + "\n");
        }
        all.push_back("a:set 299 " + std::to_string(one.debugLevel) + "\n");
        all.insert(all.end(), one.reads.begin(), one.reads.end());
        for (const std::string& line : group.after) {
            all.push_back(line + "\n");
        }
        return all;
    }

    // True when the daemon does what the description says.
    testing::AssertionResult agrees(const Group& group, const Case& one) {
        Language language(files);
        Station station(language);
        Daemon daemon(kernel);
        testing::internal::CaptureStdout();
        for (const std::string& bytes : everyRead(group, one)) {
            daemon.receive(bytes);
        }
        std::fflush(stdout);
        const std::string output = testing::internal::GetCapturedStdout();
        for (const std::string& bytes : everyRead(group, one)) {
            station.receive(bytes);
        }
        const std::string expected = account(station);
        const std::string got = daemon.account(output, language.surfaces);
        if (expected == got) {
            return testing::AssertionSuccess();
        }
        return testing::AssertionFailure() << "sent" << joined(one.reads) << "\n\nexpected\n"
                                           << expected << "\ngot\n"
                                           << got;
    }

    ScratchFolder folder;
    wrong_input::Files files = makeFiles();
    FakeKernel kernel;
};

}  // namespace

TEST_P(WrongInput, IsAnsweredAsDescribed) {
    const Group group = wrong_input::makeGroup(GetParam());
    std::size_t failed = 0;
    testing::internal::CaptureStderr();  // the dumps of the highest debug level
    for (std::size_t i = 0; i < group.cases.size(); i += kEvery) {
        const testing::AssertionResult result = agrees(group, group.cases[i]);
        if (!result && ++failed <= kMostTold) {
            ADD_FAILURE() << result.message();
        }
    }
    testing::internal::GetCapturedStderr();
    EXPECT_EQ(failed, 0U) << "of " << group.cases.size() << " cases";
}

INSTANTIATE_TEST_SUITE_P(Each, WrongInput, testing::ValuesIn(wrong_input::groupNames()),
                         [](const auto& group) { return group.param; });

TEST(WrongInputCases, AreAtLeastFiveThousand) {
    std::size_t count = 0;
    for (const std::string& name : wrong_input::groupNames()) {
        const std::size_t ofGroup = (wrong_input::makeGroup(name).cases.size() + kEvery - 1) / kEvery;
        std::printf("%6zu %s\n", ofGroup, name.c_str());
        count += ofGroup;
    }
    std::printf("%6zu cases\n", count);
    EXPECT_GE(count, kLeastCases);
}
