#include "platform/STBBitmap.h"

#include <climits>
#include <cstdint>
#include <cstring>
#include <exception>
#include <memory>
#include <new>

#include "platform/linux/device/Log.h"
#include "platform/linux/graphics/PictureBuilder.h"

#define LUMO_LOG_FILE "platform/linux/graphics/STBBitmap"

namespace {

constexpr unsigned char pngStart[] = {0x89, 'P', 'N', 'G'};
constexpr unsigned char jpegStart[] = {0xFF, 0xD8, 0xFF};

template <std::size_t count>
bool startsWith(const unsigned char* data, unsigned int size, const unsigned char (&start)[count]) {
    return size >= count && std::memcmp(data, start, count) == 0;
}

std::size_t bytesPerPixel(STBPixelFormat format) {
    return format == STB_PIXEL_ALPHA8 ? 1 : 4;
}

// Null when it has no pixels.
std::unique_ptr<STBBitmap> makeBitmap(STBPixelFormat format, int width, int height) {
    std::unique_ptr<STBBitmap> bitmap(new (std::nothrow) STBBitmap(format, width, height));
    if (bitmap && bitmap->getMemoryPtr() == nullptr) {
        bitmap.reset();
    }
    return bitmap;
}

} // namespace

struct STBBitmap::Impl {
    STBPixelFormat format;
    int width = 0;
    int height = 0;
    unsigned int bytes = 0;
    std::unique_ptr<unsigned char[]> pixels;
};

STBBitmap::STBBitmap(STBPixelFormat format, int width, int height)
    : _impl(new Impl{format, 0, 0, 0, nullptr}) {
    if (width < 1 || height < 1) {
        return;
    }
    const auto rowBytes = static_cast<std::uint64_t>(width) * bytesPerPixel(format);
    if (rowBytes > INT_MAX / static_cast<std::uint64_t>(height)) {
        return;
    }
    const auto bytes = static_cast<unsigned int>(rowBytes * static_cast<std::uint64_t>(height));
    _impl->pixels.reset(new (std::nothrow) unsigned char[bytes]);
    if (_impl->pixels) {
        _impl->width = width;
        _impl->height = height;
        _impl->bytes = bytes;
    }
}

STBBitmap::~STBBitmap() {
    delete _impl;
}

STBBitmap* STBBitmap::decodeImageBuffer(const unsigned char* data, unsigned int size,
                                        STBDecodePixelFormatter* formatter, const STBPoint& maxSize) try {
    lumo::PictureBuilder builder(formatter, maxSize);
    if (data != nullptr && startsWith(data, size, pngStart)) {
        lumo::decodePng(data, size, builder);
    } else if (data != nullptr && startsWith(data, size, jpegStart)) {
        lumo::decodeJpeg(data, size, builder);
    } else {
        throw lumo::PictureError("it is neither a PNG nor a JPEG");
    }
    return builder.take().release();

} catch (const std::exception& problem) {

    LUMO_LOG(lumo::LogWarning, "Cannot decode a picture of %u bytes: %s", size, problem.what());
    return nullptr;
}

STBBitmap* STBBitmap::makeRGBA8888FromRawData(int width, int height, const unsigned char* pixels) {
    if (pixels == nullptr) {
        return nullptr;
    }
    auto bitmap = makeBitmap(STB_PIXEL_RGBA8888, width, height);
    if (bitmap) {
        std::memcpy(bitmap->getMemoryPtr(), pixels, bitmap->getMemorySize());
    }
    return bitmap.release();
}

STBBitmap* STBBitmap::compressBitmap(const STBBitmap* bitmap, unsigned int compressFormat) {
    if (bitmap == nullptr || bitmap->getMemoryPtr() == nullptr) {
        return nullptr;
    }
    const STBPixelFormat from = bitmap->getPixelFormat();
    const bool toCoverage = compressFormat == STB_PIXEL_ALPHA8;
    if ((!toCoverage && compressFormat != STB_PIXEL_RGBA8888_OPAQUE) || from == STB_PIXEL_ARGB8888 ||
        (from == STB_PIXEL_ALPHA8 && !toCoverage)) {
        return nullptr;
    }
    auto copy =
        makeBitmap(static_cast<STBPixelFormat>(compressFormat), bitmap->getWidth(), bitmap->getHeight());
    if (!copy) {
        return nullptr;
    }
    const unsigned char* const source = bitmap->getMemoryPtr();
    unsigned char* const target = copy->getMemoryPtr();
    if (toCoverage && from != STB_PIXEL_ALPHA8) {
        for (unsigned int i = 0; i < copy->getMemorySize(); ++i) {
            target[i] = source[std::size_t{i} * 4 + 3];
        }
        return copy.release();
    }
    std::memcpy(target, source, copy->getMemorySize());
    for (unsigned int i = 3; !toCoverage && i < copy->getMemorySize(); i += 4) {
        target[i] = 255;
    }
    return copy.release();
}

int STBBitmap::getWidth() const {
    return _impl->width;
}

int STBBitmap::getHeight() const {
    return _impl->height;
}

STBPixelFormat STBBitmap::getPixelFormat() const {
    return _impl->format;
}

unsigned char* STBBitmap::getMemoryPtr() const {
    return _impl->pixels.get();
}

unsigned int STBBitmap::getMemorySize() const {
    return _impl->bytes;
}
