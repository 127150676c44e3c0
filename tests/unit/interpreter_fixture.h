// An interpreter over one 96 x 64 hardware display, with what it writes and what it asks of the hardware.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "graphics/GraphicsCommandProcessor.h"

class InterpreterTest : public testing::Test {
protected:
    using Pixel = VelaGraphics::Pixel;
    using Position = VelaGraphics::Position;
    using Size = VelaGraphics::Size;
    using VirtualDisplay = VelaGraphics::VirtualDisplay;

    // Remembers the indicators that were set.
    class Hardware : public IIntercomHardware {
    public:
        unsigned int GetDisplayCount() override { return 1; }
        unsigned int GetDisplayWidth(unsigned int) override { return 96; }
        unsigned int GetDisplayHeight(unsigned int) override { return 64; }
        void DrawDisplay(unsigned int, const Pixel*) override {}
        void SetIndicator(unsigned int indicator, unsigned int state) override {
            indicators.emplace_back(indicator, state);
        }
        void ScanForHarwareEvents() override {}

        std::vector<std::pair<unsigned int, unsigned int>> indicators;
    };

    InterpreterTest() {
        panel.onChange([](void* count) { ++*static_cast<int*>(count); }, &frames);
    }

    // Runs one line and returns what it wrote to standard output.
    std::string run(const std::string& line) {
        testing::internal::CaptureStdout();
        result = gcp.processCommand(line.c_str());
        std::fflush(stdout);
        return testing::internal::GetCapturedStdout();
    }

    // Runs lines that must be carried out without a word.
    void quietly(std::initializer_list<const char*> lines) {
        for (const char* line : lines) {
            EXPECT_EQ(run(line), "") << line;
        }
    }

    // The error line with this text.
    static std::string onError(const std::string& text) { return "OnError(\"" + text + "\")\n"; }

    // A display by its number, null when there is none.
    VirtualDisplay* display(const std::string& number) {
        const char* p = number.c_str();
        return gcp.getDisplay(p, nullptr);
    }

    // The points of a colour on a display, row by row.
    std::vector<std::pair<int, int>> points(Pixel color, const std::string& number = "0") {
        std::vector<std::pair<int, int>> found;
        const VirtualDisplay& surface = *display(number);
        for (int y = 0; y < surface.height(); ++y) {
            for (int x = 0; x < surface.width(); ++x) {
                if (surface.pixel(x, y) == color) {
                    found.emplace_back(x, y);
                }
            }
        }
        return found;
    }

    static inline const Pixel kWhite{0xFFFFFFFF};
    static inline const Pixel kRed{0xFF800000};
    static inline const Pixel kClear{0x00000000};

    VirtualDisplay panel{96, 64};
    VirtualDisplay* displays[1] = {&panel};
    Hardware hardware;
    GraphicsCommandProcessor gcp{displays, 1, &hardware};
    int frames = 0;      // flushes of the hardware display
    bool result = true;  // of the last line
};

using Points = std::vector<std::pair<int, int>>;
