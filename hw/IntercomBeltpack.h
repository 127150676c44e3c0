// The beltpack's front panel: one monochrome OLED display of 96 x 64 px.
#pragma once

#include "graphics/GrBase.h"
#include "hw/IIntercomHardware.h"

// Packs a frame for the panel. `frame`: 96 x 64 pixels, row-major, top row first. `packed`: 768 bytes, 8
// pages of 8 rows each, 96 bytes a page. Bit k of byte c of page p is set when the pixel of row 8p + k and
// column 95 - c is lit (the panel is mirrored left to right); a pixel is lit when any of its red, green and
// blue bits is set.
void packFrame(const VelaGraphics::Pixel* frame, unsigned char* packed);

class IntercomBeltpack : public IIntercomHardware {
public:
    static constexpr unsigned int kDisplayCount = 1;
    static constexpr unsigned int kDisplayWidth = 96;                                // px
    static constexpr unsigned int kDisplayHeight = 64;                               // px
    static constexpr unsigned int kFrameBytes = kDisplayWidth * kDisplayHeight / 8;  // one bit a pixel

    // The callback is not owned and must outlive its use here; null stops the reports.
    void RegisterEventCallback(IIntercomHardwareEvent* cb) { m_cb = cb; }

    // The display numbers are not checked: there is one display.
    [[nodiscard]] unsigned int GetDisplayCount() override { return kDisplayCount; }
    [[nodiscard]] unsigned int GetDisplayWidth(unsigned int /*display*/) override { return kDisplayWidth; }
    [[nodiscard]] unsigned int GetDisplayHeight(unsigned int /*display*/) override { return kDisplayHeight; }
    // Packs the frame (96 x 64 pixels) and writes it to the panel at once; the first one sets the panel up.
    void DrawDisplay(unsigned int display, const VelaGraphics::Pixel* frame) override;
    // Does nothing: the LEDs of this panel are driven by their own module.
    void SetIndicator(unsigned int indicator, unsigned int state) override;
    void ScanForHarwareEvents() override;

private:
    IIntercomHardwareEvent* m_cb = nullptr;
    unsigned char m_frame[kFrameBytes] = {};  // the last packed frame
};
