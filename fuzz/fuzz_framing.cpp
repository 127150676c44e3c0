// The input is a list of what reads of standard input bring: bytes in any pieces, the end, failures. The
// commands that the input machine makes of them are held against a model of the framing rules.

#include <cerrno>
#include <string>
#include <string_view>
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
    std::string_view bytes;
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
    void parse(std::string_view bytes) {
        m_used += bytes.size();
        std::string whole;
        std::string_view data = bytes;
        if (!m_tail.empty()) {  // what came before in a command is lost unless it was kept
            data = whole = m_tail.append(bytes);
            m_tail.clear();
        }
        for (std::size_t end = 0; (end = data.find('\n')) != std::string_view::npos;
             data.remove_prefix(end + 1)) {
            command(data.substr(0, end));
        }
        if (m_test) {
            result = kSwitchToTest;
        } else if (data.empty()) {
            m_used = 0;
        } else if (m_used > 1536) {
            m_tail = data.size() == m_used ? "" : data;
            m_used = m_tail.size();
        }
    }

    void command(std::string_view bytes) {
        const std::string_view text = bytes.substr(0, bytes.find('\0'));
        if (m_debugLevel > 1) {
            const bool isShort = bytes.size() < 100;
            std::string& line = received.emplace_back("processInput Len=");
            line += std::to_string(bytes.size() + 1);
            line += isShort ? ", Data=" : ", Data (truncated to 100 char)=";
            line += text.substr(0, 100);
            line += isShort ? "" : "...";
        }
        const std::string_view word = text.substr(0, 2);
        const bool blank = text.size() > 2 && (text[2] == ' ' || text[2] == '\t');
        if (word == "g:") {
            lines.emplace_back(text.substr(blank ? 3 : 2));
        } else if (word == "a:" && text.compare(blank ? 3 : 2, 4, "set ") == 0) {
            set(std::string(text.substr(blank ? 7 : 6)).c_str());
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

// What is sent by one write, before it is read.
struct Sent {
    std::string bytes;
    int error = 0;
};

// A panel without devices.
class Panel {
public:
    Panel() {
        m_kernel.recordCalls(false);
        silence(stdout);
        silence(stderr);  // hex dumps at debug level 3
        m_input.setIdleError(EAGAIN);
        for (const char* path : {"/dev/spidev3.0", "/dev/spidev3.1", "/dev/spidev4.0"}) {
            m_kernel.device(path).failAlways(Call::open, ENOENT);
        }
        rencBuildAll(mRenc);
        buttonBuildGrp(&mBtnGrp);
    }

    void start() {
        ledBuildAll(&mLedGrp);
        mInCtrl = {};
        miPrint = 2;
        miTestMode = 0;
    }
    // Serves these reads as the loop does; returns the machine's result.
    int serve(const std::vector<Sent>& sent) {
        for (const Sent& one : sent) {
            one.error != 0 ? m_input.queueReadError(one.error) : m_input.queueRead(one.bytes);
        }
        int result = kGoOn;
        while (result == kGoOn && m_input.isReadable()) {
            result = readInput(m_interpreter, STDIN_FILENO);
        }
        return result;
    }
    // Drops whatever is left unread, and what was noted: libFuzzer looks for leaks after an input that took
    // more memory than it gave back.
    void finish() {
        m_kernel.clearLog();
        theLines.clear();
        char bytes[256];
        ssize_t length = 0;
        while (m_input.isReadable()) {
            m_kernel.read(STDIN_FILENO, bytes, sizeof bytes, &length);
        }
    }
    [[nodiscard]] bool hasReceived(const std::vector<std::string>& texts) const {
        auto next = texts.begin();
        for (const LogLine& line : m_kernel.log()) {
            if (line.text.compare(0, 17, "processInput Len=") == 0 &&
                (next == texts.end() || *next++ != line.text)) {
                return false;
            }
        }
        return next == texts.end();
    }

private:
    FakeKernel m_kernel;
    FakeDevice& m_input = m_kernel.standardInput();
    VirtualDisplay m_display{96, 64};
    VirtualDisplay* m_displays[1] = {&m_display};
    GraphicsCommandProcessor m_interpreter{m_displays, 1, nullptr};
};

// As the kernel gives them: a read takes what it has room for, and the rest stays.
int serveModel(Model& model, const std::vector<Sent>& sent) {
    std::size_t done = 0;  // bytes of the next one
    for (auto next = sent.begin(); model.result == kGoOn && next != sent.end();) {
        const Read read = {std::string_view(next->bytes).substr(done, model.room()), next->error};
        done += read.bytes.size();
        if (done == next->bytes.size()) {
            ++next;
            done = 0;
        }
        if (model.take(read) && next == sent.end()) {
            model.take({{}, EAGAIN});
        }
    }
    return model.result;
}

Sent sentBy(unsigned int what, FuzzInput& input) {
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
    require(panel.hasReceived(model.received), "every command is framed as told");
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static Panel panel;
    FuzzInput input(data, size);
    panel.start();
    Model model;
    std::vector<Sent> sent;
    int result = kGoOn;
    std::size_t total = 0;
    while (!input.isEmpty() && result == kGoOn && total < kMostBytes) {
        const unsigned int what = input.byte();
        sent.push_back(sentBy(what, input));
        total += sent.back().bytes.size();
        if ((what & 0x80) == 0 || input.isEmpty() ||
            total >= kMostBytes) {  // otherwise more is waiting when the loop comes to read
            result = panel.serve(sent);
            require(result == serveModel(model, sent), "the input goes on, ends, or hands over to the test");
            sent.clear();
        }
    }
    requireSame(panel, model);
    panel.finish();
    return 0;
}
