// The same scenes through both renderers. The pictures are left in the build folder, in "software" and
// "opengl".

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <vector>

#include "platform/STBGraphicsInterface.h"
#include "platform/STBResourseHolder.h"
#include "platform/STBSurfaceInterface.h"
#include "platform/linux/graphics/PngFile.h"
#include "src/ui/opengl/OpenGlRenderManager.h"
#include "src/ui/system/RenderManager.h"
#include "src/ui/system/TTF_Library.h"
#include "tests/fakes/FakeGlService.h"
#include "tests/gallery/Scene.h"
#include "tests/support/HeadlessGl.h"
#include "tests/support/LogCapture.h"
#include "tests/support/PngPicture.h"
#include "tests/support/TempDir.h"

namespace {

using gallery::height;
using gallery::width;

using Words = std::vector<std::uint32_t>; // 0xAARRGGBB, the top row first

// For each pixel, by how much the channel differs that differs most.
std::vector<int> differences(const Words& a, const Words& b) {
    std::vector<int> result(a.size());
    for (std::size_t i = 0; i < a.size(); ++i) {
        for (const int shift : {0, 8, 16}) {
            const int difference =
                static_cast<int>(a[i] >> shift & 0xFF) - static_cast<int>(b[i] >> shift & 0xFF);
            result[i] = std::max(result[i], std::abs(difference));
        }
    }
    return result;
}

class GalleryTest : public testing::Test {
protected:
    void SetUp() override {
        _log.use(lumo::simulatedConfig(_folder.file("state")));
        STBPlatformSettings settings = STBResourseHolder::getDefaultPlatformSettings();
        settings.graphics = true;
        ASSERT_TRUE(STBResourseHolder::initialize(settings));
        props = gallery::makeProps(LUMO_TEST_FONT);
    }

    void TearDown() override {
        props = {};
        TTF_Library::destroy();
        STBResourseHolder::uninitialize();
    }

    static void save(const std::string& kind, const std::string& name, const Words& words) {
        const std::string folder = std::string(LUMO_GALLERY_OUT "/") + kind;
        std::filesystem::create_directories(folder);
        lumo::writePngFile(folder + "/" + name + ".png",
                           {reinterpret_cast<const unsigned char*>(words.data()), width, height, width * 4,
                            STB_PIXEL_ARGB8888, false, true});
    }

    Words drawInSoftware(const gallery::Scene& scene) {
        STBGraphicsInterface& graphics = *STBResourseHolder::getSTBGraphics();
        const std::unique_ptr<STBSurfaceInterface> surface(
            graphics.createSurface(width, height, graphics.getOutputPixelFormat()));
        RenderManager renderer(width, height);
        renderer.beginSurfaceBlock(surface.get());
        scene.draw(renderer, props);
        renderer.endSurfaceBlock();
        Words words;
        for (int y = 0; y < height; ++y) {
            const auto* const row = reinterpret_cast<const std::uint32_t*>(
                surface->getMemoryPtr() + std::ptrdiff_t{y} * surface->getPitch());
            words.insert(words.end(), row, row + width);
        }
        save("software", scene.name, words);
        return words;
    }

    gallery::Props props;

private:
    support::TempDir _folder;
    support::LogCapture _log;
};

// But for what fonts and pictures may differ by between versions of the libraries that draw them.
TEST_F(GalleryTest, LooksAsItDidBefore) {
    for (const gallery::Scene& scene : gallery::scenes()) {
        const support::PngPicture golden =
            support::readPng(LUMO_GOLDENS "/" + std::string(scene.name) + ".png");
        const Words drawn = drawInSoftware(scene);
        ASSERT_EQ(golden.words.size(), drawn.size());
        const std::vector<int> different = differences(drawn, golden.words);
        EXPECT_LE(*std::max_element(different.begin(), different.end()), 8)
            << "compare " LUMO_GALLERY_OUT "/software/" << scene.name << ".png with the golden";
    }
}

TEST_F(GalleryTest, LooksTheSameInOpenGl) {
    const support::HeadlessGl gl(width, height);
    FakeGlService service({width, height});
    OpenGlRenderManager::Surroundings surroundings;
    surroundings.gl = &service;
    surroundings.sleep = [](unsigned int) {};
    surroundings.now = [] { return NSTime::nowRelative(); };
    OpenGlRenderManager renderer(width, height, surroundings);
    service.start();
    for (const gallery::Scene& scene : gallery::scenes()) {
        scene.draw(renderer, props);
        renderer.displayOnScreen();
        ASSERT_EQ(service.frame(), 0);
        Words drawn;
        const std::vector<std::uint8_t> bytes = gl.pixels(); // R, G, B, A
        for (std::size_t i = 0; i < bytes.size(); i += 4) {
            drawn.push_back(0xFF000000U | std::uint32_t{bytes[i]} << 16 | std::uint32_t{bytes[i + 1]} << 8 |
                            bytes[i + 2]);
        }
        save("opengl", scene.name, drawn);
        const std::vector<int> different = differences(drawn, drawInSoftware(scene));
        const auto count = std::count_if(different.begin(), different.end(), [](int by) { return by > 32; });
        EXPECT_LE(1000.0 * static_cast<double>(count) / (width * height), scene.openGlDiffers) << scene.name;
    }
}

} // namespace
