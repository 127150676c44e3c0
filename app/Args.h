// A cursor over the command line.
#pragma once

#include <cstdlib>
#include <cstring>

// Stands on the program name after construction; next() moves it from argument to argument. Owns nothing.
struct Args {
    int argc;
    char** argv;
    int current;  // index of the current argument

    Args(int count, char** values) : argc(count), argv(values), current(0) {}

    // Moves to the next argument. False when there is none; the cursor then stays on the last one.
    bool next() {
        if (current + 1 >= argc) {
            return false;
        }
        ++current;
        return true;
    }

    [[nodiscard]] const char* asStr() const { return argv[current]; }

    // True when the argument holds nothing but decimal digits; so an empty argument counts as an integer.
    [[nodiscard]] bool isInt() const { return asStr()[std::strspn(asStr(), "0123456789")] == '\0'; }

    // The argument as a decimal number, 0 when it is empty; one that does not fit is cut to the largest int.
    [[nodiscard]] int asInt() const {
        const long long value = std::strtoll(asStr(), nullptr, 10);
        constexpr int kMost = 0x7FFFFFFF;
        return value > kMost ? kMost : static_cast<int>(value);
    }

    [[nodiscard]] bool operator==(const char* s) const { return std::strcmp(asStr(), s) == 0; }
};
