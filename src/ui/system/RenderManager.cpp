#include "src/ui/system/RenderManager.h"

#include <utf8.h>

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstring>

#include "platform/STBBitmap.h"
#include "platform/STBBlitRequest.h"
#include "platform/STBDisplay.h"
#include "platform/STBGraphicsInterface.h"
#include "platform/STBLogger.h"
#include "platform/STBResourseHolder.h"
#include "platform/STBSurfaceInterface.h"
#include "src/ui/system/Animation.h"
#include "src/ui/system/Image.h"
#include "src/ui/system/TTF_Font.h"
#include "src/ui/system/Utf8.h"

#define LOG_ERROR(...)                                                                                       \
    STBLogger_log(this, "RenderManager", 1, __LINE__, "src/ui/system/RenderManager", __VA_ARGS__)

namespace {

constexpr int blendBySourceAlpha = 2;
constexpr int deviceDefault = 3;

using Surface = std::unique_ptr<STBSurfaceInterface>;

// Over for its handler too, and its values stay.
void finish(const std::shared_ptr<Animation>& animation) {
    if (animation) {
        animation->stop();
        animation->drop();
        animation->inc(0);
    }
}

// Cut towards zero; scales of nothing give what no surface has.
int toInt(double value) {
    return value != value ? 0 : static_cast<int>(std::clamp<double>(value, INT_MIN, INT_MAX));
}

// Pixels of four bytes R, G, B, A as colour words.
void copyToWords(const unsigned char* from, int count, unsigned char* to) {
    auto* const words = reinterpret_cast<std::uint32_t*>(to);
    for (int i = 0; i < count; ++i, from += 4) {
        words[i] = std::uint32_t{from[3]} << 24 | std::uint32_t{from[0]} << 16 | std::uint32_t{from[1]} << 8 |
                   from[2];
    }
}

// A surface with the bitmap's pixels; null when its layout is unknown or there is no memory.
Surface toSurface(const STBBitmap& bitmap, STBGraphicsInterface& graphics) {
    const STBPixelFormat format = bitmap.getPixelFormat();
    const bool coverage = format == STB_PIXEL_ALPHA8;
    const bool words = format == STB_PIXEL_ARGB8888;
    const bool bytes = format == STB_PIXEL_RGBA8888 || format == STB_PIXEL_RGBA8888_SCREEN ||
                       format == STB_PIXEL_RGBA8888_OPAQUE;
    const int width = bitmap.getWidth();
    const int height = bitmap.getHeight();
    if ((!coverage && !words && !bytes) || width > USHRT_MAX || height > USHRT_MAX) {
        return nullptr;
    }
    Surface surface(graphics.createSurface(static_cast<unsigned short>(width),
                                           static_cast<unsigned short>(height),
                                           coverage ? STB_PIXEL_ALPHA8 : graphics.getOutputPixelFormat()));
    if (!surface) {
        return nullptr;
    }
    const std::ptrdiff_t rowBytes = std::ptrdiff_t{width} * (coverage ? 1 : 4);
    for (int row = 0; row < height; ++row) {
        const unsigned char* const from = bitmap.getMemoryPtr() + row * rowBytes;
        unsigned char* const to = surface->getMemoryPtr() + std::ptrdiff_t{row} * surface->getPitch();
        if (bytes) {
            copyToWords(from, width, to);
        } else {
            std::memcpy(to, from, static_cast<std::size_t>(rowBytes));
        }
    }
    surface->flush();
    return surface;
}

} // namespace

RenderManager::RenderManager(int width, int height) : _graphics(STBResourseHolder::getSTBGraphics()) {
    if (_graphics == nullptr) {
        LOG_ERROR("Can't obtain graphics interface");
        return;
    }
    const int format = _graphics->getOutputPixelFormat();
    _mainSurface.reset(_graphics->createSurface(static_cast<unsigned short>(width),
                                                static_cast<unsigned short>(height), format));
    _fillSurface.reset(_graphics->createSurface(1, 1, format));
    clearSurface();
}

RenderManager::~RenderManager() = default;

STBSurfaceInterface* RenderManager::target() const {
    return _surfaceStack.empty() ? _mainSurface.get() : _surfaceStack.back();
}

void RenderManager::applyBlockAnimation(std::shared_ptr<Animation> animation) {
    finish(animation);
}

void RenderManager::applyHiddenBlockAnimation(void*, std::shared_ptr<Animation> animation) {
    finish(animation);
}

void RenderManager::clearSurface() {
    if (STBSurfaceInterface* const surface = target()) {
        surface->clear();
    }
}

std::shared_ptr<Image> RenderManager::makeScreenshot() {
    return nullptr;
}

int RenderManager::blit(STBSurfaceInterface* source, const UIRect& src, STBSurfaceInterface* onto,
                        const UIRect& dst, unsigned int colour) const {
    if (_graphics == nullptr) {
        return -1;
    }
    const STBBlitRequest request = {.source = source,
                                    .sourceRect = {src.x, src.y, src.w, src.h},
                                    .destination = onto,
                                    .destinationRect = {dst.x, dst.y, dst.w, dst.h},
                                    .blendMode = blendBySourceAlpha,
                                    .modeWord2 = deviceDefault,
                                    .colour = colour,
                                    .modeWord3 = deviceDefault,
                                    .modeWord4 = deviceDefault};
    return _graphics->blit(request);
}

