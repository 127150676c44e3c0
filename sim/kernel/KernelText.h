// How the kernel reads the text that is written to an attribute.
#pragma once

#include <string_view>

namespace sim {

// A number and the errno of reading it: EINVAL for text that is no number, ERANGE for one that the target's
// 32-bit long cannot hold.
struct KernelNumber {
    int error = 0;
    long long value = 0;
};

// One optional sign, digits, one optional line feed at the end; nothing else. base 0 takes 0x... and 0...
// too.
[[nodiscard]] KernelNumber kernelSigned(std::string_view text, int base);
// As above without a minus sign.
[[nodiscard]] KernelNumber kernelUnsigned(std::string_view text, int base);

// Equal but for one line feed at the end of the text.
[[nodiscard]] bool kernelEquals(std::string_view text, std::string_view word);

}  // namespace sim
