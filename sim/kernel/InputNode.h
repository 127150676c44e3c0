// One input device, as the kernel's event interface offers it.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "sim/kernel/DeviceNode.h"
#include "sim/panel/InputModel.h"

namespace sim {

// Its events do not pass through here: they go to each open file by themselves.
class InputNode final : public DeviceNode {
public:
    // The model is not owned.
    InputNode(std::string path, InputDevice device, const InputModel& model)
        : DeviceNode(std::move(path), BELTPACK_INPUT), m_device(device), m_model(model) {}

    [[nodiscard]] InputDevice device() const { return m_device; }

    // EVIOCGKEY: the held keys as a bit array; the result is the count of bytes stored. Nothing else is
    // known.
    [[nodiscard]] Result ioctl(std::uint32_t request, std::string_view argument) override;
    [[nodiscard]] std::string describe(std::uint32_t request, std::string_view argument) const override;

private:
    const InputDevice m_device;
    const InputModel& m_model;
};

// The records of the events as a process reads them. eventSize: the process's sizeof(struct input_event): 24,
// or 16 for a 32-bit one. timeOfDay: their time stamps, in microseconds since 1970.
[[nodiscard]] std::string encodeEvents(const std::vector<InputEvent>& events, std::size_t eventSize,
                                       std::int64_t timeOfDay);

}  // namespace sim
