#include "sim/record/PictureText.h"

#include <cstddef>

namespace sim {
namespace {

constexpr std::string_view kDigits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr std::size_t kPixelsPerDigit = 6;
constexpr std::size_t kRowDigits = Picture::kWidth / kPixelsPerDigit;
constexpr std::size_t kTextSize = kRowDigits * Picture::kHeight;
// A row is whole bytes and whole digits, so that digits can be made of pixels without the bytes between them.
static_assert(Picture::kWidth % 8 == 0 && Picture::kWidth % kPixelsPerDigit == 0);
static_assert(kTextSize % 4 == 0, "no padding");

}  // namespace

std::string pictureText(const Picture& picture) {
    std::string text;
    text.reserve(kTextSize);
    for (std::size_t at = 0; at < kTextSize; ++at) {
        std::size_t digit = 0;
        for (std::size_t i = 0; i < kPixelsPerDigit; ++i) {
            const bool lit = picture.lit(at % kRowDigits * kPixelsPerDigit + i, at / kRowDigits);
            digit = digit << 1U | (lit ? 1U : 0U);
        }
        text += kDigits[digit];
    }
    return text;
}

std::optional<Picture> pictureFromText(std::string_view text) {
    if (text.size() != kTextSize) {
        return std::nullopt;
    }
    Picture picture;
    for (std::size_t at = 0; at < kTextSize; ++at) {
        const std::size_t digit = kDigits.find(text[at]);
        if (digit == std::string_view::npos) {
            return std::nullopt;
        }
        for (std::size_t i = 0; i < kPixelsPerDigit; ++i) {
            const bool lit = (digit >> (kPixelsPerDigit - 1 - i) & 1U) != 0;
            picture.set(at % kRowDigits * kPixelsPerDigit + i, at / kRowDigits, lit);
        }
    }
    return picture;
}

}  // namespace sim
