#include <algorithm>
#include <cmath>

#include "src/ui/opengl/OpenGlRenderManager.h"
#include "src/ui/opengl/SimpleElementBlock.h"
#include "src/ui/system/AlphaAnimation.h"
#include "src/ui/system/RelativeMoveAnimation.h"
#include "src/ui/system/ScaleAnimation.h"
#include "src/ui/system/SequenceAnimation.h"
#include "src/ui/system/ZoomAnimation.h"

namespace {

// Sequences may hold sequences, even themselves.
constexpr int DEEPEST_SEQUENCE = 64;

int truncated(float pixels) {
    constexpr float limit = 1e9F;
    return std::isnan(pixels) ? 0 : static_cast<int>(std::clamp(pixels, -limit, limit));
}

} // namespace

ScaleViewData OpenGlRenderManager::makeScaleViewData(const UIRect& rect, const UIScale& scale) const {
    const float halfWidth = static_cast<float>(_width) * 0.5F;
    const float halfHeight = static_cast<float>(_height) * 0.5F;
    const float pivotX = static_cast<float>(rect.x) / halfWidth - 1.0F +
                         scale.centerX * static_cast<float>(rect.w) / halfWidth;
    const float pivotY = 1.0F - static_cast<float>(rect.y) / halfHeight -
                         scale.centerY * static_cast<float>(rect.h) / halfHeight;
    ScaleViewData data;
    data.scaleX = scale.scaleX;
    data.scaleY = scale.scaleY;
    data.tx = (1.0F - scale.scaleX) * pivotX * halfWidth;
    data.ty = (1.0F - scale.scaleY) * pivotY * halfHeight;
    return data;
}

// Draws the current tree: a block's own elements, then the blocks within it.
void OpenGlRenderManager::drawTree(int milliseconds) {
    _advanced.clear();
    Visit root{_currentTree.get(), {}, {0, 0, _frameBufferWidth, _frameBufferHeight}};
    applyScaleCoeff(makeScaleViewData(UIRect(0, 0, _width, _height), _currentScale), root.coeff);
    _visits.push_back(root);
    while (!_visits.empty()) {
        Visit visit = _visits.back();
        _visits.pop_back();
        const auto elements = foldBlock(visit, milliseconds);
        if (!elements->empty() && visit.box.width > 0 && visit.box.height > 0) {
            setBlockState(visit.coeff, visit.box);
            for (SimpleElement& element : *elements) {
                if (_framePosted) { // a newer frame: this one will not be shown
                    break;
                }
                drawElement(element, milliseconds);
            }
        }
        for (auto child = visit.node->children.rbegin(); child != visit.node->children.rend(); ++child) {
            _visits.push_back({child->get(), visit.coeff, visit.box});
        }
    }
}

// Makes of the parent's transform and clip those of the block, time having gone on by that much, and returns
// what is to be drawn with them.
std::shared_ptr<std::vector<SimpleElement>> OpenGlRenderManager::foldBlock(Visit& visit, int milliseconds) {
    SimpleElementBlock& block = *visit.node->block;
    const std::lock_guard lock(block.mutex);
    for (const auto& animation : block.animations) {
        advanceAnimation(*animation, milliseconds);
        applyAnimationCoeff(*animation, visit.coeff);
    }
    if (block.scale) {
        applyScaleCoeff(*block.scale, visit.coeff);
    }
    // The clip moves and scales with the block, but not with its own scrolling.
    applyScissorCoeff(block.clip, visit.coeff, visit.box);
    if (block.scroll) {
        applyMovementCoeff(*block.scroll, visit.coeff);
    }
    return block.elements;
}

// Once a frame, however many blocks it is attached to.
void OpenGlRenderManager::advanceAnimation(Animation& animation, int milliseconds) {
    if (!animation.isValid() || !animation.isActive() || !_advanced.insert(&animation).second) {
        return;
    }
    animation.inc(milliseconds);
    if (animation.isCompleted()) {
        animation.pause(); // its handler was told, and is told once
    } else {
        _redraw = true;
    }
}

