#include "platform/linux/graphics/GlEs20Service.h"

#include <GLES2/gl2.h>
#include <pthread.h>

#include <stdexcept>
#include <utility>

#include "platform/linux/device/Log.h"
#include "platform/linux/graphics/Shader.h"

#define LUMO_LOG_FILE "platform/linux/graphics/GlEs20Service"

namespace lumo {

namespace {

constexpr int noOutput = -2;

// How often the display is attended to while nobody draws.
constexpr std::chrono::milliseconds idlePeriod(100);
// Between two calls of a renderer that had nothing to draw; one that waits by itself is not held up.
constexpr std::chrono::milliseconds emptyPeriod(5);

} // namespace

GlEs20Service::GlEs20Service(std::unique_ptr<Output> output, std::unique_ptr<FrameKeeper> keeper)
    : _output(std::move(output)), _keeper(std::move(keeper)), _thread([this] { run(); }) {
    std::unique_lock lock(_mutex);
    _changed.wait(lock, [this] { return _phase != Phase::Opening; });
    if (_phase == Phase::Failed) {
        lock.unlock();
        _thread.join();
        throw std::runtime_error(_problem);
    }
}

GlEs20Service::~GlEs20Service() {
    {
        const std::lock_guard lock(_mutex);
        _ending = true;
    }
    _changed.notify_all();
    _thread.join();
}

bool GlEs20Service::registerFrameRenderer(FrameRenderer* renderer) {
    std::unique_lock lock(_mutex);
    if (renderer == nullptr || _phase != Phase::Idle) {
        LUMO_LOG(LogError, "%s",
                 renderer == nullptr ? "There is no frame renderer to register"
                                     : "A frame renderer is registered already");
        return false;
    }
    _renderer = renderer;
    _phase = Phase::Starting;
    _changed.notify_all();
    _changed.wait(lock, [this] { return _phase != Phase::Starting; });
    if (_phase != Phase::Refused) {
        return true;
    }
    _renderer = nullptr;
    _phase = Phase::Idle;
    LUMO_LOG(LogError, "Nothing can be drawn: %s", _problem.c_str());
    return false;
}

void GlEs20Service::unregisterFrameRenderer(FrameRenderer* renderer) {
    std::unique_lock lock(_mutex);
    if (renderer == nullptr || renderer != _renderer) {
        return;
    }
    if (_phase == Phase::Running) {
        _phase = Phase::Stopping;
        _changed.notify_all();
    }
    _changed.wait(lock, [this] { return _phase == Phase::Stopped; });
    _renderer = nullptr;
    _phase = Phase::Idle;
    lock.unlock();
    if (_keeper) {
        _keeper->flush();
    }
}

void GlEs20Service::getOutputSize(int& width, int& height) {
    const std::lock_guard lock(_mutex);
    width = _size.width;
    height = _size.height;
}

bool GlEs20Service::getFrameBufferDimensions(int& width, int& height) {
    getOutputSize(width, height);
    return true;
}

unsigned int GlEs20Service::loadShader(const std::string& url, unsigned int glShaderType) {
    return loadShaderFile(url, glShaderType);
}

int GlEs20Service::getDisplayState() {
    return _visible ? (_changes + _output->damage()) & 0x7FFFFFFF : noOutput;
}

void GlEs20Service::prepareOutput() {
    const Output::Size size = _output->size();
    glBindFramebuffer(GL_FRAMEBUFFER, 0);
    glViewport(0, 0, size.width, size.height);
}

std::set<int> GlEs20Service::rates() const {
    const std::lock_guard lock(_mutex);
    return _rates;
}

void GlEs20Service::drive(bool visible, int rate) {
    _rate = rate;
    if (_visible.exchange(visible) != visible) {
        ++_changes;
    }
}

bool GlEs20Service::show(Picture picture) {
    const std::lock_guard lock(_mutex);
    if (_phase != Phase::Idle) {
        return false;
    }
    _picture = std::move(picture);
    _changed.notify_all();
    return true;
}

void GlEs20Service::run() {
    pthread_setname_np(pthread_self(), "lumo-render");
    if (!open()) {
        return;
    }
    prepareContext();
    std::unique_lock lock(_mutex);
    for (;;) {
        if (_picture) {
            const Picture picture = std::move(*_picture);
            _picture.reset();
            lock.unlock();
            showPicture(picture);
            lock.lock();
        } else if (_phase == Phase::Starting) {
            FrameRenderer& renderer = *_renderer;
            lock.unlock();
            if (startRenderer()) {
                render(renderer);
                enter(Phase::Stopped);
            }
            lock.lock();
        } else if (_ending) {
            break;
        } else {
            _changed.wait_for(lock, idlePeriod);
            lock.unlock();
            if (_open && !_output->attend()) {
                lose();
            }
            lock.lock();
        }
    }
    lock.unlock();
    dropContext();
    _output->close();
}

// What the thread does first; the constructor waits for its outcome.
bool GlEs20Service::open() {
    try {
        openAgain();
        enter(Phase::Idle);
        return true;
    } catch (const std::exception& error) {
        _output->close();
        const std::lock_guard lock(_mutex);
        _problem = error.what();
        _phase = Phase::Failed;
        _changed.notify_all();
        return false;
    }
}

void GlEs20Service::openAgain() {
    _output->open();
    _open = true;
    const std::lock_guard lock(_mutex);
    _size = _output->size();
    _rates = _output->rates();
}

// Failures come again when somebody needs the context.
void GlEs20Service::prepareContext() {
    try {
        makeContext();
    } catch (const std::exception&) {
        dropContext();
    }
}

// Makes sure that there is a context, and says so to the thread that registers.
bool GlEs20Service::startRenderer() {
    try {
        if (!_open) {
            openAgain();
        }
        if (!_context) {
            makeContext();
        }
    } catch (const std::exception& error) {
        dropContext();
        const std::lock_guard lock(_mutex);
        _problem = error.what();
        _phase = Phase::Refused;
        _changed.notify_all();
        return false;
    }
    enter(Phase::Running);
    return true;
}

void GlEs20Service::render(FrameRenderer& renderer) {
    for (;;) {
        _firstFrame = true;
        renderer.onStartRendering();
        const Output::Shown outcome = drawFrames(renderer);
        renderer.onStopRendering();
        dropContext();
        if (outcome == Output::Shown::Yes) {
            return;
        }
        // A context that was of no use from the start is not worth another try.
        if (outcome == Output::Shown::Gone || _firstFrame) {
            lose();
            return;
        }
        LUMO_LOG(LogWarning, "The graphics context was lost; drawing starts again");
        prepareContext();
        if (!_context) {
            lose();
            return;
        }
    }
}

// Draws until the renderer is to stop (Yes) or cannot go on.
Output::Shown GlEs20Service::drawFrames(FrameRenderer& renderer) {
    while (mayDraw()) {
        const Clock::time_point start = Clock::now();
        if (!_output->attend()) {
            return Output::Shown::Gone;
        }
        const bool drawn = renderer.onFrameRender() == 0;
        if (drawn && _visible) {
            if (const Output::Shown shown = present(); shown != Output::Shown::Yes) {
                return shown;
            }
        }
        // A little less than a picture's time, so as not to miss the display's own beat.
        rest(start + (drawn ? std::chrono::microseconds(950000 / _rate) : emptyPeriod));
    }
    return Output::Shown::Yes;
}

void GlEs20Service::showPicture(const Picture& picture) {
    if (!_visible || !_open) {
        return;
    }
    try {
        // Renderers get a context that nobody has used.
        dropContext();
        makeContext();
    } catch (const std::exception& error) {
        dropContext();
        LUMO_LOG(LogError, "A picture cannot be shown: %s", error.what());
        return;
    }
    prepareOutput();
    const bool shown = paintPicture(picture) && present() == Output::Shown::Yes;
    dropContext();
    if (!shown) {
        LUMO_LOG(LogError, "A picture could not be shown");
    }
}

Output::Shown GlEs20Service::present() {
    _output->setRate(_rate);
    if (_keeper) {
        keepFrame();
    }
    const Output::Shown shown = _output->present();
    if (shown == Output::Shown::Yes && std::exchange(_firstFrame, false)) {
        LUMO_LOG(LogInfo, "The first frame is on the display");
    }
    return shown;
}

void GlEs20Service::keepFrame() {
    const Output::Size size = _output->size();
    Frame frame = _keeper->take();
    frame.width = size.width;
    frame.height = size.height;
    frame.pixels.resize(std::size_t{4} * static_cast<std::size_t>(size.width) *
                        static_cast<std::size_t>(size.height));
    glBindFramebuffer(GL_FRAMEBUFFER, 0);
    glPixelStorei(GL_PACK_ALIGNMENT, 4);
    glReadPixels(0, 0, size.width, size.height, GL_RGBA, GL_UNSIGNED_BYTE, frame.pixels.data());
    _keeper->keep(std::move(frame));
}

void GlEs20Service::makeContext() {
    _output->makeContext();
    _context = true;
}

void GlEs20Service::dropContext() {
    _output->dropContext();
    _context = false;
}

void GlEs20Service::lose() {
    LUMO_LOG(LogWarning, "The display is gone; nothing is shown any more");
    dropContext();
    _output->close();
    _open = false;
}

void GlEs20Service::enter(Phase phase) {
    const std::lock_guard lock(_mutex);
    _phase = phase;
    _changed.notify_all();
}

bool GlEs20Service::mayDraw() const {
    const std::lock_guard lock(_mutex);
    return _phase == Phase::Running && !_ending;
}

void GlEs20Service::rest(Clock::time_point until) {
    // An idle renderer has waited by itself: nothing is spent on a wait that is over.
    if (Clock::now() >= until) {
        return;
    }
    std::unique_lock lock(_mutex);
    _changed.wait_until(lock, until, [this] { return _phase != Phase::Running || _ending; });
}

} // namespace lumo
