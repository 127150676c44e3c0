#include "sim/view/LinePrinter.h"

#include <iostream>

#include "sim/base/Text.h"

namespace sim {
namespace {

// In one write each, so that what others write to standard error stands between lines.
void print(const char* direction, const std::string& text) {
    std::cerr << direction + printable(text) + '\n';
}

}  // namespace

void LinePrinter::onLineIn(const std::string& text) {
    print("< ", text);
}

void LinePrinter::onLineOut(const std::string& text) {
    print("> ", text);
}

}  // namespace sim
