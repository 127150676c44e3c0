// The panel's four general-purpose lines.
#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <string_view>

#include "sim/panel/PanelListener.h"

namespace sim {

class GpioModel {
public:
    struct Line {
        int number;  // the kernel's GPIO number
        std::string_view name;
        int level;  // 0 or 1; at power-on the reset lines are held high by their resistors
        bool output = false;
        bool exported = false;
    };
    static constexpr int kDisplayReset = 255;  // low holds the display's controller in reset
    static constexpr std::size_t kLineCount = 4;
    static const std::array<Line, kLineCount> kPowerOn;

    // The listener is not owned.
    explicit GpioModel(PanelListener& listener);

    // The number of the line with this name, or with this number in decimal.
    [[nodiscard]] static std::optional<int> numberOf(std::string_view nameOrNumber);

    // In the order of kPowerOn.
    [[nodiscard]] const std::array<Line, kLineCount>& lines() const { return m_lines; }
    // nullptr: no such line.
    [[nodiscard]] const Line* line(int number) const;

    // Each returns 0 or an errno, as the kernel's sysfs interface does. Directions and levels outlive the
    // export.
    [[nodiscard]] int exportLine(int number);             // EINVAL: no such line; EBUSY: exported already
    [[nodiscard]] int unexportLine(int number);           // EINVAL: no such line, or not exported
    [[nodiscard]] int makeInput(int number);              // ENODEV: not exported
    [[nodiscard]] int makeOutput(int number, int level);  // likewise
    [[nodiscard]] int setLevel(int number, int level);    // likewise; EPERM: an input

private:
    [[nodiscard]] Line* find(int number);
    [[nodiscard]] Line* findExported(int number);
    void drive(Line& line, int level);

    PanelListener& m_listener;
    std::array<Line, kLineCount> m_lines;
};

}  // namespace sim
