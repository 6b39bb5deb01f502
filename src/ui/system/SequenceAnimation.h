#pragma once

#include <atomic>
#include <list>
#include <memory>

#include "src/ui/system/Animation.h"

// Plays animations one after another, each with the time that the one before it left over, and for ever when
// it loops. Dropped members are left out. It notices that nothing is left to play at the first millisecond it
// has to spend after its last member, and is complete then. A round in which no member takes any time and
// none goes ends the call; the next one goes on.
class SequenceAnimation : public Animation {
public:
    explicit SequenceAnimation(bool loop) : Animation(AnimationTypeSequence, 1), _loop(loop) {}

    // To be played after all others. An empty pointer is ignored.
    void add(std::shared_ptr<Animation> member);

    // The member that is playing, the sequence itself between members.
    Animation* get();

    int process(int ms) override;

    void update() override {}

private:
    int play(int ms);
    // Takes the playing member off the queue and, in a loop, puts it rewound at the end.
    void retireCurrent();

    bool _loop;
    std::list<std::shared_ptr<Animation>> _animations; // to be played, the playing one first
    std::shared_ptr<Animation> _current;               // the playing one, empty between members
    std::atomic<bool> _processing = false;
};
