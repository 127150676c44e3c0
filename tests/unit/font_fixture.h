// A working directory with fonts in it, and images to draw into.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "freetype/gui_fnt.h"
#include "freetype_calls.h"
#include "glyph_cache_file.h"

// An image with bytes around it that must not change: before and behind it, and behind each row.
class TestImage {
public:
    static constexpr unsigned char kCanary = 0xA5;

    TestImage(int w, int h) : m_bytes(2 * kMargin + stride(w) * static_cast<std::size_t>(h), kCanary) {
        m_image.w = w;
        m_image.h = h;
        m_image.stride = static_cast<int>(stride(w));
        m_image.data = m_bytes.data() + kMargin;
        fill(0);
    }
    TestImage(const TestImage&) = delete;
    TestImage& operator=(const TestImage&) = delete;

    image_t* get() { return &m_image; }
    image_t* operator->() { return &m_image; }

    [[nodiscard]] std::uint32_t pixel(int x, int y) const {
        const unsigned char* p = at(x, y);
        return std::uint32_t{p[0]} | std::uint32_t{p[1]} << 8 | std::uint32_t{p[2]} << 16 |
               std::uint32_t{p[3]} << 24;
    }
    void set(int x, int y, std::uint32_t pixel) {
        unsigned char* p = m_image.data + (at(x, y) - m_image.data);
        for (int i = 0; i < 4; ++i) {
            p[i] = static_cast<unsigned char>(pixel >> 8 * i);
        }
    }
    void fill(std::uint32_t pixel) {
        for (int y = 0; y < m_image.h; ++y) {
            for (int x = 0; x < m_image.w; ++x) {
                set(x, y, pixel);
            }
        }
    }

    // The box around all pixels that are not 0: "x y w h", or "nothing".
    [[nodiscard]] std::string box() const {
        int left = m_image.w, top = m_image.h, right = -1, bottom = -1;
        for (int y = 0; y < m_image.h; ++y) {
            for (int x = 0; x < m_image.w; ++x) {
                if (pixel(x, y) != 0) {
                    left = std::min(left, x);
                    right = std::max(right, x);
                    top = std::min(top, y);
                    bottom = std::max(bottom, y);
                }
            }
        }
        return right < 0 ? "nothing"
                         : std::to_string(left) + ' ' + std::to_string(top) + ' ' +
                               std::to_string(right - left + 1) + ' ' + std::to_string(bottom - top + 1);
    }
    // Of one row, "#" for every pixel that is not 0.
    [[nodiscard]] std::string row(int y) const {
        std::string text;
        for (int x = 0; x < m_image.w; ++x) {
            text += pixel(x, y) != 0 ? '#' : '.';
        }
        return text;
    }
    // The bytes around the image and its rows are as they were.
    [[nodiscard]] bool canariesLive() const {
        const std::size_t rowBytes = static_cast<std::size_t>(m_image.w) * 4;
        for (std::size_t i = 0; i < m_bytes.size(); ++i) {
            const bool inside =
                i >= kMargin && i < m_bytes.size() - kMargin && (i - kMargin) % stride(m_image.w) < rowBytes;
            if (!inside && m_bytes[i] != kCanary) {
                return false;
            }
        }
        return true;
    }

private:
    static constexpr std::size_t kMargin = 256;
    static std::size_t stride(int w) { return static_cast<std::size_t>(w) * 4 + 12; }
    [[nodiscard]] const unsigned char* at(int x, int y) const {
        return m_image.data + y * m_image.stride + 4 * x;
    }

    std::vector<unsigned char> m_bytes;
    image_t m_image = {};
};

constexpr unsigned char kWhite[4] = {255, 255, 255, 0};

// Runs in a temporary folder with font/sans.ttf (DejaVu Sans) and font/small.font.
class FontTest : public testing::Test {
protected:
    struct Closer {
        void operator()(font_t* font) const { Fnt_CloseFont(font); }
    };
    using FontPtr = std::unique_ptr<font_t, Closer>;

    static constexpr const char* kSans = "/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf";

    FontTest() : m_before(std::filesystem::current_path()) {
        std::string pattern = std::filesystem::temp_directory_path() / "font_test.XXXXXX";
        m_folder = ::mkdtemp(pattern.data());
        std::filesystem::current_path(m_folder);
        std::filesystem::create_directory("font");
        std::filesystem::create_symlink(kSans, "font/sans.ttf");
        write("small.font", makeSmallFont().bytes());
        resetFreeTypeCalls();
    }
    ~FontTest() override {
        std::filesystem::current_path(m_before);
        std::filesystem::remove_all(m_folder);
    }

    static FontPtr load(const std::string& name) { return FontPtr(Fnt_LoadFont(name.c_str())); }
    static void write(const std::string& name, const std::string& bytes) {
        std::ofstream("font/" + name, std::ios::binary) << bytes;
    }
    static std::string read(const std::string& path) {
        std::ifstream stream(path, std::ios::binary);
        return {std::istreambuf_iterator<char>(stream), {}};
    }
    static const fchar_t& slot(const FontPtr& font, char ascii) {
        return font->ch[static_cast<unsigned char>(ascii)];
    }
    static int width(const FontPtr& font, const std::string& text) {
        return Fnt_MeasureText(font.get(), text.c_str(), nullptr);
    }
    static void render(TestImage& image, const FontPtr& font, const std::string& text,
                       unsigned int flags = 0) {
        Fnt_RenderText(image.get(), nullptr, font.get(), text.c_str(), kWhite, 0, flags);
    }
    static void render(TestImage& image, const rect_t& rect, const FontPtr& font, const std::string& text,
                       unsigned int flags = 0) {
        Fnt_RenderText(image.get(), &rect, font.get(), text.c_str(), kWhite, 0, flags);
    }
    // What the loading of a font writes to standard output; it must fail.
    static std::string failure(const std::string& name) {
        testing::internal::CaptureStdout();
        const FontPtr font = load(name);
        EXPECT_EQ(font, nullptr) << name;
        std::fflush(stdout);
        return testing::internal::GetCapturedStdout();
    }

private:
    std::filesystem::path m_before;
    std::filesystem::path m_folder;
};
