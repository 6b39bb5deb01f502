#pragma once

#include <functional>
#include <optional>
#include <string>

#include "platform/STBGraphicsGlEs20Interface.h"

// The platform's OpenGL ES service with the test in the place of its render thread: a context is current on
// the thread that calls start(), frame() and stop(), and the test decides when that is. Shaders are really
// compiled; one that cannot be fails the test.
class FakeGlService final : public STBGraphicsGlEs20Interface {
public:
    struct Size {
        int width;
        int height;
    };

    explicit FakeGlService(Size output) : outputSize(output) {}

    // A new context. The calling thread keeps its priority, which renderers change.
    void start();
    void stop();

    int frame() { return renderer->onFrameRender(); }

    bool registerFrameRenderer(FrameRenderer* toRegister) override {
        renderer = toRegister;
        return true;
    }

    void unregisterFrameRenderer(FrameRenderer* toUnregister) override;

    void getOutputSize(int& width, int& height) override {
        width = outputSize.width;
        height = outputSize.height;
    }

    bool getFrameBufferDimensions(int& width, int& height) override;
    unsigned int loadShader(const std::string& url, unsigned int glShaderType) override;

    int getDisplayState() override { return displayState; }

    void prepareOutput() override {
        ++prepared;
        onPrepare();
    }

    const Size outputSize;
    std::optional<Size> frameBufferSize; // of contexts, when it is another one
    int displayState = 0;
    int prepared = 0; // frames
    std::function<void()> onPrepare = [] {};
    FrameRenderer* renderer = nullptr;
    bool started = false;
};
