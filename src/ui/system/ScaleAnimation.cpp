#include "src/ui/system/ScaleAnimation.h"

#include "src/ui/system/AnimationCurve.h"

void ScaleAnimation::update() {
    const float part = AnimationCurve::linear(elapsed(), duration());
    _current = UIScale(AnimationCurve::between(_from.scaleX, _to.scaleX, part),
                       AnimationCurve::between(_from.scaleY, _to.scaleY, part),
                       AnimationCurve::between(_from.centerX, _to.centerX, part),
                       AnimationCurve::between(_from.centerY, _to.centerY, part));
}
