#pragma once

#include <memory>

class STBSurfaceInterface;
class TTF_Font;
struct SimpleGlyphSlot;

// src over dst, both words 0xAARRGGBB. Computed in single precision and cut, never rounded. Over an opaque
// colour this is ordinary blending; the colours are not divided by the result's alpha, so that they come out
// darker over a transparent one. A src of alpha 255 is the result as it is.
unsigned int calculateColor(unsigned int dst, unsigned int src);

// Draws a glyph of that font onto a surface of colour words, its outline's band first. x, y: the pen, at the
// top of the line. A glyph is not drawn when the pen lies left of or above the surface, or when the glyph
// would pass the surface's right or bottom edge; what sticks out on the left or the top is left out. The
// colours' own alpha does not count, a glyph's coverage is all the alpha that there is. A null glyph is
// logged.
void drawGlyphSlot(const SimpleGlyphSlot* glyph, int x, int y, unsigned int colour,
                   unsigned int outlineColour, STBSurfaceInterface* target,
                   const std::shared_ptr<TTF_Font>& font);
