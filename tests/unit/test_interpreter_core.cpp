// The grammar that all commands share, the error channel, and the commands info, set, color and quit.

#include <gtest/gtest.h>

#include <climits>
#include <string>
#include <utility>

#include "interpreter_fixture.h"

namespace {

class Lexical : public InterpreterTest {
protected:
    struct Int {
        bool ok;
        long value;
        std::string rest;
        bool operator==(const Int& o) const { return ok == o.ok && value == o.value && rest == o.rest; }
    };
    static Int readInt(const char* text) {
        long value = 77;
        const char* p = text;
        const bool ok = GraphicsCommandProcessor::getInt(p, value);
        return {ok, value, p};
    }
    // The string and what is left behind it, or "FAILS".
    static std::string readString(const char* text) {
        SimpleString s("old");
        const char* p = text;
        return GraphicsCommandProcessor::getString(p, s) ? std::string(s.c_str()) + "|" + p : "FAILS";
    }
    // The colour and what is left behind it, or "FAILS".
    std::string readColor(const char* text) {
        Pixel c;
        const char* p = text;
        if (!gcp.getColor(p, c)) {
            return "FAILS";
        }
        char hex[16];
        std::snprintf(hex, sizeof hex, "%08X", c.px);
        return std::string(hex) + "|" + p;
    }
};

using InfoCommand = InterpreterTest;
using SetCommand = InterpreterTest;
using QuitCommand = InterpreterTest;
using Dispatch = InterpreterTest;

class ColorCommand : public Lexical {};

}  // namespace

TEST_F(Lexical, EndIsFoundBehindAllKindsOfWhiteSpace) {
    const char* p = " \t\n\v\f\r";
    EXPECT_TRUE(GraphicsCommandProcessor::isEnd(p));
    EXPECT_EQ(*p, '\0');
    p = "  x";
    EXPECT_FALSE(GraphicsCommandProcessor::isEnd(p));
    EXPECT_STREQ(p, "x");
}

TEST_F(Lexical, IntegerStopsAtTheFirstOtherCharacter) {
    EXPECT_EQ(readInt(" 12abc"), (Int{true, 12, "abc"}));
    EXPECT_EQ(readInt("0x10"), (Int{true, 0, "x10"}));
    EXPECT_EQ(readInt("-7,"), (Int{true, -7, ","}));
}

TEST_F(Lexical, IntegerTakesNoPlusSign) {
    EXPECT_EQ(readInt(" +5"), (Int{false, 0, "+5"}));
}

TEST_F(Lexical, MissingIntegerFailsWithZeroAndStaysThere) {
    EXPECT_EQ(readInt("  abc"), (Int{false, 0, "abc"}));
    EXPECT_EQ(readInt(""), (Int{false, 0, ""}));
}

TEST_F(Lexical, LoneMinusIsZero) {
    EXPECT_EQ(readInt(" - 3"), (Int{true, 0, " 3"}));
    EXPECT_EQ(readInt("--3"), (Int{true, 0, "-3"}));
}

TEST_F(Lexical, IntegersWrapAt32Bits) {
    EXPECT_EQ(readInt("2147483647").value, INT_MAX);
    EXPECT_EQ(readInt("2147483648").value, INT_MIN);
    EXPECT_EQ(readInt("-2147483649").value, INT_MAX);
    EXPECT_EQ(readInt("4294967297").value, 1);
    EXPECT_EQ(readInt("-4294967295").value, 1);
}

TEST_F(Lexical, UnquotedStringRunsToTheNextWhiteSpace) {
    EXPECT_EQ(readString("  ab cd"), "ab| cd");
}

TEST_F(Lexical, UnquotedStringKeepsItsInnerQuotes) {
    EXPECT_EQ(readString("it's\"so\" x"), "it's\"so\"| x");
    EXPECT_EQ(readString("a\\x41"), "a\\x41|");
}

TEST_F(Lexical, QuotedStringEndsAtTheSameQuote) {
    EXPECT_EQ(readString("'a \"b\" c'd"), "a \"b\" c|d");
    EXPECT_EQ(readString("\"it's\" x"), "it's| x");
}

TEST_F(Lexical, EmptyQuotedStringIsValid) {
    EXPECT_EQ(readString("'' x"), "| x");
}

TEST_F(Lexical, BackslashTakesTheNextCharacterAsItIs) {
    EXPECT_EQ(readString(R"('it\'s')"), "it's|");
    EXPECT_EQ(readString(R"("a\"b\\c\nd")"), "a\"b\\cnd|");
}

