// The drawables that are made of points: rectangles, lines and shapes.
#pragma once

#include "graphics/GrBase.h"
#include "graphics/GrDrawable.h"

namespace VelaGraphics {

// An outline with or without its interior, by the rules of drawOutline() and fillInterior(): a rectangle
// narrower or lower than 3 shows only its border, and one of no extent the point before its corner.
class Rectangle : public Drawable {
public:
    // An outline that leaves what is inside it.
    Rectangle(const Size& extent, Pixel border) : size(extent), borderColor(border) {}
    // An outline and its interior.
    Rectangle(const Size& extent, Pixel border, Pixel fill)
        : size(extent), borderColor(border), fillColor(fill), fillRectangle(true) {}

    // `pos` is the top left corner.
    void draw(bool usePos, const Position& pos, DisplayBuffer& buffer) const override;

    Position p1;  // own top left corner
    Size size;    // px, the border included
    Pixel borderColor;
    Pixel fillColor;             // of the interior, when it is filled
    bool fillRectangle = false;  // the interior is filled
};

// A line by the rules of drawLine(): its end point is not drawn.
class Line : public Drawable {
public:
    Line(const Position& start, const Position& end, Pixel ink) : pp1(start), pp2(end), color(ink) {}

    // `pos` is the starting point; the line keeps its direction and length.
    void draw(bool usePos, const Position& pos, DisplayBuffer& buffer) const override;

    Position pp1;  // start
    Position pp2;  // end
    Pixel color;
};

// A one-colour stencil. Its mask has one byte a pixel, row by row from the top and each row from the left; a
// byte that is not 0 is a set pixel.
//
// A shape is empty, borrows a mask that outlives it, or owns the one that it loaded.
class Shape : public Drawable {
public:
    // Empty: 0 x 0, no mask, and both colours 0x00000000.
    Shape() = default;
    // Borrows `bytes`, extent.w * extent.h of them, without copying them. A null mask draws nothing.
    Shape(const Position& pos, const Size& extent, const unsigned char* bytes)
        : sz(extent), p1(pos), mask(bytes) {}
    ~Shape() override { deleteData(); }
    Shape(const Shape&) = delete;
    Shape& operator=(const Shape&) = delete;

    // The colour of set pixels.
    Shape& setFg(Pixel color) {
        fg = color;
        return *this;
    }
    // The background colour, which is kept but not drawn: clear pixels leave the display as it is.
    Shape& setBg(Pixel color) {
        bg = color;
        return *this;
    }

    [[nodiscard]] const Size& size() const { return sz; }
    // size().w * size().h bytes; null for an empty shape.
    [[nodiscard]] const unsigned char* data() const { return mask; }

    // Reads a shape file: "SHPE", the 16-bit little-endian width and height, one byte a pixel. What follows
    // is not read. An owned mask is freed first, whatever comes; a borrowed one stays in use when the file
    // cannot be opened (only regular files can), has another magic or ends before the height does. Every
    // other failure leaves the shape empty. Returns true when the whole mask was read; one side or both may
    // be 0. The colours and the own position stay. Never blocks, and reads nothing into memory that the file
    // does not hold.
    bool loadFromFile(const char* path);

    // Writes the shape as such a file (an existing one is overwritten), of each side the low 16 bits. Returns
    // false, and leaves the file alone, when both sides are 0 or the mask is missing; false also when the
    // file cannot be opened or not all of it can be written. A shape with one side of 0 is a file without a
    // mask.
    bool saveToFile(const char* path) const;

    // Frees an owned mask, which leaves the shape empty. A borrowed mask stays in use.
    void deleteData();

    // `pos` is the top left corner.
    void draw(bool usePos, const Position& pos, DisplayBuffer& buffer) const override;

private:
    Size sz;
    Pixel fg;
    Pixel bg;     // not drawn
    Position p1;  // own top left corner
    const unsigned char* mask = nullptr;
    bool ownsData = false;  // the mask came from new[] in loadFromFile
};

}  // namespace VelaGraphics
