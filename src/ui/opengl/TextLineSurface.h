#pragma once

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>

#include "src/ui/system/UITextAlign.h"

class OpenGlRenderManager;
class TTF_Font;

// What a line of text was rasterised from. Two that are equal give the same pixels at the same place.
struct TextLineSource {
    bool operator==(const TextLineSource& other) const;

    std::weak_ptr<TTF_Font> font;
    std::string text;
    std::string suffix;
    int rectWidth = 0; // pixels
    UITextHorizontalAlign align = UITextHorizontalAlignLeft;
};

// A rasterised line of text: coverage, one byte a pixel, 0 outside and 255 inside, rows top down without
// gaps. Written on the UI thread before it is recorded and read on the render thread from then on. Not
// outlived by its owner.
class TextLineSurface {
public:
    // All transparent. pixels() is null when there is no memory for it.
    TextLineSurface(OpenGlRenderManager* owner, int width, int height);
    // Any thread: the texture is deleted on the render thread.
    ~TextLineSurface();
    TextLineSurface(const TextLineSurface&) = delete;
    TextLineSurface& operator=(const TextLineSurface&) = delete;

    // The texture for that GL context, made when first asked for in it; 0, with a line in the log, when the
    // upload fails. Render thread.
    unsigned int getTexture(int context);

    int width() const { return _width; } // pixels

    int height() const { return _height; } // pixels

    std::uint8_t* pixels() { return _pixels.get(); }

    // UI thread.
    TextLineSource source;
    int offset = 0;        // pixels from the rectangle's left edge to the text's
    bool complete = false; // every glyph could be loaded

private:
    struct Free {
        void operator()(std::uint8_t* memory) const { std::free(memory); }
    };

    // Constant after construction.
    OpenGlRenderManager* const _owner;

    // Render thread, and whoever drops the last reference.
    int _context = -1;

    // Constant after construction.
    const int _width;
    const int _height;
    const std::unique_ptr<std::uint8_t[], Free> _pixels;

    // As _context.
    unsigned int _texture = 0;
};
