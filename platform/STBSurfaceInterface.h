#pragma once

// A rectangle of pixels in memory, rows top down: 32-bit words 0xAARRGGBB, not premultiplied, unless its
// format says otherwise. Made by STBGraphicsInterface; deleted by whoever asked for it. Slot order: the
// destructors, then the operations as they stand here. One thread at a time.
class STBSurfaceInterface {
public:
    virtual ~STBSurfaceInterface() = default;

    // First pixel of the top row; rows are getPitch() bytes apart. To be read while the surface lives, and to
    // be written until the next flush(): ask again before writing after that.
    virtual unsigned char* getMemoryPtr() = 0;
    virtual int getWidth() const = 0;  // pixels
    virtual int getHeight() const = 0; // pixels
    virtual int getPixelFormat() const = 0;
    // Makes every pixel transparent black.
    virtual void clear() = 0;
    // Writes the colour word, unblended, into the part of the rectangle that lies on the surface.
    virtual void fillRect(int x, int y, int width, int height, unsigned int colour) = 0;
    // Writes the colour word, unblended, into every pixel.
    virtual void simpleFill(unsigned int colour) = 0;
    virtual int getPitch() const = 0; // bytes from one row to the next, a multiple of 4
    // Ends a series of direct writes. Blits from a surface are quicker when it is called after them.
    virtual void flush() = 0;
};
