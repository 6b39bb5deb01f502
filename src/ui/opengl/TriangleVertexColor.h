#pragma once

// The colours of a triangle's corners, 0xAARRGGBB.
struct TriangleVertexColor {
    constexpr explicit TriangleVertexColor(unsigned int colour)
        : TriangleVertexColor(colour, colour, colour) {}

    constexpr TriangleVertexColor(unsigned int colour1, unsigned int colour2, unsigned int colour3)
        : c1(colour1), c2(colour2), c3(colour3) {}

    unsigned int c1;
    unsigned int c2;
    unsigned int c3;
};
