#include <GLES2/gl2.h>

#include <cstdint>
#include <cstring>
#include <utility>

#include "platform/STBBitmap.h"
#include "src/ui/opengl/OpenGlLog.h"
#include "src/ui/opengl/OpenGlRenderManager.h"
#include "src/ui/opengl/SimpleElementBlock.h"
#include "src/ui/system/Image.h"

namespace {

constexpr int SCREENSHOT_WAITS = 100;
constexpr unsigned int SCREENSHOT_WAIT = 20000; // microseconds

// The factory, shared so that one that is being used stays until it has done its work.
struct CompositorFactory {
    pthread_helper::mutex mutex;
    std::shared_ptr<WindowCompositorFactory> current; // guarded by mutex
};

CompositorFactory& compositorFactory() {
    static CompositorFactory factory;
    return factory;
}

// The frame buffer, top row first; null when there is no memory for it.
std::unique_ptr<STBBitmap> readFrameBuffer(int width, int height) {
    auto bitmap = std::make_unique<STBBitmap>(STB_PIXEL_RGBA8888_SCREEN, width, height);
    const std::size_t row = static_cast<std::size_t>(width) * 4;
    const std::size_t rows = static_cast<std::size_t>(height);
    if (bitmap->getMemoryPtr() == nullptr || bitmap->getMemorySize() != row * rows) {
        return nullptr;
    }
    std::vector<std::uint8_t> pixels(row * rows);
    glPixelStorei(GL_PACK_ALIGNMENT, 4);
    glReadPixels(0, 0, width, height, GL_RGBA, GL_UNSIGNED_BYTE, pixels.data());
    for (std::size_t y = 0; y < rows; ++y) {
        std::memcpy(bitmap->getMemoryPtr() + y * row, &pixels[(rows - 1 - y) * row], row);
    }
    return bitmap;
}

} // namespace

std::shared_ptr<Image> OpenGlRenderManager::makeScreenshot() {
    std::unique_ptr<STBBitmap> bitmap;
    if (_screenshotRequested) {
        OPENGL_LOG(2, "Was previously timed out");
    }
    {
        const std::lock_guard lock(_swapMutex);
        _capturedBitmap.swap(bitmap);
        ++_screenshotRequests; // what is captured for an earlier request is not ours
        _screenshotCaptured = false;
        _screenshotRequested = true;
    }
    bitmap.reset();
    for (int i = 0; i < SCREENSHOT_WAITS && !_screenshotCaptured; ++i) {
        _surroundings.sleep(SCREENSHOT_WAIT);
    }
    {
        const std::lock_guard lock(_swapMutex);
        if (!_screenshotCaptured) {
            OPENGL_LOG(2, "Screenshot timed out!");
            return nullptr; // still requested
        }
        _capturedBitmap.swap(bitmap);
        _screenshotRequested = false;
        _screenshotCaptured = false;
    }
    if (!bitmap) {
        OPENGL_LOG(1, "No image catched");
        return nullptr;
    }
    auto image = std::make_shared<Image>(0, 0);
    return image->loadFromBitmap(std::move(bitmap), "screenshot") ? image : nullptr;
}

void OpenGlRenderManager::captureScreenshot() {
    unsigned int request = 0;
    {
        const std::lock_guard lock(_swapMutex);
        if (!_screenshotRequested || _screenshotCaptured) {
            return;
        }
        request = _screenshotRequests;
    }
    std::unique_ptr<STBBitmap> bitmap = readFrameBuffer(_frameBufferWidth, _frameBufferHeight);
    const std::lock_guard lock(_swapMutex);
    if (request == _screenshotRequests) {
        _capturedBitmap.swap(bitmap);
        _screenshotCaptured = true;
    }
}

void OpenGlRenderManager::enableWindowCompositor(bool enable, int width, int height) {
    const std::lock_guard lock(_swapMutex);
    _compositing = {enable, true, width, height};
}

void OpenGlRenderManager::setWindowCompositorVisible(bool visible) {
    _compositorVisible = visible;
}

void OpenGlRenderManager::setWindowCompositorFactory(WindowCompositorFactory* factory) {
    std::shared_ptr<WindowCompositorFactory> old; // deleted after the mutex was given back
    CompositorFactory& shared = compositorFactory();
    const std::lock_guard lock(shared.mutex);
    if (shared.current.get() != factory) {
        old = std::exchange(shared.current, std::shared_ptr<WindowCompositorFactory>(factory));
    }
}

void OpenGlRenderManager::updateCompositor() {
    std::shared_ptr<WindowCompositorFactory> factory;
    {
        CompositorFactory& shared = compositorFactory();
        const std::lock_guard lock(shared.mutex);
        factory = shared.current;
    }
    if (!factory) {
        return;
    }
    Compositing wanted;
    {
        const std::lock_guard lock(_swapMutex);
        wanted = _compositing;
        _compositing.recreate = false;
    }
    if (!wanted.enabled || wanted.recreate) {
        dropCompositor();
    }
    if (wanted.enabled && !_compositor) {
        _compositor.reset(factory->create(wanted.width, wanted.height));
        if (_compositor) {
            _compositor->start();
        }
    }
    if (_compositor && _compositor->poll()) {
        _redraw = true;
    }
    // Shown or hidden, the screen changes with it.
    const bool shown = _compositor && _compositorVisible;
    if (std::exchange(_compositorShown, shown) != shown) {
        _redraw = true;
    }
}

void OpenGlRenderManager::dropCompositor() {
    if (_compositor) {
        _compositor->stop();
        _compositor.reset();
    }
}
