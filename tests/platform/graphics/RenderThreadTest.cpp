// The platform's graphics as the program sees it, with a real OpenGL ES that draws into memory.

#include <GLES2/gl2.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <mutex>
#include <thread>

#include "platform/STBDisplay.h"
#include "platform/STBGraphicsGlEs20Interface.h"
#include "platform/STBGraphicsInterface.h"
#include "platform/STBResourseHolder.h"
#include "platform/STBSurfaceInterface.h"
#include "tests/support/LogCapture.h"
#include "tests/support/PngPicture.h"
#include "tests/support/TempDir.h"

namespace lumo {
namespace {

namespace fs = std::filesystem;
using support::PngPicture;
using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::StartsWith;

// Fills the left half of the screen, and remembers what was asked of it.
class HalfRenderer final : public STBGraphicsGlEs20Interface::FrameRenderer {
public:
    HalfRenderer(STBGraphicsGlEs20Interface& gl, float red, int answer)
        : _gl(gl), _red(red), _answer(answer) {}

    void onStartRendering() override { note("start"); }

    void onStopRendering() override { note("stop"); }

    int onFrameRender() override {
        EXPECT_EQ(glGetError(), GLenum(GL_NO_ERROR));
        int width = 0;
        int height = 0;
        EXPECT_TRUE(_gl.getFrameBufferDimensions(width, height));
        _gl.prepareOutput();
        glDisable(GL_SCISSOR_TEST);
        glClearColor(0, 0, 0, 0);
        glClear(GL_COLOR_BUFFER_BIT);
        glEnable(GL_SCISSOR_TEST);
        glScissor(0, 0, width / 2, height);
        glClearColor(_red, 1, 0, 0.5F);
        glClear(GL_COLOR_BUFFER_BIT);
        note("frame");
        return _answer;
    }

    // What was called on how many threads, frames counted once.
    std::vector<std::string> calls() const {
        const std::lock_guard lock(_mutex);
        std::vector<std::string> calls = _calls;
        calls.erase(std::unique(calls.begin(), calls.end()), calls.end());
        return calls;
    }

    void waitForFrames(int count) {
        std::unique_lock lock(_mutex);
        _changed.wait(lock, [&] { return std::count(_calls.begin(), _calls.end(), "frame") >= count; });
    }

private:
    void note(const char* call) {
        const std::lock_guard lock(_mutex);
        EXPECT_TRUE(_thread == std::thread::id() || _thread == std::this_thread::get_id());
        _thread = std::this_thread::get_id();
        _calls.emplace_back(call);
        _changed.notify_all();
    }

    STBGraphicsGlEs20Interface& _gl;
    const float _red;
    const int _answer;
    mutable std::mutex _mutex;
    std::condition_variable _changed;
    std::vector<std::string> _calls;
    std::thread::id _thread;
};

class RenderThreadTest : public ::testing::Test {
protected:
    RenderThreadTest() { configure("headless", _folder.file("frames")); }

    ~RenderThreadTest() override { STBResourseHolder::uninitialize(); }

    void configure(const std::string& backend, const std::string& frames) {
        Config config;
        config.display = {.backend = backend, .width = 64, .height = 32, .frames = frames};
        _log.use(config);
    }

    static bool bringUp() {
        STBPlatformSettings settings = STBResourseHolder::getDefaultPlatformSettings();
        settings.graphics = true;
        return STBResourseHolder::initialize(settings);
    }

    static STBGraphicsGlEs20Interface& gl() { return *STBResourseHolder::getSTBGraphics()->getGlEs20(); }

    std::vector<fs::path> frames() const {
        std::vector<fs::path> files;
        for (const auto& entry : fs::directory_iterator(_folder.file("frames"))) {
            files.push_back(entry.path());
        }
        std::sort(files.begin(), files.end());
        return files;
    }

