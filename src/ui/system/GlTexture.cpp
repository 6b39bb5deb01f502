#include "src/ui/system/GlTexture.h"

bool fitsTexture(int width, int height) {
    GLint most = 0;
    glGetIntegerv(GL_MAX_TEXTURE_SIZE, &most);
    return width >= 0 && height >= 0 && width <= most && height <= most;
}

GLuint makeTexture(GLenum format, int bytesPerPixel, int width, int height, const void* pixels,
                   GLenum& error) {
    // Drivers should refuse such sizes themselves, but Mesa's software driver counts their levels into an
    // array on its stack, and beyond its end.
    if (!fitsTexture(width, height)) {
        error = GL_INVALID_VALUE;
        return 0;
    }
    GLuint texture = 0;
    glPixelStorei(GL_UNPACK_ALIGNMENT, bytesPerPixel);
    glGenTextures(1, &texture);
    glActiveTexture(GL_TEXTURE0);
    glBindTexture(GL_TEXTURE_2D, texture);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_LINEAR);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_LINEAR);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, GL_CLAMP_TO_EDGE);
    // A lost context reports without end.
    for (int i = 0; i < 8 && glGetError() != GL_NO_ERROR; ++i) {
    }
    glTexImage2D(GL_TEXTURE_2D, 0, static_cast<GLint>(format), width, height, 0, format, GL_UNSIGNED_BYTE,
                 pixels);
    error = glGetError();
    if (error != GL_NO_ERROR) {
        glDeleteTextures(1, &texture);
        return 0;
    }
    return texture;
}
