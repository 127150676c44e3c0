#include "graphics/GrText.h"

namespace VelaGraphics {

void Text::draw(bool /*usePos*/, const Position& pos, DisplayBuffer& buffer) const {
    if (fnt != nullptr) {
        fnt->drawText(text.c_str(), buffer, pos, orientation, spacing, fg, bg);
    }
}

}  // namespace VelaGraphics