void OpenGlRenderManager::applyAnimationCoeff(Animation& animation, CalculatedAnimationCoeff& coeff) const {
    Animation* source = &animation;
    for (int depth = 0; source->isValid() && source->getType() == AnimationTypeSequence; ++depth) {
        Animation* member = static_cast<SequenceAnimation*>(source)->get();
        if (member == source || depth == DEEPEST_SEQUENCE) {
            return;
        }
        source = member;
    }
    if (!source->isValid()) {
        return;
    }
    switch (source->getType()) {
    case AnimationTypeAlpha:
        coeff.alpha *= static_cast<const AlphaAnimation*>(source)->getAlpha();
        break;
    case AnimationTypeRelativeMove: {
        const auto* move = static_cast<const RelativeMoveAnimation*>(source);
        coeff.transform(1.0F, 1.0F, move->getX(), -move->getY());
        break;
    }
    case AnimationTypeZoom: {
        const auto* zoom = static_cast<const ZoomAnimation*>(source);
        const float pivotX = zoom->getCenterX() - static_cast<float>(_width) * 0.5F;
        const float pivotY = static_cast<float>(_height) * 0.5F - zoom->getCenterY();
        coeff.transform(zoom->getX(), zoom->getY(), (1.0F - zoom->getX()) * pivotX,
                        (1.0F - zoom->getY()) * pivotY);
        break;
    }
    case AnimationTypeScale: {
        const auto* scale = static_cast<const ScaleAnimation*>(source);
        applyScaleCoeff(makeScaleViewData(scale->getRect(), scale->getScale()), coeff);
        break;
    }
    default:
        break;
    }
}

void OpenGlRenderManager::applyScaleCoeff(const ScaleViewData& data, CalculatedAnimationCoeff& coeff) const {
    coeff.transform(data.scaleX, data.scaleY, data.tx, data.ty);
}

void OpenGlRenderManager::applyMovementCoeff(const ScrollViewData& data,
                                             CalculatedAnimationCoeff& coeff) const {
    coeff.transform(1.0F, 1.0F, data.offsetX, -data.offsetY);
}

// Cuts the parent's box down to the block's clip, as it stands on the screen.
void OpenGlRenderManager::applyScissorCoeff(const UIRect& clip, const CalculatedAnimationCoeff& coeff,
                                            ScissorBox& box) const {
    if (clip.w == 0 && clip.h == 0) {
        return;
    }
    const float halfWidth = static_cast<float>(_width) * 0.5F;
    const float halfHeight = static_cast<float>(_height) * 0.5F;
    const auto x = [&](float edge) {
        return coeff.matrix[0] * (edge - halfWidth) + coeff.matrix[12] + halfWidth;
    };
    const auto y = [&](float edge) {
        return halfHeight - (coeff.matrix[5] * (halfHeight - edge) + coeff.matrix[13]);
    };
    const auto clipX = static_cast<float>(clip.x);
    const auto clipY = static_cast<float>(clip.y);
    const auto [left, right] = std::minmax({x(clipX), x(clipX + static_cast<float>(std::max(clip.w, 0)))});
    const auto [top, bottom] = std::minmax({y(clipY), y(clipY + static_cast<float>(std::max(clip.h, 0)))});
    const int boxX = truncated(left * _scaleX);
    const int boxY = truncated(top * _scaleY);
    const int endX = std::min(boxX + truncated((right - left) * _scaleX), box.x + box.width);
    const int endY = std::min(boxY + truncated((bottom - top) * _scaleY), box.y + box.height);
    box.x = std::max(box.x, boxX);
    box.y = std::max(box.y, boxY);
    box.width = std::max(endX - box.x, 0);
    box.height = std::max(endY - box.y, 0);
}
