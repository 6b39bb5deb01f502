// A program that draws a green screen through liblumostb.so in a process of its own, and says what happens to
// it: "up", or "down" where there is no screen, "frame" when the second frame is drawn, "stopped" when
// drawing ends without its doing, "again" when it could start anew, "done". It ends by itself when drawing
// has been stopped, or, asked for a number of milliseconds, then.

#include <GLES2/gl2.h>
#include <time.h>

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <mutex>

#include "platform/STBGraphicsGlEs20Interface.h"
#include "platform/STBGraphicsInterface.h"
#include "platform/STBResourseHolder.h"

namespace {

void say(const char* word) {
    std::printf("%s\n", word);
    std::fflush(stdout);
}

class Green final : public STBGraphicsGlEs20Interface::FrameRenderer {
public:
    explicit Green(STBGraphicsGlEs20Interface& gl, bool idle) : _gl(gl), _idle(idle) {}

    void onStartRendering() override { _frames = 0; }

    void onStopRendering() override {
        const std::lock_guard lock(_mutex);
        _stopped = true;
        _changed.notify_all();
    }

    // One frame, and then, when it is to be idle, what an idle program does.
    int onFrameRender() override {
        if (_idle && _frames > 1) {
            const timespec pause{0, 10000000};
            nanosleep(&pause, nullptr);
            return -5;
        }
        if (_gl.getDisplayState() != -2) {
            _gl.prepareOutput();
        }
        glClearColor(0, 1, 0, 1);
        glClear(GL_COLOR_BUFFER_BIT);
        if (++_frames == 2) {
            say("frame");
        }
        return 0;
    }

    void waitUntilStopped() {
        std::unique_lock lock(_mutex);
        _changed.wait(lock, [this] { return _stopped; });
    }

    bool waitUntilStopped(std::chrono::milliseconds time) {
        std::unique_lock lock(_mutex);
        return _changed.wait_for(lock, time, [this] { return _stopped; });
    }

private:
    STBGraphicsGlEs20Interface& _gl;
    const bool _idle;
    int _frames = 0;
    std::mutex _mutex;
    std::condition_variable _changed;
    bool _stopped = false;
};

} // namespace

// [milliseconds to run [idle]]
int main(int argc, char** argv) {
    STBPlatformSettings settings = STBResourseHolder::getDefaultPlatformSettings();
    settings.graphics = true;
    if (!STBResourseHolder::initialize(settings)) {
        say("down");
        return 0;
    }
    say("up");
    STBGraphicsGlEs20Interface& gl = *STBResourseHolder::getSTBGraphics()->getGlEs20();
    Green green(gl, argc > 2);
    if (gl.registerFrameRenderer(&green)) {
        if (argc < 2) {
            green.waitUntilStopped();
            say("stopped");
        } else if (green.waitUntilStopped(std::chrono::milliseconds(std::atol(argv[1])))) {
            say("stopped");
        }
        gl.unregisterFrameRenderer(&green);
    }
    Green another(gl, false);
    if (gl.registerFrameRenderer(&another)) {
        say("again");
        gl.unregisterFrameRenderer(&another);
    }
    STBResourseHolder::uninitialize();
    say("done");
    return 0;
}
