#pragma once

#include <memory>

#include "src/ui/opengl/OpenGlFontSurface.h"

// A rendered glyph: its coverage, where that lies relative to the pen, and how far the pen moves. Owned by
// the cache of its font, and good until that is emptied. Not changed once it is made.
struct SimpleGlyphSlot {
    // The first row of the stroke lies this many rows above the first row of the body.
    static constexpr int STROKE_RISE = 2;

    // Nothing to draw, as for a blank. The advance counts all the same.
    bool empty() const { return width == 0 || height == 0; }

    // The pen's way in whole pixels, cut towards zero.
    int advancePx() const { return static_cast<int>(advance / 64); }

    int top = 0;      // rows from the baseline up to the body's first row
    int left = 0;     // columns from the pen to the body's first column
    int width = 0;    // of the body, pixels
    int height = 0;   // of the body, pixels
    long advance = 0; // 1/64 pixels

    // The outline's band, of fonts that have one; 0 by 0 when there is none.
    int strokeLeft = 0; // columns from the pen to the stroke's first column
    int strokeWidth = 0;
    int strokeHeight = 0;

    std::unique_ptr<OpenGlFontSurface> body;   // null when empty
    std::unique_ptr<OpenGlFontSurface> stroke; // null when there is none
};
