#pragma once

#include "src/ui/system/Animation.h"

// Zooms: eases a pair of magnifications about a fixed pivot in ms milliseconds. Mind the order of the values:
// both of X come first, then both of Y.
class ZoomAnimation : public Animation {
public:
    ZoomAnimation(float fromX, float toX, float fromY, float toY, float centerX, float centerY, int ms)
        : Animation(AnimationTypeZoom, ms),
          _fromX(fromX),
          _fromY(fromY),
          _toX(toX),
          _toY(toY),
          _currentX(fromX),
          _currentY(fromY),
          _centerX(centerX),
          _centerY(centerY) {}

    void update() override;

    float getX() const { return _currentX; }

    float getY() const { return _currentY; }

    float getCenterX() const { return _centerX; }

    float getCenterY() const { return _centerY; }

protected:
    // The magnification when that part of the way is done.
    void zoomTo(float part);

private:
    float _fromX;
    float _fromY;
    float _toX;
    float _toY;
    float _currentX;
    float _currentY;
    float _centerX;
    float _centerY;
};

// The same at one speed.
class ZoomAnimation_ConstantSpeed : public ZoomAnimation {
public:
    using ZoomAnimation::ZoomAnimation;

    void update() override;
};
