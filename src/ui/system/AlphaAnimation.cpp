#include "src/ui/system/AlphaAnimation.h"

#include "src/ui/system/AnimationCurve.h"

void AlphaAnimation::update() {
    _current = AnimationCurve::between(_from, _to, AnimationCurve::eased(elapsed(), duration()));
}
