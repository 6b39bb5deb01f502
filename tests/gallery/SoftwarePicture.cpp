#include "tests/gallery/SoftwarePicture.h"

#include <stdexcept>

#include "platform/STBGraphicsInterface.h"
#include "platform/STBResourseHolder.h"
#include "src/ui/system/RenderManager.h"
#include "src/ui/system/TTF_Library.h"

namespace gallery {

Platform::Platform() {
    STBPlatformSettings settings = STBResourseHolder::getDefaultPlatformSettings();
    settings.graphics = true;
    if (!STBResourseHolder::initialize(settings)) {
        throw std::runtime_error("the platform's graphics do not come up");
    }
}

Platform::~Platform() {
    TTF_Library::destroy();
    STBResourseHolder::uninitialize();
}

std::unique_ptr<STBSurfaceInterface> drawInSoftware(const Scene& scene, const Props& props) {
    STBGraphicsInterface& graphics = *STBResourseHolder::getSTBGraphics();
    std::unique_ptr<STBSurfaceInterface> surface(
        graphics.createSurface(width, height, graphics.getOutputPixelFormat()));
    RenderManager renderer(width, height);
    renderer.beginSurfaceBlock(surface.get());
    scene.draw(renderer, props);
    renderer.endSurfaceBlock();
    return surface;
}

} // namespace gallery
