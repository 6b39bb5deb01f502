#include "src/ui/system/SequenceAnimation.h"

#include <algorithm>
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
    if (_processing.exchange(true)) {
        return 0;
    }

    struct Reset {
        std::atomic<bool>& flag;

        ~Reset() { flag = false; }
    } const reset{_processing};

    return play(ms);
}

int SequenceAnimation::play(int ms) {
    // Turns in a row that took no time and left the queue as long as it was, and how many members it had
    // before the first of them. Handlers may queue members too, so that even without a loop there is no end
    // to them.
    std::size_t idle = 0;
    std::size_t round = 0;
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
        const std::size_t queued = _animations.size();
        const int left = member->advance(ms);
        const bool tookTime = left < ms;
        ms = left;
        if (!member->isCompleted()) {
            if (tookTime) {
                continue; // a handler that rewinds its animation gets the rest of the time too
            }
            return 0;
        }
        retireCurrent();
        if (tookTime) {
            idle = 0;
        } else if (_animations.size() >= queued) {
            round = idle == 0 ? queued : round;
            if (++idle >= std::min(round, _animations.size())) {
                return 0;
            }
        }
    }
    return 0;
}

void SequenceAnimation::retireCurrent() {
    const auto member = std::exchange(_current, nullptr);
    _animations.pop_front();
    if (_loop && member->isValid()) {
        member->restore();
        _animations.push_back(member);
    }
}
