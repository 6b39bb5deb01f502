#pragma once

#include <string>

// A rectangle in pixels, its edges parallel to the axes. One that is less than a pixel wide or high is empty:
// drawing operations draw nothing in it. As the part of an image that is to be drawn, 0 by 0 means all of it.
struct UIRect {
    constexpr UIRect() = default;

    constexpr UIRect(int left, int top, int width, int height) : x(left), y(top), w(width), h(height) {}

    constexpr bool operator==(const UIRect& other) const = default;

    // For messages: " x:10 y:20 w:300 h:40". Starts with a blank, so that it follows other text as it is.
    std::string dump() const {
        return " x:" + std::to_string(x) + " y:" + std::to_string(y) + " w:" + std::to_string(w) +
               " h:" + std::to_string(h);
    }

    int x = 0;
    int y = 0;
    int w = 0;
    int h = 0;
};
