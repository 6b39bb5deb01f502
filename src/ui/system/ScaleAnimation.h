#pragma once

#include "src/ui/system/Animation.h"
#include "src/ui/system/UIRect.h"
#include "src/ui/system/UIScale.h"

// Goes from one scale to another, pivot included, at one speed in ms milliseconds. rect: the area that is
// scaled.
class ScaleAnimation : public Animation {
public:
    ScaleAnimation(const UIScale& from, const UIScale& to, UIRect rect, int ms)
        : Animation(AnimationTypeScale, ms), _from(from), _to(to), _current(from), _rect(rect) {}

    void update() override;

    const UIScale& getScale() const { return _current; }

    const UIRect& getRect() const { return _rect; }

private:
    UIScale _from;
    UIScale _to;
    UIScale _current;
    UIRect _rect;
};
