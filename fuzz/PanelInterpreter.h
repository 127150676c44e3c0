// An interpreter over one display of the panel's size, on hardware that does nothing.
#pragma once

#include <cstring>

#include "graphics/GraphicsCommandProcessor.h"

class PanelInterpreter {
public:
    bool run(const std::string& line) { return m_interpreter.processCommand(line.c_str()); }
    // As the command "clear 0" does, without the sanitizers' look at each pixel.
    void clear() {
        std::memset(static_cast<void*>(m_panel.vdbufNC()), 0, 96 * 64 * sizeof(VelaGraphics::Pixel));
    }

private:
    class Hardware : public IIntercomHardware {
    public:
        unsigned int GetDisplayCount() override { return 1; }
        unsigned int GetDisplayWidth(unsigned int) override { return 96; }
        unsigned int GetDisplayHeight(unsigned int) override { return 64; }
        void DrawDisplay(unsigned int, const VelaGraphics::Pixel*) override {}
        void SetIndicator(unsigned int, unsigned int) override {}
        void ScanForHarwareEvents() override {}
    };

    VelaGraphics::VirtualDisplay m_panel{96, 64};
    VelaGraphics::VirtualDisplay* m_displays[1] = {&m_panel};
    Hardware m_hardware;
    GraphicsCommandProcessor m_interpreter{m_displays, 1, &m_hardware};
};
