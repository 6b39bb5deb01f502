#include "tests/src/ui/opengl/GlScreenFixture.h"

#include <algorithm>

void GlScreenFixture::SetUp() {
    FontFixture::SetUp();
    makeManager();
    service.start();
}

void GlScreenFixture::TearDown() {
    manager.reset();
    EXPECT_EQ(service.renderer, nullptr);
    FontFixture::TearDown();
}

void GlScreenFixture::makeManager() {
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

void GlScreenFixture::changeContext(int outputWidth, int outputHeight) {
    service.stop();
    gl = std::make_unique<support::HeadlessGl>(outputWidth, outputHeight);
    service.frameBufferSize = FakeGlService::Size{outputWidth, outputHeight};
    service.start();
}

int GlScreenFixture::frame(int milliseconds) {
    clock += std::int64_t{milliseconds} * 1000;
    return service.frame();
}

void GlScreenFixture::block(const std::function<void()>& draw, UIRect clip) {
    manager->beginBlock(nullptr, false, false, clip);
    draw();
    manager->endBlock();
}

void GlScreenFixture::show(const std::function<void()>& draw, UIRect clip) {
    block(draw, clip);
    manager->displayOnScreen();
    EXPECT_EQ(frame(), 0);
}

UIRect GlScreenFixture::drawn() {
    const std::vector<std::uint8_t> pixels = gl->pixels();
    UIRect box(gl->width(), gl->height(), 0, 0);
    int right = 0;
    int bottom = 0;
    for (int y = 0; y < gl->height(); ++y) {
        for (int x = 0; x < gl->width(); ++x) {
            if (pixels[static_cast<std::size_t>(4 * (y * gl->width() + x) + 3)] != 0) {
                box.x = std::min(box.x, x);
                box.y = std::min(box.y, y);
                right = std::max(right, x + 1);
                bottom = std::max(bottom, y + 1);
            }
        }
    }
    return right == 0 ? UIRect() : UIRect(box.x, box.y, right - box.x, bottom - box.y);
}

std::shared_ptr<Image> GlScreenFixture::image(int imageWidth, int imageHeight,
                                              const std::vector<std::uint32_t>& words, unsigned int tint) {
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