    // Draws a few frames, and leaves out the first one, which alone may be seen half done by a fault.
    void draw(HalfRenderer& renderer) {
        ASSERT_TRUE(gl().registerFrameRenderer(&renderer));
        renderer.waitForFrames(3);
        gl().unregisterFrameRenderer(&renderer);
        EXPECT_THAT(renderer.calls(), ElementsAre("start", "frame", "stop"));
    }

    support::LogCapture _log;
    const support::TempDir _folder;
};

TEST_F(RenderThreadTest, KeepsWhatIsDrawnAndStartsAgain) {
    ASSERT_TRUE(bringUp());
    std::size_t kept = 0;
    for (const float red : {1.0F, 0.0F}) {
        HalfRenderer renderer(gl(), red, 0);
        draw(renderer);
        const std::vector<fs::path> files = frames();
        EXPECT_GE(files.size(), kept + 3);
        kept = files.size();
        const PngPicture picture = support::readPng(files.back());
        ASSERT_EQ(picture.width * 1000 + picture.height, 64032);
        EXPECT_EQ(picture.at(31, 31), red > 0 ? 0xFFFFFF00 : 0xFF00FF00);
        EXPECT_EQ(picture.at(32, 0), 0xFF000000);
    }
    STBResourseHolder::uninitialize();
    EXPECT_EQ(STBResourseHolder::getSTBGraphics(), nullptr);
    ASSERT_TRUE(bringUp());
    HalfRenderer renderer(gl(), 1, 0);
    draw(renderer);
    EXPECT_GE(frames().size(), kept + 3);
}

TEST_F(RenderThreadTest, RefusesASecondRendererAndStopsTheFirstWithTheScreen) {
    ASSERT_TRUE(bringUp());
    HalfRenderer first(gl(), 1, 0);
    HalfRenderer second(gl(), 0, 0);
    ASSERT_TRUE(gl().registerFrameRenderer(&first));
    EXPECT_FALSE(gl().registerFrameRenderer(&second));
    EXPECT_THAT(_log.takeProblem(), HasSubstr("registered already"));
    gl().unregisterFrameRenderer(&second);
    first.waitForFrames(2);
    STBResourseHolder::uninitialize();
    EXPECT_THAT(first.calls(), ElementsAre("start", "frame", "stop"));
    EXPECT_THAT(second.calls(), ElementsAre());
}

TEST_F(RenderThreadTest, ShowsNoFrameThatIsNotFinal) {
    ASSERT_TRUE(bringUp());
    HalfRenderer renderer(gl(), 1, -5);
    draw(renderer);
    EXPECT_THAT(frames(), ElementsAre());
}

TEST_F(RenderThreadTest, SwitchingThePictureOffAndOnAsksForARedraw) {
    ASSERT_TRUE(bringUp());
    STBDisplay& display = *STBResourseHolder::getSTBDisplay();
    STBOutputSettings settings = display.getOutputSettings();
    const int before = gl().getDisplayState();
    settings.hdVisible = false;
    EXPECT_TRUE(display.setOutputSettings(settings));
    EXPECT_EQ(gl().getDisplayState(), -2);
    HalfRenderer renderer(gl(), 1, 0);
    draw(renderer);
    EXPECT_THAT(frames(), ElementsAre());
    settings.hdVisible = true;
    EXPECT_TRUE(display.setOutputSettings(settings));
    EXPECT_NE(gl().getDisplayState(), before);
    EXPECT_NE(gl().getDisplayState(), -2);
    settings.sdEnabled = true;
    EXPECT_FALSE(display.setOutputSettings(settings));
    EXPECT_FALSE(display.getOutputSettings().sdEnabled);
    EXPECT_THAT(_log.takeProblem(), HasSubstr("no SD output"));
}

TEST_F(RenderThreadTest, LogsWhatTheShaderCompilerSays) {
    class Loader final : public STBGraphicsGlEs20Interface::FrameRenderer {
    public:
        Loader(STBGraphicsGlEs20Interface& gl, const support::TempDir& folder) : _gl(gl), _folder(folder) {}

        void onStartRendering() override {
            const std::string url = "file://" + _folder.path().string();
            for (const char* name : {"/good.frag", "/bad.frag", "/missing.frag"}) {
                shaders.push_back(_gl.loadShader(url + name, GL_FRAGMENT_SHADER));
            }
            shaders.push_back(_gl.loadShader("http://127.0.0.1/good.frag", GL_FRAGMENT_SHADER));
        }

        void onStopRendering() override {}

        int onFrameRender() override { return -5; }

        std::vector<unsigned> shaders;

    private:
        STBGraphicsGlEs20Interface& _gl;
        const support::TempDir& _folder;
    };

    support::writeFile(_folder.file("good.frag"), "void main() { gl_FragColor = vec4(1.0); }");
    support::writeFile(_folder.file("bad.frag"), "void main() { gl_FragColor = misspelt; }");
    ASSERT_TRUE(bringUp());
    Loader loader(gl(), _folder);
    ASSERT_TRUE(gl().registerFrameRenderer(&loader));
    gl().unregisterFrameRenderer(&loader);
    EXPECT_THAT(loader.shaders, ElementsAre(::testing::Ne(0u), 0u, 0u, 0u));
    const std::vector<std::string> problems = _log.takeProblems();
    ASSERT_GE(problems.size(), 3u);
    EXPECT_THAT(problems.front(), AllOf(HasSubstr("bad.frag"), HasSubstr("misspelt")));
    EXPECT_THAT(problems[problems.size() - 2], HasSubstr("missing.frag"));
    EXPECT_THAT(problems.back(), HasSubstr("http://127.0.0.1/good.frag"));
}

TEST_F(RenderThreadTest, ShowsASurfaceStretchedOverTheScreen) {
    ASSERT_TRUE(bringUp());
    STBGraphicsInterface& graphics = *STBResourseHolder::getSTBGraphics();
    const std::unique_ptr<STBSurfaceInterface> surface(
        graphics.createSurface(16, 16, graphics.getOutputPixelFormat()));
    surface->fillRect(0, 0, 16, 16, 0xFFFF0000);
    surface->fillRect(4, 4, 4, 8, 0x40204060);
    surface->fillRect(8, 4, 8, 4, 0xFFFFFFFF);
    STBResourseHolder::getSTBDisplay()->showSurface(surface.get(), 4, 4, 8, 8);
    surface->clear();
    STBResourseHolder::uninitialize();
    ASSERT_EQ(frames().size(), 1u);
    const PngPicture picture = support::readPng(frames().front());
    EXPECT_EQ(picture.at(0, 0), 0xFF204060);
    EXPECT_EQ(picture.at(24, 31), 0xFF204060);
    EXPECT_EQ(picture.at(63, 0), 0xFFFFFFFF);
    EXPECT_EQ(picture.at(63, 31), 0xFFFF0000);
}

TEST_F(RenderThreadTest, SaysWhatIsMissing) {
    support::writeFile(_folder.file("file"), "");

    const struct {
        const char* backend;
        std::string frames;
        const char* said;
    } cases[] = {
        {"none", "", "warning No display: the configuration's display.backend is \"none\""},
        {"headless", _folder.file("file"), "error No display: pictures of the screen cannot be kept: "},
        {"window", "", "error No display: the display \"window\" needs the SDL module: "},
    };

    for (const auto& [backend, frames, said] : cases) {
        configure(backend, frames);
        EXPECT_FALSE(bringUp()) << backend;
        EXPECT_THAT(_log.takeProblem(), StartsWith(said));
        EXPECT_EQ(STBResourseHolder::getSTBGraphics(), nullptr);
        EXPECT_EQ(STBResourseHolder::getSTBDisplay(), nullptr);
    }
}

} // namespace
} // namespace lumo
