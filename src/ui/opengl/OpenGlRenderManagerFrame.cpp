#include <GLES2/gl2.h>

#include <algorithm>
#include <climits>
#include <utility>

#include "src/ui/opengl/OpenGlLog.h"
#include "src/ui/opengl/OpenGlRenderManager.h"
#include "src/ui/opengl/SimpleElementBlock.h"

namespace {

constexpr unsigned int IDLE_SLEEP = 10000;     // microseconds
constexpr int NO_OUTPUT = -2;                  // a display state
constexpr std::int64_t REPORT_AFTER = 1000000; // microseconds
constexpr GLuint MOST_ARRAYS = 8;              // every device has so many, and no program of ours uses more

} // namespace

void OpenGlRenderManager::displayOnScreen() {
    std::unique_ptr<SimpleElementTree> skipped; // deleted after the mutexes were given back
    const std::lock_guard recordingLock(_recordingMutex);
    cleanTree(*_recordingTree);
    auto published = std::make_unique<SimpleElementTree>(*_recordingTree);
    _hiddenAnimations.clear();
    _currentNode = _recordingTree.get();
    _recordingTree->visitNone();
    {
        SimpleElementBlock& root = *_recordingTree->block;
        const std::lock_guard blockLock(root.mutex);
        root.removeFinishedAnimations();
    }
    const std::lock_guard swapLock(_swapMutex);
    skipped = std::exchange(_pendingTree, std::move(published));
    if (_recordedScroll) {
        // A pass over the tree before this one may have missed the block.
        _scrollVelocity = *std::exchange(_recordedScroll, std::nullopt);
        ++_scrollRequests;
    }
    _framePosted = true;
}

int OpenGlRenderManager::onFrameRender() {
    const NSTime now = _surroundings.now();
    const int milliseconds = elapsedMilliseconds(now);
    reportFrameRate(now);
    deleteQueuedTextures();
    const std::lock_guard lock(_renderMutex);
    const int displayState = _surroundings.gl->getDisplayState();
    if (std::exchange(_displayState, displayState) != displayState) {
        _redraw = true;
    }
    updateCompositor();
    if (!takeTree()) {
        _surroundings.sleep(IDLE_SLEEP);
        return FrameSkipped;
    }
    scroll(milliseconds);
    if (displayState != NO_OUTPUT) {
        _surroundings.gl->prepareOutput();
    }
    prepareFrame();
    drawTree(milliseconds);
    ++_frameCounter;
    if (_framePosted) {
        return FrameSkipped;
    }
    captureScreenshot();
    return FrameDrawn;
}

// Whole milliseconds since the last call; what is left over counts the next time.
int OpenGlRenderManager::elapsedMilliseconds(NSTime now) {
    const std::int64_t passed = std::exchange(_timed, true) ? (now - _lastFrame).toInt64() : 0;
    _lastFrame = now;
    _restMicroseconds += std::max<std::int64_t>(passed, 0);
    const std::int64_t milliseconds = _restMicroseconds / 1000;
    _restMicroseconds %= 1000;
    return static_cast<int>(std::min<std::int64_t>(milliseconds, INT_MAX));
}

void OpenGlRenderManager::reportFrameRate(NSTime now) {
    const std::int64_t elapsed = (now - _lastReport.value_or(now)).toInt64();
    if (_lastReport && elapsed <= REPORT_AFTER) {
        return;
    }
    if (_lastReport && _debug) {
        const std::int64_t frames = std::int64_t{_frameCounter} - _reportedFrames;
        OPENGL_LOG(3, "FPS: %d", static_cast<int>(frames * 1000000 / elapsed));
    }
    _reportedFrames = _frameCounter;
    _lastReport = now;
}

void OpenGlRenderManager::deleteQueuedTextures() {
    std::vector<unsigned int> queue;
    {
        const std::lock_guard lock(_textureQueueMutex);
        queue.swap(_textureQueue);
    }
    // Images forget their textures. They go away with the trees that showed them.
    if (std::exchange(_treeTaken, false)) {
        for (const auto& [id, image] : _imageTextures) {
            if (image.expired()) {
                queue.push_back(id);
            }
        }
    }
    for (const GLuint id : queue) {
        _imageTextures.erase(id);
        if (_liveTextures.erase(id) != 0) {
            glDeleteTextures(1, &id);
        }
    }
}

