// Displays as a program meets them, which may be there, missing, or go away: each case in a process of its
// own.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <memory>

#include "tests/support/Running.h"
#include "tests/support/Subprocess.h"
#include "tests/support/TempDir.h"
#include "tests/support/XServer.h"

namespace {

using support::Program;
using support::TempDir;
using ::testing::HasSubstr;

class DisplayTest : public ::testing::Test {
protected:
    Program probe(const std::string& backend, std::map<std::string, std::string> environment) const {
        support::writeFile(_folder.file("p.json"),
                           R"({"device": {"id": "BOX", "stateDir": ")" + _folder.path().string() +
                               R"("}, "updates": {"server": "http://127.0.0.1:1",)"
                               R"( "allowUnsigned": true}, "display": {"backend": ")" +
                               backend + R"(", "width": 320, "height": 200}})");
        environment["LUMO_PLATFORM"] = _folder.file("p.json");
        return {{LUMO_SCREEN_PROBE}, std::move(environment), "", 60};
    }

    const TempDir _folder;
};

TEST_F(DisplayTest, ThatCannotBeBroughtUpIsOneLineInTheLog) {
    const struct {
        const char* backend;
        std::map<std::string, std::string> environment;
        const char* said;
    } cases[] = {
        {"headless", {{"__EGL_VENDOR_LIBRARY_FILENAMES", "/dev/null"}}, "no OpenGL ES without a display: "},
        {"headless", {{"LIBGL_DRIVERS_PATH", "/nowhere"}}, "EGL does not come up"},
        {"window", {{"DISPLAY", ""}, {"WAYLAND_DISPLAY", ""}}, "neither DISPLAY nor WAYLAND_DISPLAY is set"},
        {"window", {{"DISPLAY", ":9"}, {"WAYLAND_DISPLAY", ""}}, "no display server at DISPLAY=\":9\""},
        {"kms", {{"SDL_VIDEODRIVER", "offscreen"}}, "/dev/dri/card*"},
    };

    for (const auto& [backend, environment, said] : cases) {
        const auto result = support::run(probe(backend, environment));
        EXPECT_EQ(result.out, "down\n") << backend << ": " << result.err;
        EXPECT_EQ(result.exitCode, 0);
        EXPECT_THAT(result.err, HasSubstr(std::string("No display: "))) << backend;
        EXPECT_THAT(result.err, HasSubstr(said)) << backend;
    }
}

// A program in a window of an X server of its own.
class WindowTest : public DisplayTest {
protected:
    void SetUp() override {
        if (!support::XServer::available()) {
            GTEST_SKIP() << "NOT TESTED: windows, for want of Xvfb";
        }
        _server = std::make_unique<support::XServer>(800, 600);
        _program = std::make_unique<support::Running>(
            probe("window", {{"DISPLAY", _server->name()}, {"WAYLAND_DISPLAY", ""}}));
        ASSERT_EQ(word(), "up") << _log;
        ASSERT_EQ(word(), "frame") << _log;
    }

    // The program's next word; lines of its log are kept.
    std::string word() {
        for (;;) {
            const std::string next = _program->line();
            if (next.find(' ') == std::string::npos) {
                return next;
            }
            _log += next + "\n";
        }
    }

    std::unique_ptr<support::XServer> _server;
    std::unique_ptr<support::Running> _program;
    std::string _log;
};

TEST_F(WindowTest, ShowsFramesUntilItIsClosedAndOpensAnew) {
    EXPECT_EQ(_server->pixel(400, 300), 0x00FF00u);
    _server->closeWindows();
    EXPECT_EQ(word(), "stopped");
    EXPECT_EQ(word(), "again");
    EXPECT_EQ(word(), "done");
    EXPECT_EQ(_program->wait(), 0);
    EXPECT_THAT(_log, HasSubstr("The display is gone; nothing is shown any more"));
}

TEST_F(WindowTest, LetsTheProgramGoOnWithoutItsServer) {
    _server.reset();
    EXPECT_EQ(word(), "stopped");
    EXPECT_EQ(word(), "done");
    EXPECT_EQ(_program->wait(), 0);
    EXPECT_THAT(_log, HasSubstr("Nothing can be drawn: the display server went away"));
}

TEST_F(WindowTest, LeavesSignalsTheirEffect) {
    _program->send(SIGTERM);
    EXPECT_EQ(_program->wait(), SIGTERM);
}

} // namespace
