#pragma once

// A pair of pixels: a position or a size.
struct STBPoint {
    int x;
    int y;
};
