#pragma once

#include <cstddef>
#include <memory>

#include "platform/STBPixelFormat.h"
#include "platform/STBSurfaceInterface.h"

namespace lumo {

// Pixels in memory: words 0xAARRGGBB, not premultiplied, or one byte of coverage each. Rows start at
// multiples of 16 bytes.
class Surface final : public STBSurfaceInterface {
public:
    // All transparent. format: STB_PIXEL_ARGB8888 or STB_PIXEL_ALPHA8. Null for another format, an empty size
    // or when there is no memory.
    static std::unique_ptr<Surface> create(int width, int height, int format);

    ~Surface() override;
    Surface(const Surface&) = delete;
    Surface& operator=(const Surface&) = delete;

    unsigned char* getMemoryPtr() override { return _pixels; }

    int getWidth() const override { return _width; }

    int getHeight() const override { return _height; }

    int getPixelFormat() const override { return _format; }

    void clear() override;
    // Of a colour, surfaces of coverage take the alpha.
    void fillRect(int x, int y, int width, int height, unsigned int colour) override;
    void simpleFill(unsigned int colour) override;

    int getPitch() const override { return _pitch; }

    void flush() override {}

private:
    Surface(unsigned char* pixels, int width, int height, int pitch, STBPixelFormat format);

    std::size_t size() const { return static_cast<std::size_t>(_pitch) * static_cast<std::size_t>(_height); }

    unsigned char* _pixels; // of calloc or alike
    int _width;
    int _height;
    int _pitch;
    STBPixelFormat _format;
};

} // namespace lumo
