#include "sim/view/Controls.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <utility>

#include "sim/panel/DevicePaths.h"

namespace sim {
namespace {

std::string unknown(const char* what, std::string_view name) {
    return std::string("no ") + what + " \"" + std::string(name) + '"';
}

}  // namespace

Controls::Controls(Panel& panel, DeviceServer& devices, LineSender sender)
    : m_panel(panel), m_devices(devices), m_sender(std::move(sender)) {}

std::string Controls::change(std::string_view key, KeyChange how) {
    const auto code = InputModel::keyCode(key);
    if (!code) {
        return unknown("key", key);
    }
    (m_panel.inputs.*how)(*code);
    return {};
}

std::string Controls::press(std::string_view key) {
    return change(key, &InputModel::press);
}
std::string Controls::release(std::string_view key) {
    return change(key, &InputModel::release);
}
std::string Controls::repeat(std::string_view key) {
    return change(key, &InputModel::repeat);
}

std::string Controls::turn(std::string_view encoder, int detents) {
    return turn(encoder, detents, InputModel::kMaxDetents);
}

std::string Controls::turn(std::string_view encoder, int detents, int reports) {
    const auto device = InputModel::encoder(encoder);
    if (!device) {
        return unknown("encoder", encoder);
    }
    if (detents < -InputModel::kMaxDetents || detents > InputModel::kMaxDetents) {
        return "more than " + std::to_string(InputModel::kMaxDetents) + " detents";
    }
    m_panel.inputs.turn(*device, detents, reports);
    return {};
}

std::string Controls::sendLine(const std::string& text) {
    if (text.size() > kMaxLineBytes) {
        return "more than " + std::to_string(kMaxLineBytes) + " bytes";
    }
    if (text.find('\n') != std::string::npos || text.find('\0') != std::string::npos) {
        return "a line feed or a zero byte in the line";
    }
    return m_sender(text);
}

std::string Controls::unplug(const std::string& path) {
    return m_devices.unplug(path) ? std::string() : unknown("path of the panel", path);
}

std::string Controls::plug(const std::string& path) {
    return m_devices.plug(path) ? std::string() : unknown("path of the panel", path);
}

std::string Controls::failNextTransfer(const std::string& path) {
    const auto index = deviceIndex(path);
    if (!index || *index < kInputDeviceCount) {
        return unknown("bus", path);
    }
    Fault fault;
    fault.call = DeviceCall::Ioctl;
    fault.path = path;
    fault.error = EIO;
    m_devices.order(fault);
    return {};
}

}  // namespace sim
