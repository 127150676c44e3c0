#include "freetype/fnt_utf8.h"

namespace fnt {
namespace {

constexpr std::uint32_t kInvalid = '?';

// Lead bytes: those with `bits` under `mask` begin a sequence with so many continuation bytes.
struct Lead {
    unsigned char mask;
    unsigned char bits;
    int continuations;
};
constexpr Lead kLeads[] = {
    {0x80, 0x00, 0}, {0xE0, 0xC0, 1}, {0xF0, 0xE0, 2}, {0xF8, 0xF0, 3}, {0xFC, 0xF8, 4}, {0xFE, 0xFC, 5},
};

bool isContinuation(char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0) == 0x80;
}

const Lead* leadOf(unsigned char byte) {
    for (const Lead& lead : kLeads) {
        if ((byte & lead.mask) == lead.bits) {
            return &lead;
        }
    }
    return nullptr;
}

}  // namespace

std::uint32_t nextCode(const char** text) {
    const char* at = *text;
    const auto first = static_cast<unsigned char>(*at);
    if (first == 0) {
        return 0;
    }
    ++at;
    const Lead* const lead = leadOf(first);
    std::uint32_t code = kInvalid;
    if (lead == nullptr) {
        while (isContinuation(*at)) {
            ++at;
        }
    } else {
        code = first & ~std::uint32_t{lead->mask};
        for (int i = 0; i < lead->continuations; ++i, ++at) {
            if (!isContinuation(*at)) {  // also the NUL is none
                code = kInvalid;
                break;
            }
            code = code << 6 | (static_cast<unsigned char>(*at) & 0x3FU);
        }
    }
    *text = at;
    return code;
}

}  // namespace fnt
