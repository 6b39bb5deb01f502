#include "platform/linux/graphics/Surface.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <utility>

#include "platform/linux/graphics/Words.h"

namespace lumo {

namespace {

constexpr std::size_t rowAlignment = 16;

} // namespace

Surface::Memory Surface::allocate(std::size_t bytes) {
    void* memory = nullptr;
    return Memory(posix_memalign(&memory, rowAlignment, bytes) == 0 ? static_cast<unsigned char*>(memory)
                                                                    : nullptr);
}

std::unique_ptr<Surface> Surface::create(int width, int height, int format) {
    const bool known = format == STB_PIXEL_ARGB8888 || format == STB_PIXEL_ALPHA8;
    if (!known || width < 1 || height < 1 || width > LARGEST_SIDE || height > LARGEST_SIDE) {
        return nullptr;
    }
    const std::size_t rowBytes = static_cast<std::size_t>(width) * (format == STB_PIXEL_ALPHA8 ? 1 : 4);
    const std::size_t pitch = (rowBytes + rowAlignment - 1) / rowAlignment * rowAlignment;
    const std::uint64_t bytes = std::uint64_t{pitch} * static_cast<std::uint64_t>(height);
    Memory pixels = bytes > PTRDIFF_MAX ? nullptr : allocate(static_cast<std::size_t>(bytes));
    if (!pixels) {
        return nullptr;
    }
    std::unique_ptr<Surface> surface(new (std::nothrow) Surface(
        std::move(pixels), width, height, static_cast<int>(pitch), static_cast<STBPixelFormat>(format)));
    if (surface) {
        surface->clear();
    }
    return surface;
}

Surface::Surface(Memory pixels, int width, int height, int pitch, STBPixelFormat format)
    : _pixels(std::move(pixels)), _width(width), _height(height), _pitch(pitch), _format(format) {}

unsigned char* Surface::getMemoryPtr() {
    _beingWritten = true;
    return write();
}

unsigned char* Surface::write() {
    _premultipliedIsCurrent = false;
    return _pixels.get();
}

void Surface::flush() {
    _beingWritten = false;
    _premultipliedIsCurrent = false;
}

void Surface::clear() {
    std::memset(write(), 0, size());
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
        unsigned char* const start = write() + row * _pitch;
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

Surface::Source Surface::source() {
    if (_format == STB_PIXEL_ALPHA8) {
        return {_pixels.get(), false};
    }
    if (!_premultipliedIsCurrent) {
        _opaque = allOpaque();
        if (_opaque) {
            _premultiplied.reset();
        } else {
            premultiply();
        }
        _premultipliedIsCurrent = !_beingWritten;
    }
    return {_opaque ? _pixels.get() : _premultiplied.get(), _opaque};
}

bool Surface::allOpaque() const {
    for (int row = 0; row < _height; ++row) {
        if (!areOpaque(wordsOf(_pixels.get(), row), static_cast<std::size_t>(_width))) {
            return false;
        }
    }
    return true;
}

void Surface::premultiply() {
    if (!_premultiplied) {
        _premultiplied = allocate(size());
        if (!_premultiplied) {
            throw std::bad_alloc();
        }
    }
    for (int row = 0; row < _height; ++row) {
        const std::uint32_t* const from = wordsOf(_pixels.get(), row);
        std::transform(from, from + _width, wordsOf(_premultiplied.get(), row), premultiplyWord);
    }
}

} // namespace lumo
