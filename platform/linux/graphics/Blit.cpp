#include "platform/linux/graphics/Blit.h"

#include <pixman.h>

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstring>
#include <memory>
#include <new>
#include <optional>
#include <vector>

#include "platform/linux/graphics/Surface.h"
#include "platform/linux/graphics/Words.h"

namespace lumo {

namespace {

constexpr int done = 0;
constexpr int refused = -1;

constexpr int blendBySourceAlpha = 2;
constexpr int deviceDefault = 3;

using Rect = STBBlitRequest::Rect;

struct ImageDeleter {
    void operator()(pixman_image_t* image) const { pixman_image_unref(image); }
};

using Image = std::unique_ptr<pixman_image_t, ImageDeleter>;

Image checked(pixman_image_t* image) {
    return image == nullptr ? throw std::bad_alloc() : Image(image);
}

// pixels: for images that are only read too; pixman's type knows no difference.
Image imageOf(pixman_format_code_t format, int width, int height, const void* pixels, int pitch) {
    return checked(pixman_image_create_bits(format, width, height,
                                            static_cast<std::uint32_t*>(const_cast<void*>(pixels)), pitch));
}

bool isSize(const Rect& rect) {
    return rect.w > 0 && rect.h > 0 && std::int64_t{rect.x} + rect.w <= INT_MAX &&
           std::int64_t{rect.y} + rect.h <= INT_MAX;
}

bool liesOn(const Rect& rect, const Surface& surface) {
    return isSize(rect) && rect.x >= 0 && rect.y >= 0 && rect.x + rect.w <= surface.getWidth() &&
           rect.y + rect.h <= surface.getHeight();
}

// Empty when nothing of it lies on the surface.
Rect clipped(const Rect& rect, const Surface& surface) {
    const int left = std::max(rect.x, 0);
    const int top = std::max(rect.y, 0);
    return {left, top, std::min(rect.x + rect.w, surface.getWidth()) - left,
            std::min(rect.y + rect.h, surface.getHeight()) - top};
}

// Rows of a surface that is drawn to.
class Canvas {
public:
    // area: of the surface; what is drawn to.
    Canvas(Surface& surface, const Rect& area)
        : _pixels(surface.write()), _pitch(surface.getPitch()), _area(area) {}

    int width() const { return _area.w; }

    int height() const { return _area.h; }

    // Whether there are bytes between its rows that do not belong to it.
    bool hasGaps() const { return _area.w * 4 != _pitch; }

    // The area, for pixman.
    Image image() const { return imageOf(PIXMAN_a8r8g8b8, _area.w, _area.h, row(0), _pitch); }

    // row: of the area.
    std::uint32_t* row(int row) const {
        return reinterpret_cast<std::uint32_t*>(_pixels + std::ptrdiff_t{_area.y + row} * _pitch) + _area.x;
    }

    std::size_t rowWords() const { return static_cast<std::size_t>(_area.w); }

private:
    unsigned char* _pixels;
    int _pitch;
    Rect _area;
};

// How many rows of words make a block that stays in the processor's cache.
int rowsOfBlock(int width, int bytes) {
    return std::max(1, bytes / (width * 4));
}

// Copies what is filled already, as much as it can at a time: quicker than storing words.
void fillOpaque(const Canvas& canvas, std::uint32_t word) {
    std::fill_n(canvas.row(0), canvas.width(), word);
    const int most = canvas.hasGaps() ? 1 : rowsOfBlock(canvas.width(), 128 << 10);
    for (int filled = 1; filled < canvas.height();) {
        const int rows = std::min({filled, most, canvas.height() - filled});
        std::memcpy(canvas.row(filled), canvas.row(0),
                    canvas.rowWords() * 4 * static_cast<std::size_t>(rows));
        filled += rows;
    }
}

void fill(const Canvas& canvas, std::uint32_t word) {
    if (word >= opaqueAlpha) {
        fillOpaque(canvas, word);
        return;
    }
    const std::vector<std::uint32_t> words(canvas.rowWords(), premultiplyWord(word));
    for (int row = 0; row < canvas.height(); ++row) {
        blendWords(canvas.row(row), words.data(), words.size());
    }
}

// The part of a surface that is drawn, stretched, and coloured when it is coverage.
class Pen {
public:
    // to: where rect's pixels go. area: the part of that which is drawn.
    Pen(Surface& surface, const Rect& rect, unsigned int colour, const Rect& to, const Rect& area)
        : _left(area.x - to.x), _top(area.y - to.y) {
        const Surface::Source source = surface.source();
        const bool coverage = surface.getPixelFormat() == STB_PIXEL_ALPHA8;
        _opaque = source.opaque;
        _pitch = surface.getPitch();
        _pixels =
            source.pixels + std::ptrdiff_t{rect.y} * _pitch + std::ptrdiff_t{rect.x} * (coverage ? 1 : 4);
        const pixman_format_code_t words = _opaque ? PIXMAN_x8r8g8b8 : PIXMAN_a8r8g8b8;
        _image = imageOf(coverage ? PIXMAN_a8 : words, rect.w, rect.h, _pixels, _pitch);
        if (coverage) {
            _colour = solid(colour);
        }
        _ready = !coverage && rect.w == to.w && rect.h == to.h;
        if (rect.w != to.w || rect.h != to.h) {
            stretch(rect, to);
        }
    }

    bool isOpaque() const { return _opaque; }

    // Whether the pixels are drawn as they lie in memory.
    bool isReady() const { return _ready; }

    // Of the area; when they are ready.
    const std::uint32_t* row(int row) const {
        return reinterpret_cast<const std::uint32_t*>(_pixels + std::ptrdiff_t{_top + row} * _pitch) + _left;
    }

