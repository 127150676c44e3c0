// The surface that the drawing commands work on: a pixel array, a change mark and its change listeners.
#pragma once

#include <algorithm>
#include <cstddef>
#include <new>

#include "graphics/GrBase.h"
#include "graphics/GrDisplayBuffer.h"
#include "graphics/GrDrawable.h"
#include "graphics/GrRaster.h"
#include "graphics/SimpleListDL.h"

namespace VelaGraphics {

// Pixels are row-major, row 0 first, width x height, without padding: pixel (x, y) is element x + y * width.
// Drawing sets the change mark; flush() tells the listeners and clears it. One thread, no locks.
class VirtualDisplay {
public:
    // Told of a flush; `ctx` is the pointer given at registration.
    using OnChangeFunction = void (*)(void* ctx);

    // A surface of w x h pixels. With a null `buf` it allocates and owns its pixels, all 0x00000000;
    // otherwise it draws into `buf`, which must hold w x h pixels and outlive the display. An extent that is
    // not real, or one that memory cannot be had for, gives a display of 0 x 0 pixels with a null vdbuf().
    explicit VirtualDisplay(long w, long h, Pixel* buf = nullptr)
        : VirtualDisplay(Size(static_cast<std::int32_t>(w), static_cast<std::int32_t>(h)), buf) {}
    explicit VirtualDisplay(const Size& extent, Pixel* buf = nullptr) { initVdb(extent, buf); }

    VirtualDisplay(const VirtualDisplay&) = delete;
    VirtualDisplay& operator=(const VirtualDisplay&) = delete;

    virtual ~VirtualDisplay() {
        if (myDelvdb) {
            delete[] myVDB;
            myVDB = nullptr;
        }
        onChangeList.DeleteNodes();
    }

    // Appends a listener; listeners are called in the order of registration.
    void onChange(OnChangeFunction f, void* ctx) { onChangeList.AddLast(new OnChangeNode(f, ctx)); }

    // Calls every listener, synchronously, when `force` is true or something was drawn since the last flush,
    // and clears the change mark. Otherwise does nothing.
    void flush(bool force) {
        if (!force && !isChanged) {
            return;
        }
        for (OnChangeNode* node = onChangeList.GetFirst(); node != nullptr;
             node = onChangeList.GetNext(node)) {
            node->m_f(node->m_ctx);
        }
        isChanged = false;
    }

    // True when something was drawn since the last flush.
    [[nodiscard]] bool changed() const { return isChanged; }
    // Marks the display as drawn on, for owners that write through vdbufNC().
    void markChanged() { isChanged = true; }

    [[nodiscard]] std::int32_t width() const { return mySize.w; }
    [[nodiscard]] std::int32_t height() const { return mySize.h; }
    [[nodiscard]] const Size& size() const { return mySize; }
    // The number of pixels, w x h.
    [[nodiscard]] std::uint32_t length() const { return static_cast<std::uint32_t>(mySize.area()); }

    // Cuts the rectangle at `pos` of extent `extent` to the display; what lies outside leaves an extent of 0.
    void clip(Position& pos, Size& extent) const {
        clipAxis(pos.x, extent.w, mySize.w);
        clipAxis(pos.y, extent.h, mySize.h);
    }

    void fill(Pixel color) {
        isChanged = true;
        fillPixels(myVDB, length(), color);
    }
    // Fills the part of the rectangle that lies on the display.
    void fill(const Position& pos, const Size& extent, Pixel color) {
        isChanged = true;
        Position from = pos;
        Size part = extent;
        clip(from, part);
        for (std::int32_t row = 0; row < part.h && part.w > 0; ++row) {
            fillPixels(vdbufNC(from.x, from.y + row), static_cast<std::size_t>(part.w), color);
        }
    }

