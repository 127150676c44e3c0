// The input is a list of operations on three strings, each carried out on a standard string as well.

#include <algorithm>
#include <array>
#include <climits>
#include <cstring>
#include <memory>

#include "fuzz/FuzzTarget.h"
#include "graphics/SimpleString.h"

namespace {

constexpr std::size_t kMostBytes = 4096;  // appending a string to itself must not grow for ever
constexpr char kTrimmed[] = "\t\n\r ";

struct Pair {
    SimpleString string;
    std::string model;
};

// The part that functions of C texts see.
std::string untilNul(const std::string& text) {
    return text.c_str();
}

void trimRight(std::string& text) {
    text.erase(text.find_last_not_of(kTrimmed) + 1);
}
void trimLeft(std::string& text) {
    text.erase(0, std::min(text.find_first_not_of(kTrimmed), text.size()));
}

bool same(const SimpleString& string, const std::string& model) {
    return string.GetLength() == model.size() && string.GetSize() >= string.GetLength() &&
           std::memcmp(string.c_str(), model.c_str(), model.size() + 1) == 0;
}

int sign(int n) {
    return (n > 0) - (n < 0);
}

void checkOrder(const Pair& a, const Pair& b) {
    const int order = a.model.empty() || b.model.empty() ? int{b.model.empty()} - int{a.model.empty()}
                                                         : std::strcmp(a.model.c_str(), b.model.c_str());
    require((a.string < b.string) == (order < 0), "a < b");
    require((a.string > b.string) == (order > 0), "a > b");
    require((a.string <= b.string) == (order <= 0), "a <= b");
    require((a.string >= b.string) == (order >= 0), "a >= b");
    require((a.string == b.string) == (untilNul(a.model) == untilNul(b.model)), "a == b");
    require(sign(SimpleString::cmpni(a.string, b.string)) == -sign(SimpleString::cmpni(b.string, a.string)),
            "cmpni(a, b) == -cmpni(b, a)");
}

void checkParts(const Pair& p, int start, int count) {
    const std::size_t from =
        std::min<std::size_t>(static_cast<std::size_t>(std::max(start, 0)), p.model.size());
    const auto n = static_cast<std::size_t>(std::max(count, 0));
    const std::size_t most = std::min(n, p.model.size());
    require(same(p.string.Mid(start), p.model.substr(from)), "Mid(start)");
    require(same(p.string.Mid(start, count), p.model.substr(from, n)), "Mid(start, count)");
    require(same(p.string.Left(count), p.model.substr(0, n)), "Left");
    require(same(p.string.Right(count), p.model.substr(p.model.size() - most)), "Right");
    const std::int64_t length = static_cast<std::int64_t>(p.model.size());
    const std::int64_t index = start < 0 ? start + length : start;
    const bool inside = index >= 0 && index < length;
    require(p.string[start] ==
                (inside ? static_cast<unsigned char>(p.model[static_cast<std::size_t>(index)]) : 0),
            "[]");
}

void checkSearch(const Pair& p, char c, const std::string& part) {
    const std::string visible = untilNul(p.model) + '\0';  // the NUL can be found
    const auto at = [](std::size_t place) {
        return place == std::string::npos ? -1 : static_cast<int>(place);
    };
    require(p.string.Find(c) == at(visible.find(c)), "Find");
    require(p.string.FindRev(c) == at(visible.rfind(c)), "FindRev");
    const std::string text = untilNul(part);
    require(p.string.StartsWith(text.c_str()) == (untilNul(p.model).compare(0, text.size(), text) == 0),
            "StartsWith");
    const bool ends = text.size() <= p.model.size() &&
                      p.model.compare(p.model.size() - text.size(), text.size(), text) == 0;
    require(p.string.EndsWith(text.c_str()) == ends, "EndsWith");
}

void checkConversions(const Pair& p) {
    std::string upper = p.model;
    std::string lower = p.model;
    for (char& c : upper) {
        c = c >= 'a' && c <= 'z' ? static_cast<char>(c - 32) : c;
    }
    for (char& c : lower) {
        c = c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c;
    }
    require(same(p.string.ToUpper(), upper), "ToUpper");
    require(same(p.string.ToLower(), lower), "ToLower");
    SimpleString quoted;
    p.string.QuoteString(quoted);
    const char* q = quoted;
    require(quoted.GetLength() >= 2 && *q == '"' && quoted.EndsWith("\""),
            "quotes stand around a quoted text");
    require(
        std::all_of(q, q + quoted.GetLength(), [](char c) { return c == '\n' || (c >= ' ' && c <= '~'); }),
        "a quoted text is printable");
}

// Takes over what was written to the string's own buffer.
void writeBuffer(Pair& p, const std::string& bytes, int n) {
    char* buffer = p.string.GetBuffer(static_cast<unsigned int>(bytes.size()));
    std::memcpy(buffer, bytes.c_str(), bytes.size() + 1);
    p.string.ReleaseBuffer(n);
    const std::string visible = untilNul(bytes);
    p.model = n < 0 ? visible : visible.substr(0, static_cast<std::size_t>(n));
}

using Operation = void (*)(Pair& p, Pair& other, FuzzInput& input);

const Operation kOperations[] = {
    [](Pair& p, Pair&, FuzzInput&) {
        p.string.Empty();
        p.model.clear();
    },
    [](Pair& p, Pair&, FuzzInput& input) {
        const char c = static_cast<char>(input.byte());
        p.string.Append(c);
        p.model += c;
    },
    [](Pair& p, Pair&, FuzzInput& input) {
        const char c = static_cast<char>(input.byte());
        p.string.Append2(c, input.byte() + 1U);
        p.model += c;
    },
    [](Pair& p, Pair&, FuzzInput& input) {
        const std::string bytes = input.bytes();
        p.string.Append(bytes.c_str(), static_cast<unsigned int>(bytes.size()));
        p.model += untilNul(bytes).empty() ? "" : bytes;
    },
    [](Pair& p, Pair&, FuzzInput& input) {
        const std::string text = input.text();
        p.string += text.c_str();
        p.model += text;
    },
    [](Pair& p, Pair& other, FuzzInput&) {
        p.string.Append(other.string);
        p.model += std::string(other.model);
    },
    [](Pair& p, Pair&, FuzzInput& input) {  // a part of itself
        const std::size_t from = std::min<std::size_t>(input.byte(), p.model.size());
        p.string.Append(p.string.c_str() + from);
        p.model += untilNul(p.model.substr(from));
    },
    [](Pair& p, Pair&, FuzzInput& input) {
        const auto number = static_cast<std::int32_t>(input.word());
        p.string << number;
        p.model += std::to_string(number);
    },
    [](Pair& p, Pair&, FuzzInput& input) {
        const unsigned long long number = std::uint64_t{input.word()} << 32 | input.word();
        p.string.AppendNum(number);
        p.model += std::to_string(number);
    },
    [](Pair& p, Pair&, FuzzInput& input) {
        const auto number = static_cast<signed char>(input.byte());
        p.string.SetNum(number);
        p.model = std::to_string(number);
    },
    [](Pair& p, Pair&, FuzzInput& input) {
        const std::string bytes = input.bytes();
        p.string.Set(bytes.c_str(), static_cast<unsigned int>(bytes.size()));
        p.model = untilNul(bytes).empty() ? "" : bytes;
    },
    [](Pair& p, Pair&, FuzzInput& input) {  // from a part of itself, which may be all of it
        const std::size_t from = std::min<std::size_t>(input.byte(), p.model.size());
        const bool whole = from == 0;
        p.string.Set(p.string.c_str() + from);
        p.model = whole ? p.model : untilNul(p.model.substr(from));
    },
    [](Pair& p, Pair& other, FuzzInput&) {  // from itself: empty
        p.string.Set(other.string);
        p.model = &p == &other ? "" : other.model;
    },
    [](Pair& p, Pair& other, FuzzInput&) {
        p.string = other.string;
        p.model = std::string(other.model);
    },
    [](Pair& p, Pair& other, FuzzInput& input) {
        const char c = static_cast<char>(input.byte());
        const SimpleString sum = p.string + other.string + c;
        require(same(sum, p.model + other.model + c), "+");
    },
    [](Pair& p, Pair&, FuzzInput& input) {  // an empty string's old record would be left, on purpose
        const unsigned int step = input.byte();
        if (!p.model.empty()) {
            p.string.SetGrowBy(step);
        }
    },
    [](Pair& p, Pair&, FuzzInput& input) { p.string.GrowStringBy(input.byte()); },
    [](Pair& p, Pair&, FuzzInput& input) {
        const std::string bytes = input.bytes();
        writeBuffer(p, bytes, static_cast<signed char>(input.byte()));
    },
    [](Pair& p, Pair&, FuzzInput&) {
        p.string.MakeReverse();
        std::reverse(p.model.begin(),
                     p.model.begin() + static_cast<std::ptrdiff_t>(untilNul(p.model).size()));
    },
    [](Pair& p, Pair&, FuzzInput&) {
        p.string.TrimRight();
        trimRight(p.model);
    },
    [](Pair& p, Pair&, FuzzInput&) {
        p.string.TrimLeft();
        trimLeft(p.model);
    },
    [](Pair& p, Pair&, FuzzInput&) {
        p.string.Trim();
        trimRight(p.model);
        trimLeft(p.model);
    },
    [](Pair& p, Pair& other, FuzzInput& input) {
        const int width = static_cast<signed char>(input.byte());
        if (&p != &other) {
            p.string.Format("%*d|%s", width, width, other.string.c_str());
            char number[130];
            std::snprintf(number, sizeof number, "%*d|", width, width);
            p.model = number + untilNul(other.model);
        }
    },
    [](Pair& p, Pair& other, FuzzInput&) { checkOrder(p, other); },
    [](Pair& p, Pair&, FuzzInput& input) {
        const int start = input.coordinate();
        checkParts(p, start, input.coordinate());
    },
    [](Pair& p, Pair&, FuzzInput& input) {
        const char c = static_cast<char>(input.byte());
        checkSearch(p, c, input.bytes());
    },
    [](Pair& p, Pair&, FuzzInput&) { checkConversions(p); },
    [](Pair& p, Pair& other, FuzzInput&) {  // a copy of one that may hold nothing
        const SimpleString copy(other.string);
        require(same(copy, other.model), "a copy is equal");
        p.string = copy;
        p.model = std::string(other.model);
    },
    [](Pair& p, Pair&, FuzzInput& input) {
        const std::string bytes = input.bytes();
        const SimpleString made(bytes.c_str(), static_cast<unsigned int>(bytes.size()));
        require(same(made, bytes), "made of bytes");
        p.string = SimpleString(bytes.c_str());
        p.model = untilNul(bytes);
    },
};

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzInput input(data, size);
    std::array<Pair, 3> pairs;
    while (!input.isEmpty()) {
        const unsigned int which = input.byte();
        Pair& p = pairs[which % pairs.size()];
        Pair& other = pairs[which / pairs.size() % pairs.size()];
        if (p.model.size() + other.model.size() > kMostBytes) {
            return -1;
        }
        kOperations[input.byte() % std::size(kOperations)](p, other, input);
        require(same(p.string, p.model), "both strings are the same");
        require(same(other.string, other.model), "the other string is as it was");
    }
    return 0;
}
