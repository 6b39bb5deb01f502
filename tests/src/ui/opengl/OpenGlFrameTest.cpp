#include <GLES2/gl2.h>

#include <cstring>
#include <numeric>

#include "platform/STBBitmap.h"
#include "tests/src/ui/opengl/GlScreenFixture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr int skipped = OpenGlRenderManager::FrameSkipped;

struct OpenGlFrameTest : GlScreenFixture {
    void publish(unsigned int colour) {
        block([&] { manager->fillRect(UIRect(0, 0, 10, 10), colour); });
        manager->displayOnScreen();
    }

    void line(const std::string& text) {
        manager->drawTextLine(UIRect(20, 1, 50, 10), white, 0, font, text, UITextHorizontalAlignLeft,
                              UITextVerticalAlignTop, "");
    }

    // Those of the context.
    static std::vector<GLuint> textures() {
        std::vector<GLuint> ids(100);
        std::iota(ids.begin(), ids.end(), 1);
        std::erase_if(ids, [](GLuint id) { return glIsTexture(id) == GL_FALSE; });
        return ids;
    }

    const std::shared_ptr<TTF_Font> font = fontOf(TestFonts::tenWide(), 10);

    // Frames until there is nothing to draw.
    int framesDrawn() {
        int count = 0;
        while (frame(20) == 0 && count < 20) {
            ++count;
        }
        return count;
    }
};

TEST_F(OpenGlFrameTest, DrawsOnlyWhatIsNew) {
    EXPECT_EQ(frame(), skipped) << "nothing was published";
    EXPECT_EQ(idled, 1);
    publish(red);
    publish(green);
    EXPECT_EQ(framesDrawn(), 2) << "once more, for displays with two buffers";
    EXPECT_EQ(idled, 2);
    EXPECT_EQ(service.prepared, 2);
    EXPECT_EQ(gl->pixel(5, 5), green) << "the first screen was overtaken";
    service.displayState = -2;
    EXPECT_EQ(framesDrawn(), 1);
    EXPECT_EQ(service.prepared, 2) << "there is no output to prepare";
    service.displayState = 0;
    service.onPrepare = [&, once = true]() mutable {
        if (std::exchange(once, false)) {
            publish(blue);
        }
    };
    EXPECT_EQ(frame(), skipped) << "overtaken while it was drawn";
    EXPECT_EQ(gl->pixel(5, 5), 0U);
    EXPECT_EQ(framesDrawn(), 2);
    EXPECT_EQ(gl->pixel(5, 5), blue);
}

TEST_F(OpenGlFrameTest, MakesEverythingAnewInANewContext) {
    const auto picture = image(1, 1, {red});
    show([&] {
        manager->drawImage(UIRect(0, 0, 10, 10), UIRect(), picture);
        line("a");
        manager->fillRect(UIRect(40, 0, 10, 10), green);
    });
    EXPECT_EQ(textures().size(), 2U);
    service.stop();
    EXPECT_THAT(textures(), IsEmpty());
    service.start();
    changeContext(2 * width, 2 * height);
    EXPECT_EQ(frame(), 0) << "the new frame buffer is empty";
    EXPECT_EQ(gl->pixel(10, 10), red);
    EXPECT_NE(gl->pixel(41, 10), 0U);
    EXPECT_EQ(gl->pixel(90, 10), green);
}

TEST_F(OpenGlFrameTest, DeletesTexturesOfItsOwnThatNoScreenShows) {
    GLuint foreign = 0;
    glGenTextures(1, &foreign);
    glBindTexture(GL_TEXTURE_2D, foreign);
    show([&] { line("a"); });
    ASSERT_EQ(textures().size(), 2U);
    const GLuint texture = textures().back();
    show([&] { line("a"); });
    frame();
    EXPECT_THAT(textures(), ElementsAre(foreign, texture)) << "the same line needs no other one";
    manager->deleteTexture(foreign);
    frame();
    EXPECT_THAT(textures(), ElementsAre(foreign, texture)) << "not made by the manager";
    show([&] { line("b"); });
    frame();
    EXPECT_EQ(textures().size(), 2U);
    EXPECT_FALSE(glIsTexture(texture));
    // One that was queued in a context that is gone may have lent its name to another.
    const GLuint current = textures().back();
    manager->deleteTexture(current);
    service.stop();
    service.start();
    show([&] { line("b"); });
    frame();
    EXPECT_EQ(textures().size(), 2U);
    show([&] { manager->drawImage(UIRect(0, 0, 9, 9), UIRect(), image(1, 1, {red})); });
    show([] {});
    frame();
    EXPECT_THAT(textures(), ElementsAre(foreign)) << "those of images that are gone go too";
}

