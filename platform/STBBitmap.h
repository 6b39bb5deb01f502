#pragma once

#include "platform/STBPixelFormat.h"
#include "platform/STBPoint.h"

class STBDecodePixelFormatter;

// A decoded picture. Owned by whoever received the pointer, deleted plainly. One thread at a time.
class STBBitmap {
public:
    // Undefined pixels of that size and layout. Without pixels and 0 by 0, when the size is less than 1 by 1
    // or beyond 2 GiB, or there is no memory.
    STBBitmap(STBPixelFormat format, int width, int height);
    ~STBBitmap();
    STBBitmap(const STBBitmap&) = delete;
    STBBitmap& operator=(const STBBitmap&) = delete;

    // Decodes a PNG or a JPEG, and whatever else the device can. A picture larger than maxSize is scaled down
    // to fit it with its aspect kept. formatter: the graphics service's, or null for the device's usual
    // layouts. Null, with a line in the log, when the bytes are not a whole picture, when it is absurdly
    // large (a side above 32767 pixels, more than 64 Mi pixels, or more than 64 MiB of working memory, which
    // interlaced and progressive files take), and when there is no memory.
    static STBBitmap* decodeImageBuffer(const unsigned char* data, unsigned int size,
                                        STBDecodePixelFormatter* formatter, const STBPoint& maxSize);
    // Copies width * height pixels of four bytes R, G, B, A, rows without gaps. Null for a size that no
    // bitmap can have and when there is no memory.
    static STBBitmap* makeRGBA8888FromRawData(int width, int height, const unsigned char* pixels);
    // A copy in another layout; the original is left alone. compressFormat: STB_PIXEL_ALPHA8 takes the alpha
    // channel as coverage, STB_PIXEL_RGBA8888_OPAQUE drops it; a device may have more. Null for another one,
    // or when the bitmap has no such channel or there is no memory.
    static STBBitmap* compressBitmap(const STBBitmap* bitmap, unsigned int compressFormat);

    int getWidth() const;  // pixels
    int getHeight() const; // pixels
    STBPixelFormat getPixelFormat() const;
    unsigned char* getMemoryPtr() const; // first byte of the top row
    unsigned int getMemorySize() const;  // bytes

private:
    struct Impl;
    Impl* _impl;
};
