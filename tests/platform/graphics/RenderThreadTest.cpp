// The platform's graphics as the program sees it, with a real OpenGL ES that draws into memory; and what
// becomes of outputs that fail and of frames that come too fast.

#include <GLES2/gl2.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <condition_variable>
#include <mutex>
#include <stdexcept>
#include <thread>

#include "platform/STBDisplay.h"
#include "platform/STBGraphicsGlEs20Interface.h"
#include "platform/STBGraphicsInterface.h"
#include "platform/STBResourseHolder.h"
#include "platform/STBSurfaceInterface.h"
#include "platform/linux/graphics/FrameKeeper.h"
#include "platform/linux/graphics/GlEs20Service.h"
#include "tests/support/LogCapture.h"
#include "tests/support/PngPicture.h"
#include "tests/support/TempDir.h"

namespace lumo {
namespace {

namespace fs = std::filesystem;
using support::PngPicture;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

// Remembers what was asked of it, and that one thread asked; what a frame is made of is up to the test.
class Recorder final : public STBGraphicsGlEs20Interface::FrameRenderer {
public:
    explicit Recorder(std::function<int()> frame = [] { return 0; }) : _frame(std::move(frame)) {}

    void onStartRendering() override { note("start"); }

    void onStopRendering() override { note("stop"); }

    int onFrameRender() override {
        const int answer = _frame();
        note("frame");
        return answer;
    }

    // Waits for so many of them.
    void wait(const char* call, int count) {
        std::unique_lock lock(_mutex);
        _changed.wait(lock, [&] { return std::count(_calls.begin(), _calls.end(), call) >= count; });
    }

    // Frames in a row counted once.
    std::vector<std::string> calls() const {
        const std::lock_guard lock(_mutex);
        std::vector<std::string> calls = _calls;
        calls.erase(std::unique(calls.begin(), calls.end()), calls.end());
        return calls;
    }

private:
    void note(const char* call) {
        const std::lock_guard lock(_mutex);
        EXPECT_TRUE(_thread == std::thread::id() || _thread == std::this_thread::get_id());
        _thread = std::this_thread::get_id();
        _calls.emplace_back(call);
        _changed.notify_all();
    }

    const std::function<int()> _frame;
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

    // Fills the left half of the screen.
    static std::function<int()> half(float red, int answer = 0) {
        return [red, answer] {
            EXPECT_EQ(glGetError(), GLenum(GL_NO_ERROR));
            int width = 0;
            int height = 0;
            EXPECT_TRUE(gl().getFrameBufferDimensions(width, height));
            gl().prepareOutput();
            glDisable(GL_SCISSOR_TEST);
            glClearColor(0, 0, 0, 0);
            glClear(GL_COLOR_BUFFER_BIT);
            glEnable(GL_SCISSOR_TEST);
            glScissor(0, 0, width / 2, height);
            glClearColor(red, 1, 0, 0.5F);
            glClear(GL_COLOR_BUFFER_BIT);
            return answer;
        };
    }

    // Pictures of what was shown, in their order.
    std::vector<fs::path> frames() const {
        std::vector<fs::path> files;
        for (const auto& entry : fs::directory_iterator(_folder.file("frames"))) {
            files.push_back(entry.path());
        }
        std::sort(files.begin(), files.end());
        return files;
    }

    // Draws a few frames, and leaves out the first one, which alone may be seen half done by a fault.
    static void draw(Recorder& renderer) {
        ASSERT_TRUE(gl().registerFrameRenderer(&renderer));
        renderer.wait("frame", 3);
        gl().unregisterFrameRenderer(&renderer);
        EXPECT_THAT(renderer.calls(), ElementsAre("start", "frame", "stop"));
    }