TEST_F(OpenGlFrameTest, TakesUprightScreenshotsAndGivesUp) {
    whileWaiting = [&] { frame(); };
    show([&] { manager->fillRect(UIRect(0, 0, 10, 10), red); });
    frame();
    EXPECT_EQ(frame(), skipped);
    const auto pixel = [](const Image& shot, int x, int y) {
        std::uint32_t bytes = 0;
        std::memcpy(&bytes, shot.getBitmap()->getMemoryPtr() + 4 * (y * shot.getWidth() + x), 4);
        return bytes;
    };
    const auto shot = manager->makeScreenshot();
    ASSERT_NE(shot, nullptr);
    EXPECT_EQ(waited, 1) << "an idle screen is drawn for it";
    EXPECT_EQ(shot->GetPixelFormat(), 1);
    EXPECT_EQ(shot->getWidth(), width);
    EXPECT_EQ(pixel(*shot, 5, 5), 0xFF0000FFU); // bytes R, G, B, A
    EXPECT_EQ(pixel(*shot, 5, height - 5), 0U);
    EXPECT_EQ(frame(), skipped) << "one frame is enough";

    whileWaiting = [] {};
    waited = 0;
    EXPECT_EQ(manager->makeScreenshot(), nullptr);
    EXPECT_EQ(waited, 100);
    EXPECT_THAT(problems(), ElementsAre(testing::EndsWith("Screenshot timed out!")));
    EXPECT_EQ(framesDrawn(), 1) << "still requested, until it is captured";
    publish(green);
    whileWaiting = [&] { frame(); };
    const auto fresh = manager->makeScreenshot();
    ASSERT_NE(fresh, nullptr);
    EXPECT_EQ(pixel(*fresh, 5, 5), 0xFF00FF00U) << "not the one captured too late";
    EXPECT_THAT(problems(), ElementsAre(testing::EndsWith("Was previously timed out")));
}

std::string journal; // what the compositors of a case were told

struct Compositor : WindowCompositorInterface {
    ~Compositor() override { journal += "deleted "; }

    void start() override { journal += "start "; }

    bool poll() override { return false; }

    // Leaves behind what GL state it can.
    void draw() override {
        journal += "draw ";
        glScissor(0, 0, 40, 40);
        glClearColor(0, 0, 1, 1);
        glClear(GL_COLOR_BUFFER_BIT);
        glDisable(GL_BLEND);
        glUseProgram(0);
        glViewport(0, 0, 1, 1);
        GLuint buffer = 0;
        glGenBuffers(1, &buffer);
        glBindBuffer(GL_ARRAY_BUFFER, buffer);
        glColorMask(GL_FALSE, GL_TRUE, GL_FALSE, GL_FALSE);
    }

    void stop() override { journal += "stop "; }
};

struct Factory : WindowCompositorFactory {
    ~Factory() override { journal += "gone"; }

    WindowCompositorInterface* create(int w, int h) override {
        journal += std::to_string(w) + "x" + std::to_string(h) + " ";
        return new Compositor;
    }
};

TEST_F(OpenGlFrameTest, DrawsACompositorBeneathTheScreen) {
    journal.clear();
    auto* factory = new Factory;
    OpenGlRenderManager::setWindowCompositorFactory(factory);
    OpenGlRenderManager::setWindowCompositorFactory(factory); // the same stays
    manager->setWindowCompositorVisible(true);
    manager->enableWindowCompositor(true, 4, 3);
    show([&] { manager->fillRect(UIRect(0, height - 10, 10, 10), 0x80FF0000); });
    EXPECT_EQ(gl->pixel(20, height - 20), blue);
    EXPECT_EQ(gl->pixel(5, height - 5), 0xFF80007FU) << "under what the screen draws";
    EXPECT_EQ(gl->pixel(200, 20), 0U);
    frame();
    manager->enableWindowCompositor(true, 5, 5);
    frame();
    manager->setWindowCompositorVisible(false);
    EXPECT_EQ(framesDrawn(), 1);
    EXPECT_EQ(gl->pixel(20, height - 20), 0U);
    service.stop();
    OpenGlRenderManager::setWindowCompositorFactory(nullptr);
    EXPECT_EQ(journal, "4x3 start draw draw stop deleted 5x5 start stop deleted gone");
}

} // namespace
