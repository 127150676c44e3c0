// The drawable that is a text in a bitmap font.
#pragma once

#include "graphics/GrBase.h"
#include "graphics/GrDrawable.h"
#include "graphics/GrFont.h"
#include "graphics/SimpleString.h"

namespace VelaGraphics {

// One line of characters, one behind the other or one below the other. Each byte of the text, up to its NUL,
// is a character code of the font.
class Text : public Drawable {
public:
    // `font` is not owned and must outlive the text (null: nothing is drawn); `gap` is the number of pixels
    // behind each character. Without a background, or with 0x00000000, the clear pixels of a glyph are left
    // alone.
    Text(const SimpleString& characters, Pixel foreground, const Font* font, Font::EOrientation direction,
         int gap)
        : Text(characters, foreground, Pixel(), font, direction, gap) {}
    Text(const SimpleString& characters, Pixel foreground, Pixel background, const Font* font,
         Font::EOrientation direction, int gap)
        : text(characters), fg(foreground), bg(background), fnt(font), orientation(direction), spacing(gap) {}

    Text& setText(const SimpleString& characters) {
        text = characters;
        return *this;
    }
    Text& setFont(const Font* font) {
        fnt = font;
        return *this;
    }
    Text& setOrientation(Font::EOrientation direction) {
        orientation = direction;
        return *this;
    }
    Text& setSpacing(int gap) {
        spacing = gap;
        return *this;
    }

    // A text has no position of its own: `pos` is the top left corner of its first character, whatever usePos
    // says.
    void draw(bool usePos, const Position& pos, DisplayBuffer& buffer) const override;

private:
    SimpleString text;
    Pixel fg;
    Pixel bg;
    const Font* fnt;
    Font::EOrientation orientation;
    int spacing;  // px
};

}  // namespace VelaGraphics
