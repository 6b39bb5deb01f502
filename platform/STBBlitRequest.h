#pragma once

class STBSurfaceInterface;

// One copy from surface to surface, filled completely by the caller each time. Over opaque pixels it is
// ordinary blending. Elsewhere alpha = alphaS + (1 - alphaS) * alphaD and colour = colourS * alphaS +
// (1 - alphaS) * alphaD * colourD, not divided by the result's alpha; transparent pixels of the source change
// nothing. Stretching interpolates.
struct STBBlitRequest {
    struct Rect {
        int x, y, w, h; // pixels
    };

    STBSurfaceInterface* source;
    Rect sourceRect;
    STBSurfaceInterface* destination;
    Rect destinationRect; // another size than sourceRect stretches
    int blendMode;        // 2: blend by source alpha
    int modeWord2;        // 3: as the device does by default; likewise the next two
    unsigned int colour;  // of sources of coverage, 0xRRGGBB; others ignore it
    int modeWord3;
    int modeWord4;
};
