// A bitmap image as something that can be drawn, with or without transparency.
#pragma once

#include "graphics/GrBase.h"
#include "graphics/GrDisplayBuffer.h"
#include "graphics/GrDrawable.h"
#include "graphics/qdbmp.h"

namespace VelaGraphics {

// What of a bitmap is drawn. Any other value draws nothing.
enum ETranparencyHandling : int {
    ETH_NO_TRANSPARENCY = 0,  // every pixel
    ETH_USE_ALPHA = 1,        // every pixel, mixed with the display by its alpha
    ETH_USE_COLOR = 2,        // the pixels that have not the transparent colour
};

// One image, its place and its transparency. It owns the image, so it is not copied.
class Bmp : public Drawable {
public:
    Position p1;         // the top-left corner, for drawing without a given position
    BMP* bmp = nullptr;  // owned; null: no image, nothing is drawn
    ETranparencyHandling th = ETH_NO_TRANSPARENCY;
    Pixel transparentColor;  // for ETH_USE_COLOR; its alpha is not looked at

    Bmp() = default;
    ~Bmp() override;
    Bmp(const Bmp&) = delete;
    Bmp& operator=(const Bmp&) = delete;

    // Frees the image held so far, then reads a file (see BMP_ReadFile). With `useAlpha` the image must have
    // 32 bits per pixel and is drawn with ETH_USE_ALPHA, otherwise with ETH_NO_TRANSPARENCY. On failure
    // returns false and holds no image.
    bool loadFromFile(const char* path, bool useAlpha);
    // The same for a file of any depth whose pixels of colour `color` are left out (ETH_USE_COLOR).
    bool loadFromFileWithTransparentColor(const char* path, Pixel color);

    void setPosition(Position position) { p1 = position; }

    // Frees the image.
    void deleteData();

    // Pixels that the image's data does not hold (BMP_GetRow) are not drawn. A drawn pixel has alpha 255.
    void draw(bool usePos, const Position& pos, DisplayBuffer& buffer) const override;

private:
    void drawNoTransparency(const Position& from, DisplayBuffer& buffer) const;
    void drawColorTransparency(const Position& from, DisplayBuffer& buffer) const;
    // Each channel becomes (image * alpha + background * (255 - alpha)) / 255, rounded down.
    // Required, do not mend: the background of image pixel (x, y) is the display's pixel (x, y), wherever the
    // image is drawn, so that mixing looks right at (0, 0) only. Pictures are made for what comes out.
    void drawAlphaTransparency(const Position& from, DisplayBuffer& buffer) const;
};

}  // namespace VelaGraphics
