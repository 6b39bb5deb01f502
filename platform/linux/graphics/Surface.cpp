#include "platform/linux/graphics/Surface.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>

namespace lumo {

namespace {

constexpr std::size_t rowAlignment = 16;
constexpr int largestSide = 65535;

} // namespace

std::unique_ptr<Surface> Surface::create(int width, int height, int format) {
    const bool known = format == STB_PIXEL_ARGB8888 || format == STB_PIXEL_ALPHA8;
    if (!known || width < 1 || height < 1 || width > largestSide || height > largestSide) {
        return nullptr;
    }
    const std::size_t rowBytes = static_cast<std::size_t>(width) * (format == STB_PIXEL_ALPHA8 ? 1 : 4);
    const std::size_t pitch = (rowBytes + rowAlignment - 1) / rowAlignment * rowAlignment;
    const std::uint64_t bytes = std::uint64_t{pitch} * static_cast<std::uint64_t>(height);
    if (bytes > PTRDIFF_MAX) {
        return nullptr;
    }
    void* pixels = nullptr;
    if (posix_memalign(&pixels, rowAlignment, static_cast<std::size_t>(bytes)) != 0) {
        return nullptr;
    }
    std::unique_ptr<Surface> surface(new (std::nothrow) Surface(static_cast<unsigned char*>(pixels), width,
                                                                height, static_cast<int>(pitch),
                                                                static_cast<STBPixelFormat>(format)));
    if (!surface) {
        std::free(pixels);
        return nullptr;
    }
    surface->clear();
    return surface;
}

Surface::Surface(unsigned char* pixels, int width, int height, int pitch, STBPixelFormat format)
    : _pixels(pixels), _width(width), _height(height), _pitch(pitch), _format(format) {}

Surface::~Surface() {
    std::free(_pixels);
}

void Surface::clear() {
    std::memset(_pixels, 0, size());
}

void Surface::fillRect(int x, int y, int width, int height, unsigned int colour) {
    const std::int64_t left = std::max(x, 0);
    const std::int64_t top = std::max(y, 0);
    const std::int64_t right = std::min<std::int64_t>(std::int64_t{x} + width, _width);
    const std::int64_t bottom = std::min<std::int64_t>(std::int64_t{y} + height, _height);
    if (left >= right) {
        return;
    }
    for (std::int64_t row = top; row < bottom; ++row) {
        unsigned char* const start = _pixels + row * _pitch;
        if (_format == STB_PIXEL_ALPHA8) {
            std::memset(start + left, static_cast<int>(colour >> 24), static_cast<std::size_t>(right - left));
        } else {
            std::fill_n(reinterpret_cast<std::uint32_t*>(start) + left, right - left, colour);
        }
    }
}

void Surface::simpleFill(unsigned int colour) {
    fillRect(0, 0, _width, _height, colour);
}

} // namespace lumo