// The tree to draw becomes the current one. False when there is nothing to draw.
bool OpenGlRenderManager::takeTree() {
    std::unique_ptr<SimpleElementTree> old; // deleted after the mutex was given back
    const std::lock_guard lock(_swapMutex);
    if (const auto size = std::exchange(_outputSize, std::nullopt); size && !_contextSize) {
        updateFrameBufferSize(size->first, size->second);
    }
    if (_pendingTree) {
        old = std::exchange(_currentTree, std::move(_pendingTree));
        _treeTaken = true;
        _redraw = true;
    } else if (_redraw || (_screenshotRequested && !_screenshotCaptured)) {
        _redraw = _debug; // the tree is drawn once more; with debug, again and again
    } else {
        return false;
    }
    _currentScale = _scale;
    _framePosted = false;
    return true;
}

void OpenGlRenderManager::scroll(int milliseconds) {
    unsigned int requests = 0;
    {
        const std::lock_guard lock(_swapMutex);
        if (_scrollVelocity == SCROLL_IDLE) {
            return;
        }
        requests = _scrollRequests;
    }
    _redraw = true;
    if (svPass(*_currentTree, milliseconds)) {
        const std::lock_guard lock(_swapMutex);
        if (requests == _scrollRequests) {
            _scrollVelocity = SCROLL_IDLE;
        }
    }
}

// Scrolls every block of the tree. True when all have arrived.
bool OpenGlRenderManager::svPass(const SimpleElementTree& tree, int milliseconds) {
    bool arrived = true;
    std::vector<const SimpleElementTree*> open{&tree};
    while (!open.empty()) {
        const SimpleElementTree* node = open.back();
        open.pop_back();
        {
            const std::lock_guard lock(node->block->mutex);
            if (node->block->scroll && !node->block->scroll->advance(milliseconds)) {
                arrived = false;
            }
        }
        for (const auto& child : node->children) {
            open.push_back(child.get());
        }
    }
    return arrived;
}

// An empty frame buffer, or one with the compositor's content.
void OpenGlRenderManager::prepareFrame() {
    resetGlState();
    glClear(GL_COLOR_BUFFER_BIT);
    if (_compositor && _compositorVisible) {
        GLint frameBuffer = 0;
        glGetIntegerv(GL_FRAMEBUFFER_BINDING, &frameBuffer);
        _compositor->draw();
        glBindFramebuffer(GL_FRAMEBUFFER, static_cast<GLuint>(frameBuffer));
        resetGlState();
    }
}

// All state that drawing relies on, whatever others have left.
void OpenGlRenderManager::resetGlState() {
    glEnable(GL_BLEND);
    glBlendEquation(GL_FUNC_ADD);
    glBlendFuncSeparate(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA, GL_ONE, GL_ONE_MINUS_SRC_ALPHA);
    glEnable(GL_SCISSOR_TEST);
    for (const GLenum test : {GL_CULL_FACE, GL_DEPTH_TEST, GL_STENCIL_TEST}) {
        glDisable(test);
    }
    glColorMask(GL_TRUE, GL_TRUE, GL_TRUE, GL_TRUE);
    glClearColor(0.0F, 0.0F, 0.0F, 0.0F);
    glViewport(0, 0, _frameBufferWidth, _frameBufferHeight);
    _scissor = {0, 0, _frameBufferWidth, _frameBufferHeight};
    glScissor(0, 0, _frameBufferWidth, _frameBufferHeight);
    glActiveTexture(GL_TEXTURE0);
    glBindBuffer(GL_ARRAY_BUFFER, 0);
    for (GLuint array = 0; array < MOST_ARRAYS; ++array) {
        glDisableVertexAttribArray(array);
    }
    _enabledArrays = 0;
    _program = nullptr;
    _matrixLocation = -1;
    _alphaLocation = -1;
}
