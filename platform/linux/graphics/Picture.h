#pragma once

#include <cstdint>
#include <vector>

namespace lumo {

// A picture that was drawn in memory: words 0xAARRGGBB, the top row first, rows without gaps.
struct Picture {
    int width = 0;  // pixels
    int height = 0; // pixels
    std::vector<std::uint32_t> words;
};

// Draws a picture with the current context over the whole viewport, stretched, without regard to its alpha.
// Leaves no GL objects behind, but the context's state changed. False, with a line in the log, when that
// cannot be done.
bool paintPicture(const Picture& picture);

} // namespace lumo
