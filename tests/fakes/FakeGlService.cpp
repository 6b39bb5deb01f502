#include "tests/fakes/FakeGlService.h"

#include <GLES2/gl2.h>
#include <gtest/gtest.h>
#include <sys/resource.h>

#include "tests/support/TempDir.h"

void FakeGlService::start() {
    const int priority = getpriority(PRIO_PROCESS, 0);
    renderer->onStartRendering();
    started = true;
    setpriority(PRIO_PROCESS, 0, priority);
}

void FakeGlService::stop() {
    started = false;
    renderer->onStopRendering();
}

void FakeGlService::unregisterFrameRenderer(FrameRenderer* toUnregister) {
    EXPECT_EQ(toUnregister, renderer);
    if (started) {
        stop();
    }
    renderer = nullptr;
}

bool FakeGlService::getFrameBufferDimensions(int& width, int& height) {
    if (frameBufferSize) {
        width = frameBufferSize->width;
        height = frameBufferSize->height;
    }
    return frameBufferSize.has_value();
}

unsigned int FakeGlService::loadShader(const std::string& url, unsigned int glShaderType) {
    const std::string source = support::readFile(url.substr(std::string("file://").size()));
    const GLuint shader = glCreateShader(glShaderType);
    const char* text = source.c_str();
    glShaderSource(shader, 1, &text, nullptr);
    glCompileShader(shader);
    GLint compiled = GL_FALSE;
    glGetShaderiv(shader, GL_COMPILE_STATUS, &compiled);
    EXPECT_EQ(compiled, GL_TRUE) << url;
    return shader;
}
