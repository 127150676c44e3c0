#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "freetype/fnt_utf8.h"

namespace {

using Codes = std::vector<std::uint32_t>;

// The text stands at the end of its memory, so that a read behind the NUL is seen by the sanitizer.
Codes decode(const std::string& text) {
    const std::vector<char> exact(text.c_str(), text.c_str() + text.size() + 1);
    Codes codes;
    const char* at = exact.data();
    while (const std::uint32_t code = fnt::nextCode(&at)) {
        codes.push_back(code);
    }
    EXPECT_LE(at, exact.data() + text.size());
    return codes;
}

constexpr std::uint32_t kQuestion = '?';

TEST(Utf8, EverySequenceLengthDecodes) {
    EXPECT_EQ(decode("A~"), (Codes{'A', '~'}));
    EXPECT_EQ(decode("\xC3\x85"), (Codes{0xC5}));
    EXPECT_EQ(decode("\xE2\x80\xA6"), (Codes{0x2026}));
    EXPECT_EQ(decode("\xF0\x9F\x98\x80"), (Codes{0x1F600}));
    EXPECT_EQ(decode("\xF8\x88\x80\x80\x80"), (Codes{0x200000}));
    EXPECT_EQ(decode("\xFC\x84\x80\x80\x80\x80"), (Codes{0x4000000}));
    EXPECT_EQ(decode("\xFD\xBF\xBF\xBF\xBF\xBF"), (Codes{0x7FFFFFFF}));
}

TEST(Utf8, EndOfTheTextIsNotPassed) {
    const char* at = "";
    const char* const start = at;
    EXPECT_EQ(fnt::nextCode(&at), 0U);
    EXPECT_EQ(at, start);
}

TEST(Utf8, InvalidLeadBytesStandForAQuestionMark) {
    EXPECT_EQ(decode("\xFE"), (Codes{kQuestion}));
    EXPECT_EQ(decode("\xFF"
                     "a"),
              (Codes{kQuestion, 'a'}));
    EXPECT_EQ(decode("a\x80"
                     "b"),
              (Codes{'a', kQuestion, 'b'}));
}

TEST(Utf8, StrayContinuationBytesAreSkippedWithTheirLead) {
    EXPECT_EQ(decode("\xFE\x80\x81\x82"
                     "a"),
              (Codes{kQuestion, 'a'}));
    EXPECT_EQ(decode("\x80\x81\x82"
                     "a"),
              (Codes{kQuestion, 'a'}));
    EXPECT_EQ(decode("\xFF\xFE\x80"), (Codes{kQuestion, kQuestion}));
}

TEST(Utf8, ContinuationByteTooManyIsAStrayOne) {
    EXPECT_EQ(decode("\xC3\x85\x85\x85"
                     "a"),
              (Codes{0xC5, kQuestion, 'a'}));
}

TEST(Utf8, TruncatedSequenceStandsForAQuestionMarkAndKeepsWhatEndedIt) {
    EXPECT_EQ(decode("\xC3"
                     "a"),
              (Codes{kQuestion, 'a'}));
    EXPECT_EQ(decode("\xE2\x80"
                     "a"),
              (Codes{kQuestion, 'a'}));
    EXPECT_EQ(decode("\xE2\xE2\x80\xA6"), (Codes{kQuestion, 0x2026}));
}

TEST(Utf8, SequenceTruncatedByTheEndStopsThere) {
    for (const char* text :
         {"\xC3", "\xE2", "\xE2\x80", "\xF0\x9F\x98", "\xF8\x88\x80\x80", "\xFC\x84\x80\x80\x80"}) {
        EXPECT_EQ(decode(text), (Codes{kQuestion}));
    }
}

TEST(Utf8, OverlongSequencesAndSurrogatesAreTakenByTheirValue) {
    EXPECT_EQ(decode("\xC1\x81"), (Codes{'A'}));
    EXPECT_EQ(decode("\xE0\x81\x81"), (Codes{'A'}));
    EXPECT_EQ(decode("\xED\xA0\x80\xED\xBF\xBF"), (Codes{0xD800, 0xDFFF}));
}

TEST(Utf8, OverlongZeroEndsTheText) {
    EXPECT_EQ(decode("a\xC0\x80"
                     "b"),
              (Codes{'a'}));
}

}  // namespace
