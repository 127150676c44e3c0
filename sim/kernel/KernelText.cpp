#include "sim/kernel/KernelText.h"

#include <cctype>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <string>

namespace sim {
namespace {

std::string_view withoutLineFeed(std::string_view text) {
    if (!text.empty() && text.back() == '\n') {
        text.remove_suffix(1);
    }
    return text;
}

KernelNumber number(std::string_view text, int base, bool minusAllowed, long long minimum,
                    long long maximum) {
    const std::string digits(withoutLineFeed(text));
    const std::size_t sign =
        !digits.empty() && (digits[0] == '+' || (minusAllowed && digits[0] == '-')) ? 1 : 0;
    if (sign >= digits.size() || std::isdigit(static_cast<unsigned char>(digits[sign])) == 0) {
        return {EINVAL, 0};
    }
    char* end = nullptr;
    errno = 0;
    const long long value = std::strtoll(digits.c_str(), &end, base);
    if (end != digits.c_str() + digits.size()) {
        return {EINVAL, 0};
    }
    const bool fits = errno == 0 && value >= minimum && value <= maximum;
    return fits ? KernelNumber{0, value} : KernelNumber{ERANGE, 0};
}

}  // namespace

KernelNumber kernelSigned(std::string_view text, int base) {
    return number(text, base, true, std::numeric_limits<std::int32_t>::min(),
                  std::numeric_limits<std::int32_t>::max());
}

KernelNumber kernelUnsigned(std::string_view text, int base) {
    return number(text, base, false, 0, std::numeric_limits<std::uint32_t>::max());
}

bool kernelEquals(std::string_view text, std::string_view word) {
    return withoutLineFeed(text) == word;
}

}  // namespace sim
