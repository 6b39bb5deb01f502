#include "src/ui/system/Animation.h"

#include <algorithm>
#include <climits>

Animation::Animation(AnimationType type, int ms)
    : _type(type),
      _valid(true),
      _active(true),
      _duration(static_cast<float>(std::max(ms, 0))),
      _remaining(std::max(ms, 0)) {}

int Animation::process(int ms) {
    ms = std::max(ms, 0);
    const int step = std::clamp(_remaining.load(), 0, ms);
    if (_remaining > 0) {
        _remaining -= step;
        _elapsed += static_cast<float>(step);
        update();
    } else {
        finish();
    }
    return ms - step;
}

int Animation::inc(int ms) {
    const auto keepAlive = weak_from_this().lock(); // a handler may let go of the last other reference
    if (_remaining > 0 || _active) {
        return advance(ms);
    }
    notifyWhenCompleted();
    return ms;
}

void Animation::stop() {
    finish();
}

void Animation::restore() {
    if (!_valid) {
        return;
    }
    _active = true;
    _elapsed = 0.0F;
    // The largest lengths round up to one more than an int holds.
    _remaining = _duration < static_cast<float>(INT_MAX) ? static_cast<int>(_duration) : INT_MAX;
    process(0);
    notifyWhenCompleted();
}

void Animation::finish() {
    _remaining = 0;
    _active = false;
}

int Animation::advance(int ms) {
    if (_remaining > 0) {
        _active = true;
    }
    const int left = process(ms);
    notifyWhenCompleted();
    return left;
}

void Animation::notifyWhenCompleted() {
    if (_handler == nullptr || _remaining > 0 || _notifying) {
        return;
    }
    const auto keepAlive = weak_from_this().lock();
    _notifying = true;
    _handler->onAnimationAction(this);
    _notifying = false;
}
