#include "src/ui/opengl/OpenGlFontSurface.h"

#include <algorithm>
#include <new>

#include "platform/STBLogger.h"

OpenGlFontSurface::OpenGlFontSurface(unsigned short width, unsigned short height)
    : _width(width), _height(height), _pixels(new (std::nothrow) unsigned char[size()]()) {
    if (!_pixels) {
        STBLogger_log(this, "TTF", 1, __LINE__, "src/ui/opengl/OpenGlFontSurface",
                      "Can't allocate memory for font surface");
    }
}

void OpenGlFontSurface::clear() {
    if (_pixels) {
        std::fill_n(_pixels.get(), size(), static_cast<unsigned char>(0));
    }
}
