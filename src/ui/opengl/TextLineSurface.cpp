#include "src/ui/opengl/TextLineSurface.h"

#include <GLES2/gl2.h>

#include "src/ui/opengl/OpenGlLog.h"
#include "src/ui/opengl/OpenGlRenderManager.h"
#include "src/ui/system/TTF_Font.h"

bool TextLineSource::operator==(const TextLineSource& other) const {
    const bool sameFont = !font.owner_before(other.font) && !other.font.owner_before(font);
    return sameFont && rectWidth == other.rectWidth && align == other.align && text == other.text &&
           suffix == other.suffix;
}

// calloc() refuses what no memory can hold, and leaves untouched rows without memory.
TextLineSurface::TextLineSurface(OpenGlRenderManager* owner, int width, int height)
    : _owner(owner),
      _width(width),
      _height(height),
      _pixels(static_cast<std::uint8_t*>(
          std::calloc(static_cast<std::size_t>(height), static_cast<std::size_t>(width)))) {}

TextLineSurface::~TextLineSurface() {
    if (_texture != 0) {
        _owner->deleteTexture(_texture, _context);
    }
}

unsigned int TextLineSurface::getTexture(int context) {
    if (_texture != 0 && _context == context) {
        return _texture;
    }
    if (!_pixels) {
        return 0;
    }
    GLuint texture = 0;
    glPixelStorei(GL_UNPACK_ALIGNMENT, 1);
    glActiveTexture(GL_TEXTURE0);
    glGenTextures(1, &texture);
    glBindTexture(GL_TEXTURE_2D, texture);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_LINEAR);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_LINEAR);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, GL_CLAMP_TO_EDGE);
    glGetError();
    glTexImage2D(GL_TEXTURE_2D, 0, GL_ALPHA, _width, _height, 0, GL_ALPHA, GL_UNSIGNED_BYTE, _pixels.get());
    if (glGetError() != GL_NO_ERROR) {
        OPENGL_LOG(1, "Failed to load bitmap to texture");
        glDeleteTextures(1, &texture);
        return 0;
    }
    // One of an earlier context died with that context.
    _texture = texture;
    _context = context;
    return texture;
}
