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

// How much of a destination is looked at and then drawn to while it is in the processor's cache, in bytes.
constexpr int bandBytes = 128 << 10;

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

    int pitch() const { return _pitch; }

    // row: of the area.
    std::uint32_t* row(int row) const {
        return reinterpret_cast<std::uint32_t*>(_pixels + std::ptrdiff_t{_area.y + row} * _pitch) + _area.x;
    }

    bool isOpaque(int first, int count) const {
        for (int i = first; i < first + count; ++i) {
            if (!areOpaque(row(i), static_cast<std::size_t>(width()))) {
                return false;
            }
        }
        return true;
    }

    // Calls draw(first row, rows) for one band after the other.
    template <typename Draw>
    void forEachBand(Draw draw) const {
        const int rows = std::clamp(bandBytes / (width() * 4), 4, 64);
        for (int first = 0; first < height(); first += rows) {
            draw(first, std::min(rows, height() - first));
        }
    }

private:
    unsigned char* _pixels;
    int _pitch;
    Rect _area;
};

void fill(const Canvas& canvas, std::uint32_t word) {
    const std::uint32_t alpha = word >> 24;
    if (alpha == 0) {
        return;
    }
    const std::uint32_t premultiplied = premultiplyWord(word);
    const std::uint32_t rest = 255 - alpha;
    for (int i = 0; i < canvas.height(); ++i) {
        std::uint32_t* const row = canvas.row(i);
        if (alpha == 255) {
            std::fill_n(row, canvas.width(), word);
        } else {
            std::transform(row, row + canvas.width(), row, [premultiplied, rest](std::uint32_t old) {
                return premultiplied + scaleWord(premultiplyWord(old), rest);
            });
        }
    }
}

// The part of a surface that is drawn, stretched, and coloured when it is coverage.
class Pen {
public:
    // to: where rect's pixels go. area: the part of that which is drawn.
    Pen(Surface& surface, const Rect& rect, unsigned int colour, const Rect& to, const Rect& area) {
        const Surface::Source source = surface.source();
        const bool coverage = surface.getPixelFormat() == STB_PIXEL_ALPHA8;
        const unsigned char* const first = source.pixels + std::ptrdiff_t{rect.y} * surface.getPitch() +
                                           std::ptrdiff_t{rect.x} * (coverage ? 1 : 4);
        _opaque = source.opaque;
        _pixels = imageOf(coverage        ? PIXMAN_a8
                          : source.opaque ? PIXMAN_x8r8g8b8
                                          : PIXMAN_a8r8g8b8,
                          rect.w, rect.h, first, surface.getPitch());
        if (coverage) {
            _colour = colourImage(colour);
        }
        _stretched = rect.w != to.w || rect.h != to.h;
        _left = area.x - to.x;
        _top = area.y - to.y;
        if (_stretched) {
            stretch(rect, to);
        }
    }

    bool isOpaque() const { return _opaque; }

    // Draws rows of the area from that one on to the image's rows from y on.
    void draw(pixman_op_t op, pixman_image_t* onto, int first, int y, int width, int rows) const {
        if (_colour) {
            pixman_image_composite32(op, _colour.get(), _pixels.get(), onto, 0, 0, _left, _top + first, 0, y,
                                     width, rows);
        } else {
            pixman_image_composite32(op, _pixels.get(), nullptr, onto, _left, _top + first, 0, 0, 0, y, width,
                                     rows);
        }
    }

private:
    static Image colourImage(unsigned int colour) {
        const auto channel = [colour](int shift) {
            return static_cast<std::uint16_t>((colour >> shift & 0xFF) * 0x101);
        };
        const pixman_color_t solid = {channel(16), channel(8), channel(0), 0xFFFF};
        return checked(pixman_image_create_solid_fill(&solid));
    }

    // Folds the area's offset into the transformation, which keeps pixman's 16-bit coordinates small.
    void stretch(const Rect& rect, const Rect& to) {
        const double scaleX = double(rect.w) / to.w;
        const double scaleY = double(rect.h) / to.h;
        pixman_transform_t transform;
        pixman_transform_init_scale(&transform, pixman_double_to_fixed(scaleX),
                                    pixman_double_to_fixed(scaleY));
        transform.matrix[0][2] = pixman_double_to_fixed(_left * scaleX);
        transform.matrix[1][2] = pixman_double_to_fixed(_top * scaleY);
        _left = 0;
        _top = 0;
        if (!pixman_image_set_transform(_pixels.get(), &transform) ||
            !pixman_image_set_filter(_pixels.get(), PIXMAN_FILTER_BILINEAR, nullptr, 0)) {
            throw std::bad_alloc();
        }
        // Stretched pixels mix with their neighbours in the rectangle, not with those around it.
        pixman_image_set_repeat(_pixels.get(), PIXMAN_REPEAT_PAD);
    }

    Image _pixels;
    Image _colour; // null unless the pixels are coverage
    bool _opaque = false;
    bool _stretched = false;
    int _left = 0; // of the area, from where the pixels would start
    int _top = 0;
};

// Draws through words of its own: pixman has no operation for what is neither opaque nor premultiplied.
void blendBand(const Canvas& canvas, const Pen& pen, int first, int rows) {
    const auto width = static_cast<std::size_t>(canvas.width());
    std::vector<std::uint32_t> words(width * static_cast<std::size_t>(rows));
    const Image image = imageOf(PIXMAN_a8r8g8b8, canvas.width(), rows, words.data(), canvas.width() * 4);
    pen.draw(PIXMAN_OP_SRC, image.get(), first, 0, canvas.width(), rows);
    for (int i = 0; i < rows; ++i) {
        std::uint32_t* const row = canvas.row(first + i);
        std::transform(row, row + width, words.data() + static_cast<std::size_t>(i) * width, row, blendWord);
    }
}

void draw(const Canvas& canvas, const Pen& pen) {
    const Image onto =
        imageOf(PIXMAN_a8r8g8b8, canvas.width(), canvas.height(), canvas.row(0), canvas.pitch());
    if (pen.isOpaque()) {
        pen.draw(PIXMAN_OP_SRC, onto.get(), 0, 0, canvas.width(), canvas.height());
        return;
    }
    canvas.forEachBand([&](int first, int rows) {
        if (canvas.isOpaque(first, rows)) {
            pen.draw(PIXMAN_OP_OVER, onto.get(), first, first, canvas.width(), rows);
        } else {
            blendBand(canvas, pen, first, rows);
        }
    });
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
