#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <vector>

#include "src/ui/opengl/OpenGlRenderManager.h"

namespace support {

// Turns any bytes into calls of a render manager: blocks that are balanced and blocks that are not, elements,
// animations, scrolling, scales, screens. The same bytes are always the same calls. UI thread.
class ScreenPlayer {
public:
    // font: null for screens without text. published: called after each displayOnScreen(), with a number of
    // milliseconds.
    ScreenPlayer(OpenGlRenderManager& manager, std::shared_ptr<TTF_Font> font,
                 std::function<void(int)> published);

    void play(std::span<const std::uint8_t> bytes);

private:
    std::uint8_t next();
    int number(); // small ones, now and then one at the edges
    float factor();

    void* id() { return reinterpret_cast<void*>(std::uintptr_t{next()} % 8); }

    UIRect rect() {
        const int x = number();
        const int y = number();
        const int w = number();
        return {x, y, w, number()};
    }

    void step();
    void open(unsigned int kind);
    void element(unsigned int kind);
    std::shared_ptr<Animation> animation();

    OpenGlRenderManager& _manager;
    std::shared_ptr<TTF_Font> _font;
    std::function<void(int)> _published;
    std::vector<std::shared_ptr<Image>> _images;
    std::vector<std::shared_ptr<Animation>> _animations; // the last few, to be attached again
    std::span<const std::uint8_t> _bytes;
    int _depth = 0; // open blocks
};

} // namespace support
