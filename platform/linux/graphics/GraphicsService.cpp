#include "platform/linux/graphics/GraphicsService.h"

#include "platform/linux/graphics/Blit.h"
#include "platform/linux/graphics/PictureBuilder.h"
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
    return usualFormat(hasColours, hasAlpha);
}

} // namespace lumo
