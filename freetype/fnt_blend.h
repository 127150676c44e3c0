// Drawing of one glyph's coverage.
#pragma once

#include "freetype/gui_fnt.h"

// Draws a glyph of w x h coverage bytes (row-major) with its top left corner at (x, y) in the rectangle,
// which must lie inside the image. What is left of it, above it or beyond its width and height is dropped.
// How coverage becomes colour is told at Fnt_RenderText.
void fnt_RenderChar(image_t* image, const rect_t* rect, const unsigned char* coverage, int w, int h, int x,
                    int y, const unsigned char* color);
