#pragma once

#include <algorithm>
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

    void SetUp() override {
        FontFixture::SetUp();
        makeManager();
        service.start();
    }

    void TearDown() override {
        manager.reset();
        EXPECT_EQ(service.renderer, nullptr);
        FontFixture::TearDown();
    }

    void makeManager() {
        OpenGlRenderManager::Surroundings surroundings;
        surroundings.gl = &service;
        surroundings.now = [this] { return NSTime(clock); };
        surroundings.sleep = [this](unsigned int microseconds) {
            if (microseconds == 10000) {
                ++idled;
            } else {
                EXPECT_EQ(microseconds, 20000U);
                ++waited;
                whileWaiting();
            }
        };
        manager = std::make_unique<OpenGlRenderManager>(width, height, surroundings);
    }

    // Goes on in a new context, whose frame buffer has that size.
    void changeContext(int outputWidth, int outputHeight) {
        service.stop();
        gl = std::make_unique<support::HeadlessGl>(outputWidth, outputHeight);
        service.frameBufferSize = FakeGlService::Size{outputWidth, outputHeight};
        service.start();
    }

    // A frame, that much after the last one. What onFrameRender() answers.
    int frame(int milliseconds = 0) {
        clock += std::int64_t{milliseconds} * 1000;
        return service.frame();
    }

    // A block like any other.
    void block(const std::function<void()>& draw, UIRect clip = {}) {
        manager->beginBlock(nullptr, false, false, clip);
        draw();
        manager->endBlock();
    }

    // Publishes a screen of one block and draws it in no time.
    void show(const std::function<void()>& draw, UIRect clip = {}) {
        block(draw, clip);
        manager->displayOnScreen();
        EXPECT_EQ(frame(), 0);
    }

    // The smallest rectangle around all that was drawn; empty when nothing was.
    UIRect drawn() const {
        const std::vector<std::uint8_t> pixels = gl->pixels();
        int left = gl->width();
        int top = gl->height();
        int right = 0;
        int bottom = 0;
        for (int i = 0; i < gl->width() * gl->height(); ++i) {
            if (pixels[static_cast<std::size_t>(4 * i + 3)] != 0) {
                left = std::min(left, i % gl->width());
                top = std::min(top, i / gl->width());
                right = std::max(right, i % gl->width() + 1);
                bottom = std::max(bottom, i / gl->width() + 1);
            }
        }
        return right == 0 ? UIRect() : UIRect(left, top, right - left, bottom - top);
    }

    // Red, green, blue, alpha words 0xAARRGGBB, the top row first.
    static std::shared_ptr<Image> image(int imageWidth, int imageHeight,
                                        const std::vector<std::uint32_t>& words, unsigned int tint = 0) {
        std::vector<unsigned char> bytes;
        for (const std::uint32_t word : words) {
            for (const unsigned int shift : {16U, 8U, 0U, 24U}) {
                bytes.push_back(static_cast<unsigned char>(word >> shift));
            }
        }
        auto result = std::make_shared<Image>(0, tint);
        EXPECT_TRUE(result->loadRGBA8888(imageWidth, imageHeight, imageWidth * 4, bytes.data()));
        return result;
    }

    std::unique_ptr<support::HeadlessGl> gl = std::make_unique<support::HeadlessGl>(width, height);
    FakeGlService service{{width, height}};
    std::int64_t clock = 5000000;               // microseconds
    int idled = 0;                              // sleeps of the render thread
    std::function<void()> whileWaiting = [] {}; // each sleep of the UI thread
    int waited = 0;                             // of those
    std::unique_ptr<OpenGlRenderManager> manager;
};
