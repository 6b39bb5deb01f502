#pragma once

// A scale about a fixed point, in the space of CalculatedAnimationCoeff. The order of the fields is fixed.
struct ScaleViewData {
    float scaleX = 1.0F;
    float scaleY = 1.0F;
    float tx = 0.0F; // pixels to the right
    float ty = 0.0F; // pixels upwards
};
