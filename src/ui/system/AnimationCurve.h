#pragma once

// How much of its way a value has gone, as a part: 0 at the start, 1 at the end. elapsed and duration in
// milliseconds, duration not 0.
namespace AnimationCurve {

// Cubic ease-in-out: slow at both ends, half way at half time.
constexpr float eased(float elapsed, float duration) {
    const float half = elapsed / (duration * 0.5F);
    if (half < 1.0F) {
        return 0.5F * (half * half * half);
    }
    const float back = half - 2.0F;
    return 0.5F * (back * back * back + 2.0F);
}

// The same speed all the way.
constexpr float linear(float elapsed, float duration) {
    return elapsed / duration;
}

// The value when that part of the way is done.
constexpr float between(float from, float to, float part) {
    return from + (to - from) * part;
}

} // namespace AnimationCurve
