#include "sim/panel/GpioModel.h"

#include <algorithm>
#include <cerrno>
#include <string>

namespace sim {

const std::array<GpioModel::Line, GpioModel::kLineCount> GpioModel::kPowerOn = {{
    {254, "Power LED", 0},
    {9, "Vibration Motor", 0},
    {105, "Mic ADC Reset_N", 1},
    {GpioModel::kDisplayReset, "OLED Display Reset_N", 1},
}};

GpioModel::GpioModel(PanelListener& listener) : m_listener(listener), m_lines(kPowerOn) {}

std::optional<int> GpioModel::numberOf(std::string_view nameOrNumber) {
    const auto* const found =
        std::find_if(kPowerOn.begin(), kPowerOn.end(), [nameOrNumber](const Line& line) {
            return line.name == nameOrNumber || std::to_string(line.number) == nameOrNumber;
        });
    return found == kPowerOn.end() ? std::nullopt : std::optional(found->number);
}

const GpioModel::Line* GpioModel::line(int number) const {
    const auto* const found = std::find_if(m_lines.begin(), m_lines.end(),
                                           [number](const Line& line) { return line.number == number; });
    return found == m_lines.end() ? nullptr : found;
}

GpioModel::Line* GpioModel::find(int number) {
    return const_cast<Line*>(line(number));
}

GpioModel::Line* GpioModel::findExported(int number) {
    Line* found = find(number);
    return found != nullptr && found->exported ? found : nullptr;
}

int GpioModel::exportLine(int number) {
    Line* found = find(number);
    if (found == nullptr) {
        return EINVAL;
    }
    if (found->exported) {
        return EBUSY;
    }
    found->exported = true;
    return 0;
}

int GpioModel::unexportLine(int number) {
    Line* found = findExported(number);
    if (found == nullptr) {
        return EINVAL;
    }
    found->exported = false;
    return 0;
}

int GpioModel::makeInput(int number) {
    Line* found = findExported(number);
    if (found == nullptr) {
        return ENODEV;
    }
    found->output = false;
    return 0;
}

int GpioModel::makeOutput(int number, int level) {
    Line* found = findExported(number);
    if (found == nullptr) {
        return ENODEV;
    }
    found->output = true;
    drive(*found, level);
    return 0;
}

int GpioModel::setLevel(int number, int level) {
    Line* found = findExported(number);
    if (found == nullptr) {
        return ENODEV;
    }
    if (!found->output) {
        return EPERM;
    }
    drive(*found, level);
    return 0;
}

void GpioModel::drive(Line& line, int level) {
    if (line.level == level) {
        return;
    }
    line.level = level;
    m_listener.onOutput(line.number, level);
}

}  // namespace sim
