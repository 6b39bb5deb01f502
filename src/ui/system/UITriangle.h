#pragma once

#include "src/ui/system/UIPoint.h"

// A triangle in pixels, by its corners.
struct UITriangle {
    constexpr UITriangle() = default;

    constexpr UITriangle(int cornerX1, int cornerY1, int cornerX2, int cornerY2, int cornerX3, int cornerY3)
        : x1(cornerX1), y1(cornerY1), x2(cornerX2), y2(cornerY2), x3(cornerX3), y3(cornerY3) {}

    constexpr UITriangle(UIPoint a, UIPoint b, UIPoint c) : UITriangle(a.x, a.y, b.x, b.y, c.x, c.y) {}

    int x1 = 0;
    int y1 = 0;
    int x2 = 0;
    int y2 = 0;
    int x3 = 0;
    int y3 = 0;
};
