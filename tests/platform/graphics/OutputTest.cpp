// What the render thread makes of an output that fails, and what becomes of frames that come too fast.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <condition_variable>
#include <mutex>
#include <stdexcept>

#include "platform/linux/graphics/FrameKeeper.h"
#include "platform/linux/graphics/GlEs20Service.h"
#include "tests/support/LogCapture.h"
#include "tests/support/PngPicture.h"
#include "tests/support/TempDir.h"

namespace lumo {
namespace {

using Shown = Output::Shown;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

// Answers as it is told, draws nothing.
class ScriptedOutput final : public Output {
public:
    // frames: what becomes of each; contexts: how many can be made.
    ScriptedOutput(std::vector<Shown> frames, int contexts)
        : _frames(std::move(frames)), _contexts(contexts) {}

    void open() override {}

    void close() override {}

    void makeContext() override {
        if (_contexts-- <= 0) {
            throw std::runtime_error("no more contexts");
        }
    }

    void dropContext() override {}

    Shown present() override { return _next < _frames.size() ? _frames[_next++] : Shown::Yes; }

    bool attend() override { return true; }

    int damage() const override { return 0; }

    Size size() const override { return {8, 8}; }

    std::set<int> rates() const override { return {60}; }

    void setRate(int) override {}

private:
    const std::vector<Shown> _frames;
    std::size_t _next = 0;
    int _contexts;
};

// Counts starts and stops; every frame is final.
class Counter final : public STBGraphicsGlEs20Interface::FrameRenderer {
public:
    void onStartRendering() override { note("start"); }

    void onStopRendering() override { note("stop"); }

    int onFrameRender() override {
        note("frame");
        return 0;
    }

    // Waits for so many of them.
    void wait(const char* call, int count) {
        std::unique_lock lock(_mutex);
        _changed.wait(lock, [&] { return std::count(_calls.begin(), _calls.end(), call) >= count; });
    }

    std::vector<std::string> calls() const {
        const std::lock_guard lock(_mutex);
        return _calls;
    }

private:
    void note(const char* call) {
        const std::lock_guard lock(_mutex);
        _calls.emplace_back(call);
        _changed.notify_all();
    }

    mutable std::mutex _mutex;
    std::condition_variable _changed;
    std::vector<std::string> _calls;
};

TEST(OutputTest, StartsAgainWithANewContextAndStopsWhenThereIsNone) {
    support::LogCapture log;
    log.use(Config());
    GlEs20Service service(std::make_unique<ScriptedOutput>(
                              std::vector{Shown::Yes, Shown::ContextLost, Shown::Yes, Shown::Gone}, 2),
                          nullptr);
    Counter renderer;
    ASSERT_TRUE(service.registerFrameRenderer(&renderer));
    renderer.wait("stop", 2);
    service.unregisterFrameRenderer(&renderer);
    EXPECT_THAT(renderer.calls(),
                ElementsAre("start", "frame", "frame", "stop", "start", "frame", "frame", "stop"));
    EXPECT_THAT(log.takeProblems(), ElementsAre(HasSubstr("context was lost"), HasSubstr("display is gone")));
    Counter second;
    EXPECT_FALSE(service.registerFrameRenderer(&second));
    EXPECT_THAT(log.takeProblem(), HasSubstr("Nothing can be drawn: no more contexts"));
    EXPECT_THAT(second.calls(), ElementsAre());
}

TEST(FrameKeeperTest, NeverLosesTheNewestAndKeepsNoMoreThanItMay) {
    support::LogCapture log;
    log.use(Config());
    const support::TempDir folder;
    support::writeFile(folder.file("frame-000041.png"), "an earlier one");
    support::writeFile(folder.file("frame-x.png"), "not one of these");
    {
        FrameKeeper keeper(folder.path().string(), 3);
        for (int i = 0; i <= 200; ++i) {
            keeper.keep({1, 1, {static_cast<unsigned char>(i), 0, 0, 255}});
        }
    }
    std::vector<std::filesystem::path> files;
    for (const auto& entry : std::filesystem::directory_iterator(folder.path())) {
        files.push_back(entry.path());
    }
    std::sort(files.begin(), files.end());
    ASSERT_EQ(files.size(), 4u);
    EXPECT_EQ(files[3].filename(), "frame-x.png");
    EXPECT_GT(files[0].filename(), "frame-000041.png");
    EXPECT_EQ(support::readPng(files[2]).at(0, 0), 0xFFC80000);
}

} // namespace
} // namespace lumo
