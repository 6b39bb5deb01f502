#pragma once

#include <memory>
#include <vector>

class Image;
class RenderManagerInterface;
class TTF_Font;

// Pictures that show what a renderer can do, drawn through the interface alone, so that they are the same
// whoever draws them.
namespace gallery {

constexpr int width = 640; // pixels
constexpr int height = 360;

// What is drawn with. Made after the platform's resources and TTF_Library, let go of before them.
struct Props {
    std::shared_ptr<TTF_Font> small;    // 18 pixels
    std::shared_ptr<TTF_Font> large;    // 40 pixels
    std::shared_ptr<TTF_Font> outlined; // 40 pixels, a stroke of 2
    std::shared_ptr<TTF_Font> broad;    // 40 pixels, a stroke of 4
    std::shared_ptr<Image> picture;     // 64 by 48, opaque in the middle and transparent at the corners
    std::shared_ptr<Image> photo;       // 64 by 48, opaque
    std::shared_ptr<Image> mask;        // coverage, not tinted
    std::shared_ptr<Image> tintedMask;
};

// fontPath: of Open Sans.
Props makeProps(const char* fontPath);

struct Scene {
    const char* name;
    // One frame, without presenting it: clears, then one block with everything in it.
    void (*draw)(RenderManagerInterface& renderer, const Props& props);
    // Thousandths of the pixels that may differ by more than an eighth of the scale in OpenGL.
    int openGlDiffers;
};

const std::vector<Scene>& scenes();

} // namespace gallery
