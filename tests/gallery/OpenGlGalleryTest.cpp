#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>

#include "platform/linux/graphics/PngFile.h"
#include "src/ui/opengl/OpenGlRenderManager.h"
#include "tests/fakes/FakeGlService.h"
#include "tests/gallery/SoftwarePicture.h"
#include "tests/support/HeadlessGl.h"
#include "tests/support/LogCapture.h"
#include "tests/support/TempDir.h"

namespace {

// How far a scene may differ from what the software renderer makes of it.
struct Allowance {
    const char* scene;
    double different; // thousandths of the pixels that differ by more than an eighth of the scale
    const char* why;
};

constexpr Allowance allowances[] = {
    {"alphabets", 1, "rounding"},
    {"pictures", 1, "rounding, of colours and of places in stretched pictures"},
    {"alignments", 15,
     "fonts of width 0 get no room beside a line, so its first letter is left out when it starts left of the "
     "pen"},
    {"outlines", 80, "outlines are not drawn"},
};

// The same scenes through both renderers.
TEST(OpenGlGalleryTest, LooksLikeTheSoftwareRenderer) {
    support::TempDir folder;
    support::LogCapture log;
    log.use(lumo::simulatedConfig(folder.file("state")));
    const gallery::Platform platform;
    const gallery::Props props = gallery::makeProps(LUMO_TEST_FONT);
    const support::HeadlessGl gl(gallery::width, gallery::height);
    FakeGlService service({gallery::width, gallery::height});
    OpenGlRenderManager::Surroundings surroundings;
    surroundings.gl = &service;
    surroundings.sleep = [](unsigned int) {};
    surroundings.now = [] { return NSTime::nowRelative(); };
    OpenGlRenderManager renderer(gallery::width, gallery::height, surroundings);
    service.start();
    for (const gallery::Scene& scene : gallery::scenes()) {
        const auto* allowance =
            std::find_if(std::begin(allowances), std::end(allowances),
                         [&](const Allowance& a) { return std::string(a.scene) == scene.name; });
        ASSERT_NE(allowance, std::end(allowances)) << scene.name;
        const auto software = gallery::drawInSoftware(scene, props);
        scene.draw(renderer, props);
        renderer.displayOnScreen();
        ASSERT_EQ(service.frame(), 0);
        const std::vector<std::uint8_t> drawn = gl.pixels(); // R, G, B, A
        lumo::writePngFile(
            std::string(LUMO_GALLERY_OUT "/") + scene.name + "-opengl.png",
            {drawn.data(), gallery::width, gallery::height, gallery::width * 4, STB_PIXEL_RGBA8888, false});
        int different = 0;
        for (int y = 0; y < gallery::height; ++y) {
            const unsigned char* row = software->getMemoryPtr() + std::ptrdiff_t{y} * software->getPitch();
            for (int x = 0; x < gallery::width; ++x) {
                const std::uint8_t* pixel = &drawn[static_cast<std::size_t>(4 * (y * gallery::width + x))];
                int most = 0;
                for (int channel = 0; channel < 3; ++channel) { // words are B, G, R, A in memory
                    most = std::max(most, std::abs(pixel[channel] - row[4 * x + 2 - channel]));
                }
                different += most > 32 ? 1 : 0;
            }
        }
        EXPECT_LE(1000.0 * different / (gallery::width * gallery::height), allowance->different)
            << scene.name << ": more than " << allowance->why;
    }
}

} // namespace
