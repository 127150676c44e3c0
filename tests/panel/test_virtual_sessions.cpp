// The real daemon with the virtual clock: days in seconds, and the same on every run.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <fstream>
#include <string>
#include <vector>

#include "tests/unit/sim/simulator_fixture.h"

namespace {

class VirtualSession : public Simulator {
protected:
    // Of the daemon; its log is the file "log".
    int playDaemon(const std::string& script) {
        return play(script, "", "--clock virtual --log '" + work.file("log") + "'");
    }

    struct Write {
        std::string level;
        std::int64_t ms;
        bool operator==(const Write& other) const { return level == other.level && ms == other.ms; }
    };
    // What was written to an LED's brightness, in order.
    [[nodiscard]] std::vector<Write> writesTo(const std::string& led) const {
        const std::string begin =
            R"({"event":"write","path":"/sys/class/leds/pca963x:)" + led + R"(/brightness","text":")";
        std::vector<Write> writes;
        std::ifstream log(work.file("log"));
        for (std::string line; std::getline(log, line);) {
            if (line.compare(0, begin.size(), begin) == 0) {
                const std::size_t end = line.find('"', begin.size());
                writes.push_back({line.substr(begin.size(), end - begin.size()),
                                  std::stoll(line.substr(line.find("\"ms\":") + 5))});
            }
        }
        return writes;
    }
};

TEST_F(VirtualSession, DayOfBlinkingHasEveryPhaseAtItsTime) {
    constexpr std::int64_t kPhase = 500;  // ms
    constexpr std::int64_t kDay = 86'400'000;
    ASSERT_EQ(playDaemon("send a:set 9 3\nadvance " + std::to_string(kDay) + "\n"), 0) << err();
    std::vector<Write> expected = {{"0", 0}};  // of the start; the first phase is dark too
    for (std::int64_t ms = 0; ms <= kDay; ms += kPhase) {
        expected.push_back({ms / kPhase % 2 == 0 ? "0" : "82", ms});
    }
    expected.push_back({"0", kDay});  // of the end
    const std::vector<Write> writes = writesTo("grn:t1");
    ASSERT_EQ(writes.size(), 172'803U);
    const auto [got, wanted] = std::mismatch(writes.begin(), writes.end(), expected.begin());
    EXPECT_TRUE(got == writes.end()) << got->level << " at " << got->ms << " instead of " << wanted->level
                                     << " at " << wanted->ms;
}

TEST_F(VirtualSession, RunsAreTheSameByteForByte) {
    const std::string script =
        "press Menu\nstart -p\nwait frame\nsend a:set 299 3\nsend a:set 9 3\npause 777\nsend a:set 12 4\n"
        "turn Left 7\nhold Talk_1 250\nrelease Menu\npause 123\nsend g:text 0 1 1 'virtual' white\n"
        "raw \"g:flush 0\\ng:info\\na:set 202 150\\n\"\nwait line OnDisplayInfo1(1,96,64)\npause 61000\n"
        "turn Rear -100\nrepeat 2000 raw \"g:info 0\\n\"\nunplug /dev/input/event4\npause 10\n"
        "fault select EINTR times 2\nsend a:set 20 4\npause 3000\n";
    ASSERT_EQ(playDaemon(script), 0) << err();
    const std::string log = work.read("log");
    const std::string output = out();
    EXPECT_GT(std::count(log.begin(), log.end(), '\n'), 900);
    EXPECT_GT(std::count(output.begin(), output.end(), '\n'), 2010);
    for (int run = 0; run < 3; ++run) {
        ASSERT_EQ(playDaemon(script), 0) << err();
        EXPECT_EQ(work.read("log"), log);
        EXPECT_EQ(out(), output);
    }
}

}  // namespace
