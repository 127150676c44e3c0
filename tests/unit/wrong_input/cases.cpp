#include "wrong_input/cases.h"

#include <algorithm>
#include <map>

#include "wrong_input/grammar.h"
#include "wrong_input/station.h"

namespace wrong_input {
namespace {

using Texts = std::vector<std::string>;

// What shows the state that a command leaves behind, and what it needs to find.
struct Scene {
    Texts before;
    Texts after;
};

Scene sceneOf(const std::string& word) {
    const Texts shapes = {"g:shape 5 arrow", "g:shape 5 Arrow 9 4 gray"};
    const Texts bitmaps = {"g:bmpdraw 5 dot.bmp 1 1", "g:bmpdraw 5 alpha.bmp 4 4"};
    const std::map<std::string, Scene> scenes = {
        {"font", {{}, {"g:text 5 0 0 i: white"}}},
        {"ufont", {{"g:ufont sans.ttf"}, {"g:utext 0 Hi white"}}},
        {"utext", {{"g:ufont sans.ttf"}, {}}},
        {"shape", {{}, shapes}},
        {"shaped", {{"g:shape 0 arrow"}, shapes}},
        {"bmp", {{}, bitmaps}},
        {"bmpa", {{}, bitmaps}},
        {"bmpt", {{"g:bmp dot.bmp"}, bitmaps}},
        {"bmpdraw", {{"g:bmp dot.bmp"}, {}}},
        {"bmpdel", {{"g:bmp dot.bmp"}, bitmaps}},
        {"vdisp", {{}, {"g:info 7", "g:clear 7 red", "g:info 5", "g:copy 0 7"}}},
        {"vdispd", {{}, {"g:info 5"}}},
        {"color", {{}, {"g:clear 5 red", "g:clear 0 arrow", "g:pixel 0 1 1 'it''s'"}}},
        {"flush", {{}, {"g:flush 0"}}},
    };
    const auto found = scenes.find(word);
    return found == scenes.end() ? Scene{} : found->second;
}

Case oneLine(const std::string& line, int debugLevel = 1) {
    return {{line + "\n"}, debugLevel};
}

// The correct arguments from .. to - 1, each behind a blank.
std::string good(const Command& command, std::size_t from, std::size_t to) {
    std::string text;
    for (std::size_t i = from; i < to; ++i) {
        text += std::string(" ") + command.arguments[i].good;
    }
    return text;
}

// Every sample in every argument's place: as the last thing of the line, with correct arguments behind, and
// with more than the command takes.
void addArguments(const Command& command, std::vector<Case>& cases) {
    const std::size_t count = command.arguments.size();
    for (std::size_t i = 0; i < count; ++i) {
        for (const std::string& sample : samples(command.arguments[i].kind)) {
            const std::string start = std::string("g:") + command.word + good(command, 0, i) + " " + sample;
            const std::string whole = start + good(command, i + 1, count);
            cases.push_back(oneLine(start));
            cases.push_back(oneLine(whole));
            cases.push_back(oneLine(whole + " 77 'never closed"));
        }
    }
}

// The correct line with one fault in its text: cut off, a byte missing, a byte too many.
void addSlips(const std::string& line, std::vector<Case>& cases) {
    for (std::size_t i = 0; i <= line.size(); ++i) {
        cases.push_back(oneLine(line.substr(0, i)));
        if (i < line.size()) {
            cases.push_back(oneLine(line.substr(0, i) + line.substr(i + 1)));
        }
        for (const char extra : {'\0', '\xFF', '\'', '-', '\t'}) {
            cases.push_back(oneLine(line.substr(0, i) + extra + line.substr(i)));
        }
    }
}

std::string upperCase(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; });
    return text;
}

void addSpellings(const Command& command, std::vector<Case>& cases) {
    const std::string word = command.word;
    const std::string arguments = good(command, 0, command.arguments.size());
    for (const std::string& spelled :
         {upperCase(word), word + "2", word.substr(0, word.size() - 1), "'" + word + "'", "\"" + word,
          "'" + word + "\\x", "\v " + word, std::string(1400, 'w') + word, word + "\xE9"}) {
        cases.push_back(oneLine("g:" + spelled + arguments));
    }
    for (const char* prefix : {"g: ", "g:\t", "g:  ", "G:", " g:", "g", ":", "g;", "'g:'", "x:"}) {
        cases.push_back(oneLine(prefix + word + arguments));
    }
    for (const int level : {0, 2, 3}) {
        cases.push_back(oneLine("g:" + word + arguments, level));
    }
}

Group drawing(const Command& command) {
    const Scene scene = sceneOf(command.word);
    Group group = {
        command.word, {"g:vdisp 5 20 10", "g:clear 0 #FF010203", "g:clear 5 #80203040"}, {}, scene.after};
    group.before.insert(group.before.end(), scene.before.begin(), scene.before.end());
    addArguments(command, group.cases);
    addSlips("g:" + std::string(command.word) + good(command, 0, command.arguments.size()), group.cases);
    addSpellings(command, group.cases);
    return group;
}

