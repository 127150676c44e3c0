// Millions of commands and events in one process of the daemon, on the emulated panel: memory and descriptors
// stay flat, no line is lost, and the last frame is that of a session that draws the same once.
//   soak DAEMON SHIM CYCLES        1000 commands and 108 events a cycle
// Runs in the current folder, which has to hold the files that the commands name. Prints what it measures.
// Exit status 1 when something does not hold.

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <map>
#include <string>
#include <vector>

#include "tests/soak/soaked_daemon.h"

namespace {

constexpr std::size_t kCommandsPerCycle = 1000;
constexpr int kRounds = 12;         // of events in a cycle: the keys go down in one and up in the next
constexpr int kCyclesPerFont = 20;  // the scalable fonts are loaded anew so often
constexpr int kSamples = 10;        // of memory and descriptors
constexpr long kMemorySlack = 128;  // KiB that may come after the first sample

// A sanitizer keeps what was freed.
#ifdef BELTPACK_SOAK_SANITIZED
constexpr bool kMemoryIsTheDaemons = false;
#else
constexpr bool kMemoryIsTheDaemons = true;
#endif

struct Control {
    const char* name;
    int code;  // of its event lines
};
constexpr Control kKeys[] = {{"Talk_1", 1}, {"Call_1", 2}, {"Talk_2", 3},
                             {"Call_2", 4}, {"Menu", 5},   {"Hp_Detect", 99}};
constexpr Control kEncoders[] = {{"Left", 7}, {"Right", 8}, {"Rear", 6}};

// ---- The commands of a cycle

// Lights, outputs, gain, contrast; answers and errors.
constexpr const char* kFirst[] = {
    "g:clear 0",      "a:set 9 1",      "a:set 9 0",     "a:set 201 7", "a:set 204 40", "a:set 400 1",
    "a:set 400 0",    "a:set 520 3",    "g:info",        "g:info 5",    "g:nosuch",     "g:vdisp 0 8 8",
    "g:shape 0 none", "g:bmp none.bmp", "g:font 0 none", "a:nosuch 1",
};

// Made, used and dropped: displays, shapes, bitmaps. A bitmap font is kept once it is loaded.
constexpr const char* kObjects[] = {
    "g:vdisp 5 64 40",
    "g:clear 5 black",
    "g:rect 5 0 0 64 40 white",
    "g:copy 0 5 30 20 0 0 0 0",
    "g:vdispd 5",
    "g:shape 0 arrow 2 30 white",
    "g:shaped arrow",
    "g:bmp letter.bmp",
    "g:bmpdraw 0 letter.bmp 2 40",
    "g:bmpdel letter.bmp",
    "g:bmpt bell.bmp white",
    "g:bmpdraw 0 bell.bmp 14 40",
    "g:bmpdel bell.bmp",
    "g:bmpa ring.bmp",
    "g:bmpdraw 0 ring.bmp 14 44",
    "g:bmpdel ring.bmp",
    "g:font 0 blocks",
    "g:text 0 70 2 'AB' white",
    "g:font 0 F9x5p",
    "g:color #0F0 leaf",
};
constexpr std::size_t kObjectCommands = kCommandsPerCycle / 4;

constexpr const char* kDrawing[] = {
    "g:pixel 0 95 63 white",
    "g:line 0 0 60 96 60 white",
    "g:rect 0 40 4 20 10 white black",
    "g:text 0 2 1 'Channel 1' white",
    "g:rtext 0 0 50 'Mic 40 dB' white black",
    "g:utext 0 Stage white 9 2 14",
};

constexpr const char* kLast[] = {"g:flush 0 1", "g:info"};

// What is answered to the commands of which something is.
const std::map<std::string, std::string> kAnswers = {
    {"g:info", "OnDisplayInfo1(1,96,64)"},
    {"g:info 5", "OnDisplayInfo2(5,0,0)"},
    {"g:nosuch", "OnError(\"command 'nosuch' was not recognized, ignored\")"},
    {"g:vdisp 0 8 8", "OnError(\"display 0 already exists, not created\")"},
    {"g:shape 0 none", "OnError(\"shape none not found\")"},
    {"g:bmp none.bmp", "OnError(\"bmp, 'none.bmp' could not be loaded\")"},
    {"g:font 0 none", "OnError(\"font file none.fnt not found\")"},
};

const LineCounts kStart = {
    {"OnFpId(\"beltpack\",1,96,64)", 1},
    {"OnFpKey(1,-1,MS)", 1},
    {"OnFpKey(2,-1,MS)", 1},
    {"OnFpKey(3,-1,MS)", 1},
    {"OnFpKey(4,-1,MS)", 1},
    {"OnFpKey(5,-1,MS)", 1},
    {"OnFpKey(99,-1,MS)", 1},
};

std::vector<std::string> cycleCommands() {
    std::vector<std::string> commands(std::begin(kFirst), std::end(kFirst));
    while (commands.size() + std::size(kObjects) <= kObjectCommands) {
        commands.insert(commands.end(), std::begin(kObjects), std::end(kObjects));
    }
    for (std::size_t i = 0; commands.size() + std::size(kLast) < kCommandsPerCycle; ++i) {
        commands.emplace_back(kDrawing[i % std::size(kDrawing)]);
    }
    commands.insert(commands.end(), std::begin(kLast), std::end(kLast));
    return commands;
}

// Commands that go in together, and what comes of them.
struct Block {
    std::string text;
    LineCounts answers;
};

// As many as there are rounds of events.
std::vector<Block> inBlocks(const std::vector<std::string>& commands) {
    std::vector<Block> blocks(kRounds);
    for (std::size_t i = 0; i < commands.size(); ++i) {
        Block& block = blocks[i * kRounds / commands.size()];
        block.text += commands[i] + '\n';
        const auto answer = kAnswers.find(commands[i]);
        if (answer != kAnswers.end()) {
            ++block.answers[answer->second];
        }
        if (block.text.size() > SoakedDaemon::kMostAtOnce) {
            fail("a block is too large for one write");
        }
    }
    return blocks;
}

// ---- The cycles

std::string eventLine(int code, int event) {
    return "OnFpKey(" + std::to_string(code) + ',' + std::to_string(event) + ",MS)";
}

void must(const std::string& error) {
    if (!error.empty()) {
        fail(error);
    }
}

// One event a control, so that no two become one line.
void moveControls(SoakedDaemon& daemon, bool down) {
    for (const Control& key : kKeys) {
        must(down ? daemon.controls().press(key.name) : daemon.controls().release(key.name));
        daemon.expect(eventLine(key.code, down ? 1 : -1));
    }
    for (const Control& encoder : kEncoders) {
        must(daemon.controls().turn(encoder.name, down ? 1 : -1));
        daemon.expect(eventLine(encoder.code, down ? 2 : -2));
    }
}

void runCycle(SoakedDaemon& daemon, const std::vector<Block>& blocks, long number) {
    if (number % kCyclesPerFont == 0) {
        daemon.send("g:ufont sans.ttf\n");
    }
    for (std::size_t i = 0; i < blocks.size(); ++i) {
        daemon.send(blocks[i].text);
        daemon.expect(blocks[i].answers);
        moveControls(daemon, i % 2 == 0);
        daemon.catchUp();
    }
}

struct Sample {
    long memory = 0;  // KiB
    long descriptors = 0;
};

// Samples memory and descriptors after each tenth: the first one is what the others are held against.
void watchProcess(std::vector<Sample>& samples, long done, long cycles) {
    if (done * kSamples / cycles == (done - 1) * kSamples / cycles) {
        return;
    }
    samples.push_back({SoakedDaemon::memory(), SoakedDaemon::descriptors()});
    std::printf("%10ld commands: %ld KiB, %ld descriptors\n", done * static_cast<long>(kCommandsPerCycle),
                samples.back().memory, samples.back().descriptors);
    std::fflush(stdout);
}

void checkSamples(const std::vector<Sample>& samples) {
    for (const Sample& sample : samples) {
        if (sample.descriptors != samples.front().descriptors) {
            fail("the number of descriptors changes");
        }
        if (kMemoryIsTheDaemons && sample.memory > samples.front().memory + kMemorySlack) {
            fail("memory grows by " + std::to_string(sample.memory - samples.front().memory) + " KiB");
        }
    }
    if (!kMemoryIsTheDaemons) {
        std::puts("memory is the sanitizer's, and not compared");
    }
}

// The last frame of so many cycles.
sim::Picture run(const char* program, const char* shim, long cycles, bool watched) {
    SoakedDaemon daemon(program, shim);
    const std::vector<Block> blocks = inBlocks(cycleCommands());
    std::vector<Sample> samples;
    const auto start = std::chrono::steady_clock::now();
    daemon.expect(kStart);
    daemon.catchUp();
    for (long i = 0; i < cycles; ++i) {
        runCycle(daemon, blocks, i);
        if (watched) {
            watchProcess(samples, i + 1, cycles);
        }
    }
    const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - start;
    const sim::Picture frame = daemon.lastFrame();
    if (daemon.end() != 0) {
        fail("the daemon did not end in order");
    }
    daemon.compareLines();
    if (watched) {
        checkSamples(samples);
        std::printf("%ld commands and %ld events in %.1f s, %ld lines, none lost\n",
                    cycles * static_cast<long>(kCommandsPerCycle),
                    cycles * kRounds * static_cast<long>(std::size(kKeys) + std::size(kEncoders)),
                    seconds.count(), daemon.lines());
    }
    return frame;
}

}  // namespace

int main(int argc, char** argv) {
    const long cycles = argc == 4 ? std::strtol(argv[3], nullptr, 10) : 0;
    if (cycles < kSamples) {
        std::fprintf(stderr, "usage: %s DAEMON SHIM CYCLES, at least %d\n", argv[0], kSamples);
        return 2;
    }
    const sim::Picture last = run(argv[1], argv[2], cycles, true);
    if (last.litCount() == 0 || last != run(argv[1], argv[2], 1, false)) {
        fail("the last frame is another than that of a short session");
    }
    std::puts("the last frame is that of a short session");
    return 0;
}
