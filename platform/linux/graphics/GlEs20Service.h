#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <thread>

#include "platform/STBGraphicsGlEs20Interface.h"
#include "platform/linux/graphics/FrameKeeper.h"
#include "platform/linux/graphics/Output.h"
#include "platform/linux/graphics/Picture.h"

namespace lumo {

// The render thread of a display, from the opening of the display to its end. It alone touches OpenGL, EGL
// and the display. A frame renderer has a context of its own; while there is none, pictures that were drawn
// in memory can be shown.
//
// The first context is made before anybody asks for it, while the caller goes on, since that takes as long as
// all the rest of a program's start.
class GlEs20Service final : public STBGraphicsGlEs20Interface {
public:
    // Opens the display. keeper: where presented frames are kept; may be null. Throws std::runtime_error,
    // whose text says what is missing.
    GlEs20Service(std::unique_ptr<Output> output, std::unique_ptr<FrameKeeper> keeper);
    // Stops rendering, shows a picture that still waits, and closes the display.
    ~GlEs20Service();
    GlEs20Service(const GlEs20Service&) = delete;
    GlEs20Service& operator=(const GlEs20Service&) = delete;

    bool registerFrameRenderer(FrameRenderer* renderer) override;
    void unregisterFrameRenderer(FrameRenderer* renderer) override;
    void getOutputSize(int& width, int& height) override;
    bool getFrameBufferDimensions(int& width, int& height) override;
    unsigned int loadShader(const std::string& url, unsigned int glShaderType) override;
    int getDisplayState() override;
    void prepareOutput() override;

    // Pictures a second that the display can be driven with. Any thread.
    std::set<int> rates() const;
    // Whether frames are shown at all, and how many a second. Any thread.
    void drive(bool visible, int rate);
    // Shows a picture, stretched over the screen, as soon as the render thread comes to it; a newer one takes
    // its place. False while a frame renderer has the screen. Any thread.
    bool show(Picture picture);

private:
    using Clock = std::chrono::steady_clock;

    enum class Phase {
        Opening,  // the display is not there yet
        Idle,     // nobody is registered
        Starting, // a renderer waits for its context
        Running,  // it draws
        Stopping, // it is to stop
        Stopped,  // it has stopped, and is still registered
        Refused,  // it could not be started
        Failed,   // there is no display, and no thread
    };

    void run();
    bool open();
    void openAgain();
    void prepareContext();
    bool startRenderer();
    void render(FrameRenderer& renderer);
    Output::Shown drawFrames(FrameRenderer& renderer);
    void showPicture(const Picture& picture);
    Output::Shown present();
    void keepFrame();
    void makeContext();
    void dropContext();
    void lose();
    void enter(Phase phase);
    bool mayDraw() const;
    void rest(Clock::time_point until);

    const std::unique_ptr<Output> _output; // the render thread's alone
    const std::unique_ptr<FrameKeeper> _keeper;

    // The render thread's alone.
    bool _open = false;
    bool _context = false;
    bool _firstFrame = false; // of this renderer: not presented yet

    std::atomic<bool> _visible{true};
    std::atomic<int> _rate{60};
    std::atomic<int> _changes{0}; // how often something outside the frames changed what is visible

    mutable std::mutex _mutex;
    // Guarded by _mutex.
    std::condition_variable _changed;
    Phase _phase = Phase::Opening;
    FrameRenderer* _renderer = nullptr;
    std::optional<Picture> _picture;
    std::string _problem;
    Output::Size _size{};
    std::set<int> _rates;
    bool _ending = false;

    std::thread _thread;
};

} // namespace lumo
