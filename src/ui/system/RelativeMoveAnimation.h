#pragma once

#include "src/ui/system/Animation.h"

// Moves: eases an offset, relative to where the thing stands, from one point to another in ms milliseconds.
class RelativeMoveAnimation : public Animation {
public:
    RelativeMoveAnimation(float fromX, float fromY, float toX, float toY, int ms)
        : Animation(AnimationTypeRelativeMove, ms),
          _fromX(fromX),
          _fromY(fromY),
          _toX(toX),
          _toY(toY),
          _currentX(fromX),
          _currentY(fromY) {}

    void update() override;

    float getX() const { return _currentX; }

    float getY() const { return _currentY; }

protected:
    // Where it is when that part of the way is done.
    void moveTo(float part);

private:
    float _fromX;
    float _fromY;
    float _toX;
    float _toY;
    float _currentX;
    float _currentY;
};

// The same at one speed.
class RelativeMoveAnimation_ConstantSpeed : public RelativeMoveAnimation {
public:
    using RelativeMoveAnimation::RelativeMoveAnimation;

    void update() override;
};
