#include "sim/kernel/DeviceTree.h"

#include <utility>

#include "sim/kernel/InputNode.h"
#include "sim/kernel/KernelText.h"
#include "sim/panel/DevicePaths.h"

namespace sim {
namespace {

constexpr int kLastGpio = 255;
constexpr char kGpioFolder[] = "/sys/class/gpio/";
constexpr char kLedFolder[] = "/sys/class/leds/pca963x:";

const std::uint8_t* octets(std::string_view bytes) {
    return reinterpret_cast<const std::uint8_t*>(bytes.data());
}

int storeBrightness(LedModel& leds, std::size_t index, std::string_view text) {
    const KernelNumber level = kernelUnsigned(text, 10);
    if (level.error == 0) {
        leds.setLevel(index, static_cast<unsigned long>(level.value));
    }
    return level.error;
}

int storeDirection(GpioModel& gpio, int number, std::string_view text) {
    if (kernelEquals(text, "high")) {
        return gpio.makeOutput(number, 1);
    }
    if (kernelEquals(text, "low") || kernelEquals(text, "out")) {
        return gpio.makeOutput(number, 0);
    }
    return kernelEquals(text, "in") ? gpio.makeInput(number) : EINVAL;
}

// The kernel looks at the direction before the text.
int storeValue(GpioModel& gpio, int number, std::string_view text) {
    if (!gpio.line(number)->output) {
        return EPERM;
    }
    const KernelNumber level = kernelSigned(text, 0);
    return level.error != 0 ? level.error : gpio.setLevel(number, level.value != 0 ? 1 : 0);
}

}  // namespace

DeviceTree::DeviceTree(Panel& panel) {
    addInputs(panel);
    addBuses(panel);
    for (std::size_t index = 0; index < LedModel::kNames.size(); ++index) {
        addLed(panel.leds, index);
    }
    addGpioExports(panel.gpio);
    for (int number = 0; number <= kLastGpio; ++number) {
        if (panel.gpio.line(number) != nullptr) {
            addGpioLine(panel.gpio, number);
        }
    }
}

DeviceNode* DeviceTree::find(const std::string& path) const {
    const auto found = m_nodes.find(path);
    return found == m_nodes.end() ? nullptr : found->second.get();
}

void DeviceTree::add(std::unique_ptr<DeviceNode> node) {
    const std::string path = node->path();
    m_nodes.emplace(path, std::move(node));
}

void DeviceTree::addAttribute(const std::string& path, AttributeOperations operations) {
    add(std::make_unique<AttributeNode>(path, std::move(operations)));
}

void DeviceTree::addInputs(const Panel& panel) {
    for (std::size_t index = 0; index < kInputDeviceCount; ++index) {
        add(std::make_unique<InputNode>(std::string(kDevicePaths[index]), static_cast<InputDevice>(index),
                                        panel.inputs));
    }
}

void DeviceTree::addBuses(Panel& panel) {
    addBus(panel, kDisplayCommandBus,
           [&panel](std::string_view bytes) { panel.oled.command(octets(bytes), bytes.size()); });
    addBus(panel, kDisplayDataBus,
           [&panel](std::string_view bytes) { panel.oled.data(octets(bytes), bytes.size()); });
    addBus(panel, kMicGainBus,
           [&panel](std::string_view bytes) { panel.micGain.transfer(octets(bytes), bytes.size()); });
}

void DeviceTree::addBus(Panel& panel, std::size_t index, SpiNode::Chip chip) {
    const std::string path(kDevicePaths[index]);
    add(std::make_unique<SpiNode>(path, [&panel, path, chip = std::move(chip)](std::string_view bytes) {
        panel.listeners().onTransfer(path, bytes);
        chip(bytes);
    }));
}

void DeviceTree::addLed(LedModel& leds, std::size_t index) {
    const std::string folder = kLedFolder + std::string(LedModel::kNames[index]) + '/';
    addAttribute(folder + "brightness",
                 {[&leds, index] { return std::to_string(leds.level(index)) + '\n'; },
                  [&leds, index](std::string_view text) { return storeBrightness(leds, index, text); },
                  {}});
    addAttribute(folder + "max_brightness",
                 {[] { return std::to_string(LedModel::kMaxLevel) + '\n'; }, {}, {}});
    addAttribute(folder + "trigger",
                 {[] { return std::string("[none]\n"); },
                  [](std::string_view text) { return kernelEquals(text, "none") ? 0 : EINVAL; },
                  {}});
}

void DeviceTree::addGpioExports(GpioModel& gpio) {
    using Change = int (GpioModel::*)(int);
    const auto store = [&gpio](Change change) {
        return [&gpio, change](std::string_view text) {
            const KernelNumber number = kernelSigned(text, 0);
            return number.error != 0 ? number.error : (gpio.*change)(static_cast<int>(number.value));
        };
    };
    addAttribute(std::string(kGpioFolder) + "export", {{}, store(&GpioModel::exportLine), {}});
    addAttribute(std::string(kGpioFolder) + "unexport", {{}, store(&GpioModel::unexportLine), {}});
}

void DeviceTree::addGpioLine(GpioModel& gpio, int number) {
    const std::string folder = kGpioFolder + ("gpio" + std::to_string(number)) + '/';
    const auto exported = [&gpio, number] { return gpio.line(number)->exported; };
    addAttribute(
        folder + "direction",
        {[&gpio, number] { return std::string(gpio.line(number)->output ? "out\n" : "in\n"); },
         [&gpio, number](std::string_view text) { return storeDirection(gpio, number, text); }, exported});
    addAttribute(
        folder + "value",
        {[&gpio, number] { return std::to_string(gpio.line(number)->level) + '\n'; },
         [&gpio, number](std::string_view text) { return storeValue(gpio, number, text); }, exported});
}

}  // namespace sim
