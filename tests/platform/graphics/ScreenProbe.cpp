// A program that draws a green screen through liblumostb.so in a process of its own, and says what happens to
// it: "up", or "down" where there is no screen, "frame" when the second frame is drawn, "stopped" when
// drawing ends without its doing, "again" when it could start anew, "done".

#include <GLES2/gl2.h>

#include <cstdio>
#include <future>

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
    explicit Green(STBGraphicsGlEs20Interface& gl) : _gl(gl) {}

    void onStartRendering() override {}

    void onStopRendering() override { _stopped.set_value(); }

    int onFrameRender() override {
        _gl.prepareOutput();
        glClearColor(0, 1, 0, 1);
        glClear(GL_COLOR_BUFFER_BIT);
        if (++_frames == 2) {
            say("frame");
        }
        return 0;
    }

    void waitUntilStopped() { _stopped.get_future().wait(); }

private:
    STBGraphicsGlEs20Interface& _gl;
    int _frames = 0;
    std::promise<void> _stopped;
};

} // namespace

int main() {
    STBPlatformSettings settings = STBResourseHolder::getDefaultPlatformSettings();
    settings.graphics = true;
    if (!STBResourseHolder::initialize(settings)) {
        say("down");
        return 0;
    }
    say("up");
    STBGraphicsGlEs20Interface& gl = *STBResourseHolder::getSTBGraphics()->getGlEs20();
    Green green(gl);
    if (gl.registerFrameRenderer(&green)) {
        green.waitUntilStopped();
        say("stopped");
        gl.unregisterFrameRenderer(&green);
    }
    Green another(gl);
    if (gl.registerFrameRenderer(&another)) {
        say("again");
        gl.unregisterFrameRenderer(&another);
    }
    STBResourseHolder::uninitialize();
    say("done");
    return 0;
}
