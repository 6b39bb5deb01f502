#pragma once

#include <memory>

#include "platform/STBSurfaceInterface.h"
#include "tests/gallery/Scene.h"

namespace gallery {

// The platform's graphics, for as long as it lives. Throws std::runtime_error when they do not come up.
class Platform {
public:
    Platform();
    ~Platform();
    Platform(const Platform&) = delete;
    Platform& operator=(const Platform&) = delete;
};

// A scene drawn by the software renderer.
std::unique_ptr<STBSurfaceInterface> drawInSoftware(const Scene& scene, const Props& props);

} // namespace gallery
