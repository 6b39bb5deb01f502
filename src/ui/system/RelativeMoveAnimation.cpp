#include "src/ui/system/RelativeMoveAnimation.h"

#include "src/ui/system/AnimationCurve.h"

void RelativeMoveAnimation::update() {
    moveTo(AnimationCurve::eased(elapsed(), duration()));
}

void RelativeMoveAnimation::moveTo(float part) {
    _currentX = AnimationCurve::between(_fromX, _toX, part);
    _currentY = AnimationCurve::between(_fromY, _toY, part);
}

void RelativeMoveAnimation_ConstantSpeed::update() {
    moveTo(AnimationCurve::linear(elapsed(), duration()));
}
