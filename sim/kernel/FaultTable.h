// The failures that a script orders.
#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "sim/kernel/Result.h"

namespace sim {

// Select is no call on a device: any wait of a process for its descriptors.
enum class DeviceCall { Open, Read, Write, Ioctl, Select };

// In the order of DeviceCall.
constexpr std::array<std::string_view, 5> kDeviceCallNames = {"open", "read", "write", "ioctl", "select"};

struct Fault {
    static constexpr unsigned kAlways = 0;

    DeviceCall call = DeviceCall::Open;
    std::string path;  // empty for Select
    int error = 0;     // errno; 0: the write is short
    std::size_t shortCount = 0;
    unsigned nth = 1;    // the first call to fail, counted from when the fault is ordered
    unsigned times = 1;  // how many calls fail from there on, or kAlways

    // "EIO" or "short 1".
    [[nodiscard]] std::string effect() const;
    // All of it in the words of a script, e.g. "ioctl /dev/spidev3.0 EIO nth 2 times always".
    [[nodiscard]] std::string words() const;
};

class FaultTable {
public:
    void add(const Fault& fault) { m_orders.push_back({fault, 0}); }

    // Counts a call and gives the fault that it meets: the one ordered first, if several are due.
    [[nodiscard]] std::optional<Fault> take(DeviceCall call, const std::string& path);

private:
    struct Order {
        Fault fault;
        unsigned calls;  // seen since it was ordered
    };
    std::vector<Order> m_orders;
};

}  // namespace sim
