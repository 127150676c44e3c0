// The input is a list of what reads of standard input bring: bytes in any pieces, the end, failures. The
// commands that the input machine makes of them are held against a model of the framing rules.

#include <cerrno>
#include <deque>
#include <string>
#include <vector>

#include "fuzz/FuzzFiles.h"
#include "fuzz/FuzzTarget.h"
#include "tests/unit/fake_kernel.h"

// The functions under test are file-static.
#define main daemonMain
#include "app/main.cpp"  // NOLINT
#undef main

// In place of the interpreter, which has a target of its own: it notes each line.
static std::vector<std::string> theLines;
extern "C" bool __wrap__ZN24GraphicsCommandProcessor14processCommandEPKc(GraphicsCommandProcessor*,
                                                                         const char* line) {
    theLines.emplace_back(line);
    return true;
}

namespace {

constexpr std::size_t kMostBytes = 5000;  // of an input: the buffer takes 2048

// One read: bytes, or an error number; neither is the end.
struct Read {
    std::string bytes;
    int error = 0;
};

// What the daemon has to do with each read.
class Model {
public:
    std::vector<std::string> lines;     // that go to the interpreter
    std::vector<std::string> received;  // as the log shows them while the debug level is above 1
    int result = kGoOn;

    // Takes one read of at most the room that is left. True when the machine reads on at once.
    bool take(const Read& read) {
        if (!read.bytes.empty()) {
            m_failures = 0;
            parse(read.bytes);
            return false;
        }
        if (read.error == EAGAIN || read.error == EINTR) {
            m_failures = 0;
            return false;
        }
        result = ++m_failures > 3 ? kInputEnded : kGoOn;
        return read.error != 0 && result == kGoOn;
    }
    [[nodiscard]] std::size_t room() const { return 2048 - m_used; }

private:
    void parse(const std::string& bytes) {
        m_used += bytes.size();
        std::string data = m_tail + bytes;  // what came before in a command is lost unless it was kept
        m_tail.clear();
        std::size_t start = 0;
        for (std::size_t end = 0; (end = data.find('\n', start)) != std::string::npos; start = end + 1) {
            command(data.substr(start, end - start));
        }
        data.erase(0, start);
        if (m_test) {
            result = kSwitchToTest;
        } else if (data.empty()) {
            m_used = 0;
        } else if (m_used > 1536) {
            m_tail = data.size() == m_used ? "" : data;
            m_used = m_tail.size();
        }
    }

    void command(const std::string& bytes) {
        const std::string text = bytes.c_str();
        if (m_debugLevel > 1) {
            const bool isShort = bytes.size() < 100;
            received.push_back("processInput Len=" + std::to_string(bytes.size() + 1) +
                               (isShort ? ", Data=" + text
                                        : ", Data (truncated to 100 char)=" + text.substr(0, 100) + "..."));
        }
        const std::string word = text.substr(0, 2);
        const bool blank = text.size() > 2 && (text[2] == ' ' || text[2] == '\t');
        if (word == "g:") {
            lines.push_back(text.substr(blank ? 3 : 2));
        } else if (word == "a:" && text.compare(blank ? 3 : 2, 4, "set ") == 0) {
            set(text.c_str() + (blank ? 7 : 6));
        }
    }

    // Numbers are read as the daemon reads them: they are not what is looked into here.
    void set(const char* numbers) {
        std::uint32_t id = 0;
        std::uint32_t state = 0;
        if (parseSetNumber(numbers, &numbers, id) && parseSetNumber(numbers, &numbers, state)) {
            m_debugLevel = id == 299 && state <= 3 ? static_cast<int>(state) : m_debugLevel;
            m_test = m_test || id == 200;
        }
    }

    std::string m_tail;      // of a full buffer's last command, which is kept
    std::size_t m_used = 0;  // bytes in the buffer
    int m_failures = 0;      // in a row
    int m_debugLevel = 2;
    bool m_test = false;
};

// A panel without devices.
class Panel {
public:
    Panel() {
        silence(stdout);
        silence(stderr);  // hex dumps at debug level 3
        m_kernel.standardInput().setIdleError(EAGAIN);
        for (const char* path : {"/dev/spidev3.0", "/dev/spidev3.1", "/dev/spidev4.0"}) {
            m_kernel.device(path).failAlways(Call::open, ENOENT);
        }
        rencBuildAll(mRenc);
        buttonBuildGrp(&mBtnGrp);
    }

