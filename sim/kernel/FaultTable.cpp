#include "sim/kernel/FaultTable.h"

#include "sim/base/Text.h"

namespace sim {

std::string Fault::effect() const {
    return error != 0 ? errorName(error) : "short " + std::to_string(shortCount);
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
