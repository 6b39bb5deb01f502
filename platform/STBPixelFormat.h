#pragma once

// Pixel layouts of bitmaps and surfaces.
enum STBPixelFormat : int {
    STB_PIXEL_RGBA8888 = 0,        // bytes R, G, B, A: what GL_RGBA takes
    STB_PIXEL_RGBA8888_SCREEN = 1, // as 0: a picture read back from the screen
    STB_PIXEL_ARGB8888 = 2,        // 32-bit words 0xAARRGGBB
    STB_PIXEL_ALPHA8 = 3,          // one byte of coverage
    STB_PIXEL_RGBA8888_OPAQUE = 4, // as 0 with every A 255
};
