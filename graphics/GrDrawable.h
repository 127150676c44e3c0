// The abstract base of everything that can be drawn on a display.
#pragma once

#include "graphics/GrDisplayBuffer.h"

namespace VelaGraphics {

class Drawable {
public:
    // Paints into the buffer. The starting point is `pos` when usePos is true, the object's own position
    // otherwise. Pixels outside the buffer are dropped by DisplayBuffer's linear test; nothing is reported.
    virtual void draw(bool usePos, const Position& pos, DisplayBuffer& buffer) const = 0;
    virtual ~Drawable() = default;

protected:
    Drawable() = default;
    Drawable(const Drawable&) = default;
    Drawable& operator=(const Drawable&) = default;
};

}  // namespace VelaGraphics
