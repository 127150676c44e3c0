// The drawing operations that are timed and counted, each told once.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "graphics/GrBmp.h"
#include "graphics/GrShape.h"
#include "graphics/GraphicsCommandProcessor.h"
#include "graphics/StrDict3.h"
#include "hw/IIntercomHardware.h"
#include "hw/IntercomBeltpack.h"

// A 96 x 64 display whose flush packs the frame into panel pages, without a bus behind it.
class BenchPanel {
public:
    BenchPanel();

    void run(const char* line) { m_interpreter.processCommand(line); }
    void run(const std::vector<std::string>& lines);
    // Draws a shape of 32 x 32 pixels, half of them set.
    void drawShape() { m_display.drawAt(VelaGraphics::Position(20, 10), m_shape); }
    // Packs the display's present content, 6144 pixels into 768 bytes.
    void pack();
    // Finds one word of a dictionary as large as that of the commands.
    void lookUp();
    // Draws a bitmap as large as the display, of 8, 24 or 32 bits a pixel.
    void drawBitmap(int depth, VelaGraphics::ETranparencyHandling handling);
    // The packed bytes, so that nobody can leave the work out.
    [[nodiscard]] const unsigned char* packed() const { return m_packed; }

private:
    VelaGraphics::VirtualDisplay m_display{96, 64};
    VelaGraphics::VirtualDisplay* m_displays[1] = {&m_display};
    GraphicsCommandProcessor m_interpreter{m_displays, 1, nullptr};
    unsigned char m_packed[768] = {};
    std::vector<unsigned char> m_mask;
    VelaGraphics::Shape m_shape;
    StrDict3<int> m_words;
    int m_found = 0;
    VelaGraphics::Bmp m_bitmaps[3];  // of 8, 24 and 32 bits a pixel
};

struct Operation {
    const char* name;
    const char* what;
    void (*run)(BenchPanel& panel);
};

// In the order in which results are shown.
extern const std::vector<Operation> kOperations;

// A whole screen as a controlling application draws it: texts, boxes and lines, 19 commands and a flush.
extern const std::vector<std::string> kScene;

// A redraw of the panel test as the daemon sends it, every key pressed: 30 commands and a flush.
extern const std::vector<std::string> kTestScreen;
