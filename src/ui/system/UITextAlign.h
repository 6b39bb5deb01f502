#pragma once

#include <algorithm>
#include <cstdint>

// Where a line of text stands in its rectangle. Other values mean left and top.
enum UITextHorizontalAlign : int {
    UITextHorizontalAlignLeft = 0,
    UITextHorizontalAlignRight = 1,
    UITextHorizontalAlignCenter = 2,
};

enum UITextVerticalAlign : int {
    UITextVerticalAlignTop = 0,
    UITextVerticalAlignBottom = 1,
    UITextVerticalAlignCenter = 2,
};

// Pixels from the rectangle's left edge to the text's. Text that is wider than the rectangle starts at its
// left edge and runs over on the right.
constexpr int horizontalTextOffset(UITextHorizontalAlign align, int rectWidth, unsigned int textWidth) {
    const std::int64_t room = std::max<std::int64_t>(0, std::int64_t{rectWidth} - textWidth);
    switch (align) {
    case UITextHorizontalAlignRight:
        return static_cast<int>(room);
    case UITextHorizontalAlignCenter:
        return static_cast<int>(room / 2);
    default:
        return 0;
    }
}

// Pixels from the rectangle's top edge to the line's; never negative either. Centring halves each height by
// itself: a line of 15 in a rectangle of 31 starts at 15 - 7.
constexpr int verticalTextOffset(UITextVerticalAlign align, int rectHeight, int fontHeight) {
    std::int64_t room = 0;
    if (align == UITextVerticalAlignBottom) {
        room = std::int64_t{rectHeight} - fontHeight;
    } else if (align == UITextVerticalAlignCenter) {
        room = std::int64_t{rectHeight / 2} - fontHeight / 2;
    }
    return static_cast<int>(std::clamp<std::int64_t>(room, 0, INT32_MAX));
}
