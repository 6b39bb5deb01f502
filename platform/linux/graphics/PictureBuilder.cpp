#include "platform/linux/graphics/PictureBuilder.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <string>

namespace lumo {

namespace {

constexpr std::uint32_t largestSide = 32767;
constexpr std::uint64_t mostPixels = 64 << 20;

// length * numerator / denominator, but not nothing.
std::uint32_t scaled(std::uint32_t length, std::uint64_t numerator, std::uint64_t denominator) {
    return static_cast<std::uint32_t>(std::max<std::uint64_t>(1, length * numerator / denominator));
}

} // namespace

STBPixelFormat usualFormat(bool hasColours, bool hasAlpha) {
    // Grey pictures without transparency are masks, which take their colour where they are drawn.
    if (!hasColours && !hasAlpha) {
        return STB_PIXEL_ALPHA8;
    }
    return hasAlpha ? STB_PIXEL_RGBA8888 : STB_PIXEL_RGBA8888_OPAQUE;
}

RowScaler::Size PictureBuilder::fit(std::uint32_t width, std::uint32_t height) {
    if (width < 1 || height < 1 || width > largestSide || height > largestSide ||
        std::uint64_t{width} * height > mostPixels) {
        throw PictureError("no picture is " + std::to_string(width) + " by " + std::to_string(height) +
                           " pixels large");
    }
    if (_maxSize.x < 1 || _maxSize.y < 1) {
        throw PictureError("asked for as " + std::to_string(_maxSize.x) + " by " +
                           std::to_string(_maxSize.y) + " pixels");
    }
    const auto mostX = static_cast<std::uint32_t>(_maxSize.x);
    const auto mostY = static_cast<std::uint32_t>(_maxSize.y);
    if (width <= mostX && height <= mostY) {
        _size = {width, height};
    } else if (std::uint64_t{width} * mostY > std::uint64_t{height} * mostX) {
        _size = {mostX, scaled(height, mostX, width)};
    } else {
        _size = {scaled(width, mostY, height), mostY};
    }
    return _size;
}

STBPixelFormat PictureBuilder::formatFor(bool hasColours, bool hasAlpha) const {
    const STBPixelFormat format = _formatter == nullptr ? usualFormat(hasColours, hasAlpha)
                                                        : _formatter->getDecodedFormat(hasColours, hasAlpha);
    const bool coverage = format == STB_PIXEL_ALPHA8 && !hasColours && !hasAlpha;
    const bool opaque = format == STB_PIXEL_RGBA8888_OPAQUE && !hasAlpha;
    if (!coverage && !opaque && format != STB_PIXEL_RGBA8888) {
        throw PictureError("cannot be decoded to layout " + std::to_string(format));
    }
    return format;
}

void PictureBuilder::start(RowScaler::Size size, bool hasColours, bool hasAlpha) {
    const STBPixelFormat format = formatFor(hasColours, hasAlpha);
    const RowScaler::Layout layout = format == STB_PIXEL_ALPHA8 ? RowScaler::Layout::Coverage
                                     : hasAlpha                 ? RowScaler::Layout::Alpha
                                                                : RowScaler::Layout::Opaque;
    _scaler.emplace(size, _size, layout);
    _bitmap =
        std::make_unique<STBBitmap>(format, static_cast<int>(_size.width), static_cast<int>(_size.height));
    _next = _bitmap->getMemoryPtr();
    if (_next == nullptr) {
        throw std::bad_alloc();
    }
}

void PictureBuilder::addRow(const unsigned char* row) {
    const std::size_t bytes = _size.width * bytesPerPixel();
    _scaler->add(row, [&](const unsigned char* smallRow) {
        std::memcpy(_next, smallRow, bytes);
        _next += bytes;
    });
}

} // namespace lumo
