// Any sequence of recording calls with frames between them, balanced or not. FakeGl.cpp stands in for OpenGL.
#include <cstdint>

#include "src/ui/system/TTF_Library.h"
#include "tests/src/ui/TestFonts.h"
#include "tests/support/ScreenPlayer.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

// The fuzzer's thread is the render thread too.
struct Service final : STBGraphicsGlEs20Interface {
    bool registerFrameRenderer(FrameRenderer* toRegister) override {
        renderer = toRegister;
        return true;
    }

    void unregisterFrameRenderer(FrameRenderer*) override { renderer->onStopRendering(); }

    void getOutputSize(int& width, int& height) override {
        width = 128;
        height = 64;
    }

    unsigned int loadShader(const std::string&, unsigned int) override { return 1; }

    int getDisplayState() override { return 0; }

    void prepareOutput() override {}

    FrameRenderer* renderer = nullptr;
};

std::shared_ptr<TTF_Font> font() {
    static const std::string bytes = TestFonts::tenWide();
    TTF_Library::instance()->createFace("fuzz", bytes.data(), static_cast<unsigned int>(bytes.size()));
    return TTF_Library::instance()->getFont(TTF_FontProperties("fuzz", 10, 10, 0));
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const std::shared_ptr<TTF_Font> letters = font();
    Service service;
    std::int64_t microseconds = 0;
    OpenGlRenderManager::Surroundings surroundings;
    surroundings.gl = &service;
    surroundings.sleep = [](unsigned int) {};
    surroundings.now = [&] { return NSTime(microseconds); };
    OpenGlRenderManager manager(64, 64, surroundings);
    service.renderer->onStartRendering();
    const auto frames = [&](int milliseconds) {
        service.renderer->onFrameRender();
        microseconds += milliseconds * 1000;
        service.renderer->onFrameRender();
    };
    support::ScreenPlayer(manager, letters, frames).play({data, size});
    manager.displayOnScreen();
    frames(100);
    return 0;
}
