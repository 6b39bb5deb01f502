#pragma once

#include <array>
#include <cstddef>

#include "src/ui/opengl/SimpleElement.h"

// All of a texture, corner by corner.
inline constexpr std::array<float, 8> WHOLE_TEXTURE{0, 0, 1, 0, 1, 1, 0, 1};

// The colours of an element's corners from words 0xAARRGGBB.
inline void setVertexColours(SimpleElement& element, const std::array<unsigned int, 4>& corners) {
    const auto part = [](unsigned int colour, unsigned int shift) {
        return static_cast<float>((colour >> shift & 255U) / 255.0);
    };
    for (std::size_t i = 0; i < corners.size(); ++i) {
        float* colour = &element.colours[4 * i];
        colour[0] = part(corners[i], 16);
        colour[1] = part(corners[i], 8);
        colour[2] = part(corners[i], 0);
        colour[3] = part(corners[i], 24);
    }
}