TEST_F(Lexical, HexEscapeGivesTheByte) {
    EXPECT_EQ(readString(R"('a\x41b')"), "aAb|");
    EXPECT_EQ(readString(R"('\xe9\xE9')"), "\xE9\xE9|");
    EXPECT_EQ(readString(R"('\x414')"), "A4|");
}

TEST_F(Lexical, HexEscapeNeedsTwoDigits) {
    EXPECT_EQ(readString(R"('a\x4')"), "FAILS");
    EXPECT_EQ(readString(R"('a\xg1')"), "FAILS");
    EXPECT_EQ(readString(R"('a\x')"), "FAILS");
    EXPECT_EQ(readString(R"('a\x4)"), "FAILS");
}

TEST_F(Lexical, HexEscapeOfZeroEndsTheTextThere) {
    EXPECT_EQ(readString(R"('ab\x00cd' z)"), "ab| z");
}

TEST_F(Lexical, UnclosedQuoteFails) {
    EXPECT_EQ(readString("'abc"), "FAILS");
    EXPECT_EQ(readString("\""), "FAILS");
}

TEST_F(Lexical, BackslashAsTheLastCharacterFails) {
    EXPECT_EQ(readString("'abc\\"), "FAILS");
}

TEST_F(Lexical, MissingStringFails) {
    EXPECT_EQ(readString("   "), "FAILS");
    EXPECT_EQ(readString(""), "FAILS");
}

TEST_F(Lexical, ChannelFormTakesWhiteSpaceAroundItsParts) {
    EXPECT_EQ(readColor("(255, 0 ,0 )x"), "FFFF0000|x");
    EXPECT_EQ(readColor(" (\t1,2,3)"), "FF010203|");
}

TEST_F(Lexical, ChannelsLieIn0To255) {
    EXPECT_EQ(readColor("(256,0,0)"), "FAILS");
    EXPECT_EQ(readColor("(-1,0,0)"), "FAILS");
    EXPECT_EQ(readColor("(0,0,256)"), "FAILS");
    EXPECT_EQ(readColor("(0,256,0)"), "FAILS");
}

TEST_F(Lexical, LoneMinusIsAChannelOfZero) {
    EXPECT_EQ(readColor("(-,9,-)"), "FF000900|");
}

TEST_F(Lexical, ChannelFormNeedsThreeValuesAndItsSigns) {
    EXPECT_EQ(readColor("(1,2)"), "FAILS");
    EXPECT_EQ(readColor("(1 2 3)"), "FAILS");
    EXPECT_EQ(readColor("(1,2,3"), "FAILS");
    EXPECT_EQ(readColor("(1,2,x)"), "FAILS");
    EXPECT_EQ(readColor("()"), "FAILS");
    EXPECT_EQ(readColor("("), "FAILS");
}

TEST_F(Lexical, OneDigitHexFormsAreNotScaled) {
    EXPECT_EQ(readColor("#F00"), "FF0F0000|");
    EXPECT_EQ(readColor("#8F00"), "080F0000|");
    EXPECT_EQ(readColor("#abc "), "FF0A0B0C| ");
}

TEST_F(Lexical, TwoDigitHexFormsAreBytes) {
    EXPECT_EQ(readColor("#FF0000"), "FFFF0000|");
    EXPECT_EQ(readColor("#80aBcDeF"), "80ABCDEF|");
}

TEST_F(Lexical, HexFormsOfOtherLengthsFail) {
    EXPECT_EQ(readColor("#"), "FAILS");
    EXPECT_EQ(readColor("#1"), "FAILS");
    EXPECT_EQ(readColor("#12"), "FAILS");
    EXPECT_EQ(readColor("#12g"), "FAILS");
    EXPECT_EQ(readColor("#12345"), "FAILS");
    EXPECT_EQ(readColor("#1234567"), "FAILS");
}

TEST_F(Lexical, NinthHexDigitIsLeftForTheNextArgument) {
    EXPECT_EQ(readColor("#123456789"), "12345678|9");
}

TEST_F(Lexical, DecimalColourIsTheWholeValueModulo32Bits) {
    EXPECT_EQ(readColor("4278190080"), "FF000000|");
    EXPECT_EQ(readColor("4294967296"), "00000000|");
    EXPECT_EQ(readColor("16777215x"), "00FFFFFF|x");
}

