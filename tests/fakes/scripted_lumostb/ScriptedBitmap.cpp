#include "platform/STBBitmap.h"

// A device without pictures: the program only links to these.

struct STBBitmap::Impl {};

STBBitmap::STBBitmap(STBPixelFormat, int, int) : _impl(nullptr) {}

STBBitmap::~STBBitmap() = default;

STBBitmap* STBBitmap::decodeImageBuffer(const unsigned char*, unsigned int, STBDecodePixelFormatter*,
                                        const STBPoint&) {
    return nullptr;
}

STBBitmap* STBBitmap::makeRGBA8888FromRawData(int, int, const unsigned char*) {
    return nullptr;
}

STBBitmap* STBBitmap::compressBitmap(const STBBitmap*, unsigned int) {
    return nullptr;
}

int STBBitmap::getWidth() const {
    return 0;
}

int STBBitmap::getHeight() const {
    return 0;
}

STBPixelFormat STBBitmap::getPixelFormat() const {
    return STB_PIXEL_RGBA8888;
}

unsigned char* STBBitmap::getMemoryPtr() const {
    return nullptr;
}

unsigned int STBBitmap::getMemorySize() const {
    return 0;
}
