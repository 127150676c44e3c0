#include "sim/kernel/FaultTable.h"

#include "sim/base/Text.h"

namespace sim {

std::string Fault::effect() const {
    return error != 0 ? errorName(error) : "short " + std::to_string(shortCount);
}

std::string Fault::words() const {
    std::string text(kDeviceCallNames[static_cast<std::size_t>(call)]);
    text += ' ' + path + ' ' + effect();
    text += nth != 1 ? " nth " + std::to_string(nth) : "";
    return text + (times == kAlways ? " times always" : times != 1 ? " times " + std::to_string(times) : "");
}

std::optional<Fault> FaultTable::take(DeviceCall call, const std::string& path) {
    std::optional<Fault> due;
    for (Order& order : m_orders) {
        const Fault& fault = order.fault;
        if (fault.call != call || fault.path != path) {
            continue;
        }
        ++order.calls;
        const bool started = order.calls >= fault.nth;
        const bool lasts = fault.times == Fault::kAlways || order.calls - fault.nth < fault.times;
        if (started && lasts && !due) {
            due = fault;
        }
    }
    return due;
}

}  // namespace sim
