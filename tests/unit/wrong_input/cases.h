// The cases of the test of wrong input: what is sent, group by group.
#pragma once

#include <string>
#include <vector>

namespace wrong_input {

struct Case {
    std::vector<std::string> reads;  // what each read of standard input brings
    int debugLevel = 1;
};

struct Group {
    std::string name;
    std::vector<std::string> before;  // lines that prepare each case
    std::vector<Case> cases;
    std::vector<std::string> after;  // lines that show what each case has left behind
};

// One group a command of the drawing language, and those of the "set" commands and of the framing of lines.
std::vector<std::string> groupNames();
Group makeGroup(const std::string& name);

}  // namespace wrong_input
