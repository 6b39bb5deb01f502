#include "platform/linux/graphics/GraphicsService.h"

#include "platform/linux/graphics/Blit.h"
#include "platform/linux/graphics/Surface.h"

namespace lumo {

int GraphicsService::getOutputPixelFormat() const {
    return STB_PIXEL_ARGB8888;
}

STBSurfaceInterface* GraphicsService::createSurface(unsigned short width, unsigned short height,
                                                    int pixelFormat) {
    return Surface::create(width, height, pixelFormat).release();
}

int GraphicsService::blit(const STBBlitRequest& request) {
    return lumo::blit(request);
}

STBPixelFormat GraphicsService::getDecodedFormat(bool hasColours, bool hasAlpha) const {
    // Grey pictures without transparency are masks, which take their colour where they are drawn.
    if (!hasColours && !hasAlpha) {
        return STB_PIXEL_ALPHA8;
    }
    return hasAlpha ? STB_PIXEL_RGBA8888 : STB_PIXEL_RGBA8888_OPAQUE;
}

} // namespace lumo
