#pragma once

// How much larger something is shown (2.0: twice as large), and the point that keeps its place meanwhile, as
// fractions of the scaled area (0: left or top edge, 1: right or bottom edge). Of a surface of W by H pixels
// the part that fills the screen starts at W * centerX * (1 - 1 / scaleX), H * centerY * (1 - 1 / scaleY) and
// is W / scaleX by H / scaleY large.
struct UIScale {
    constexpr UIScale() = default;

    // Both directions alike, about the middle.
    constexpr explicit UIScale(float scale) : UIScale(scale, scale) {}

    // About the middle.
    constexpr UIScale(float horizontal, float vertical) : scaleX(horizontal), scaleY(vertical) {}

    constexpr UIScale(float horizontal, float vertical, float pivotX, float pivotY)
        : scaleX(horizontal), scaleY(vertical), centerX(pivotX), centerY(pivotY) {}

    float scaleX = 1.0F;
    float scaleY = 1.0F;
    float centerX = 0.5F;
    float centerY = 0.5F;
};
