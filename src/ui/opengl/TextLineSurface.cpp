#include "src/ui/opengl/TextLineSurface.h"

#include "src/ui/opengl/OpenGlLog.h"
#include "src/ui/opengl/OpenGlRenderManager.h"
#include "src/ui/system/GlTexture.h"
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
    GLenum error = GL_NO_ERROR;
    const GLuint texture = makeTexture(GL_ALPHA, 1, _width, _height, _pixels.get(), error);
    if (texture == 0) {
        OPENGL_LOG(1, "Failed to load bitmap to texture");
        return 0;
    }
    // One of an earlier context died with that context.
    _texture = texture;
    _context = context;
    return texture;
}
