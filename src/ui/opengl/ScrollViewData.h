#pragma once

// How far a block's content is scrolled, and how far it is to be: UI pixels to the right and down.
struct ScrollViewData {
    float offsetX = 0.0F;
    float offsetY = 0.0F;
    float targetX = 0.0F;
    float targetY = 0.0F;
    float velocity = 0.0F; // pixels a millisecond; not above 0: at once

    // Goes on towards the target, in a straight line at that speed. True when it has arrived.
    bool advance(int milliseconds);
};
