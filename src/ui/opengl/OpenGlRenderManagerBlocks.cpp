#include <cstdint>
#include <utility>

#include "src/ui/opengl/OpenGlLog.h"
#include "src/ui/opengl/OpenGlRenderManager.h"
#include "src/ui/opengl/SimpleElementBlock.h"
#include "src/ui/system/Animation.h"

bool OpenGlRenderManager::beginBlock(void* id, bool cached, bool recreate, UIRect rect) {
    OPENGL_LOG(5, "Begin block: %p, %s", id, cached ? "cached" : "no cached");
    const std::lock_guard lock(_recordingMutex);
    const auto expected = _currentNode->cursor;
    if (!recreate && expected != _currentNode->children.end() && (*expected)->block->id == id) {
        return enterBlock(expected, cached, rect);
    }
    _currentNode = &_currentNode->insertChild(id);
    SimpleElementBlock& block = *_currentNode->block;
    block.clip = rect; // nobody else knows the block yet
    block.startRecording();
    return false;
}

void OpenGlRenderManager::endBlock() {
    const std::lock_guard lock(_recordingMutex);
    SimpleElementBlock& block = *_currentNode->block;
    OPENGL_LOG(5, "End block: %p", block.id);
    if (_currentNode->parent == nullptr) {
        OPENGL_LOG(1, "Trying to end root Block!");
        return;
    }
    if (!block.cached && block.isRecording()) {
        block.commit();
    }
    block.cached = true;
    cleanTree(*_currentNode);
    _currentNode = _currentNode->parent;
}

bool OpenGlRenderManager::findBlock(void* id, bool cached, UIRect rect) {
    {
        const std::lock_guard lock(_recordingMutex);
        for (auto child = _currentNode->cursor; child != _currentNode->children.end(); ++child) {
            if ((*child)->block->id == id) {
                return enterBlock(child, cached, rect);
            }
        }
    }
    return beginBlock(id, cached, false, rect);
}

bool OpenGlRenderManager::enterBlock(SimpleElementTree::Children::iterator child, bool cached,
                                     const UIRect& rect) {
    _currentNode = &_currentNode->visit(child);
    _currentNode->visitNone();
    SimpleElementBlock& block = *_currentNode->block;
    {
        const std::lock_guard lock(block.mutex);
        block.clip = rect;
        block.removeFinishedAnimations();
    }
    if (cached) {
        return true;
    }
    block.cached = false;
    block.startRecording();
    return false;
}

bool OpenGlRenderManager::beginScrollBlock(void* id, bool cached, bool recreate, UIRect rect) {
    const bool reused = beginBlock(id, cached, recreate, rect);
    const std::lock_guard lock(_recordingMutex);
    SimpleElementBlock& block = *_currentNode->block;
    const std::lock_guard blockLock(block.mutex);
    if (!block.scroll) {
        block.scroll = std::make_unique<ScrollViewData>();
        block.scale.reset();
    }
    return reused;
}

void OpenGlRenderManager::moveScrollBlock(float dx, float dy, float velocity) {
    const std::lock_guard lock(_recordingMutex);
    SimpleElementBlock& block = *_currentNode->block;
    {
        const std::lock_guard blockLock(block.mutex);
        if (!block.scroll) {
            return;
        }
        block.scroll->targetX += dx;
        block.scroll->targetY += dy;
        block.scroll->velocity = velocity;
    }
    // The one velocity that says there is nothing to do must not be asked for.
    _recordedScroll = velocity == SCROLL_IDLE ? SCROLL_IDLE + 1.0F : velocity;
    const std::lock_guard swapLock(_swapMutex);
    _scrollVelocity = *_recordedScroll;
    ++_scrollRequests;
}

void OpenGlRenderManager::filterIndexRange(void* from, void* to) {
    {
        const std::lock_guard lock(_recordingMutex);
        const auto first = reinterpret_cast<std::uintptr_t>(from);
        const auto last = reinterpret_cast<std::uintptr_t>(to);
        for (auto child = _currentNode->children.begin(); child != _currentNode->children.end();) {
            const auto index = reinterpret_cast<std::uintptr_t>((*child)->block->id);
            child = index < first || index > last ? _currentNode->removeChild(child) : std::next(child);
        }
    }
    markChildredRendered();
}

void OpenGlRenderManager::markChildredRendered() {
    const std::lock_guard lock(_recordingMutex);
    _currentNode->visitAll();
}

void OpenGlRenderManager::applyBlockAnimation(std::shared_ptr<Animation> animation) {
    if (refuseAnimation(animation)) {
        return;
    }
    const std::lock_guard lock(_recordingMutex);
    SimpleElementBlock& block = *_currentNode->block;
    const std::lock_guard blockLock(block.mutex);
    block.addAnimation(animation);
}

void OpenGlRenderManager::applyHiddenBlockAnimation(void* id, std::shared_ptr<Animation> animation) {
    if (refuseAnimation(animation)) {
        return;
    }
    const std::lock_guard lock(_recordingMutex);
    _hiddenAnimations[id] = std::move(animation);
}

// True when there is none, or when it was brought to its end because animations are off.
bool OpenGlRenderManager::refuseAnimation(const std::shared_ptr<Animation>& animation) const {
    if (animation && !_animationEnabled) {
        animation->stop();
        animation->drop();
        animation->inc(0); // tells its handler
    }
    return !animation || !_animationEnabled;
}

void OpenGlRenderManager::applyBlockScale(const UIRect& rect, const UIScale& scale) {
    const std::lock_guard lock(_recordingMutex);
    SimpleElementBlock& block = *_currentNode->block;
    const std::lock_guard blockLock(block.mutex);
    if (!block.scroll) {
        block.scale = std::make_unique<ScaleViewData>(makeScaleViewData(rect, scale));
    }
}

// Removes the children that were not visited in this frame and that no animation keeps.
void OpenGlRenderManager::cleanTree(SimpleElementTree& node) {
    for (auto child = node.cursor; child != node.children.end();) {
        child = isKept(*(*child)->block) ? std::next(child) : node.removeChild(child);
    }
}

bool OpenGlRenderManager::isKept(SimpleElementBlock& block) {
    const std::lock_guard lock(block.mutex);
    block.removeFinishedAnimations();
    const auto hidden = _hiddenAnimations.find(block.id);
    if (hidden != _hiddenAnimations.end() && hidden->second->isValid() && !hidden->second->isCompleted()) {
        // The map forgets it with this frame; the block keeps it until it is complete.
        block.addAnimation(hidden->second);
    }
    return !block.animations.empty();
}
