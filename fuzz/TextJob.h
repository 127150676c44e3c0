// A text that is measured and drawn with a scalable font.
#pragma once

#include <cstring>
#include <string>
#include <vector>

#include "freetype/gui_fnt.h"
#include "fuzz/FuzzTarget.h"

struct TextJob {
    rect_t rect = {};
    bool useRect = false;
    bool premultiplied = false;
    bool mask = false;
    unsigned int flags = 0;
    int maxWidth = 0;
    int imageWidth = 1;
    int imageHeight = 1;

    explicit TextJob(FuzzInput& input) {
        const unsigned int kind = input.byte();
        useRect = (kind & 1) != 0;
        premultiplied = (kind & 2) != 0;
        mask = (kind & 4) != 0;
        flags = input.half();
        imageWidth = input.byte() % 97 + 1;
        imageHeight = input.byte() % 65 + 1;
        maxWidth = input.coordinate();
        if (useRect) {
            rect.x = input.coordinate();
            rect.y = input.coordinate();
            rect.w = input.coordinate();
            rect.h = input.coordinate();
        }
    }

    void run(font_t* font, const std::string& text) const {
        measure(font, text);
        draw(font, text);
    }

private:
    void measure(font_t* font, const std::string& text) const {
        int height = -1;
        Fnt_MeasureText(font, text.c_str(), &height);
        require(height == font->ay, "a text is as high as its font's line");
        require(Fnt_FitText(font, text.c_str(), maxWidth) <= text.size(), "what fits is a part of the text");
        const int characters = fnt_get_num_chars_we(font, text.c_str(), maxWidth, flags);
        require(characters >= 0 && static_cast<std::size_t>(characters) <= text.size(),
                "a text is cut inside");
    }

    // No pixel outside the rectangle changes; what lies outside the image is for the sanitizers to see.
    void draw(font_t* font, const std::string& text) const {
        constexpr unsigned char kBackground = 0x5A;
        constexpr unsigned char kColor[4] = {10, 200, 250, 128};
        std::vector<unsigned char> pixels(static_cast<std::size_t>(imageWidth * imageHeight * 4),
                                          kBackground);
        image_t image = {};
        image.w = imageWidth;
        image.h = imageHeight;
        image.stride = imageWidth * 4;
        image.prea = premultiplied ? 1 : 0;
        image.data = pixels.data();
        Fnt_RenderText(&image, useRect ? &rect : nullptr, font, text.c_str(), mask ? nullptr : kColor, 0,
                       flags);
        for (int y = 0; useRect && y < imageHeight; ++y) {
            for (int x = 0; x < imageWidth; ++x) {
                const unsigned char* const p = &pixels[static_cast<std::size_t>((y * imageWidth + x) * 4)];
                const bool changed =
                    p[0] != kBackground || p[1] != kBackground || p[2] != kBackground || p[3] != kBackground;
                require(!changed || contains(x, y), "nothing outside the rectangle changes");
            }
        }
    }

    [[nodiscard]] bool contains(int x, int y) const {
        return x >= rect.x && y >= rect.y && x < std::int64_t{rect.x} + rect.w &&
               y < std::int64_t{rect.y} + rect.h;
    }
};
