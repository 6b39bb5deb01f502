#pragma once

#include <climits>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "src/ui/opengl/OpenGlRenderManager.h"
#include "src/ui/system/AlphaAnimation.h"
#include "src/ui/system/DelayAnimation.h"
#include "src/ui/system/Image.h"
#include "src/ui/system/RelativeMoveAnimation.h"
#include "src/ui/system/ScaleAnimation.h"
#include "src/ui/system/SequenceAnimation.h"
#include "src/ui/system/ZoomAnimation.h"

namespace support {

// Turns any bytes into calls of a render manager: blocks that are balanced and blocks that are not, elements,
// animations, scrolling, scales, screens. The same bytes are always the same calls. UI thread.
class ScreenPlayer {
public:
    // font: null for screens without text. published: called after each displayOnScreen(), with a number of
    // milliseconds.
    ScreenPlayer(OpenGlRenderManager& manager, std::shared_ptr<TTF_Font> font,
                 std::function<void(int)> published)
        : _manager(manager), _font(std::move(font)), _published(std::move(published)) {
        const unsigned char pixels[4 * 8] = {255, 0, 0, 255, 0, 255, 0, 128};
        for (const unsigned int tint : {0U, 0x80FF0000U}) {
            _images.push_back(std::make_shared<Image>(0, tint));
            _images.back()->loadRGBA8888(4, 2, 16, pixels);
        }
        _images[1]->setAnimation(4, 7);
    }

    void play(std::span<const std::uint8_t> bytes) {
        _bytes = bytes;
        _depth = 0;
        while (!_bytes.empty()) {
            step(next());
        }
    }

private:
    std::uint8_t next() {
        const std::uint8_t byte = _bytes.empty() ? 0 : _bytes.front();
        _bytes = _bytes.subspan(_bytes.empty() ? 0 : 1);
        return byte;
    }

    // Small ones, now and then one at the edges.
    int number() {
        constexpr int edges[] = {INT_MIN, INT_MAX, -1, 65536};
        const int byte = next();
        return byte >= 252 ? edges[byte - 252] : byte - 10;
    }

    float factor() {
        constexpr float edges[] = {0.0F, -1.0F, 1e30F, 44193.457F};
        const int byte = next();
        return byte >= 252 ? edges[byte - 252] : static_cast<float>(byte) / 64.0F;
    }

    void* id() { return reinterpret_cast<void*>(std::uintptr_t{next()} % 8); }

    // Braces evaluate from left to right.
    UIRect rect() { return UIRect{number(), number(), number(), number()}; }

    void step(unsigned int kind) {
        const unsigned int call = kind % 16;
        // What is done to the root stays for ever.
        const bool opens = call < 3 || (_depth == 0 && call >= 10 && call <= 12);
        if (opens) {
            ++_depth;
            open(call % 10, kind);
        } else if (call < 6) {
            _depth -= _depth > 0 ? 1 : 0;
            _manager.endBlock();
        } else if (call < 9) {
            element(kind / 16);
        } else if (call == 9) {
            _depth = 0;
            _manager.displayOnScreen();
            _published(next());
        } else if (call == 10) {
            _manager.applyBlockAnimation(animation());
        } else if (call == 11) {
            void* const block = id();
            _manager.applyHiddenBlockAnimation(block, animation());
        } else if (call == 12) {
            const UIRect area = rect();
            _manager.applyBlockScale(area, UIScale{factor(), factor()});
        } else if (call == 13) {
            const float by[] = {factor(), factor(), factor()};
            _manager.moveScrollBlock(by[0], by[1], by[2]);
        } else if (call == 14) {
            void* const ends[] = {id(), id()};
            _manager.filterIndexRange(ends[0], ends[1]);
        } else if (kind < 128) {
            _manager.markChildredRendered();
        } else {
            _manager.setAnimationEnabled(kind < 240);
        }
    }

    void open(unsigned int how, unsigned int kind) {
        void* const block = id();
        const bool cached = (kind & 16U) != 0;
        const bool recreate = (kind & 192U) == 192U;
        const UIRect clip = (kind & 32U) != 0 ? rect() : UIRect();
        if (how == 0) {
            _manager.beginBlock(block, cached, recreate, clip);
        } else if (how == 1) {
            _manager.beginScrollBlock(block, cached, recreate, clip);
        } else {
            _manager.findBlock(block, cached, clip);
        }
    }

    void element(unsigned int kind) {
        const UIRect area = rect();
        if (kind % 4 == 0) {
            _manager.fillRect(area, next() * 0x01010101U);
        } else if (kind % 4 == 1) {
            _manager.fillTriangle(UITriangle(area.x, area.y, area.w, area.h, 3, 4),
                                  TriangleVertexColor(next(), 0, ~0U));
        } else if (kind % 4 == 2) {
            const UIRect part = kind < 8 ? UIRect() : rect();
            _manager.drawImage(area, part, _images[next() % _images.size()]);
        } else {
            const unsigned int how[] = {next() % 8U, next() % 4U, next() % 4U, next() % 4U};
            _manager.drawTextLine(area, ~0U, 0, _font, std::string(how[0], kind < 8 ? 'a' : 'w'),
                                  static_cast<UITextHorizontalAlign>(how[1]),
                                  static_cast<UITextVerticalAlign>(how[2]), std::string(how[3], 'w'));
        }
    }

    std::shared_ptr<Animation> animation() {
        const unsigned int kind = next();
        if (kind >= 200 && !_animations.empty()) {
            return _animations[kind % _animations.size()];
        }
        const int length = next();
        const float from = factor();
        const float to = factor();
        const UIRect area = kind % 6 == 3 ? rect() : UIRect();
        const auto sequence = std::make_shared<SequenceAnimation>(kind < 100);
        sequence->add(_animations.empty() ? nullptr : _animations.back());
        sequence->add(std::make_shared<DelayAnimation>(length));
        const std::shared_ptr<Animation> all[] = {
            std::make_shared<AlphaAnimation>(from, to, length),
            std::make_shared<RelativeMoveAnimation>(from, to, to, from, length),
            std::make_shared<ZoomAnimation>(from, to, to, from, 3.0F, 4.0F, length),
            std::make_shared<ScaleAnimation>(UIScale(from), UIScale(to), area, length),
            sequence,
            std::make_shared<DelayAnimation>(length)};
        if (_animations.size() == 4) {
            _animations.erase(_animations.begin());
        }
        _animations.push_back(all[kind % 6]);
        return _animations.back();
    }

    OpenGlRenderManager& _manager;
    std::shared_ptr<TTF_Font> _font;
    std::function<void(int)> _published;
    std::vector<std::shared_ptr<Image>> _images;
    std::vector<std::shared_ptr<Animation>> _animations; // the last few, to be attached again
    std::span<const std::uint8_t> _bytes;
    int _depth = 0; // open blocks
};

} // namespace support