TEST_F(Lexical, NegativeColourIsANameThatNobodyHas) {
    EXPECT_EQ(readColor("-1"), "FAILS");
}

TEST_F(Lexical, ColourNamesFoldCase) {
    EXPECT_EQ(readColor("RED"), "FF800000|");
    EXPECT_EQ(readColor("Red"), "FF800000|");
    EXPECT_EQ(readColor("red x"), "FF800000| x");
    EXPECT_EQ(readColor("'ReD'"), "FF800000|");
}

TEST_F(Lexical, PredefinedColoursHaveTheirValues) {
    EXPECT_EQ(readColor("green"), "FF008000|");
    EXPECT_EQ(readColor("blue"), "FF000080|");
    EXPECT_EQ(readColor("white"), "FFFFFFFF|");
    EXPECT_EQ(readColor("black"), "FF000000|");
    EXPECT_EQ(readColor("gray"), "FF808080|");
    EXPECT_EQ(readColor("transparent"), "00000000|");
}

TEST_F(Lexical, UnknownColourNamesFail) {
    EXPECT_EQ(readColor("re"), "FAILS");
    EXPECT_EQ(readColor("redd"), "FAILS");
    EXPECT_EQ(readColor("''"), "FAILS");
    EXPECT_EQ(readColor("'red"), "FAILS");
    EXPECT_EQ(readColor("\xC3\xA9"), "FAILS");
    EXPECT_EQ(readColor(""), "FAILS");
}

TEST_F(Lexical, DisplayNumbersReportWhatWasRead) {
    struct {
        const char* text;
        long id;
        bool found;
    } const cases[] = {
        {"0", 0, true},  {"-", 0, true}, {"1", 1, false},         {"-1", -1, false},
        {"x", 0, false}, {"", 0, false}, {"4294967296", 0, true}, {"2147483648", INT_MIN, false}};
    for (const auto& c : cases) {
        long id = 55;
        const char* p = c.text;
        EXPECT_EQ(gcp.getDisplay(p, &id) != nullptr, c.found) << c.text;
        EXPECT_EQ(id, c.id) << c.text;
    }
}

TEST_F(Dispatch, WordsAreCaseSensitive) {
    EXPECT_EQ(run("INFO"), onError("command 'INFO' was not recognized, ignored"));
    EXPECT_EQ(run("Info"), onError("command 'Info' was not recognized, ignored"));
    EXPECT_EQ(run("info"), "OnDisplayInfo1(1,96,64)\n");
}

TEST_F(Dispatch, WordsAreMatchedWhole) {
    EXPECT_EQ(run("info2"), onError("command 'info2' was not recognized, ignored"));
    EXPECT_EQ(run("inf"), onError("command 'inf' was not recognized, ignored"));
    EXPECT_EQ(run("clear,0"), onError("command 'clear,0' was not recognized, ignored"));
}

TEST_F(Dispatch, UnknownWordsAreAcceptedAfterTheirMessage) {
    run("foo");
    EXPECT_TRUE(result);
}

TEST_F(Dispatch, QuotedWordsAreCommandsToo) {
    EXPECT_EQ(run("'info'"), "OnDisplayInfo1(1,96,64)\n");
    EXPECT_EQ(run("\"no such\" 1"), onError("command 'no such' was not recognized, ignored"));
    EXPECT_EQ(run("''"), onError("command '' was not recognized, ignored"));
}

TEST_F(Dispatch, EmptyLinesAreSilentlyAccepted) {
    EXPECT_EQ(run(""), "");
    EXPECT_TRUE(result);
    EXPECT_EQ(run(" \t "), "");
    EXPECT_TRUE(result);
}

TEST_F(Dispatch, UnclosedQuotedWordIsSilentlyAccepted) {
    EXPECT_EQ(run("'info"), "");
    EXPECT_TRUE(result);
}

TEST_F(Dispatch, LongUnknownWordIsToldWhole) {
    const std::string word(100000, 'w');
    EXPECT_EQ(run(word), onError("command '" + word + "' was not recognized, ignored"));
}

TEST_F(Dispatch, PercentSignsInAWordAreNotFormats) {
    EXPECT_EQ(run("%s%n"), onError("command '%s%n' was not recognized, ignored"));
}

TEST_F(Dispatch, BytesAbove127AreOrdinaryCharacters) {
    EXPECT_EQ(run("\x80\xFF"), onError("command '\x80\xFF' was not recognized, ignored"));
}