    support::LogCapture _log;
    const support::TempDir _folder;
};

TEST_F(RenderThreadTest, KeepsWhatIsDrawnAndStartsAgain) {
    std::size_t kept = 0;
    for (const float red : {1.0F, 0.0F, 1.0F}) {
        ASSERT_TRUE(bringUp());
        Recorder renderer(half(red));
        draw(renderer);
        const std::vector<fs::path> files = frames();
        EXPECT_GE(files.size(), kept + 3);
        kept = files.size();
        const PngPicture picture = support::readPng(files.back());
        ASSERT_EQ(picture.width * 1000 + picture.height, 64032);
        EXPECT_EQ(picture.at(31, 31), red > 0 ? 0xFFFFFF00 : 0xFF00FF00);
        EXPECT_EQ(picture.at(32, 0), 0xFF000000);
        if (red == 0) { // once without, once with all of the platform anew
            STBResourseHolder::uninitialize();
            EXPECT_EQ(STBResourseHolder::getSTBGraphics(), nullptr);
        }
    }
}

TEST_F(RenderThreadTest, RefusesASecondRendererAndStopsTheFirstWithTheScreen) {
    ASSERT_TRUE(bringUp());
    Recorder first(half(1));
    Recorder second(half(0));
    ASSERT_TRUE(gl().registerFrameRenderer(&first));
    EXPECT_FALSE(gl().registerFrameRenderer(&second));
    EXPECT_THAT(_log.takeProblem(), HasSubstr("registered already"));
    gl().unregisterFrameRenderer(&second);
    first.wait("frame", 2);
    STBResourseHolder::uninitialize();
    EXPECT_THAT(first.calls(), ElementsAre("start", "frame", "stop"));
    EXPECT_THAT(second.calls(), ElementsAre());
}

TEST_F(RenderThreadTest, ShowsNoFrameThatIsNotFinalOrWhileThePictureIsOff) {
    ASSERT_TRUE(bringUp());
    Recorder unfinished(half(1, -5));
    draw(unfinished);
    STBDisplay& display = *STBResourseHolder::getSTBDisplay();
    STBOutputSettings settings = display.getOutputSettings();
    const int before = gl().getDisplayState();
    settings.hdVisible = false;
    EXPECT_TRUE(display.setOutputSettings(settings));
    EXPECT_EQ(gl().getDisplayState(), -2);
    Recorder unseen(half(1));
    draw(unseen);
    EXPECT_THAT(frames(), ElementsAre());
    settings.hdVisible = true;
    EXPECT_TRUE(display.setOutputSettings(settings));
    EXPECT_NE(gl().getDisplayState(), before) << "does not ask for a redraw";
    EXPECT_NE(gl().getDisplayState(), -2);
    settings.sdEnabled = true;
    EXPECT_FALSE(display.setOutputSettings(settings));
    EXPECT_THAT(_log.takeProblem(), HasSubstr("no SD output"));
}

TEST_F(RenderThreadTest, LogsWhatTheShaderCompilerSays) {
    support::writeFile(_folder.file("good.frag"), "void main() { gl_FragColor = vec4(1.0); }");
    support::writeFile(_folder.file("bad.frag"), "void main() { gl_FragColor = misspelt; }");
    ASSERT_TRUE(bringUp());
    std::vector<bool> loaded;
    Recorder loader([&] {
        const std::string folder = "file://" + _folder.path().string();
        for (const std::string& url : {folder + "/good.frag", folder + "/bad.frag", folder + "/missing.frag",
                                       std::string("http://127.0.0.1/good.frag")}) {
            loaded.push_back(gl().loadShader(url, GL_FRAGMENT_SHADER) != 0);
        }
        return -5;
    });
    draw(loader);
    ASSERT_GE(loaded.size(), 4u);
    EXPECT_THAT(std::vector<bool>(loaded.begin(), loaded.begin() + 4),
                ElementsAre(true, false, false, false));
    const std::vector<std::string> problems = _log.takeProblems();
    EXPECT_THAT(problems.front(), ::testing::AllOf(HasSubstr("bad.frag"), HasSubstr("misspelt")));
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
    configure("headless", _folder.file("file"));
    EXPECT_FALSE(bringUp());
    EXPECT_THAT(_log.takeProblem(), HasSubstr("No display: pictures of the screen cannot be kept: "));
    configure("window", "");
    EXPECT_FALSE(bringUp());
    EXPECT_THAT(_log.takeProblem(), HasSubstr("No display: the display \"window\" needs the SDL module: "));
    EXPECT_EQ(STBResourseHolder::getSTBGraphics(), nullptr);
    EXPECT_EQ(STBResourseHolder::getSTBDisplay(), nullptr);
}

// Draws nothing; loses its context with the second frame, which it can replace once, and is gone with the
// fourth.
class FailingOutput final : public Output {
public:
    void open() override {}

    void close() override {}

    void makeContext() override {
        if (_contexts-- == 0) {
            throw std::runtime_error("no more contexts");
        }
    }

    void dropContext() override {}

    Shown present() override {
        ++_frames;
        return _frames == 2 ? Shown::ContextLost : _frames == 4 ? Shown::Gone : Shown::Yes;
    }

    bool attend() override { return true; }

    int damage() const override { return 0; }

    Size size() const override { return {8, 8}; }

    std::set<int> rates() const override { return {60}; }

    void setRate(int) override {}

private:
    int _frames = 0;
    int _contexts = 2;
};

TEST(OutputTest, StartsAgainWithANewContextAndStopsWhenThereIsNone) {
    support::LogCapture log;
    log.use(Config());
    GlEs20Service service(std::make_unique<FailingOutput>(), nullptr);
    Recorder renderer;
    ASSERT_TRUE(service.registerFrameRenderer(&renderer));
    renderer.wait("stop", 2);
    service.unregisterFrameRenderer(&renderer);
    EXPECT_THAT(renderer.calls(), ElementsAre("start", "frame", "stop", "start", "frame", "stop"));
    EXPECT_THAT(log.takeProblems(), ElementsAre(HasSubstr("context was lost"), HasSubstr("display is gone")));
    Recorder second;
    EXPECT_FALSE(service.registerFrameRenderer(&second));
    EXPECT_THAT(log.takeProblem(), HasSubstr("Nothing can be drawn: no more contexts"));
    EXPECT_THAT(second.calls(), ElementsAre());
}

TEST(FrameKeeperTest, NeverLosesTheNewestAndKeepsNoMoreThanItMay) {
    const support::TempDir folder;
    support::writeFile(folder.file("frame-000041.png"), "an earlier one");
    support::writeFile(folder.file("frame-x.png"), "not one of these");
    {
        FrameKeeper keeper(folder.path().string(), 3);
        for (int i = 0; i <= 200; ++i) {
            keeper.keep({1, 1, {static_cast<unsigned char>(i), 0, 0, 255}});
        }
    }
    std::set<fs::path> files;
    for (const auto& entry : fs::directory_iterator(folder.path())) {
        files.insert(entry.path());
    }
    ASSERT_EQ(files.size(), 4u);
    EXPECT_EQ(files.count(folder.path() / "frame-000041.png"), 0u);
    EXPECT_EQ(files.count(folder.path() / "frame-x.png"), 1u);
    EXPECT_EQ(support::readPng(*std::next(files.rbegin())).at(0, 0), 0xFFC80000);
}

} // namespace
} // namespace lumo