    // Copies the whole of `src` to the top-left corner.
    void copy(const VirtualDisplay& src) { copy(Position(), src, Position(), src.size()); }
    // Copies `extent` pixels of `src` from srcPos on to dst, row by row, left to right, each pixel read at
    // the moment it is written: within one display an overlap smears. Both points are brought onto their
    // surface first and the extent is cut to what `src` has; the region is not cut at this display's right
    // edge, so what runs past it lands on the following rows, and what runs past the last row is dropped.
    void copy(const Position& dst, const VirtualDisplay& src, const Position& srcPos, const Size& extent) {
        isChanged = true;
        const Position from = src.mySize.clip(srcPos);
        const Position to = mySize.clip(dst);
        const Size part(std::min(extent.w, src.mySize.w - from.x), std::min(extent.h, src.mySize.h - from.y));
        DisplayBuffer target(myVDB, mySize);
        copyBlock(target, to, src.vdbuf(from), src.mySize.w, part);
    }

    // The drawable paints itself at its own position, or at `pos`.
    void draw(const Drawable& d) { drawOn(false, Position(), d); }
    void drawAt(const Position& pos, const Drawable& d) { drawOn(true, pos, d); }

    // The view that drawables get. Writing through it does not set the change mark.
    [[nodiscard]] DisplayBuffer buffer() { return {myVDB, mySize}; }

    // The first pixel, or pixel (x, y), which must lie on the display.
    [[nodiscard]] const Pixel* vdbuf() const { return myVDB; }
    [[nodiscard]] const Pixel* vdbuf(std::int32_t x, std::int32_t y) const { return myVDB + offset(x, y); }
    [[nodiscard]] const Pixel* vdbuf(const Position& p) const { return vdbuf(p.x, p.y); }
    [[nodiscard]] Pixel* vdbufNC() { return myVDB; }
    [[nodiscard]] Pixel* vdbufNC(std::int32_t x, std::int32_t y) { return myVDB + offset(x, y); }
    [[nodiscard]] Pixel* vdbufNC(const Position& p) { return vdbufNC(p.x, p.y); }

    // Reads and writes one pixel through the linear test of DisplayBuffer.
    [[nodiscard]] Pixel pixel(std::int32_t x, std::int32_t y) const { return pixel(Position(x, y)); }
    [[nodiscard]] Pixel pixel(const Position& p) const { return DisplayBuffer(myVDB, mySize).get(p); }
    void setPixel(std::int32_t x, std::int32_t y, Pixel color) {
        isChanged = true;
        buffer().set(Position(x, y), color);
    }

private:
    struct OnChangeNode : SimpleListDL<OnChangeNode>::Node {
        OnChangeNode(OnChangeFunction f, void* ctx) : m_f(f), m_ctx(ctx) {}
        OnChangeFunction m_f;
        void* m_ctx;
    };

    void initVdb(const Size& extent, Pixel* buf) {
        const bool possible = extent.isReal() && std::int64_t{extent.w} * extent.h <= INT32_MAX;
        mySize = possible ? extent : Size();
        myVDB = buf;
        myDelvdb = buf == nullptr;
        if (myDelvdb && possible) {
            // No exceptions: a display too large for the memory is an empty one, and its maker says so.
            myVDB = new (std::nothrow) Pixel[length()];
            mySize = myVDB == nullptr ? Size() : mySize;
        }
    }

    void drawOn(bool usePos, const Position& pos, const Drawable& d) {
        isChanged = true;
        DisplayBuffer target = buffer();
        d.draw(usePos, pos, target);
    }

    [[nodiscard]] std::size_t offset(std::int32_t x, std::int32_t y) const {
        return static_cast<std::size_t>(x) + static_cast<std::size_t>(y) * static_cast<std::size_t>(mySize.w);
    }

    // One axis of clip(): [from, from + extent) is cut to [0, limit). 64 bits, so that no sum overflows.
    static void clipAxis(std::int32_t& from, std::int32_t& extent, std::int32_t limit) {
        const std::int64_t end = std::min<std::int64_t>(std::int64_t{from} + extent, limit);
        from = std::clamp(from, 0, limit);
        extent = static_cast<std::int32_t>(std::max<std::int64_t>(end - from, 0));
    }

    Size mySize;
    Pixel* myVDB = nullptr;  // row-major, owned when myDelvdb
    bool myDelvdb = false;
    bool isChanged = false;
    SimpleListDL<OnChangeNode> onChangeList;
};

}  // namespace VelaGraphics
