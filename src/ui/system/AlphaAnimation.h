#pragma once

#include "src/ui/system/Animation.h"

// Fades: eases an alpha factor (0: invisible, 1: as drawn) from one value to another in ms milliseconds.
class AlphaAnimation : public Animation {
public:
    AlphaAnimation(float from, float to, int ms)
        : Animation(AnimationTypeAlpha, ms), _from(from), _to(to), _current(from) {}

    void update() override;

    float getAlpha() const { return _current; }

private:
    float _from;
    float _to;
    float _current;
};
