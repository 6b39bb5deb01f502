#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <stdexcept>

#include "platform/STBBitmap.h"
#include "platform/STBDecodePixelFormatter.h"
#include "platform/linux/graphics/RowScaler.h"

namespace lumo {

// Why a picture cannot be decoded.
class PictureError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// The most that a decoder may hold besides the bitmap, in bytes.
constexpr std::size_t decoderMemory = 64 << 20;

// The layout that pictures usually get: see STBDecodePixelFormatter.
STBPixelFormat usualFormat(bool hasColours, bool hasAlpha);

// Makes the bitmap of a picture whose rows come in from a decoder. Its operations throw PictureError and
// std::bad_alloc.
class PictureBuilder {
public:
    // formatter: null for the usual layouts.
    PictureBuilder(const STBDecodePixelFormatter* formatter, const STBPoint& maxSize)
        : _formatter(formatter), _maxSize(maxSize) {}

    // The size that the bitmap will have. Refuses absurd ones.
    RowScaler::Size fit(std::uint32_t width, std::uint32_t height);
    // After fit(). size: of the rows that will come in, at least that of the bitmap.
    void start(RowScaler::Size size, bool hasColours, bool hasAlpha);

    // Bytes of a pixel of the rows that come in: 1 of coverage, or 4 R, G, B, A.
    std::size_t bytesPerPixel() const { return _bitmap->getPixelFormat() == STB_PIXEL_ALPHA8 ? 1 : 4; }

    void addRow(const unsigned char* row);

    // After the last row.
    std::unique_ptr<STBBitmap> take() { return std::move(_bitmap); }

private:
    STBPixelFormat formatFor(bool hasColours, bool hasAlpha) const;

    const STBDecodePixelFormatter* _formatter;
    STBPoint _maxSize;
    RowScaler::Size _size{};
    std::unique_ptr<STBBitmap> _bitmap;
    std::optional<RowScaler> _scaler;
    unsigned char* _next = nullptr; // the bitmap's next row
};

// Decode one file of their format. They throw what the builder throws.
void decodePng(const unsigned char* data, std::size_t size, PictureBuilder& builder);
void decodeJpeg(const unsigned char* data, std::size_t size, PictureBuilder& builder);

} // namespace lumo
