#pragma once

#include "platform/STBPixelFormat.h"
#include "platform/STBPoint.h"

class STBDecodePixelFormatter;

// A decoded picture. Owned by whoever received the pointer, deleted plainly. One thread at a time.
class STBBitmap {
public:
    // Undefined pixels of that size and layout.
    STBBitmap(STBPixelFormat format, int width, int height);
    ~STBBitmap();
    STBBitmap(const STBBitmap&) = delete;
    STBBitmap& operator=(const STBBitmap&) = delete;

    // Decodes PNG, JPEG and whatever else the device can; a picture larger than maxSize is scaled down to fit
    // it with its aspect kept. formatter: the graphics service's, or null for the device's usual layout. Null,
    // with a line in the log, when it cannot be decoded.
    static STBBitmap* decodeImageBuffer(const unsigned char* data, unsigned int size,
                                        STBDecodePixelFormatter* formatter, const STBPoint& maxSize);
    // Copies width * height pixels of four bytes R, G, B, A, rows without gaps. Null when there is no memory.
    static STBBitmap* makeRGBA8888FromRawData(int width, int height, const unsigned char* pixels);
    // A copy in a layout of the device's own; null when it has none of that number. The original is left
    // alone.
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
