// The abstract front panel: the seam between the drawing language and the devices.
#pragma once

#include "graphics/GrBase.h"

// Receives what the hardware object reports by itself. Implemented by the application.
class IIntercomHardwareEvent {
public:
    // id: the panel's identifier; then the display count and the first display's width and height in px.
    virtual void OnId(const char* id, unsigned int a, unsigned int b, unsigned int c) = 0;
    // a: key code, b: event value, c: milliseconds since the key's previous change.
    virtual void OnKeyPress(int a, int b, int c) = 0;

    virtual ~IIntercomHardwareEvent() = default;
};

// What a front panel offers to the drawing side. Displays are numbered from 0. The order of the operations is
// the order of the virtual table, so that the destructors come last.
class IIntercomHardware {
public:
    [[nodiscard]] virtual unsigned int GetDisplayCount() = 0;
    [[nodiscard]] virtual unsigned int GetDisplayWidth(unsigned int display) = 0;   // px
    [[nodiscard]] virtual unsigned int GetDisplayHeight(unsigned int display) = 0;  // px
    // Shows a whole frame: width x height pixels, row-major, top row first. The frame is only read.
    virtual void DrawDisplay(unsigned int display, const VelaGraphics::Pixel* frame) = 0;
    virtual void SetIndicator(unsigned int indicator, unsigned int state) = 0;
    // Polls the devices once and reports what happened to the event callback. (The spelling is the
    // interface's.)
    virtual void ScanForHarwareEvents() = 0;

    virtual ~IIntercomHardware() = default;
};