    // Puts rows of the area, premultiplied, into an image.
    void put(pixman_image_t* into, int first, int width, int rows) const {
        if (_colour) {
            pixman_image_composite32(PIXMAN_OP_SRC, _colour.get(), _image.get(), into, 0, 0, _left,
                                     _top + first, 0, 0, width, rows);
        } else {
            pixman_image_composite32(PIXMAN_OP_SRC, _image.get(), nullptr, into, _left, _top + first, 0, 0, 0,
                                     0, width, rows);
        }
    }

private:
    static Image solid(unsigned int colour) {
        const auto channel = [colour](int shift) {
            return static_cast<std::uint16_t>((colour >> shift & 0xFF) * 0x101);
        };
        const pixman_color_t opaque = {channel(16), channel(8), channel(0), 0xFFFF};
        return checked(pixman_image_create_solid_fill(&opaque));
    }

    // Folds the area's offset into the transformation, which keeps pixman's 16-bit coordinates small.
    void stretch(const Rect& rect, const Rect& to) {
        const double scaleX = static_cast<double>(rect.w) / to.w;
        const double scaleY = static_cast<double>(rect.h) / to.h;
        pixman_transform_t transform;
        pixman_transform_init_scale(&transform, pixman_double_to_fixed(scaleX),
                                    pixman_double_to_fixed(scaleY));
        transform.matrix[0][2] = pixman_double_to_fixed(_left * scaleX);
        transform.matrix[1][2] = pixman_double_to_fixed(_top * scaleY);
        _left = 0;
        _top = 0;
        if (!pixman_image_set_transform(_image.get(), &transform) ||
            !pixman_image_set_filter(_image.get(), PIXMAN_FILTER_BILINEAR, nullptr, 0)) {
            throw std::bad_alloc();
        }
        // Stretched pixels mix with their neighbours in the rectangle, not with those around it.
        pixman_image_set_repeat(_image.get(), PIXMAN_REPEAT_PAD);
    }

    const unsigned char* _pixels;
    int _pitch;
    Image _image;  // of _pixels
    Image _colour; // null unless the pixels are coverage
    bool _opaque;
    bool _ready;
    int _left; // of the area, from where the pixels would start
    int _top;
};

void drawReady(const Canvas& canvas, const Pen& pen) {
    for (int row = 0; row < canvas.height(); ++row) {
        if (pen.isOpaque()) {
            std::memcpy(canvas.row(row), pen.row(row), canvas.rowWords() * 4);
        } else {
            blendWords(canvas.row(row), pen.row(row), canvas.rowWords());
        }
    }
}

// pixman stretches and colours; what it has no operation for is to blend over words that are neither opaque
// nor premultiplied.
void draw(const Canvas& canvas, const Pen& pen) {
    if (pen.isReady()) {
        drawReady(canvas, pen);
        return;
    }
    if (pen.isOpaque()) {
        pen.put(canvas.image().get(), 0, canvas.width(), canvas.height());
        return;
    }
    const int most = std::min(rowsOfBlock(canvas.width(), 32 << 10), canvas.height());
    std::vector<std::uint32_t> block(canvas.rowWords() * static_cast<std::size_t>(most));
    const Image image = imageOf(PIXMAN_a8r8g8b8, canvas.width(), most, block.data(), canvas.width() * 4);
    for (int first = 0; first < canvas.height(); first += most) {
        const int rows = std::min(most, canvas.height() - first);
        pen.put(image.get(), first, canvas.width(), rows);
        for (int row = 0; row < rows; ++row) {
            blendWords(canvas.row(first + row), &block[canvas.rowWords() * static_cast<std::size_t>(row)],
                       canvas.rowWords());
        }
    }
}

// For a blit of a surface onto itself.
std::unique_ptr<Surface> copyOf(const Surface& surface) {
    auto copy = Surface::create(surface.getWidth(), surface.getHeight(), surface.getPixelFormat());
    if (!copy) {
        throw std::bad_alloc();
    }
    std::memcpy(copy->write(), surface.read(),
                static_cast<std::size_t>(surface.getPitch()) * static_cast<std::size_t>(surface.getHeight()));
    return copy;
}

} // namespace

int blit(const STBBlitRequest& request) try {
    auto* source = dynamic_cast<Surface*>(request.source);
    auto* const destination = dynamic_cast<Surface*>(request.destination);
    const bool knownModes = request.blendMode == blendBySourceAlpha && request.modeWord2 == deviceDefault &&
                            request.modeWord3 == deviceDefault && request.modeWord4 == deviceDefault;
    if (source == nullptr || destination == nullptr || !knownModes || !liesOn(request.sourceRect, *source) ||
        !isSize(request.destinationRect) || destination->getPixelFormat() != STB_PIXEL_ARGB8888) {
        return refused;
    }
    const Rect area = clipped(request.destinationRect, *destination);
    if (area.w < 1 || area.h < 1) {
        return done;
    }
    const Rect& from = request.sourceRect;
    if (from.w == 1 && from.h == 1 && source->getPixelFormat() == STB_PIXEL_ARGB8888) {
        const unsigned char* const row = source->read() + std::ptrdiff_t{from.y} * source->getPitch();
        const std::uint32_t word = reinterpret_cast<const std::uint32_t*>(row)[from.x];
        fill(Canvas(*destination, area), word);
        return done;
    }
    std::unique_ptr<Surface> copy;
    if (source == destination) {
        copy = copyOf(*source);
        source = copy.get();
    }
    const Pen pen(*source, from, request.colour, request.destinationRect, area);
    draw(Canvas(*destination, area), pen);
    return done;

} catch (const std::bad_alloc&) {

    return refused;
}

} // namespace lumo
