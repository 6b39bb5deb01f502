#pragma once

#include <array>
#include <memory>

#include "src/ui/system/UIRect.h"

class Image;
class TextLineSurface;

// What an element is, and by that what it is drawn with.
enum ShaderType : int {
    ShaderTypePlain = 0, // drawn like a fill; nothing records it
    ShaderTypeFill = 1,
    ShaderTypeTintedImage = 2,
    ShaderTypeImage = 3,
    ShaderTypeAlphaImage = 4, // of one channel, coverage
    ShaderTypeText = 5,
};

// One drawing call: a quad of four vertices in device coordinates (-1 to 1, y upwards), drawn as a fan.
// Recorded on the UI thread and not changed from then on, but for what is said to belong to the render
// thread.
struct SimpleElement {
    explicit SimpleElement(ShaderType type) : shaderType(type) {}

    std::array<float, 12>
        vertices{};                  // x, y, z of the corners: top left, top right, bottom right, bottom left
    std::array<float, 16> colours{}; // red, green, blue, alpha of each, 0 to 1
    std::array<float, 8> textureCoords{}; // u, v of each
    ShaderType shaderType;
    UIRect source;                 // the part of the image
    std::shared_ptr<Image> image;  // of images, else null
    unsigned int spriteFrames = 0; // frames, and from bit 16 on milliseconds a frame; 0 for a still image
    float spritePosition = 0.0F;   // the frame shown, with its fraction. Render thread.
    std::shared_ptr<TextLineSurface> textSurface; // of text lines, else null
};
