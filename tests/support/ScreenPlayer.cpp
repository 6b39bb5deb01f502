#include "tests/support/ScreenPlayer.h"

#include <climits>
#include <string>

#include "src/ui/system/AlphaAnimation.h"
#include "src/ui/system/DelayAnimation.h"
#include "src/ui/system/Image.h"
#include "src/ui/system/RelativeMoveAnimation.h"
#include "src/ui/system/ScaleAnimation.h"
#include "src/ui/system/SequenceAnimation.h"
#include "src/ui/system/ZoomAnimation.h"

namespace support {

ScreenPlayer::ScreenPlayer(OpenGlRenderManager& manager, std::shared_ptr<TTF_Font> font,
                           std::function<void(int)> published)
    : _manager(manager), _font(std::move(font)), _published(std::move(published)) {
    const unsigned char pixels[4 * 8] = {255, 0, 0, 255, 0, 255, 0, 128};
    for (const unsigned int tint : {0U, 0x80FF0000U}) {
        _images.push_back(std::make_shared<Image>(0, tint));
        _images.back()->loadRGBA8888(4, 2, 16, pixels);
    }
    _images[1]->setAnimation(4, 7);
}

void ScreenPlayer::play(std::span<const std::uint8_t> bytes) {
    _bytes = bytes;
    _depth = 0;
    while (!_bytes.empty()) {
        step();
    }
}

std::uint8_t ScreenPlayer::next() {
    const std::uint8_t byte = _bytes.empty() ? 0 : _bytes.front();
    _bytes = _bytes.subspan(_bytes.empty() ? 0 : 1);
    return byte;
}

int ScreenPlayer::number() {
    constexpr int edges[] = {INT_MIN, INT_MAX, -1, 65536};
    const int byte = next();
    return byte >= 252 ? edges[byte - 252] : byte - 10;
}

float ScreenPlayer::factor() {
    constexpr float edges[] = {0.0F, -1.0F, 1e30F, 44193.457F};
    const int byte = next();
    return byte >= 252 ? edges[byte - 252] : static_cast<float>(byte) / 64.0F;
}

void ScreenPlayer::step() {
    unsigned int kind = next();
    if (_depth == 0 && kind % 16 >= 10 && kind % 16 <= 12) {
        kind -= 10; // what is done to the root stays for ever
    }
    switch (kind % 16) {
    case 0:
    case 1:
    case 2:
        ++_depth;
        open(kind);
        break;
    case 3:
    case 4:
    case 5:
        _depth -= _depth > 0 ? 1 : 0;
        _manager.endBlock();
        break;
    case 6:
    case 7:
    case 8:
        element(kind / 16);
        break;
    case 9:
        _depth = 0;
        _manager.displayOnScreen();
        _published(next());
        break;
    case 10:
        _manager.applyBlockAnimation(animation());
        break;
    case 11: {
        void* block = id();
        _manager.applyHiddenBlockAnimation(block, animation());
        break;
    }
    case 12: {
        const UIRect area = rect();
        const float scale = factor();
        _manager.applyBlockScale(area, UIScale(scale, factor()));
        break;
    }
    case 13: {
        const float x = factor();
        const float y = factor();
        _manager.moveScrollBlock(x, y, factor());
        break;
    }
    case 14: {
        void* from = id();
        _manager.filterIndexRange(from, id());
        break;
    }
    default:
        kind < 128 ? _manager.markChildredRendered() : _manager.setAnimationEnabled(kind < 240);
    }
}

void ScreenPlayer::open(unsigned int kind) {
    void* const block = id();
    const bool cached = (kind & 16U) != 0;
    const bool clipped = (kind & 32U) != 0;
    const bool recreate = (kind & 192U) == 192U;
    const UIRect clip = clipped ? rect() : UIRect();
    switch (kind % 16) {
    case 0:
        _manager.beginBlock(block, cached, recreate, clip);
        break;
    case 1:
        _manager.beginScrollBlock(block, cached, recreate, clip);
        break;
    default:
        _manager.findBlock(block, cached, clip);
    }
}

void ScreenPlayer::element(unsigned int kind) {
    const UIRect area = rect();
    switch (kind % 4) {
    case 0:
        _manager.fillRect(area, next() * 0x01010101U);
        break;
    case 1:
        _manager.fillTriangle(UITriangle(area.x, area.y, area.w, area.h, 3, 4),
                              TriangleVertexColor(next(), 0, ~0U));
        break;
    case 2:
        _manager.drawImage(area, kind < 8 ? UIRect() : rect(), _images[next() % _images.size()]);
        break;
    default:
        _manager.drawTextLine(area, ~0U, 0, _font, std::string(next() % 8U, kind < 8 ? 'a' : 'w'),
                              static_cast<UITextHorizontalAlign>(next() % 4),
                              static_cast<UITextVerticalAlign>(next() % 4), std::string(next() % 4U, 'w'));
    }
}

std::shared_ptr<Animation> ScreenPlayer::animation() {
    const unsigned int kind = next();
    if (kind >= 200 && !_animations.empty()) {
        return _animations[kind % _animations.size()];
    }
    const int length = next();
    const float from = factor();
    const float to = factor();
    std::shared_ptr<Animation> result;
    switch (kind % 6) {
    case 0:
        result = std::make_shared<AlphaAnimation>(from, to, length);
        break;
    case 1:
        result = std::make_shared<RelativeMoveAnimation>(from, to, to, from, length);
        break;
    case 2:
        result = std::make_shared<ZoomAnimation>(from, to, to, from, 3.0F, 4.0F, length);
        break;
    case 3:
        result = std::make_shared<ScaleAnimation>(UIScale(from), UIScale(to), rect(), length);
        break;
    case 4: {
        const auto sequence = std::make_shared<SequenceAnimation>(kind < 100);
        sequence->add(_animations.empty() ? nullptr : _animations.back());
        sequence->add(std::make_shared<DelayAnimation>(length));
        result = sequence;
        break;
    }
    default:
        result = std::make_shared<DelayAnimation>(length);
    }
    if (_animations.size() == 4) {
        _animations.erase(_animations.begin());
    }
    _animations.push_back(result);
    return result;
}

} // namespace support
