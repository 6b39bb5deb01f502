#pragma once

#include "src/ui/system/Animation.h"

// A pause: only spends time.
class DelayAnimation : public Animation {
public:
    explicit DelayAnimation(int ms) : Animation(AnimationTypeDelay, ms) {}

    void update() override {}
};
