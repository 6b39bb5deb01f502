#include <ft2build.h>
#include FT_FREETYPE_H
#include FT_BITMAP_H
#include FT_GLYPH_H
#include FT_OUTLINE_H
#include FT_STROKER_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "src/ui/system/SimpleGlyphSlot.h"
#include "src/ui/system/TTF_FontFace.h"
#include "src/ui/system/TTF_Library.h"
#include "src/ui/system/TTF_Log.h"

namespace {

// Broader than any line that fits a screen.
constexpr int widestStrokePx = 1024;

// No glyph of a sound font is larger, in ems. Keeps a damaged one from taking gigabytes.
constexpr std::int64_t largestGlyphEms = 32;

bool isTooLarge(FT_GlyphSlotRec& slot) {
    if (slot.format != FT_GLYPH_FORMAT_OUTLINE) {
        return false;
    }
    FT_BBox box;
    FT_Outline_Get_CBox(&slot.outline, &box);
    const FT_Size_Metrics& size = slot.face->size->metrics;
    const std::int64_t largest = largestGlyphEms * 64 * std::max(size.x_ppem, size.y_ppem);
    return std::int64_t{box.xMax} - box.xMin > largest || std::int64_t{box.yMax} - box.yMin > largest;
}

struct AnyGlyphDeleter {
    void operator()(FT_Glyph glyph) const { FT_Done_Glyph(glyph); }
};

using AnyGlyph = std::unique_ptr<FT_GlyphRec_, AnyGlyphDeleter>;

// Bitmaps of other layouts (of fonts that hold bitmaps) as one byte a pixel.
class GrayBitmap {
public:
    GrayBitmap(FT_Library library, const FT_Bitmap& source) : _library(library), _bitmap(&source) {
        FT_Bitmap_Init(&_converted);
        if (source.pixel_mode != FT_PIXEL_MODE_GRAY) {
            FT_Bitmap_Convert(library, &source, &_converted, 1);
            _bitmap = &_converted;
        }
    }

    ~GrayBitmap() { FT_Bitmap_Done(_library, &_converted); }

    GrayBitmap(const GrayBitmap&) = delete;
    GrayBitmap& operator=(const GrayBitmap&) = delete;

    int width() const { return static_cast<int>(std::min(_bitmap->width, sizeLimit)); }

    int rows() const { return static_cast<int>(std::min(_bitmap->rows, sizeLimit)); }

    // A surface with so many rows from that one on; where the bitmap has none they are empty. Null, with a
    // line in the log, when there is no memory for it.
    std::unique_ptr<OpenGlFontSurface> copyRows(int first, int count) const {
        std::unique_ptr<OpenGlFontSurface> surface;
        if (width() <= UINT16_MAX && count <= UINT16_MAX) {
            surface = std::make_unique<OpenGlFontSurface>(static_cast<unsigned short>(width()),
                                                          static_cast<unsigned short>(count));
        }
        if (!surface || surface->getMemoryPtr() == nullptr) {
            TTF_LOG(1, "Can't create surface %ix%i", width(), count);
            return nullptr;
        }
        for (int row = std::max(first, 0); row < std::min(first + count, rows()); ++row) {
            copyRow(row, surface->getMemoryPtr() + std::ptrdiff_t{row - first} * surface->getPitch());
        }
        return surface;
    }

private:
    // More than a surface can have, and not too much for an int.
    static constexpr unsigned int sizeLimit = UINT16_MAX + 1;

    // row: counted from the top.
    void copyRow(int row, unsigned char* target) const {
        const int pitch = _bitmap->pitch; // negative: the bottom row comes first in memory
        const int place = pitch < 0 ? rows() - 1 - row : row;
        const unsigned char* source = _bitmap->buffer + std::ptrdiff_t{place} * std::abs(pitch);
        const int highest = std::max(_bitmap->num_grays - 1, 1);
        std::transform(source, source + width(), target, [highest](unsigned char gray) {
            return static_cast<unsigned char>(std::min<int>(gray, highest) * 255 / highest);
        });
    }

