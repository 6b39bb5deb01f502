#include "platform/linux/graphics/OutputHeadless.h"

#include <EGL/egl.h>
#include <EGL/eglext.h>
#include <GLES2/gl2.h>

#include <cstdio>
#include <stdexcept>
#include <string>
#include <string_view>

namespace lumo {

namespace {

[[noreturn]] void fail(const std::string& what) {
    char code[16];
    std::snprintf(code, sizeof code, "0x%x", static_cast<unsigned>(eglGetError()));
    throw std::runtime_error("no OpenGL ES without a display: " + what + " (EGL error " + code + ")");
}

bool offers(EGLDisplay display, std::string_view extension) {
    const char* const list = eglQueryString(display, EGL_EXTENSIONS);
    std::string_view rest = list == nullptr ? "" : list;
    while (!rest.empty()) {
        const auto end = rest.find(' ');
        if (rest.substr(0, end) == extension) {
            return true;
        }
        rest = end == std::string_view::npos ? "" : rest.substr(end + 1);
    }
    return false;
}

// A display without a screen where EGL has one; a maker's EGL may know only its default display.
EGLDisplay anyDisplay() {
    if (offers(EGL_NO_DISPLAY, "EGL_MESA_platform_surfaceless")) {
        const auto get =
            reinterpret_cast<PFNEGLGETPLATFORMDISPLAYEXTPROC>(eglGetProcAddress("eglGetPlatformDisplayEXT"));
        if (get != nullptr) {
            return get(EGL_PLATFORM_SURFACELESS_MESA, nullptr, nullptr);
        }
    }
    return eglGetDisplay(EGL_DEFAULT_DISPLAY);
}

} // namespace

OutputHeadless::OutputHeadless(Size size) : _size(size) {}

OutputHeadless::~OutputHeadless() = default;

void OutputHeadless::open() {
    EGLDisplay display = anyDisplay();
    if (display == EGL_NO_DISPLAY) {
        fail("EGL knows no display; is its driver (libegl-mesa0) installed?");
    }
    if (eglInitialize(display, nullptr, nullptr) == EGL_FALSE) {
        fail("EGL does not come up; is its driver (libgl1-mesa-dri) installed?");
    }
    constexpr EGLint wanted[] = {EGL_SURFACE_TYPE,
                                 EGL_PBUFFER_BIT,
                                 EGL_RENDERABLE_TYPE,
                                 EGL_OPENGL_ES2_BIT,
                                 EGL_RED_SIZE,
                                 8,
                                 EGL_GREEN_SIZE,
                                 8,
                                 EGL_BLUE_SIZE,
                                 8,
                                 EGL_ALPHA_SIZE,
                                 8,
                                 EGL_NONE};
    EGLint count = 0;
    if (eglChooseConfig(display, wanted, &_config, 1, &count) == EGL_FALSE || count == 0) {
        fail("EGL draws nothing into memory in 8 bits a colour");
    }
    _display = display;
}

void OutputHeadless::close() {
    dropContext();
    if (_display != nullptr) {
        _display = nullptr;
        eglReleaseThread();
    }
}

void OutputHeadless::makeContext() {
    constexpr EGLint version[] = {EGL_CONTEXT_CLIENT_VERSION, 2, EGL_NONE};
    const EGLint size[] = {EGL_WIDTH, _size.width, EGL_HEIGHT, _size.height, EGL_NONE};
    eglBindAPI(EGL_OPENGL_ES_API);
    _context = eglCreateContext(_display, _config, EGL_NO_CONTEXT, version);
    if (_context == EGL_NO_CONTEXT) {
        fail("no context can be made");
    }
    _surface = eglCreatePbufferSurface(_display, _config, size);
    if (_surface == EGL_NO_SURFACE || eglMakeCurrent(_display, _surface, _surface, _context) == EGL_FALSE) {
        const std::string pixels = std::to_string(_size.width) + " by " + std::to_string(_size.height);
        dropContext();
        fail("no frame buffer of " + pixels + " pixels can be made");
    }
}

void OutputHeadless::dropContext() {
    if (_context == EGL_NO_CONTEXT) {
        return;
    }
    eglMakeCurrent(_display, EGL_NO_SURFACE, EGL_NO_SURFACE, EGL_NO_CONTEXT);
    if (_surface != EGL_NO_SURFACE) {
        eglDestroySurface(_display, _surface);
    }
    eglDestroyContext(_display, _context);
    _surface = EGL_NO_SURFACE;
    _context = EGL_NO_CONTEXT;
}

Output::Shown OutputHeadless::present() {
    if (eglSwapBuffers(_display, _surface) == EGL_FALSE) {
        return eglGetError() == EGL_CONTEXT_LOST ? Shown::ContextLost : Shown::Gone;
    }
    // Nobody waits for a screen here, so that a drawing program could run ahead of the rasteriser without
    // end.
    glFinish();
    return Shown::Yes;
}

} // namespace lumo