void RenderManager::fillRect(const UIRect& rect, unsigned int colour) {
    if (rect.w < 1 || rect.h < 1) {
        return;
    }
    if (_fillSurface) {
        _fillSurface->simpleFill(colour);
    }
    if (blit(_fillSurface.get(), UIRect(0, 0, 1, 1), target(), rect, 0) != 0) {
        LOG_ERROR("fillRect - blit error");
    }
}

STBSurfaceInterface* RenderManager::sourceOf(Image& image) const {
    if (!image.isValid() || _graphics == nullptr) {
        return nullptr;
    }
    if (image.getBlitSource() == nullptr) {
        image.keepBlitSource(toSurface(*image.getBitmap(), *_graphics));
    }
    return image.getBlitSource();
}

void RenderManager::drawImage(const UIRect& dst, const UIRect& src, std::shared_ptr<Image> image) {
    if (!image || image->getAnimationFrames() != 0 || dst.w < 1 || dst.h < 1) {
        return;
    }
    STBSurfaceInterface* const source = sourceOf(*image);
    const UIRect part = src.w == 0 && src.h == 0 ? UIRect(0, 0, image->getWidth(), image->getHeight()) : src;
    unsigned int colour = 0;
    if (image->GetPixelFormat() == STB_PIXEL_ALPHA8) {
        colour = image->getColor() == 0 ? 0xFFFFFFU : image->getColor() & 0xFFFFFFU;
    }
    if (blit(source, part, target(), dst, colour) != 0) {
        LOG_ERROR("drawImage - blit error");
    }
}

void RenderManager::drawTextLine(const UIRect& rect, unsigned int colour, unsigned int outlineColour,
                                 std::shared_ptr<TTF_Font> font, const std::string& text,
                                 UITextHorizontalAlign horizontalAlign, UITextVerticalAlign verticalAlign,
                                 const std::string&) {
    if (!font) {
        LOG_ERROR("RenderManager::drawTextLine -font is NULL");
        return;
    }
    const unsigned int width = font->getTextWidth(text, 0);
    const std::int64_t dx = horizontalTextOffset(horizontalAlign, rect.w, width);
    const std::int64_t dy = verticalTextOffset(verticalAlign, rect.h, font->getFontHeightPx());
    drawText(static_cast<int>(std::min<std::int64_t>(rect.x + dx, INT_MAX)),
             static_cast<int>(std::min<std::int64_t>(rect.y + dy, INT_MAX)), colour, outlineColour, font,
             rect, text);
}

void RenderManager::drawText(int x, int y, unsigned int colour, unsigned int outlineColour,
                             const std::shared_ptr<TTF_Font>& font, const UIRect& clip,
                             const std::string& text) {
    STBGraphicsInterface* const graphics = STBResourseHolder::getSTBGraphics();
    if (graphics == nullptr) {
        LOG_ERROR("Can't obtain graphics interface");
        return;
    }
    graphics->sync();
    if (!Utf8::isValid(text)) {
        LOG_ERROR("drawText error: text is invalid utf8\n");
        return;
    }
    const std::int64_t right = std::int64_t{clip.x} + clip.w;
    std::int64_t pen = x;
    for (auto next = text.begin(); font && next != text.end();) {
        const SimpleGlyphSlot* const glyph = font->loadGlyphSlot(utf8::unchecked::next(next));
        if (glyph == nullptr) {
            continue;
        }
        if (pen + glyph->advancePx() > right) {
            break;
        }
        if (!glyph->empty()) {
            drawGlyphSlot(glyph, static_cast<int>(pen), y, colour, outlineColour, target(), font);
        }
        pen += glyph->advancePx();
    }
}

void RenderManager::beginSurfaceBlock(STBSurfaceInterface* surface) {
    _surfaceStack.push_back(surface);
}

void RenderManager::endSurfaceBlock() {
    if (!_surfaceStack.empty()) {
        _surfaceStack.pop_back();
    }
}

void RenderManager::drawSurfaceBlock(const UIRect& dst) {
    if (_surfaceStack.empty()) {
        return;
    }
    STBSurfaceInterface* const top = _surfaceStack.back();
    STBSurfaceInterface* const beneath =
        _surfaceStack.size() > 1 ? _surfaceStack[_surfaceStack.size() - 2] : _mainSurface.get();
    if (blit(top, UIRect(0, 0, top->getWidth(), top->getHeight()), beneath, dst, 0) != 0) {
        LOG_ERROR("draw surface block - blit error");
    }
}

void RenderManager::displayOnScreen() {
    STBDisplay* const display = STBResourseHolder::getSTBDisplay();
    if (!_mainSurface || display == nullptr) {
        return;
    }
    _mainSurface->flush();
    const int width = _mainSurface->getWidth();
    const int height = _mainSurface->getHeight();
    const auto start = [](int length, float centre, float scale) {
        return toInt(static_cast<double>(length) * centre * (1.0 - 1.0 / scale));
    };
    display->showSurface(_mainSurface.get(), start(width, _scale.centerX, _scale.scaleX),
                         start(height, _scale.centerY, _scale.scaleY),
                         toInt(static_cast<float>(width) / _scale.scaleX),
                         toInt(static_cast<float>(height) / _scale.scaleY));
}
