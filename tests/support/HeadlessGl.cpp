#include "tests/support/HeadlessGl.h"

#include <EGL/egl.h>
#include <EGL/eglext.h>
#include <GLES2/gl2.h>

#include <algorithm>
#include <stdexcept>
#include <string>

namespace support {

namespace {

void require(bool good, const std::string& what) {
    if (!good) {
        throw std::runtime_error("no headless GL: " + what + ", error " + std::to_string(eglGetError()));
    }
}

} // namespace

HeadlessGl::HeadlessGl(int width, int height) : _width(width), _height(height) {
    const auto getDisplay =
        reinterpret_cast<PFNEGLGETPLATFORMDISPLAYEXTPROC>(eglGetProcAddress("eglGetPlatformDisplayEXT"));
    require(getDisplay != nullptr, "eglGetPlatformDisplayEXT");
    // Never terminated: contexts share it, and a driver that stays loaded lets leak reports name it.
    _display = getDisplay(EGL_PLATFORM_SURFACELESS_MESA, nullptr, nullptr);
    require(eglInitialize(_display, nullptr, nullptr) != EGL_FALSE, "eglInitialize");
    require(eglBindAPI(EGL_OPENGL_ES_API) != EGL_FALSE, "eglBindAPI");
    // A buffer of pixels for OpenGL ES 2; then the least bits of red, green, blue and alpha.
    const EGLint wanted[] = {EGL_SURFACE_TYPE,
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
    EGLConfig config = nullptr;
    EGLint count = 0;
    require(eglChooseConfig(_display, wanted, &config, 1, &count) != EGL_FALSE && count != 0,
            "eglChooseConfig");
    const EGLint version[] = {EGL_CONTEXT_CLIENT_VERSION, 2, EGL_NONE};
    const EGLint size[] = {EGL_WIDTH, width, EGL_HEIGHT, height, EGL_NONE};
    _context = eglCreateContext(_display, config, EGL_NO_CONTEXT, version);
    _surface = eglCreatePbufferSurface(_display, config, size);
    require(eglMakeCurrent(_display, _surface, _surface, _context) != EGL_FALSE, "eglMakeCurrent");
    glViewport(0, 0, width, height);
}

HeadlessGl::~HeadlessGl() {
    if (eglGetCurrentContext() == _context) {
        eglMakeCurrent(_display, EGL_NO_SURFACE, EGL_NO_SURFACE, EGL_NO_CONTEXT);
    }
    eglDestroySurface(_display, _surface);
    eglDestroyContext(_display, _context);
}

std::vector<std::uint8_t> HeadlessGl::pixels() const {
    const std::size_t row = static_cast<std::size_t>(_width) * 4;
    std::vector<std::uint8_t> bytes(row * static_cast<std::size_t>(_height));
    glBindFramebuffer(GL_FRAMEBUFFER, 0);
    glReadPixels(0, 0, _width, _height, GL_RGBA, GL_UNSIGNED_BYTE, bytes.data());
    for (std::size_t top = 0, bottom = bytes.size(); top + row < bottom; top += row) {
        bottom -= row;
        std::swap_ranges(&bytes[top], &bytes[top] + row, &bytes[bottom]);
    }
    return bytes;
}

std::uint32_t HeadlessGl::pixel(int x, int y) const {
    std::uint8_t bytes[4] = {};
    glBindFramebuffer(GL_FRAMEBUFFER, 0);
    glReadPixels(x, _height - 1 - y, 1, 1, GL_RGBA, GL_UNSIGNED_BYTE, bytes);
    return std::uint32_t{bytes[3]} << 24 | std::uint32_t{bytes[0]} << 16 | std::uint32_t{bytes[1]} << 8 |
           std::uint32_t{bytes[2]};
}

} // namespace support
