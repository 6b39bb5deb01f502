#include "src/ui/system/ZoomAnimation.h"

#include "src/ui/system/AnimationCurve.h"

void ZoomAnimation::update() {
    zoomTo(AnimationCurve::eased(elapsed(), duration()));
}

void ZoomAnimation::zoomTo(float part) {
    _currentX = AnimationCurve::between(_fromX, _toX, part);
    _currentY = AnimationCurve::between(_fromY, _toY, part);
}

void ZoomAnimation_ConstantSpeed::update() {
    zoomTo(AnimationCurve::linear(elapsed(), duration()));
}
