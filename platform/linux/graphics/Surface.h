#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>

#include "platform/STBPixelFormat.h"
#include "platform/STBSurfaceInterface.h"

namespace lumo {

// Pixels in memory: words 0xAARRGGBB, not premultiplied, or one byte of coverage each.
class Surface final : public STBSurfaceInterface {
public:
    static constexpr int LARGEST_SIDE = 32767; // pixels; of what blits can address

    // What blits read of a surface: premultiplied words or coverage, rows getPitch() bytes apart.
    struct Source {
        const unsigned char* pixels;
        bool opaque; // every alpha is 255
    };

    // All transparent. format: STB_PIXEL_ARGB8888 or STB_PIXEL_ALPHA8. Null for another format, a side less
    // than 1 or above LARGEST_SIDE, or when there is no memory.
    static std::unique_ptr<Surface> create(int width, int height, int format);

    unsigned char* getMemoryPtr() override;

    int getWidth() const override { return _width; }

    int getHeight() const override { return _height; }

    int getPixelFormat() const override { return _format; }

    void clear() override;
    // A surface of coverage takes the colour's alpha.
    void fillRect(int x, int y, int width, int height, unsigned int colour) override;
    void simpleFill(unsigned int colour) override;

    int getPitch() const override { return _pitch; }

    void flush() override;

    // The pixels for a reader: unlike getMemoryPtr() this announces no writing.
    const unsigned char* read() const { return _pixels.get(); }

    // The pixels for a writer who is done at once, as a blit is.
    unsigned char* write();

    // Good until the surface changes. Throws std::bad_alloc.
    Source source();

private:
    struct Free {
        void operator()(unsigned char* memory) const { std::free(memory); }
    };

    using Memory = std::unique_ptr<unsigned char, Free>;

    Surface(Memory pixels, int width, int height, int pitch, STBPixelFormat format);

    static Memory allocate(std::size_t bytes);

    std::size_t size() const { return static_cast<std::size_t>(_pitch) * static_cast<std::size_t>(_height); }

    std::uint32_t* wordsOf(unsigned char* pixels, int row) const {
        return reinterpret_cast<std::uint32_t*>(pixels + std::ptrdiff_t{row} * _pitch);
    }

    bool allOpaque() const;
    void premultiply();

    Memory _pixels;
    int _width;
    int _height;
    int _pitch; // a multiple of 16
    STBPixelFormat _format;

    // Whether someone may be writing through getMemoryPtr(): nothing is kept meanwhile.
    bool _beingWritten = false;

    // The premultiplied copy; empty of opaque surfaces, for which the pixels themselves will do.
    Memory _premultiplied;
    bool _premultipliedIsCurrent = false;
    bool _opaque = false; // while that is current
};

} // namespace lumo
