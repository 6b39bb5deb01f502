#include "platform/linux/graphics/OutputSdl.h"

#include <SDL_syswm.h>

#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <system_error>

#include "platform/linux/graphics/SdlModule.h"

namespace lumo {

namespace {

// Set when the X server went away. Nothing may be asked of it any more then, not even to disconnect: Xlib
// ends the process when it notices, except where it was told otherwise.
std::atomic<bool> serverLost{false};

void goOnWithoutServer(::Display*, void*) {
    serverLost = true;
}

int noteLostServer(::Display* server) {
    serverLost = true;
    XSetIOErrorExitHandler(server, goOnWithoutServer, nullptr);
    return 0;
}

void surviveLossOf(SDL_Window* window) {
    SDL_SysWMinfo info;
    SDL_VERSION(&info.version)
    if (SDL_GetWindowWMInfo(window, &info) == SDL_TRUE && info.subsystem == SDL_SYSWM_X11) {
        XSetIOErrorHandler(noteLostServer);
        XSetIOErrorExitHandler(info.info.x11.display, goOnWithoutServer, nullptr);
    }
}

[[noreturn]] void fail(const std::string& what) {
    throw std::runtime_error(what + ": " + SDL_GetError());
}

// The value of an environment variable; empty when it is not set.
std::string variable(const char* name) {
    const char* const value = std::getenv(name);
    return value == nullptr ? "" : value;
}

bool hasGraphicsCard() {
    std::error_code ignored;
    for (const auto& entry : std::filesystem::directory_iterator("/dev/dri", ignored)) {
        if (entry.path().filename().native().starts_with("card")) {
            return true;
        }
    }
    return false;
}

void start(const char* drivers, const std::string& otherwise) {
    SDL_SetHintWithPriority(SDL_HINT_VIDEODRIVER, drivers, SDL_HINT_OVERRIDE);
    if (SDL_Init(SDL_INIT_VIDEO) != 0) {
        fail(otherwise);
    }
}

// Asks only for what the environment names: a library that looks for more complains by itself.
void startForWindow() {
    const std::string x11 = variable("DISPLAY");
    const std::string wayland = variable("WAYLAND_DISPLAY");
    if (x11.empty() && wayland.empty()) {
        throw std::runtime_error("no display server: neither DISPLAY nor WAYLAND_DISPLAY is set");
    }
    const char* const drivers = x11.empty() ? "wayland" : wayland.empty() ? "x11" : "x11,wayland";
    start(drivers, "no display server at DISPLAY=\"" + x11 + "\", WAYLAND_DISPLAY=\"" + wayland + "\"");
}

void startForScreen() {
    if (!hasGraphicsCard()) {
        throw std::runtime_error("no graphics card that the kernel drives: there is no /dev/dri/card*");
    }
    start("KMSDRM",
          "the screen of /dev/dri/card* cannot be had; it needs the rights to the card, and no display "
          "server on it");
}

// Rates are told in whole pictures a second, and 59.94 as 59 by some.
int nominal(int rate) {
    return rate == 59 ? 60 : rate;
}

void setHint(const char* name, const char* value) {
    SDL_SetHintWithPriority(name, value, SDL_HINT_OVERRIDE);
}

} // namespace

OutputSdl::OutputSdl(Kind kind, Size size) : _kind(kind), _wanted(size), _size(size) {
    if (kind == Kind::Kms) {
        // SDL would take the console's keyboard, and with it the key that interrupts the program; only the
        // environment stops it.
        ::setenv("SDL_INPUT_LINUX_KEEP_KBD", "1", 0);
    }
}

OutputSdl::~OutputSdl() = default;

void OutputSdl::open() {
    if (serverLost) {
        throw std::runtime_error("the display server went away");
    }
    // Signals keep their effect, whatever the display does.
    setHint(SDL_HINT_NO_SIGNAL_HANDLERS, "1");
    setHint(SDL_HINT_OPENGL_ES_DRIVER, "1");
    setHint(SDL_HINT_VIDEO_X11_FORCE_EGL, "1");
    setHint(SDL_HINT_VIDEO_ALLOW_SCREENSAVER, "1");
    if (_kind == Kind::Kms) {
        startForScreen();
    } else {
        startForWindow();
    }
    SDL_GL_SetAttribute(SDL_GL_CONTEXT_PROFILE_MASK, SDL_GL_CONTEXT_PROFILE_ES);
    SDL_GL_SetAttribute(SDL_GL_CONTEXT_MAJOR_VERSION, 2);
    SDL_GL_SetAttribute(SDL_GL_CONTEXT_MINOR_VERSION, 0);
    SDL_GL_SetAttribute(SDL_GL_DEPTH_SIZE, 0);
    _closed = false;
    if (_kind == Kind::Kms) {
        openScreen();
    } else {
        openWindow();
    }
}

void OutputSdl::openWindow() {
    createWindow(SDL_WINDOWPOS_CENTERED, SDL_WINDOWPOS_CENTERED, _wanted, 0);
    surviveLossOf(_window);
    _rates = {50, 60};
}

void OutputSdl::openScreen() {
    _rates = ratesOf(_wanted);
    createWindow(0, 0, _wanted, _rates.empty() ? SDL_WINDOW_FULLSCREEN_DESKTOP : SDL_WINDOW_FULLSCREEN);
    SDL_ShowCursor(SDL_DISABLE);
    SDL_DisplayMode mode;
    if (SDL_GetCurrentDisplayMode(0, &mode) == 0) {
        _size = {mode.w, mode.h};
        _rate = nominal(mode.refresh_rate);
        _rates = ratesOf(_size);
    }
}

void OutputSdl::createWindow(int x, int y, Size size, unsigned flags) {
    _window = SDL_CreateWindow("LUMO", x, y, size.width, size.height, flags | SDL_WINDOW_OPENGL);
    if (_window == nullptr) {
        fail(_kind == Kind::Kms ? "the screen cannot be taken" : "no window can be opened");
    }
}

std::set<int> OutputSdl::ratesOf(Size size) const {
    std::set<int> rates;
    for (int i = 0; i < SDL_GetNumDisplayModes(0); ++i) {
        SDL_DisplayMode mode;
        if (SDL_GetDisplayMode(0, i, &mode) == 0 && mode.w == size.width && mode.h == size.height) {
            rates.insert(nominal(mode.refresh_rate));
        }
    }
    return rates;
}

void OutputSdl::close() {
    dropContext();
    if (!serverLost) {
        SDL_DestroyWindow(_window);
        SDL_Quit();
    }
    _window = nullptr;
}

void OutputSdl::makeContext() {
    _context = SDL_GL_CreateContext(_window);
    if (_context == nullptr) {
        fail("no OpenGL ES on this display");
    }
    // A window's frames are paced by the caller; waiting for a hidden one could take for ever.
    SDL_GL_SetSwapInterval(_kind == Kind::Kms ? 1 : 0);
}

void OutputSdl::dropContext() {
    if (_context != nullptr) {
        SDL_GL_DeleteContext(_context);
        _context = nullptr;
    }
}

Output::Shown OutputSdl::present() {
    SDL_GL_SwapWindow(_window);
    return serverLost ? Shown::Gone : Shown::Yes;
}

bool OutputSdl::attend() {
    SDL_Event event;
    while (!serverLost && SDL_PollEvent(&event) != 0) {
        if (event.type == SDL_QUIT) {
            _closed = true;
        } else if (event.type == SDL_WINDOWEVENT) {
            _closed = _closed || event.window.event == SDL_WINDOWEVENT_CLOSE;
            ++_damage;
        }
    }
    return !_closed && !serverLost;
}

void OutputSdl::setRate(int rate) {
    if (_kind == Kind::Window || rate == _rate || _rates.count(rate) == 0) {
        return;
    }
    for (int i = 0; i < SDL_GetNumDisplayModes(0); ++i) {
        SDL_DisplayMode mode;
        if (SDL_GetDisplayMode(0, i, &mode) == 0 && mode.w == _size.width && mode.h == _size.height &&
            nominal(mode.refresh_rate) == rate) {
            SDL_SetWindowDisplayMode(_window, &mode);
            break;
        }
    }
    _rate = rate;
}

} // namespace lumo

extern "C" __attribute__((visibility("default"))) lumo::Output* lumoMakeSdlOutput(const char* backend,
                                                                                  int width, int height) {
    const auto kind =
        std::string(backend) == "kms" ? lumo::OutputSdl::Kind::Kms : lumo::OutputSdl::Kind::Window;
    return new lumo::OutputSdl(kind, {width, height});
}
