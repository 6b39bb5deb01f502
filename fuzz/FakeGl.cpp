// OpenGL ES 2.0 as far as the renderer calls it: reads everything it is pointed at, so that a sanitizer sees
// it, and ends the program on what a driver would refuse.
#include <GLES2/gl2.h>

#include <cstdlib>
#include <set>
#include <string_view>
#include <utility>
#include <vector>

namespace {

struct Array {
    bool enabled = false;
    int size = 0;
    const float* values = nullptr;
};

Array arrays[8];
std::set<GLuint> textures;
constexpr GLsizei LARGEST_TEXTURE = 4096;
GLuint lastName = 0;
GLenum error = GL_NO_ERROR;
volatile float seen; // keeps reads from being left out

void require(bool condition) {
    if (!condition) {
        std::abort();
    }
}

} // namespace

// Nothing to check.
void glActiveTexture(GLenum) {}

void glAttachShader(GLuint, GLuint) {}

void glBindAttribLocation(GLuint, GLuint, const GLchar*) {}

void glBindBuffer(GLenum, GLuint) {}

void glBindFramebuffer(GLenum, GLuint) {}

void glBlendEquation(GLenum) {}

void glBlendFuncSeparate(GLenum, GLenum, GLenum, GLenum) {}

void glClear(GLbitfield) {}

void glClearColor(GLfloat, GLfloat, GLfloat, GLfloat) {}

void glColorMask(GLboolean, GLboolean, GLboolean, GLboolean) {}

void glDeleteProgram(GLuint) {}

void glDeleteShader(GLuint) {}

void glDisable(GLenum) {}

void glEnable(GLenum) {}

void glLinkProgram(GLuint) {}

void glPixelStorei(GLenum, GLint) {}

void glReadPixels(GLint, GLint, GLsizei, GLsizei, GLenum, GLenum, void*) {}

void glTexParameteri(GLenum, GLenum, GLint) {}

void glUniform1i(GLint, GLint) {}

void glUseProgram(GLuint) {}

void glVertexAttrib1f(GLuint, GLfloat) {}

void glVertexAttrib4f(GLuint, GLfloat, GLfloat, GLfloat, GLfloat) {}

void glViewport(GLint, GLint, GLsizei, GLsizei) {}

GLenum glGetError() {
    return std::exchange(error, GL_NO_ERROR);
}

void glGetIntegerv(GLenum, GLint* value) {
    *value = LARGEST_TEXTURE;
}

GLuint glCreateProgram() {
    return ++lastName;
}

GLint glGetUniformLocation(GLuint, const GLchar*) {
    return 0;
}

GLint glGetAttribLocation(GLuint, const GLchar* name) {
    const std::string_view names[] = {"a_v4Position", "a_v4FillColor", "TexCoordIn", "a_animAlphaCoeff",
                                      "a_animMatrix"};
    for (int i = 0; i < 5; ++i) {
        if (names[i] == name) {
            return i;
        }
    }
    std::abort();
}

void glGenTextures(GLsizei count, GLuint* names) {
    for (GLsizei i = 0; i < count; ++i) {
        names[i] = ++lastName;
        textures.insert(lastName);
    }
}

void glBindTexture(GLenum, GLuint texture) {
    require(textures.contains(texture));
}

void glDeleteTextures(GLsizei count, const GLuint* names) {
    for (GLsizei i = 0; i < count; ++i) {
        require(textures.erase(names[i]) == 1); // every texture once
    }
}

void glTexImage2D(GLenum, GLint, GLint, GLsizei width, GLsizei height, GLint, GLenum format, GLenum,
                  const void* pixels) {
    if (width < 0 || height < 0 || width > LARGEST_TEXTURE || height > LARGEST_TEXTURE) {
        error = GL_INVALID_VALUE;
        return;
    }
    const auto* bytes = static_cast<const unsigned char*>(pixels);
    const long size = static_cast<long>(width) * height * (format == GL_ALPHA ? 1 : 4);
    for (long i = 0; bytes != nullptr && i < size; i += 64) {
        seen = bytes[i];
    }
    seen = bytes != nullptr && size > 0 ? bytes[size - 1] : 0.0F;
}

void glScissor(GLint, GLint, GLsizei width, GLsizei height) {
    require(width >= 0 && height >= 0);
}

void glEnableVertexAttribArray(GLuint index) {
    arrays[index].enabled = true;
}

void glDisableVertexAttribArray(GLuint index) {
    arrays[index].enabled = false;
}

void glVertexAttribPointer(GLuint index, GLint size, GLenum, GLboolean, GLsizei, const void* values) {
    arrays[index] = {arrays[index].enabled, size, static_cast<const float*>(values)};
}

void glDrawArrays(GLenum, GLint, GLsizei count) {
    for (const Array& array : arrays) {
        for (int i = 0; array.enabled && i < count * array.size; ++i) {
            seen = array.values[i];
        }
    }
}
