// The whole front panel: its parts and the one wire between them.
#pragma once

#include "sim/panel/GpioModel.h"
#include "sim/panel/InputModel.h"
#include "sim/panel/LedModel.h"
#include "sim/panel/MicGain.h"
#include "sim/panel/OledController.h"
#include "sim/panel/PanelListener.h"

namespace sim {

// Knows nothing of device files, processes or scripts: drivers and scripts act on the parts, listeners learn
// of every change.
class Panel : private PanelListener {
public:
    // variant: the fitted display, 0 or 1.
    explicit Panel(int variant) : oled(variant, m_listeners) { m_listeners.add(*this); }
    Panel(const Panel&) = delete;
    Panel& operator=(const Panel&) = delete;

    // The listener is not owned and must outlive the panel's use.
    void listen(PanelListener& listener) { m_listeners.add(listener); }
    // Tells all of them: for those who know of devices and programs.
    [[nodiscard]] PanelListener& listeners() { return m_listeners; }

private:
    // The display's reset line is one of the outputs.
    void onOutput(int number, int level) override {
        if (number == GpioModel::kDisplayReset) {
            oled.setReset(level == 0);
        }
    }

    PanelListeners m_listeners;

public:
    OledController oled;
    LedModel leds{m_listeners};
    GpioModel gpio{m_listeners};
    MicGain micGain{m_listeners};
    InputModel inputs{m_listeners};
};

}  // namespace sim
