#include "src/ui/opengl/SimpleElementBlock.h"

#include <algorithm>
#include <mutex>
#include <utility>

#include "src/ui/system/Animation.h"

void SimpleElementBlock::startRecording() {
    recording = std::make_shared<Elements>();
    recording->reserve(elements->size()); // only this thread puts another list in its place
    textSearch = 0;
}

void SimpleElementBlock::commit() {
    auto old = std::exchange(recording, nullptr); // dropped after the mutex was given back
    const std::lock_guard lock(mutex);
    elements.swap(old);
}

void SimpleElementBlock::removeFinishedAnimations() {
    animations.remove_if(
        [](const auto& animation) { return animation->isCompleted() || !animation->isValid(); });
}

void SimpleElementBlock::addAnimation(const std::shared_ptr<Animation>& animation) {
    if (std::find(animations.begin(), animations.end(), animation) == animations.end()) {
        animations.push_back(animation);
    }
}
