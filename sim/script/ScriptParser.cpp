#include "sim/script/ScriptParser.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <charconv>
#include <csignal>
#include <deque>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>

#include "sim/base/Text.h"
#include "sim/panel/GpioModel.h"
#include "sim/panel/InputModel.h"
#include "sim/panel/LedModel.h"

namespace sim {
namespace {

constexpr int kMaxCount = 1000000;
constexpr int kMaxMilliseconds = 1000000000;  // eleven days
constexpr double kMaxSpeed = 1000;
constexpr int kMostNested = 8;  // includes in each other
constexpr char kBlanks[] = " \t";

// ---- The grammar ----

// What an argument may be. The last three take the rest of the line and stand alone.
enum class Kind {
    Key,
    Encoder,
    Led,
    Output,
    Level,
    Bit,
    Count,
    Milliseconds,
    Speed,
    Steps,
    Status,
    Switch,
    Signal,
    Seconds,
    Any,
    Words,
    Text,
    Fault
};

struct Rule {
    const char* word;
    std::vector<Kind> arguments;
    std::size_t required;  // how many of them there must be
};

const std::vector<Rule>& rules() {
    static const std::vector<Rule> table = {
        {"start", {Kind::Words}, 0},
        {"send", {Kind::Text}, 0},
        {"raw", {Kind::Any}, 1},
        {"repeat raw", {Kind::Count, Kind::Any}, 2},
        {"close", {}, 0},
        {"press", {Kind::Key}, 1},
        {"release", {Kind::Key}, 1},
        {"hold", {Kind::Key, Kind::Milliseconds}, 2},
        {"repeat", {Kind::Key}, 1},
        {"turn", {Kind::Encoder, Kind::Steps, Kind::Count}, 2},
        {"wait line", {Kind::Text}, 1},
        {"wait log", {Kind::Text}, 1},
        {"wait frame", {Kind::Count}, 0},
        {"wait led", {Kind::Led, Kind::Level}, 2},
        {"wait output", {Kind::Output, Kind::Bit}, 2},
        {"wait exit", {Kind::Status}, 0},
        {"expect line", {Kind::Text}, 0},
        {"expect line~", {Kind::Text}, 1},
        {"expect quiet", {}, 0},
        {"expect silence", {Kind::Milliseconds}, 1},
        {"expect frames", {Kind::Count}, 1},
        {"expect picture", {Kind::Any}, 1},
        {"expect led", {Kind::Led, Kind::Level}, 2},
        {"expect output", {Kind::Output, Kind::Bit}, 2},
        {"expect gain", {Kind::Level}, 1},
        {"expect contrast", {Kind::Level}, 1},
        {"expect display", {Kind::Switch}, 1},
        {"expect exit", {Kind::Status}, 1},
        {"expect no log", {Kind::Text}, 1},
        {"kill", {Kind::Signal}, 0},
        {"pause", {Kind::Milliseconds}, 1},
        {"advance", {Kind::Milliseconds}, 1},
        {"speed", {Kind::Speed}, 1},
        {"include", {Kind::Any}, 1},
        {"fault", {Kind::Fault}, 2},
        {"unplug", {Kind::Any}, 1},
        {"plug", {Kind::Any}, 1},
        {"disptype", {Kind::Any, Kind::Status}, 1},
        {"screenshot", {Kind::Any}, 1},
        {"timeout", {Kind::Seconds}, 1},
    };
    return table;
}

bool isNumber(const std::string& text, int minimum, int maximum) {
    return parseInt(text, minimum, maximum).has_value();
}

bool isSpeed(const std::string& text) {
    double value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    return error == std::errc{} && end == text.data() + text.size() && value >= 1 / kMaxSpeed &&
           value <= kMaxSpeed;
}

bool fits(Kind kind, const std::string& text) {
    switch (kind) {
        case Kind::Key:
            return InputModel::keyCode(text).has_value();
        case Kind::Encoder:
            return InputModel::encoder(text).has_value();
        case Kind::Led:
            return LedModel::indexOf(text).has_value();
        case Kind::Output:
            return GpioModel::numberOf(text).has_value();
        case Kind::Level:
        case Kind::Status:
            return isNumber(text, 0, 255);
        case Kind::Bit:
            return isNumber(text, 0, 1);
        case Kind::Count:
            return isNumber(text, 0, kMaxCount);
        case Kind::Milliseconds:
            return isNumber(text, 0, kMaxMilliseconds);
        case Kind::Speed:
            return isSpeed(text);
        case Kind::Steps:
            return isNumber(text, -InputModel::kMaxDetents, InputModel::kMaxDetents);
        case Kind::Switch:
            return text == "on" || text == "off";
        case Kind::Signal:
            return parseSignal(text).has_value();
        case Kind::Seconds:
            return isNumber(text, 1, 3600);
        default:
            return true;
    }
}

// ---- Words ----

std::string_view skipBlanks(std::string_view text) {
    const std::size_t start = text.find_first_not_of(kBlanks);
    return start == std::string_view::npos ? std::string_view() : text.substr(start);
}

// Takes the escape behind a backslash off the text and puts its byte to the word.
bool takeEscape(std::string_view& text, std::string& word) {
    static constexpr std::array<std::pair<char, char>, 4> kSimple = {
        {{'n', '\n'}, {'\\', '\\'}, {'"', '"'}, {'0', '\0'}}};
    if (text.size() >= 3 && text[0] == 'x') {
        unsigned value = 0;
        const auto [end, error] = std::from_chars(text.data() + 1, text.data() + 3, value, 16);
        word += static_cast<char>(value);
        text.remove_prefix(3);
        return error == std::errc{} && end == text.data();
    }
    const auto* const simple = std::find_if(kSimple.begin(), kSimple.end(), [&](const auto& entry) {
        return !text.empty() && entry.first == text[0];
    });
    if (simple == kSimple.end()) {
        return false;
    }
    word += simple->second;
    text.remove_prefix(1);
    return true;
}

// Takes a quoted piece, whose opening quote is off already, with its closing quote.
bool takeQuoted(std::string_view& text, std::string& word) {
    while (!text.empty()) {
        const char c = text[0];
        text.remove_prefix(1);
        if (c == '"') {
            return true;
        }
        if (c != '\\') {
            word += c;
        } else if (!takeEscape(text, word)) {
            return false;
        }
    }
    return false;
}

bool takeWord(std::string_view& text, std::string& word) {
    while (!text.empty() && text.find_first_of(kBlanks) != 0) {
        const char c = text[0];
        text.remove_prefix(1);
        if (c != '"') {
            word += c;
        } else if (!takeQuoted(text, word)) {
            return false;
        }
    }
    text = skipBlanks(text);
    return true;
}

// ---- Lines ----

// The rule with the most words that the line begins with, and the rest of the line behind one blank.
const Rule* findRule(std::string_view line, std::string_view& rest) {
    const Rule* found = nullptr;
    for (const Rule& rule : rules()) {
        const std::string_view word = rule.word;
        const bool begins = line.substr(0, word.size()) == word;
        const bool whole =
            line.size() == word.size() || line.find_first_of(kBlanks, word.size()) == word.size();
        if (begins && whole && (found == nullptr || word.size() > std::string_view(found->word).size())) {
            found = &rule;
            rest = line.substr(std::min(line.size(), word.size() + 1));
        }
    }
    return found;
}

// "repeat N raw TEXT" is written with its count in the middle; the rule is found by both words.
std::string repeatedRaw(std::string_view line) {
    std::istringstream words{std::string(line)};
    std::string repeat;
    std::string count;
    std::string raw;
    words >> repeat >> count >> raw;
    if (repeat != "repeat" || raw != "raw") {
        return std::string(line);
    }
    std::string rest;
    std::getline(words, rest);
    return "repeat raw " + count + rest;
}

// Whether the word takes any number of arguments, or the line's text as one.
bool takesRest(const Rule& rule) {
    return !rule.arguments.empty() && rule.arguments[0] >= Kind::Words;
}

std::string checkArguments(const Rule& rule, const std::vector<std::string>& arguments) {
    const std::string word = rule.word;
    if (arguments.size() < rule.required) {
        return word + ": an argument is missing";
    }
    if (takesRest(rule)) {
        const bool bad = rule.arguments[0] == Kind::Fault && !parseFault(arguments);
        return bad ? word + ": expected CALL PATH (ERRNO | short COUNT) [nth N] [times N|always]" : "";
    }
    if (arguments.size() > rule.arguments.size()) {
        return word + ": too many arguments";
    }
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        if (!fits(rule.arguments[i], arguments[i])) {
            return word + ": bad argument \"" + arguments[i] + '"';
        }
    }
    return {};
}

std::string parseStep(std::string_view line, Step& step) {
    const std::string text = repeatedRaw(line);
    std::string_view rest;
    const Rule* rule = findRule(text, rest);
    if (rule == nullptr) {
        return "unknown step \"" + std::string(line) + '"';
    }
    step.word = rule->word;
    if (!rule->arguments.empty() && rule->arguments[0] == Kind::Text) {
        if (!rest.empty() || rule->required == 0) {
            step.arguments = {std::string(rest)};
        }
    } else {
        const auto words = splitWords(rest);
        if (!words) {
            return "bad quotes";
        }
        step.arguments = *words;
    }
    return checkArguments(*rule, step.arguments);
}

// ---- Faults ----

using Arguments = std::deque<std::string>;

// The next argument, taken off; an empty one when there is none.
std::string take(Arguments& rest) {
    if (rest.empty()) {
        return {};
    }
    std::string first = rest.front();
    rest.pop_front();
    return first;
}

// CALL PATH, or select
bool takeTarget(Arguments& rest, Fault& fault) {
    const auto* const call = std::find(kDeviceCallNames.begin(), kDeviceCallNames.end(), take(rest));
    fault.call = static_cast<DeviceCall>(call - kDeviceCallNames.begin());
    if (fault.call == DeviceCall::Select) {
        return true;
    }
    fault.path = take(rest);
    return call != kDeviceCallNames.end() && !fault.path.empty();
}

// ERRNO, or for writes: short COUNT
bool takeEffect(Arguments& rest, Fault& fault) {
    const std::string effect = take(rest);
    if (effect != "short") {
        fault.error = errorNumber(effect).value_or(0);
        return fault.error != 0;
    }
    const auto count = parseInt(take(rest), 0, kMaxCount);
    fault.shortCount = static_cast<std::size_t>(count.value_or(0));
    return count && fault.call == DeviceCall::Write;
}

// nth N, times N or times always
bool takeRepetition(Arguments& rest, Fault& fault) {
    const std::string word = take(rest);
    const std::string text = take(rest);
    if (word == "times" && text == "always") {
        fault.times = Fault::kAlways;
        return true;
    }
    const auto number = parseInt(text, 1, kMaxCount);
    (word == "nth" ? fault.nth : fault.times) = static_cast<unsigned>(number.value_or(1));
    return number && (word == "nth" || word == "times");
}

// ---- Files ----

std::optional<std::string> readFile(const std::string& file) {
    std::ifstream stream(file);
    if (!stream || std::filesystem::is_directory(file)) {
        return std::nullopt;
    }
    return std::string{std::istreambuf_iterator<char>(stream), {}};
}

std::string parseText(const std::string& file, std::string_view text, int nested, Script& script);

// file: relative to the one that the step stands in.
std::string includeFile(const Step& step, int nested, Script& script) {
    const std::string file = std::filesystem::path(step.file).parent_path() / step.arguments[0];
    const std::string place = step.file + ':' + std::to_string(step.line) + ": ";
    const auto text = readFile(file);
    if (!text) {
        return place + "cannot read " + file;
    }
    return nested < kMostNested ? parseText(file, *text, nested + 1, script)
                                : place + "include: nested too deep";
}

std::string parseText(const std::string& file, std::string_view text, int nested, Script& script) {
    int number = 0;
    while (!text.empty()) {
        const std::size_t end = std::min(text.find('\n'), text.size());
        const std::string_view line = skipBlanks(text.substr(0, end));
        text.remove_prefix(std::min(end + 1, text.size()));
        ++number;
        if (line.empty() || line[0] == '#') {
            continue;
        }
        Step step{file, number, std::string(line), {}, {}};
        std::string error = parseStep(line, step);
        if (!error.empty()) {
            return std::string(file).append(":").append(std::to_string(number)).append(": ").append(error);
        }
        if (step.word != "include") {
            script.steps.push_back(step);
        } else if (error = includeFile(step, nested, script); !error.empty()) {
            return error;
        }
    }
    return {};
}

}  // namespace

