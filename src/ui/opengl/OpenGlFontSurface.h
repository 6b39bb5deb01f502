#pragma once

#include <cstddef>
#include <memory>

#include "platform/STBSurfaceInterface.h"

// The coverage of a glyph in plain memory: one byte a pixel, 0 outside, 255 inside, rows top down without
// gaps. Only a source: it cannot be drawn on, and is no source for the platform's blits, which know other
// layouts.
class OpenGlFontSurface final : public STBSurfaceInterface {
public:
    // All transparent. When there is no memory for it, that is logged and getMemoryPtr() is null.
    OpenGlFontSurface(unsigned short width, unsigned short height);

    unsigned char* getMemoryPtr() override { return _pixels.get(); }

    int getWidth() const override { return _width; }

    int getHeight() const override { return _height; }

    // -1: none of the platform's.
    int getPixelFormat() const override { return _format; }

    void clear() override;

    void fillRect(int, int, int, int, unsigned int) override {}

    void simpleFill(unsigned int) override {}

    int getPitch() const override { return _width; }

    void flush() override {}

private:
    std::size_t size() const { return std::size_t{_width} * _height; }

    unsigned short _width;
    unsigned short _height;
    int _format = -1;
    std::unique_ptr<unsigned char[]> _pixels;
};