// "set" commands

Texts numbers() {
    Texts all = integers();
    for (const char* more : {"1",
                             "2",
                             "3",
                             "4",
                             "5",
                             "6",
                             "9",
                             "10",
                             "11",
                             "15",
                             "16",
                             "18",
                             "19",
                             "70",
                             "71",
                             "99",
                             "100",
                             "254",
                             "255",
                             "10000",
                             "10001",
                             "0x5",
                             "0X1f",
                             "010",
                             "08",
                             "0xg",
                             "0x",
                             "+3",
                             "+",
                             "+-3",
                             "-3",
                             "0x100000000",
                             "037777777777",
                             "040000000000",
                             "1junk",
                             "1 junk"}) {
        all.emplace_back(more);
    }
    return all;
}

Group settings() {
    // All lights of one colour are lit at first; at the end all show how bright they have become.
    Group group = {"set_identifiers", {"a:set 20 1"}, {}, {"a:set 20 2", "a:set 20 1"}};
    for (const std::int64_t id : Station::identifiers()) {
        for (const std::string& state : numbers()) {
            group.cases.push_back(oneLine("a:set " + std::to_string(id) + " " + state));
        }
        for (const int level : {0, 2, 3}) {
            for (const char* state : {"1", "77", "x"}) {
                group.cases.push_back(oneLine("a:set " + std::to_string(id) + " " + state, level));
            }
        }
    }
    return group;
}

Group settingsSpelled() {
    Group group = {"set_spelling", {"a:set 20 1"}, {}, {"a:set 20 2", "a:set 20 1"}};
    for (const std::string& id : numbers()) {
        for (const char* state : {"", " ", " 1", " -", "\t2", "1"}) {
            group.cases.push_back(oneLine("a:set " + id + state));
        }
    }
    addSlips("a:set 0x14 3", group.cases);
    addSlips("a: set 511 10", group.cases);
    for (const char* line :
         {"a:", "a: ", "a:set", "a:SET 9 1", "a:set\t9 1", "a:sets 9 1", "A:set 9 1", "a:\tset 9 1",
          "a:  set 9 1", "a:set  9\v1", "a:g:info", "g:a:set 9 1", "as:et 9 1"}) {
        for (int level = 0; level <= 3; ++level) {
            group.cases.push_back(oneLine(line, level));
        }
    }
    return group;
}

// Framing

// Two reads, wherever the first one ends.
void addSplits(const std::string& stream, std::vector<Case>& cases) {
    for (std::size_t i = 1; i < stream.size(); ++i) {
        cases.push_back({{stream.substr(0, i), stream.substr(i)}, 2});
    }
}

void addLongLines(std::vector<Case>& cases) {
    for (const std::size_t length : {100U, 1000U, 1533U, 1534U, 1535U, 1536U, 1537U, 2045U, 2046U, 2047U,
                                     2048U, 2049U, 3000U, 4096U, 5000U}) {
        const std::string word = "g:" + std::string(length - 2, 'w');
        for (const std::string& first : {std::string(), std::string("g:info 0\n"), std::string(600, '\n')}) {
            cases.push_back({{first + word + "\ng:info 5\n"}});
            cases.push_back({{first + word, "\ng:info 5\n"}});
            cases.push_back({{first + word, "g:info 5\n", "g:info\n"}});
            cases.push_back({{first, word, word, "\n", "g:info 5\n"}});
        }
    }
}

Group framing() {
    Group group = {"framing", {"g:vdisp 5 20 10"}, {}, {}};
    addSplits("g:pixel 0 1 1 red\n\na:set 9 1\r\ng:info 5\n", group.cases);
    addSplits(std::string("g:info\0 5\n\0\ng:quit\nx\n", 22), group.cases);
    addSplits("g:info\na:set 299 3\ng:foo\na:set 299 9\na:set 200 0\ng:info 5\n", group.cases);
    addLongLines(group.cases);
    for (int byte = 0; byte < 256; ++byte) {  // alone, and in a command
        const std::string one(1, static_cast<char>(byte));
        group.cases.push_back({{one + "\ng:info\n"}});
        group.cases.push_back({{"g:info" + one + "5\n"}});
        group.cases.push_back({{"g:" + one + "info 5\n"}});
        group.cases.push_back({{"a:set 9 1" + one + "\n"}});
    }
    return group;
}

}  // namespace

std::vector<std::string> groupNames() {
    Texts names;
    for (const Command& command : grammar()) {
        names.emplace_back(command.word);
    }
    names.insert(names.end(), {"set_identifiers", "set_spelling", "framing"});
    return names;
}

Group makeGroup(const std::string& name) {
    for (const Command& command : grammar()) {
        if (command.word == name) {
            return drawing(command);
        }
    }
    return name == "framing" ? framing() : name == "set_spelling" ? settingsSpelled() : settings();
}

}  // namespace wrong_input