std::optional<std::vector<std::string>> splitWords(std::string_view line) {
    std::vector<std::string> words;
    for (std::string_view rest = skipBlanks(line); !rest.empty();) {
        std::string word;
        if (!takeWord(rest, word)) {
            return std::nullopt;
        }
        words.push_back(word);
    }
    return words;
}

std::optional<int> parseSignal(std::string_view name) {
    static constexpr std::array<std::pair<std::string_view, int>, 4> kSignals = {
        {{"TERM", SIGTERM}, {"KILL", SIGKILL}, {"INT", SIGINT}, {"HUP", SIGHUP}}};
    const auto* const found = std::find_if(kSignals.begin(), kSignals.end(),
                                           [name](const auto& entry) { return entry.first == name; });
    return found == kSignals.end() ? std::nullopt : std::optional(found->second);
}

std::optional<Fault> parseFault(const std::vector<std::string>& arguments) {
    Arguments rest(arguments.begin(), arguments.end());
    Fault fault;
    if (!takeTarget(rest, fault) || !takeEffect(rest, fault)) {
        return std::nullopt;
    }
    while (!rest.empty()) {
        if (!takeRepetition(rest, fault)) {
            return std::nullopt;
        }
    }
    return fault;
}

std::string parseScript(const std::string& file, std::string_view text, Script& script) {
    script.file = file;
    return parseText(file, text, 0, script);
}

std::string parseScriptFile(const std::string& file, Script& script) {
    const auto text = readFile(file);
    return text ? parseScript(file, *text, script) : "cannot read " + file;
}

}  // namespace sim
