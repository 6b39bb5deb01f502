// Draws all scenes into PNG files: gallery FOLDER. For a look at them, and for new goldens.

#include <cstdio>
#include <exception>
#include <string>

#include "platform/linux/graphics/PngFile.h"
#include "tests/gallery/SoftwarePicture.h"

int main(int argc, char** argv) try {
    if (argc != 2) {
        std::fputs("usage: gallery FOLDER\n", stderr);
        return 2;
    }
    const gallery::Platform platform;
    const gallery::Props props = gallery::makeProps(LUMO_TEST_FONT);
    bool written = true;
    for (const gallery::Scene& scene : gallery::scenes()) {
        const auto surface = gallery::drawInSoftware(scene, props);
        written &= lumo::writePngFile(std::string(argv[1]) + "/" + scene.name + ".png",
                                      {surface->getMemoryPtr(), gallery::width, gallery::height,
                                       surface->getPitch(), STB_PIXEL_ARGB8888, false, true});
    }
    return written ? 0 : 1;

} catch (const std::exception& error) {

    std::fprintf(stderr, "gallery: %s\n", error.what());
    return 1;
}
