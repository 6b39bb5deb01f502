#pragma once

#include <cstddef>
#include <list>
#include <memory>
#include <vector>

#include "inc/private/pthread_helper.h"
#include "src/ui/opengl/ScaleViewData.h"
#include "src/ui/opengl/ScrollViewData.h"
#include "src/ui/opengl/SimpleElement.h"
#include "src/ui/system/UIRect.h"

class Animation;

// A block: what is drawn in it, and how. Shared by the tree that is recorded and its published copies; only
// what the block's mutex guards is touched by both threads.
struct SimpleElementBlock {
    using Elements = std::vector<SimpleElement>;

    explicit SimpleElementBlock(void* blockId) : id(blockId), elements(std::make_shared<Elements>()) {}

    // UI thread, with the recording mutex held.
    bool isRecording() const { return recording != nullptr; }

    // Starts a list of its own for the elements to come; an earlier one that was never committed is dropped.
    void startRecording();
    // What was recorded is what is drawn from now on.
    void commit();
    // With the block's mutex held: lets go of animations that have run out or were dropped.
    void removeFinishedAnimations();
    // With the block's mutex held: appends it, unless it is there already.
    void addAnimation(const std::shared_ptr<Animation>& animation);

    // Constant: the caller's own, compared by value.
    void* const id;

    // UI thread, under the recording mutex.
    std::shared_ptr<Elements> recording; // null when nothing is being recorded
    bool cached = false;                 // ended: refuses drawing calls until it is recorded again
    std::size_t textSearch = 0; // where in elements the next line of text that stays the same is looked for

    pthread_helper::mutex mutex;

    // Guarded by mutex. The list may be drawn without it by who holds a reference; a commit puts another in
    // its place.
    std::shared_ptr<Elements> elements;
    UIRect clip; // 0 by 0 does not clip
    std::list<std::shared_ptr<Animation>> animations;
    std::unique_ptr<ScrollViewData> scroll; // of scroll blocks
    std::unique_ptr<ScaleViewData> scale;   // of blocks that are scaled; never of scroll blocks
};