    FT_Library _library;
    const FT_Bitmap* _bitmap;
    FT_Bitmap _converted;
};

void takeBody(SimpleGlyphSlot& glyph, FT_Library library, const FT_GlyphSlotRec& slot) {
    glyph.top = slot.bitmap_top;
    glyph.left = slot.bitmap_left;
    glyph.advance = slot.advance.x;
    const GrayBitmap bitmap(library, slot.bitmap);
    if (bitmap.width() == 0 || bitmap.rows() == 0) {
        return;
    }
    glyph.body = bitmap.copyRows(0, bitmap.rows());
    if (glyph.body) {
        glyph.width = bitmap.width();
        glyph.height = bitmap.rows();
    }
}

// Renderers know the stroke's first row from the body's, so the surface starts there, wherever the ink does.
void takeStroke(SimpleGlyphSlot& glyph, FT_Library library, const FT_BitmapGlyphRec& stroke) {
    const GrayBitmap bitmap(library, stroke.bitmap);
    const int first = stroke.top - (glyph.top + SimpleGlyphSlot::STROKE_RISE);
    const int rows = bitmap.rows() - first;
    if (bitmap.width() == 0 || rows < 1) {
        return;
    }
    glyph.stroke = bitmap.copyRows(first, rows);
    if (glyph.stroke) {
        glyph.strokeLeft = stroke.left;
        glyph.strokeWidth = bitmap.width();
        glyph.strokeHeight = rows;
    }
}

} // namespace

void TTF_FontFace::GlyphDeleter::operator()(FT_BitmapGlyphRec_* glyph) const {
    FT_Done_Glyph(&glyph->root);
}

std::unique_ptr<SimpleGlyphSlot> TTF_FontFace::renderGlyph(unsigned long codePoint,
                                                           const TTF_FontProperties& properties) {
    if (!setSizePx(properties.widthPx, properties.heightPx)) {
        return nullptr;
    }
    FT_Error error = FT_Load_Char(_face, codePoint, FT_LOAD_DEFAULT);
    if (error == 0 && isTooLarge(*_face->glyph)) {
        error = FT_Err_Raster_Overflow;
    }
    BitmapGlyph stroke;
    if (error == 0 && properties.outline != 0) {
        setStrokeRadiusPx(properties.outline);
        stroke = applyStroker(_face->glyph);
    }
    if (error == 0) {
        error = FT_Render_Glyph(_face->glyph, FT_RENDER_MODE_NORMAL);
    }
    if (error != 0) {
        TTF_LOG(1, "Can not load glyph. Error: %d", error);
        return nullptr;
    }
    auto glyph = std::make_unique<SimpleGlyphSlot>();
    takeBody(*glyph, _library->getHandle(), *_face->glyph);
    if (stroke && !glyph->empty()) {
        takeStroke(*glyph, _library->getHandle(), *stroke);
    }
    return glyph;
}

TTF_FontFace::BitmapGlyph TTF_FontFace::applyStroker(FT_GlyphSlotRec_* slot) {
    const bool blank = slot->format == FT_GLYPH_FORMAT_OUTLINE && slot->outline.n_contours == 0;
    if (blank || _stroker == nullptr) {
        return nullptr;
    }
    FT_Glyph glyph = nullptr;
    FT_Error error = FT_Get_Glyph(slot, &glyph);
    const AnyGlyph plain(error == 0 ? glyph : nullptr);
    if (error == 0) {
        error = FT_Glyph_Stroke(&glyph, _stroker, 0);
    }
    const AnyGlyph stroked(error == 0 ? glyph : nullptr);
    if (error == 0) {
        error = FT_Glyph_To_Bitmap(&glyph, FT_RENDER_MODE_NORMAL, nullptr, 0);
    }
    if (error != 0) {
        TTF_LOG(1, "Can not stroke glyph. Error: %d", error);
        return nullptr;
    }
    return BitmapGlyph(reinterpret_cast<FT_BitmapGlyph>(glyph)); // of which it is the first member
}

void TTF_FontFace::setStrokeRadiusPx(int radius) {
    if (_stroker != nullptr) {
        FT_Stroker_Set(_stroker, FT_Fixed{std::clamp(radius, 0, widestStrokePx)} * 64,
                       FT_STROKER_LINECAP_ROUND, FT_STROKER_LINEJOIN_ROUND, 0);
    }
}