    void start() {
        m_kernel.clearCalls();
        m_kernel.clearLog();
        theLines.clear();
        ledBuildAll(&mLedGrp);
        mInCtrl = {};
        miPrint = 2;
        miTestMode = 0;
    }
    // Serves these reads as the loop does; returns the machine's result.
    int serve(const std::deque<Read>& reads) {
        FakeDevice& input = m_kernel.standardInput();
        for (const Read& read : reads) {
            read.error != 0 ? input.queueReadError(read.error) : input.queueRead(read.bytes);
        }
        int result = kGoOn;
        while (result == kGoOn && input.isReadable()) {
            result = readInput(m_interpreter, STDIN_FILENO);
        }
        return result;
    }
    // Whatever is left unread.
    void finish() {
        char bytes[256];
        ssize_t length = 0;
        while (m_kernel.standardInput().isReadable()) {
            m_kernel.read(STDIN_FILENO, bytes, sizeof bytes, &length);
        }
    }
    [[nodiscard]] std::vector<std::string> received() const {
        std::vector<std::string> texts;
        for (const LogLine& line : m_kernel.log()) {
            if (line.text.compare(0, 17, "processInput Len=") == 0) {
                texts.push_back(line.text);
            }
        }
        return texts;
    }

private:
    FakeKernel m_kernel;
    VirtualDisplay m_display{96, 64};
    VirtualDisplay* m_displays[1] = {&m_display};
    GraphicsCommandProcessor m_interpreter{m_displays, 1, nullptr};
};

// As the kernel gives them: a read takes what it has room for, and the rest stays.
int serveModel(Model& model, std::deque<Read> reads) {
    while (model.result == kGoOn && !reads.empty()) {
        Read& next = reads.front();
        Read read = {next.bytes.substr(0, model.room()), next.error};
        next.bytes.erase(0, read.bytes.size());
        if (next.bytes.empty()) {
            reads.pop_front();
        }
        if (model.take(read) && reads.empty()) {
            model.take({{}, EAGAIN});
        }
    }
    return model.result;
}

Read readOf(unsigned int what, FuzzInput& input) {
    constexpr int kErrors[] = {EAGAIN, EINTR, EIO, EBADF};
    switch (what % 8) {
        case 0:
            return {{}, kErrors[what / 8 % std::size(kErrors)]};
        case 1:
            return {};
        case 2: {  // one long run
            const char c = static_cast<char>(input.byte());
            return {std::string(input.half() % 2200 + 1U, c), 0};
        }
        case 3: {  // many short commands
            const std::string command = input.bytes() + '\n';
            std::string all;
            for (unsigned int n = what / 8; n > 0 && all.size() < 2200; --n) {
                all += command;
            }
            return {all + input.bytes(), 0};
        }
        default:
            return {input.bytes(), 0};
    }
}

void requireSame(const Panel& panel, const Model& model) {
    require(theLines == model.lines, "the interpreter gets the lines");
    require(panel.received() == model.received, "every command is framed as told");
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static Panel panel;
    FuzzInput input(data, size);
    panel.start();
    Model model;
    std::deque<Read> reads;
    int result = kGoOn;
    std::size_t total = 0;
    while (!input.isEmpty() && result == kGoOn && total < kMostBytes) {
        const unsigned int what = input.byte();
        reads.push_back(readOf(what, input));
        total += reads.back().bytes.size();
        if ((what & 0x80) == 0 || input.isEmpty() ||
            total >= kMostBytes) {  // otherwise more is waiting when the loop comes to read
            result = panel.serve(reads);
            require(result == serveModel(model, reads), "the input goes on, ends, or hands over to the test");
            reads.clear();
        }
    }
    requireSame(panel, model);
    panel.finish();
    return 0;
}
