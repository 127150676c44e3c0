// The device files of the panel.
#pragma once

#include <cstddef>
#include <map>
#include <memory>
#include <string>

#include "sim/kernel/AttributeNode.h"
#include "sim/kernel/DeviceNode.h"
#include "sim/kernel/SpiNode.h"
#include "sim/panel/Panel.h"

namespace sim {

// Joins the parts of a panel to the files that their drivers make:
//   /dev/input/event1 .. event4             encoders Left, Right, Rear; keys
//   /dev/spidev3.0, 3.1, 4.0                display commands, display data, microphone gain
//   /sys/class/leds/pca963x:NAME/           brightness, max_brightness, trigger
//   /sys/class/gpio/                        export, unexport
//   /sys/class/gpio/gpioN/                  direction, value: there while line N is exported
class DeviceTree {
public:
    // The panel is not owned.
    explicit DeviceTree(Panel& panel);

    // Any file of the tree, whether it is there now or not; nullptr: there is no such file.
    [[nodiscard]] DeviceNode* find(const std::string& path) const;

private:
    void add(std::unique_ptr<DeviceNode> node);
    void addAttribute(const std::string& path, AttributeOperations operations);
    void addInputs(const Panel& panel);
    void addBuses(Panel& panel);
    // index: in kDevicePaths.
    void addBus(Panel& panel, std::size_t index, SpiNode::Chip chip);
    void addLed(LedModel& leds, std::size_t index);
    void addGpioExports(GpioModel& gpio);
    void addGpioLine(GpioModel& gpio, int number);

    std::map<std::string, std::unique_ptr<DeviceNode>> m_nodes;
};

}  // namespace sim
