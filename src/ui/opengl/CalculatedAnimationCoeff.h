#pragma once

#include <array>

// What a block's animations, scale and scrolling make of what is drawn in it: a factor on alpha, and a matrix
// that moves vertices. The matrix is 4 by 4, by columns (matrix[12] and matrix[13] translate), and works in
// centred pixels: the origin in the middle of the screen, x to the right, y upwards, one unit a UI pixel. All
// that is folded into it are scales along the axes and translations.
struct CalculatedAnimationCoeff {
    // Multiplies on the right: what is folded in later acts on the vertices first, so that a parent's
    // transform is the outermost. Scales of exactly 1 and translations of exactly 0 leave the matrix as it
    // is, bit for bit.
    void transform(float scaleX, float scaleY, float moveX, float moveY) {
        matrix[12] = matrix[0] * moveX + matrix[12];
        matrix[13] = matrix[5] * moveY + matrix[13];
        matrix[0] *= scaleX;
        matrix[5] *= scaleY;
    }

    float alpha = 1.0F;
    std::array<float, 16> matrix{1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
};
