#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

#include "src/ui/opengl/OpenGlRenderManager.h"
#include "src/ui/system/Image.h"
#include "tests/fakes/FakeGlService.h"
#include "tests/src/ui/FontFixture.h"
#include "tests/support/HeadlessGl.h"

inline void PrintTo(const UIRect& rect, std::ostream* out) {
    *out << rect.dump();
}

// A screen of 320 by 180, drawn by a manager into a headless context. The case is the UI thread and the
// render thread in one: it records, publishes, and says when a frame is drawn and how much time has passed.
class GlScreenFixture : public FontFixture {
protected:
    static constexpr int width = 320;
    static constexpr int height = 180;
    static constexpr unsigned int white = 0xFFFFFFFF;
    static constexpr unsigned int red = 0xFFFF0000;
    static constexpr unsigned int green = 0xFF00FF00;
    static constexpr unsigned int blue = 0xFF0000FF;

    void SetUp() override;
    void TearDown() override;

    void makeManager();
    // Goes on in a new context, whose frame buffer has that size.
    void changeContext(int outputWidth, int outputHeight);
    // A frame, that much after the last one. What onFrameRender() answers.
    int frame(int milliseconds = 0);
    // A block like any other.
    void block(const std::function<void()>& draw, UIRect clip = {});
    // Publishes a screen of one block and draws it in no time.
    void show(const std::function<void()>& draw, UIRect clip = {});
    // The smallest rectangle around all that was drawn; empty when nothing was.
    UIRect drawn();
    // Rows of red, green, blue, alpha words 0xAARRGGBB.
    static std::shared_ptr<Image> image(int imageWidth, int imageHeight,
                                        const std::vector<std::uint32_t>& words, unsigned int tint = 0);

    std::unique_ptr<support::HeadlessGl> gl = std::make_unique<support::HeadlessGl>(width, height);
    FakeGlService service{{width, height}};
    std::int64_t clock = 5000000;               // microseconds
    int idled = 0;                              // sleeps of the render thread
    std::function<void()> whileWaiting = [] {}; // each sleep of the UI thread
    int waited = 0;                             // of those
    std::unique_ptr<OpenGlRenderManager> manager;
};
