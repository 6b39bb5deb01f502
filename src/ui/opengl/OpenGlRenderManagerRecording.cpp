#include <utility>

#include "src/ui/opengl/OpenGlLog.h"
#include "src/ui/opengl/OpenGlRenderManager.h"
#include "src/ui/opengl/SimpleElementBlock.h"
#include "src/ui/opengl/VertexColour.h"
#include "src/ui/system/Image.h"

namespace {

constexpr int ALPHA_ONLY = 3; // an STBPixelFormat: images of one channel
constexpr unsigned int WHITE = 0xFFFFFFFF;

bool isEmpty(const UIRect& rect) {
    return rect.w < 1 || rect.h < 1;
}

// Values stand a little off whole pixels after their way through float; cutting them off as they are would
// lose a pixel for many.
int wholePixels(double value) {
    constexpr double slack = 0.001;
    const double pixels = value + (value < 0 ? -slack : slack);
    return pixels > -2147483649.0 && pixels < 2147483648.0 ? static_cast<int>(pixels) : 0;
}

} // namespace

bool OpenGlRenderManager::checkSimpleElementLock() const {
    if (_currentNode->block->cached) {
        OPENGL_LOG(1, "Trying to draw to cached block.");
        return true;
    }
    return false;
}

void OpenGlRenderManager::record(SimpleElement&& element) {
    const std::lock_guard lock(_recordingMutex);
    if (!checkSimpleElementLock()) {
        append(std::move(element));
    }
}

void OpenGlRenderManager::append(SimpleElement&& element) {
    SimpleElementBlock& block = *_currentNode->block;
    if (block.isRecording()) { // the root never is
        block.recording->push_back(std::move(element));
    }
}

void OpenGlRenderManager::fillRect(const UIRect& rect, unsigned int colour) {
    if (isEmpty(rect)) {
        return;
    }
    SimpleElement element(ShaderTypeFill);
    placeQuad(element, rect.x, rect.y, rect.w, rect.h);
    setVertexColours(element, {colour, colour, colour, colour});
    record(std::move(element));
}

void OpenGlRenderManager::fillTriangle(const UITriangle& triangle, const TriangleVertexColor& colours) {
    SimpleElement element(ShaderTypeFill);
    std::array<float, 12>& v = element.vertices;
    convertTriangle(triangle, v[0], v[1], v[3], v[4], v[6], v[7]);
    v[9] = v[6]; // the last corner twice makes it a fan of four
    v[10] = v[7];
    setVertexColours(element, {colours.c1, colours.c2, colours.c3, colours.c3});
    record(std::move(element));
}

void OpenGlRenderManager::drawImage(const UIRect& dst, const UIRect& src, std::shared_ptr<Image> image) {
    if (!image) {
        OPENGL_LOG(1, "Draw null image!");
        return;
    }
    if (isEmpty(dst)) {
        return;
    }
    const unsigned int tint = image->getColor();
    ShaderType type = tint == 0 ? ShaderTypeImage : ShaderTypeTintedImage;
    if (image->GetPixelFormat() == ALPHA_ONLY) {
        type = ShaderTypeAlphaImage;
    }
    SimpleElement element(type);
    placeQuad(element, dst.x, dst.y, dst.w, dst.h);
    const unsigned int colour = tint == 0 ? WHITE : tint;
    setVertexColours(element, {colour, colour, colour, colour});
    element.textureCoords = WHOLE_TEXTURE;
    element.source = src.w == 0 && src.h == 0 ? UIRect(0, 0, image->getWidth(), image->getHeight()) : src;
    if (image->getAnimationFrames() != 0) {
        element.spriteFrames = image->getAnimationFrames() | image->getAnimationSpeedMsec() << 16U;
    }
    element.image = std::move(image);
    record(std::move(element));
}

void OpenGlRenderManager::placeQuad(SimpleElement& element, double x, double y, double width,
                                    double height) const {
    const double halfWidth = _width * 0.5;
    const double halfHeight = _height * 0.5;
    const double left = x / halfWidth - 1.0;
    const double top = 1.0 - y / halfHeight;
    const auto x0 = static_cast<float>(left);
    const auto y0 = static_cast<float>(top);
    const auto x1 = static_cast<float>(left + width / halfWidth);
    const auto y1 = static_cast<float>(top - height / halfHeight);
    element.vertices = {x0, y0, 0, x1, y0, 0, x1, y1, 0, x0, y1, 0};
}

void OpenGlRenderManager::convertPoint(const UIPoint& point, float& x, float& y) const {
    x = static_cast<float>(point.x / (_width * 0.5) - 1.0);
    y = static_cast<float>(1.0 - point.y / (_height * 0.5));
}

void OpenGlRenderManager::convertTriangle(const UITriangle& triangle, float& x1, float& y1, float& x2,
                                          float& y2, float& x3, float& y3) const {
    convertPoint(UIPoint(triangle.x1, triangle.y1), x1, y1);
    convertPoint(UIPoint(triangle.x2, triangle.y2), x2, y2);
    convertPoint(UIPoint(triangle.x3, triangle.y3), x3, y3);
}

void OpenGlRenderManager::convertRect(const UIRect& rect, float& x, float& y, float& w, float& h) const {
    convertPoint(UIPoint(rect.x, rect.y), x, y);
    w = static_cast<float>(rect.w / (_width * 0.5));
    h = static_cast<float>(rect.h / (_height * 0.5));
}

void OpenGlRenderManager::convertToRect(const float& x, const float& y, const float& w, const float& h,
                                        UIRect& rect) const {
    rect.x = wholePixels((x + 1.0) * _width * 0.5);
    rect.y = wholePixels((1.0 - y) * _height * 0.5);
    rect.w = wholePixels(_width * 0.5 * w);
    rect.h = wholePixels(_height * 0.5 * h);
}
