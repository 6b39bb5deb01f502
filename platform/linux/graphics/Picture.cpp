#include "platform/linux/graphics/Picture.h"

#include <GLES2/gl2.h>

#include "platform/linux/device/Log.h"
#include "platform/linux/graphics/Shader.h"

#define LUMO_LOG_FILE "platform/linux/graphics/Picture"

namespace lumo {

namespace {

const char* const vertexSource = "attribute vec2 corner;\n"
                                 "varying vec2 place;\n"
                                 "void main() {\n"
                                 "    place = vec2(corner.x, 1.0 - corner.y);\n"
                                 "    gl_Position = vec4(corner * 2.0 - 1.0, 0.0, 1.0);\n"
                                 "}\n";

// The words' bytes lie as B, G, R, A in memory.
const char* const fragmentSource = "precision mediump float;\n"
                                   "varying vec2 place;\n"
                                   "uniform sampler2D picture;\n"
                                   "void main() {\n"
                                   "    gl_FragColor = vec4(texture2D(picture, place).bgr, 1.0);\n"
                                   "}\n";

GLuint makeProgram() {
    const GLuint vertex = compileShader("of pictures", vertexSource, GL_VERTEX_SHADER);
    const GLuint fragment = compileShader("of pictures", fragmentSource, GL_FRAGMENT_SHADER);
    const GLuint program = glCreateProgram();
    glAttachShader(program, vertex);
    glAttachShader(program, fragment);
    glBindAttribLocation(program, 0, "corner");
    glLinkProgram(program);
    glDeleteShader(vertex);
    glDeleteShader(fragment);
    return program;
}

GLuint makeTexture(const Picture& picture) {
    GLuint texture = 0;
    glGenTextures(1, &texture);
    glBindTexture(GL_TEXTURE_2D, texture);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, GL_CLAMP_TO_EDGE);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_LINEAR);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_LINEAR);
    glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA, picture.width, picture.height, 0, GL_RGBA, GL_UNSIGNED_BYTE,
                 picture.words.data());
    return texture;
}

} // namespace

bool paintPicture(const Picture& picture) {
    constexpr GLfloat corners[] = {0, 0, 1, 0, 1, 1, 0, 1};
    const GLuint program = makeProgram();
    const GLuint texture = makeTexture(picture);
    glUseProgram(program);
    glVertexAttribPointer(0, 2, GL_FLOAT, GL_FALSE, 0, corners);
    glEnableVertexAttribArray(0);
    glDrawArrays(GL_TRIANGLE_FAN, 0, 4);
    glDisableVertexAttribArray(0);
    glUseProgram(0);
    glDeleteTextures(1, &texture);
    glDeleteProgram(program);
    const GLenum error = glGetError();
    if (error != GL_NO_ERROR) {
        LUMO_LOG(LogError, "A picture of %d by %d pixels cannot be drawn (GL error 0x%x)", picture.width,
                 picture.height, error);
    }
    return error == GL_NO_ERROR;
}

} // namespace lumo
