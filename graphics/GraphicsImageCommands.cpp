// The interpreter's commands for shapes and bitmaps.

#include <memory>
#include <new>
#include <utility>

#include "graphics/GraphicsCommandProcessor.h"
#include "graphics/LeakCheck.h"

using VelaGraphics::Bmp;
using VelaGraphics::Pixel;
using VelaGraphics::Position;
using VelaGraphics::Shape;

// The shape of that name, read from NAME.shp in the working directory when it is not cached yet. Null, after
// the message, when that fails; an empty name cannot be kept.
Shape* GraphicsCommandProcessor::findShape(const SimpleString& name) {
    Shape* cached = nullptr;
    if (m_shapeDict.Find(name.c_str(), cached)) {
        return cached;
    }
    SimpleString file(name.c_str());
    file.Append(".shp", 0);
    std::unique_ptr<Shape> shape(new (std::nothrow) Shape);
    if (shape == nullptr || !shape->loadFromFile(file.c_str()) ||
        !m_shapeDict.Set(name.c_str(), shape.get())) {
        error("shape %s not found", name.c_str());
        return nullptr;
    }
    return shape.release();
}

bool GraphicsCommandProcessor::process_shape(const char* args) {
    VirtualDisplay* display = needDisplay(args);
    SimpleString name(kTokenCapacity, kTokenCapacity);
    if (display == nullptr || !needString(args, name, "name")) {
        return true;
    }
    long x = 0;
    long y = 0;
    Pixel fg;
    Pixel bg;
    getInt(args, x);
    getInt(args, y);
    const bool hasForeground = getColor(args, fg);
    const bool hasBackground = getColor(args, bg);
    Shape* shape = findShape(name);
    if (shape == nullptr || !hasForeground) {
        return true;
    }
    // Both stay with the cached shape, for commands that give only one.
    shape->setFg(fg);
    if (hasBackground) {
        shape->setBg(bg);
    }
    display->drawAt(Position(static_cast<std::int32_t>(x), static_cast<std::int32_t>(y)), *shape);
    return true;
}

bool GraphicsCommandProcessor::process_shaped(const char* args) {
    SimpleString name;
    if (needString(args, name, "name")) {
        Shape* shape = nullptr;
        if (!m_shapeDict.Remove(name.c_str(), &shape)) {
            error("shaped, '%s' not found", name.c_str());
        }
        delete shape;
    }
    return true;
}

// Takes the bitmap of that name out of the cache. Null when there is none.
std::unique_ptr<Bmp> GraphicsCommandProcessor::takeBitmap(const SimpleString& name) {
    Bmp* cached = nullptr;
    m_bmpDict.Remove(name.c_str(), &cached);
    return std::unique_ptr<Bmp>(cached);
}

// Caches a bitmap under the name of its file, in place of an earlier one, which is deleted.
void GraphicsCommandProcessor::keepBitmap(const SimpleString& name, std::unique_ptr<Bmp> bitmap) {
    takeBitmap(name).reset();
    if (m_bmpDict.Set(name.c_str(), bitmap.get())) {
        VelaGraphics::leaveToProcessEnd(bitmap.release());
    }
}

void GraphicsCommandProcessor::loadBitmap(const char* args, const char* word, bool useAlpha) {
    SimpleString name;
    if (!needString(args, name, "name")) {
        return;
    }
    std::unique_ptr<Bmp> bitmap(new (std::nothrow) Bmp);
    if (bitmap == nullptr || !bitmap->loadFromFile(name.c_str(), useAlpha)) {
        error("%s, '%s' could not be loaded", word, name.c_str());
        return;
    }
    keepBitmap(name, std::move(bitmap));
}

bool GraphicsCommandProcessor::process_bmp(const char* args) {
    loadBitmap(args, "bmp", false);
    return true;
}

bool GraphicsCommandProcessor::process_bmpa(const char* args) {
    loadBitmap(args, "bmpa", true);
    return true;
}

bool GraphicsCommandProcessor::process_bmpt(const char* args) {
    SimpleString name;
    Pixel bg;
    if (!needString(args, name, "name") || !needColor(args, bg, "bg")) {
        return true;
    }
    // Unlike the other two it loads a cached bitmap anew, so that nothing is cached when it fails.
    std::unique_ptr<Bmp> bitmap = takeBitmap(name);
    if (bitmap == nullptr) {
        bitmap.reset(new (std::nothrow) Bmp);
    }
    if (bitmap == nullptr || !bitmap->loadFromFileWithTransparentColor(name.c_str(), bg)) {
        error("bmpt, '%s' could not be loaded", name.c_str());
        return true;
    }
    keepBitmap(name, std::move(bitmap));
    return true;
}

bool GraphicsCommandProcessor::process_bmpdraw(const char* args) {
    VirtualDisplay* display = needDisplay(args);
    SimpleString name(kTokenCapacity, kTokenCapacity);
    Position at;
    if (display == nullptr || !needString(args, name, "name") || !needInt(args, at.x, "x") ||
        !needInt(args, at.y, "y")) {
        return true;
    }
    Bmp* bitmap = nullptr;
    if (m_bmpDict.Find(name.c_str(), bitmap)) {
        display->drawAt(at, *bitmap);
    } else {
        error("bmpdraw, '%s' has not been loaded", name.c_str());
    }
    return true;
}

bool GraphicsCommandProcessor::process_bmpdel(const char* args) {
    SimpleString name;
    if (needString(args, name, "name") && takeBitmap(name) == nullptr) {
        error("bmpdel, '%s' has not been found in cache", name.c_str());
    }
    return true;
}
