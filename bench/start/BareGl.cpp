// A program that does nothing but show one line of text with OpenGL ES, drawn into memory: a context, the two
// shaders of text, one texture, one quad. It prints a line when its frame is complete.

#include <EGL/egl.h>
#include <EGL/eglext.h>
#include <GLES2/gl2.h>
#include <unistd.h>

#include <cstdint>
#include <fstream>
#include <sstream>
#include <vector>

namespace {

constexpr int width = 1280;
constexpr int height = 720;

void makeContext() {
    const auto getDisplay =
        reinterpret_cast<PFNEGLGETPLATFORMDISPLAYEXTPROC>(eglGetProcAddress("eglGetPlatformDisplayEXT"));
    EGLDisplay display = getDisplay(EGL_PLATFORM_SURFACELESS_MESA, nullptr, nullptr);
    eglInitialize(display, nullptr, nullptr);
    eglBindAPI(EGL_OPENGL_ES_API);
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
    eglChooseConfig(display, wanted, &config, 1, &count);
    const EGLint version[] = {EGL_CONTEXT_CLIENT_VERSION, 2, EGL_NONE};
    EGLContext context = eglCreateContext(display, config, EGL_NO_CONTEXT, version);
    const EGLint size[] = {EGL_WIDTH, width, EGL_HEIGHT, height, EGL_NONE};
    EGLSurface surface = eglCreatePbufferSurface(display, config, size);
    eglMakeCurrent(display, surface, surface, context);
}

GLuint shader(GLenum type, const char* file) {
    std::ostringstream source;
    source << std::ifstream(std::string(LUMO_BENCH_ASSETS "/") + file).rdbuf();
    const std::string text = source.str();
    const char* const start = text.c_str();
    const GLuint id = glCreateShader(type);
    glShaderSource(id, 1, &start, nullptr);
    glCompileShader(id);
    return id;
}

void useProgram() {
    const GLuint program = glCreateProgram();
    glAttachShader(program, shader(GL_VERTEX_SHADER, "simple_element.vert"));
    glAttachShader(program, shader(GL_FRAGMENT_SHADER, "simple_element_glyph.frag"));
    glBindAttribLocation(program, 0, "a_v4Position");
    glBindAttribLocation(program, 1, "a_v4FillColor");
    glBindAttribLocation(program, 2, "TexCoordIn");
    glBindAttribLocation(program, 3, "a_animAlphaCoeff");
    glBindAttribLocation(program, 4, "a_animMatrix");
    glLinkProgram(program);
    glUseProgram(program);
}

void useTexture() {
    const std::vector<std::uint8_t> coverage(width * 80, 128);
    GLuint texture = 0;
    glGenTextures(1, &texture);
    glBindTexture(GL_TEXTURE_2D, texture);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_LINEAR);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_LINEAR);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, GL_CLAMP_TO_EDGE);
    glTexImage2D(GL_TEXTURE_2D, 0, GL_ALPHA, width, 80, 0, GL_ALPHA, GL_UNSIGNED_BYTE, coverage.data());
}

void draw() {
    const GLfloat corners[] = {-1, -0.1F, 0, 1, -0.1F, 0, 1, 0.1F, 0, -1, 0.1F, 0};
    const GLfloat colours[] = {1, 1, 0, 1, 1, 1, 0, 1, 1, 1, 0, 1, 1, 1, 0, 1};
    const GLfloat places[] = {0, 1, 1, 1, 1, 0, 0, 0};
    glClearColor(0, 0, 0, 0);
    glClear(GL_COLOR_BUFFER_BIT);
    glEnable(GL_BLEND);
    glBlendFuncSeparate(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA, GL_ONE, GL_ONE_MINUS_SRC_ALPHA);
    glVertexAttribPointer(0, 3, GL_FLOAT, GL_FALSE, 0, corners);
    glVertexAttribPointer(1, 4, GL_FLOAT, GL_FALSE, 0, colours);
    glVertexAttribPointer(2, 2, GL_FLOAT, GL_FALSE, 0, places);
    for (const GLuint array : {0, 1, 2}) {
        glEnableVertexAttribArray(array);
    }
    glVertexAttrib1f(3, 1);
    glVertexAttrib4f(4, 1, 0, 0, 0);
    glVertexAttrib4f(5, 0, 1, 0, 0);
    glVertexAttrib4f(6, 0, 0, 1, 0);
    glVertexAttrib4f(7, 0, 0, 0, 1);
    glDrawArrays(GL_TRIANGLE_FAN, 0, 4);
    glFinish();
}

} // namespace

int main() {
    makeContext();
    useProgram();
    useTexture();
    draw();
    const bool drawn = glGetError() == GL_NO_ERROR;
    return drawn && ::write(STDOUT_FILENO, "The first frame is there\n", 25) == 25 ? 0 : 1;
}
