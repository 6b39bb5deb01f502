#include "src/ui/system/SequenceAnimation.h"

#include <utility>

void SequenceAnimation::add(std::shared_ptr<Animation> member) {
    if (member) {
        _animations.push_back(std::move(member));
    }
}

Animation* SequenceAnimation::get() {
    return _current ? _current.get() : this;
}

int SequenceAnimation::process(int ms) {
    // Reached from its own member, or from a handler: the time belongs to the outer call.
    if (_processing) {
        return 0;
    }
    _processing = true;

    struct Reset {
        bool& flag;

        ~Reset() { flag = false; }
    } const reset{_processing};

    return play(ms);
}

int SequenceAnimation::play(int ms) {
    std::size_t idle = 0; // members of a loop, in a row, that took no time
    while (ms >= 1) {
        if (!_current) {
            if (_animations.empty()) {
                finish();
                return ms;
            }
            _current = _animations.front();
        }
        if (!_current->isValid()) {
            retireCurrent();
            continue;
        }
        const auto member = _current;
        const int left = member->advance(ms);
        const bool tookTime = left < ms;
        ms = left;
        if (!member->isCompleted()) {
            if (tookTime) {
                continue; // a handler that rewinds its animation gets the rest of the time too
            }
            return 0;
        }
        const bool queuedAgain = retireCurrent();
        idle = tookTime ? 0 : idle + (queuedAgain ? 1 : 0);
        if (idle > 0 && idle >= _animations.size()) {
            return 0;
        }
    }
    return 0;
}

bool SequenceAnimation::retireCurrent() {
    const auto member = std::exchange(_current, nullptr);
    _animations.pop_front();
    if (!_loop || !member->isValid()) {
        return false;
    }
    member->restore();
    _animations.push_back(member);
    return true;
}
