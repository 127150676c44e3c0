// What the commands look like, as their manual has it, and what people write instead. The tables stand apart
// from the daemon's own on purpose: nothing here is taken from its code.
#pragma once

#include <string>
#include <vector>

namespace wrong_input {

enum class Kind { display, integer, text, color };

struct Argument {
    Kind kind;
    const char* name;  // as messages call it
    bool optional;     // missing or unreadable: no message
    const char* good;  // what a correct command has here
};

struct Command {
    const char* word;
    std::vector<Argument> arguments;
};

inline const std::vector<Command>& grammar() {
    constexpr bool kMust = false;
    constexpr bool kMay = true;
    const Argument display = {Kind::display, "", kMust, "5"};
    const auto number = [](const char* name, const char* good) {
        return Argument{Kind::integer, name, kMust, good};
    };
    const auto maybeNumber = [](const char* good) { return Argument{Kind::integer, "", kMay, good}; };
    const auto text = [](const char* name, const char* good) {
        return Argument{Kind::text, name, kMust, good};
    };
    const auto color = [](const char* name) { return Argument{Kind::color, name, kMust, "#FF3456"}; };
    const Argument maybeColor = {Kind::color, "", kMay, "gray"};
    const std::vector<Argument> bitmapText = {display,           number("x", "1"), number("y", "1"),
                                              text("txt", "Ab"), color("fg"),      maybeColor};

    static const std::vector<Command> table = {
        {"info", {{Kind::display, "", kMay, "5"}}},
        {"clear", {display, maybeColor}},
        {"pixel", {display, number("x", "3"), number("y", "4"), color("fg")}},
        {"rect",
         {display, number("x", "2"), number("y", "1"), number("w", "7"), number("h", "5"), color("fg"),
          maybeColor}},
        {"line",
         {display, number("x1", "1"), number("y1", "2"), number("x2", "15"), number("y2", "8"), color("fg")}},
        {"font", {display, text("fname", "own")}},
        {"text", bitmapText},
        {"ctext", bitmapText},
        {"rtext", bitmapText},
        {"ufont", {{Kind::text, "", kMay, "sans.ttf"}}},
        {"utext",
         {display, text("txt", "'two lines'"), color("fg"), maybeNumber("9"), maybeNumber("1"),
          maybeNumber("0"), maybeNumber("0")}},
        {"shape",
         {display,
          text("name", "arrow"),
          maybeNumber("4"),
          maybeNumber("2"),
          {Kind::color, "", kMay, "white"},
          maybeColor}},
        {"shaped", {text("name", "arrow")}},
        {"bmp", {text("name", "dot.bmp")}},
        {"bmpa", {text("name", "alpha.bmp")}},
        {"bmpt", {text("name", "dot.bmp"), color("bg")}},
        {"bmpdraw", {display, text("name", "dot.bmp"), number("x", "6"), number("y", "3")}},
        {"bmpdel", {text("name", "dot.bmp")}},
        {"vdisp", {{Kind::integer, "", kMay, "7"}, number("w", "12"), number("h", "10")}},
        {"vdispd", {text("dispId", "5")}},
        {"color", {color("clr"), text("name", "Red")}},
        {"copy",
         {display,
          {Kind::display, "", kMust, "0"},
          maybeNumber("1"),
          maybeNumber("2"),
          maybeNumber("3"),
          maybeNumber("4"),
          maybeNumber("5"),
          maybeNumber("6")}},
        {"flush", {{Kind::display, "", kMust, "0"}, maybeNumber("1")}},
        {"set", {number("n", "3"), number("s", "1")}},
        {"quit", {}},
    };
    return table;
}

// What is written in an argument's place. The empty one leaves it out.

inline std::vector<std::string> integers() {
    return {"",
            "-",
            "--5",
            "+5",
            "- 5",
            "-x",
            "0",
            "-0",
            "-1",
            "00012",
            "96",
            "6143",
            "2147483646",
            "2147483647",
            "2147483648",
            "-2147483647",
            "-2147483648",
            "-2147483649",
            "4294967295",
            "4294967296",
            "4294967299",
            "-4294967295",
            "18446744073709551616",
            "99999999999999999999999999",
            std::string(300, '1'),
            "-" + std::string(1200, '9'),
            "0x10",
            "12abc",
            "1.5",
            "1e3",
            "5,6",
            "abc",
            std::string(1400, 'x'),
            "'5'",
            "''",
            "\"\"",
            "'5",
            "\"",
            "#123",
            "(1)",
            "\xFF\xFE",
            "\xD9\xA3",
            "5\xA0",
            "\v\f7",
            "\r7\t",
            std::string("5\0", 2) + "6",
            std::string("\0", 1)};
}

inline std::vector<std::string> displays() {
    std::vector<std::string> all = integers();
    for (const char* more : {"1", "5", "05", "6", "-5", "5x", "4294967301"}) {
        all.emplace_back(more);
    }
    return all;
}

inline std::vector<std::string> texts() {
    return {"",
            "''",
            "\"\"",
            "'abc",
            "\"abc",
            "'abc\"",
            "'",
            "'a\\x41b'",
            "'a\\x4'",
            "'a\\x4g'",
            "'a\\x'",
            "'a\\",
            "'a\\'",
            R"('it\'s')",
            R"("\\\n")",
            "'it''s'",
            "it's",
            "abc",
            "ABC",
            "own",
            "OWN",
            "F9x5M",
            "arrow",
            "Arrow",
            "dot.bmp",
            "DOT.bmp",
            "alpha.bmp",
            "sans.ttf",
            "RED",
            "5",
            "05",
            "-",
            "#FFF",
            "\xE9\xFF",
            "'\xC3\xA9'",
            R"('\xFF\x80')",
            R"('\x00a')",
            R"('a\x00b')",
            std::string(1400, 'a'),
            "'" + std::string(700, 'w') + " " + std::string(700, 'i') + "'",
            "'" + std::string(1400, 'q'),
            "'a b c'",
            "'Stage left is on'",
            "'   '",
            "%s%n%d",
            "../../etc/passwd",
            ".",
            "/",
            "a\tb",
            "OnError(\"x\")",
            std::string("a\0", 2) + "b",
            std::string("'a\0", 3) + "b'"};
}

inline std::vector<std::string> colors() {
    return {"",
            "(1,2,3)",
            "( 1 , 2\t, 3 )",
            "(1,2,3",
            "(1,2)",
            "(1,2,3,4)",
            "(1;2;3)",
            "(1 2 3)",
            "(256,0,0)",
            "(0,256,0)",
            "(0,0,256)",
            "(255,255,255)",
            "(-1,0,0)",
            "(0,-1,0)",
            "(-,-,-)",
            "(,1,2)",
            "()",
            "(",
            "(4294967296,4294967551,4294967297)",
            "(4294967552,0,0)",
            "(x,1,2)",
            "('1',2,3)",
            "(1,2,3)x",
            "#",
            "#1",
            "#12",
            "#123",
            "#1234",
            "#12345",
            "#123456",
            "#1234567",
            "#12345678",
            "#123456789",
            "#abcDEF",
            "#xyz",
            "#12g",
            "#123g",
            "#12345g",
            "#1234567g",
            "# 123",
            "#" + std::string(1400, 'F'),
            "0",
            "7",
            "4278190080",
            "4294967295",
            "4294967296",
            "4294967297",
            "99999999999999999999",
            std::string(1400, '8'),
            "255x",
            "-",
            "-1",
            "+1",
            "red",
            "RED",
            "Red",
            "'red'",
            "\"GREEN\"",
            "'red",
            "\"red",
            "''",
            "'r\\x65d'",
            "'r\\x6'",
            "transparent",
            "redd",
            "re",
            "red,",
            "nosuchcolor",
            std::string(1400, 'r'),
            "\xFF",
            "r\xE9"
            "d",
            std::string("red\0", 4) + "x",
            std::string("\0", 1)};
}

inline std::vector<std::string> samples(Kind kind) {
    switch (kind) {
        case Kind::display:
            return displays();
        case Kind::integer:
            return integers();
        case Kind::text:
            return texts();
        default:
            return colors();
    }
}

}  // namespace wrong_input
