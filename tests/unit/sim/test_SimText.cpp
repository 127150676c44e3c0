#include <gtest/gtest.h>

#include <cerrno>

#include "sim/base/Text.h"
#include "sim/program/LineQueue.h"

namespace {

TEST(SimText, HexBytesAreTwoDigitsWithBlanksBetween) {
    EXPECT_EQ(sim::hexBytes(std::string("\x81\x52\x00", 3)), "81 52 00");
    EXPECT_EQ(sim::hexBytes(""), "");
}

TEST(SimText, PrintableTextStaysOnOneLine) {
    EXPECT_EQ(sim::printable("82\n"), "82");
    EXPECT_EQ(sim::printable("a\nb\n\n"), "a\\nb\\n");
    EXPECT_EQ(sim::printable("\t\\\x01\xE4"), "\\t\\\\\\x01\\xE4");
}

TEST(SimText, GlobMatchesTheWholeText) {
    EXPECT_TRUE(sim::globMatches("OnFpKey(1,1,*)", "OnFpKey(1,1,250)"));
    EXPECT_TRUE(sim::globMatches("write /sys/*/brightness 8?", "write /sys/class/leds/a/brightness 82"));
    EXPECT_TRUE(sim::globMatches("[ab]c", "bc"));
    EXPECT_TRUE(sim::globMatches("a\\*", "a*"));
    EXPECT_FALSE(sim::globMatches("a\\*", "ab"));
    EXPECT_FALSE(sim::globMatches("OnFpKey", "OnFpKey(1,1,250)"));
    EXPECT_FALSE(sim::globMatches("", "x"));
}

TEST(SimText, NumbersAreWholeAndInRange) {
    EXPECT_EQ(sim::parseInt("255", 0, 255), 255);
    EXPECT_EQ(sim::parseInt("-3", -5, 5), -3);
    for (const char* bad : {"", "256", "-1", "1x", " 1", "99999999999"}) {
        EXPECT_FALSE(sim::parseInt(bad, 0, 255)) << bad;
    }
}

TEST(SimText, ErrorsHaveTheirNames) {
    EXPECT_EQ(sim::errorName(ENODEV), "ENODEV");
    EXPECT_EQ(sim::errorName(9999), "9999");
    EXPECT_EQ(sim::errorNumber("EMSGSIZE"), EMSGSIZE);
    EXPECT_FALSE(sim::errorNumber("EWHAT"));
}

TEST(LineQueue, LinesMayComeInPieces) {
    sim::LineQueue queue;
    queue.append("one\ntw");
    queue.append("o\n\nrest");
    EXPECT_EQ(queue.lines(), (std::vector<std::string>{"one", "two", ""}));
    EXPECT_EQ(queue.partial(), "rest");
}

}  // namespace
