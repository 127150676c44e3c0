#include "sim/kernel/InputNode.h"

#include <linux/input.h>

#include <algorithm>

namespace sim {
namespace {

constexpr std::size_t kKeyBytes = (KEY_MAX + 1) / 8;  // 96: what the kernel has of key states

template <typename Word>
struct EventRecord {
    Word seconds;
    Word microseconds;
    InputEvent event;
};
constexpr std::int64_t kMicroseconds = 1'000'000;  // of a second
constexpr std::size_t kWideEvent = 24;
static_assert(sizeof(EventRecord<std::uint64_t>) == kWideEvent, "struct input_event of 64-bit processes");
static_assert(sizeof(EventRecord<std::uint32_t>) == 16, "struct input_event of 32-bit processes");

template <typename Word>
std::string encode(const std::vector<InputEvent>& events, std::int64_t timeOfDay) {
    const auto seconds = static_cast<Word>(timeOfDay / kMicroseconds);
    const auto microseconds = static_cast<Word>(timeOfDay % kMicroseconds);
    std::string bytes;
    for (const InputEvent& event : events) {
        const EventRecord<Word> record = {seconds, microseconds, event};
        bytes.append(reinterpret_cast<const char*>(&record), sizeof record);
    }
    return bytes;
}

bool asksForKeys(std::uint32_t request) {
    constexpr auto kSizeBits = static_cast<std::uint32_t>(_IOC_SIZEMASK) << _IOC_SIZESHIFT;
    return (request & ~kSizeBits) == EVIOCGKEY(0);
}

}  // namespace

Result InputNode::ioctl(std::uint32_t request, std::string_view) {
    if (!asksForKeys(request)) {
        return Result::failed(EINVAL);
    }
    std::string bits(kKeyBytes, '\0');
    for (std::size_t code = 0; m_device == InputDevice::Keys && code < kKeyBytes * 8; ++code) {
        if (m_model.held(static_cast<unsigned>(code))) {
            bits[code / 8] = static_cast<char>(bits[code / 8] | 1 << code % 8);
        }
    }
    bits.resize(std::min<std::size_t>(kKeyBytes, _IOC_SIZE(request)));
    return Result::gave(bits);
}

std::string InputNode::describe(std::uint32_t request, std::string_view argument) const {
    return asksForKeys(request) ? "EVIOCGKEY" : DeviceNode::describe(request, argument);
}

std::string encodeEvents(const std::vector<InputEvent>& events, std::size_t eventSize,
                         std::int64_t timeOfDay) {
    return eventSize == kWideEvent ? encode<std::uint64_t>(events, timeOfDay)
                                   : encode<std::uint32_t>(events, timeOfDay);
}

}  // namespace sim
