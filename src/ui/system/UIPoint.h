#pragma once

// A point in pixels; x grows to the right, y downwards.
struct UIPoint {
    constexpr UIPoint() = default;

    constexpr UIPoint(int pointX, int pointY) : x(pointX), y(pointY) {}

    int x = 0;
    int y = 0;
};
