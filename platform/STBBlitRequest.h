#pragma once

class STBSurfaceInterface;

// One copy from surface to surface, filled completely by the caller each time.
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
    unsigned int colour;  // tint for one-channel sources, 0xRRGGBB; 0 for none
    int modeWord3;
    int modeWord4;
};
