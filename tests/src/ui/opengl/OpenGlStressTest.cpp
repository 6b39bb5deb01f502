#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstring>
#include <functional>
#include <random>
#include <thread>

#include "platform/STBBitmap.h"
#include "tests/src/ui/opengl/GlScreenFixture.h"
#include "tests/support/ScreenPlayer.h"

namespace {

struct QuietCompositor : WindowCompositorInterface {
    void start() override {}

    bool poll() override { return true; }

    void draw() override {}

    void stop() override {}
};

struct QuietFactory : WindowCompositorFactory {
    WindowCompositorInterface* create(int, int) override { return new QuietCompositor; }
};

// Both threads as fast as they can: one records screens of any shape, publishes them, takes screenshots,
// deletes textures and changes compositors; the other draws, and stops and starts again in new contexts.
TEST(OpenGlStressTest, HoldsWhateverBothThreadsDo) {
    constexpr int screens = 1500;
    FakeGlService service({64, 48});
    OpenGlRenderManager::Surroundings surroundings;
    surroundings.gl = &service;
    surroundings.now = [] { return NSTime::nowRelative(); };
    surroundings.sleep = [](unsigned int) { std::this_thread::sleep_for(std::chrono::milliseconds(1)); };
    TTF_Library::instance()->createFace("stress", TestFonts::tenWide().data(),
                                        static_cast<unsigned int>(TestFonts::tenWide().size()));
    auto font = TTF_Library::instance()->getFont(TTF_FontProperties("stress", 10, 10, 0));
    OpenGlRenderManager manager(64, 48, surroundings);

    std::atomic<bool> done{false};
    std::atomic<int> drawn{0};
    std::thread render([&] {
        while (!done) {
            const support::HeadlessGl context(64, 48);
            service.start();
            for (int i = 0; i < 100 && !done; ++i) {
                drawn += service.frame() == 0 ? 1 : 0;
            }
            service.stop();
        }
    });

    std::mt19937 random(5);
    support::ScreenPlayer player(manager, std::move(font), [](int) {});
    int shots = 0;
    for (int i = 0; i < screens; ++i) {
        std::vector<std::uint8_t> bytes(random() % 300);
        std::generate(bytes.begin(), bytes.end(), std::ref(random));
        player.play(bytes);
        manager.displayOnScreen();
        manager.deleteTexture(random() % 20);
        manager.setScale(UIScale(static_cast<float>(random() % 3)));
        if (i % 20 == 0) {
            OpenGlRenderManager::setWindowCompositorFactory(i % 40 == 0 ? new QuietFactory : nullptr);
            manager.enableWindowCompositor(i % 3 != 0, 64, 48);
            manager.setWindowCompositorVisible(i % 60 != 0);
            shots += manager.makeScreenshot() ? 1 : 0;
        }
    }
    // And in the end the screen is what was recorded last.
    manager.setScale(UIScale());
    OpenGlRenderManager::setWindowCompositorFactory(nullptr);
    manager.displayOnScreen();
    manager.beginBlock(&manager, false, true, UIRect());
    manager.fillRect(UIRect(0, 0, 64, 48), 0xFF0000FF);
    manager.endBlock();
    manager.displayOnScreen();
    std::uint32_t pixel = 0; // bytes R, G, B, A
    while (pixel != 0xFFFF0000U) {
        if (const auto shot = manager.makeScreenshot()) {
            std::memcpy(&pixel, shot->getBitmap()->getMemoryPtr(), sizeof pixel);
        }
    }
    done = true;
    render.join();
    EXPECT_GT(drawn, 20);
    EXPECT_GT(shots, 0); // where drawing is slow most give up
    LogCapture::take();
}

} // namespace