TEST_F(Dispatch, ControlCharactersAreOrdinaryCharacters) {
    EXPECT_EQ(run("in\x01"
                  "fo\x1F 0"),
              onError("command 'in\x01"
                      "fo\x1F' was not recognized, ignored"));
}

TEST_F(Dispatch, WhiteSpaceBeforeTheWordIsSkipped) {
    EXPECT_EQ(run(" \t info  "), "OnDisplayInfo1(1,96,64)\n");
}

TEST_F(InfoCommand, OfADisplayGivesItsNumberAndExtent) {
    EXPECT_EQ(run("info 0"), "OnDisplayInfo2(0,96,64)\n");
    quietly({"vdisp 7 11 12"});
    EXPECT_EQ(run("info 7"), "OnDisplayInfo2(7,11,12)\n");
    EXPECT_EQ(run("info 007"), "OnDisplayInfo2(7,11,12)\n");
}

TEST_F(InfoCommand, OfAMissingDisplayGivesNoExtent) {
    EXPECT_EQ(run("info 99"), "OnDisplayInfo2(99,0,0)\n");
}

TEST_F(InfoCommand, OfSomethingElseGivesNumberZero) {
    EXPECT_EQ(run("info abc"), "OnDisplayInfo2(0,0,0)\n");
}

TEST_F(InfoCommand, OfANegativeNumberPrintsItUnsigned) {
    EXPECT_EQ(run("info -1"), "OnDisplayInfo2(4294967295,0,0)\n");
}

TEST_F(InfoCommand, WithoutAFirstDisplayGivesNoExtent) {
    displays[0] = nullptr;
    EXPECT_EQ(run("info"), "OnDisplayInfo1(1,0,0)\n");
    GraphicsCommandProcessor none(displays, 0, &hardware);
    testing::internal::CaptureStdout();
    none.processCommand("info");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "OnDisplayInfo1(0,0,0)\n");
}

TEST_F(SetCommand, PassesBothNumbersAsUnsigned) {
    quietly({"set 3 4", "set -1 -2"});
    EXPECT_EQ(hardware.indicators[0], std::make_pair(3u, 4u));
    EXPECT_EQ(hardware.indicators[1], std::make_pair(4294967295u, 4294967294u));
}

TEST_F(SetCommand, LoneMinusPassesZero) {
    quietly({"set 3 -"});
    EXPECT_EQ(hardware.indicators.at(0), std::make_pair(3u, 0u));
}

TEST_F(SetCommand, ReportsTheFirstMissingNumber) {
    EXPECT_EQ(run("set x 1"), onError("expected int n!"));
    EXPECT_EQ(run("set"), onError("expected int n!"));
    EXPECT_EQ(run("set 1"), onError("expected int s!"));
    EXPECT_TRUE(result);
    EXPECT_TRUE(hardware.indicators.empty());
}

TEST_F(ColorCommand, DefinesANameInAnyCase) {
    quietly({"color #F00 X"});
    EXPECT_EQ(readColor("x"), "FF0F0000|");
    quietly({"color (1,2,3) 'two words'"});
    EXPECT_EQ(readColor("'TWO words'"), "FF010203|");
}

TEST_F(ColorCommand, ReplacesPredefinedNames) {
    quietly({"color #FFFFFF red"});
    EXPECT_EQ(readColor("RED"), "FFFFFFFF|");
}

TEST_F(ColorCommand, CanNameAnotherColour) {
    quietly({"color gray shade"});
    EXPECT_EQ(readColor("shade"), "FF808080|");
}

TEST_F(ColorCommand, ReportsTheFirstMissingArgument) {
    EXPECT_EQ(run("color nosuch x"), onError("expected color clr!"));
    EXPECT_EQ(run("color"), onError("expected color clr!"));
    EXPECT_EQ(run("color #F00"), onError("expected string name!"));
    EXPECT_EQ(run("color #F00 'x"), onError("expected string name!"));
}

TEST_F(ColorCommand, EmptyNameStoresNothing) {
    quietly({"color #F00 ''"});
    EXPECT_EQ(readColor("''"), "FAILS");
}

TEST_F(QuitCommand, IsTheOneThatIsRejectedAndPrintsNothing) {
    EXPECT_EQ(run("quit"), "");
    EXPECT_FALSE(result);
    EXPECT_EQ(run("quit now"), "");
    EXPECT_FALSE(result);
}
