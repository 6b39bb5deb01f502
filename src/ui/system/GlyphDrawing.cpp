#include "src/ui/system/GlyphDrawing.h"

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "platform/STBLogger.h"
#include "platform/STBSurfaceInterface.h"
#include "src/ui/system/SimpleGlyphSlot.h"
#include "src/ui/system/TTF_Font.h"

// The same operations in the same order as in calculateColor(), for four pixels at once. Neither may be fused
// into multiply-add, which rounds differently: the build forbids it for this file.

namespace {

using Floats = float __attribute__((vector_size(16)));
using Ints = std::int32_t __attribute__((vector_size(16)));
using Words = std::uint32_t __attribute__((vector_size(16)));

constexpr int lanes = 4;
constexpr std::uint32_t opaque = 0xFF000000U;

Floats toFloats(const Words& bytes) {
    return __builtin_convertvector(std::bit_cast<Ints>(bytes), Floats);
}

// Cut towards zero.
Words toWords(const Floats& values) {
    return std::bit_cast<Words>(__builtin_convertvector(values, Ints));
}

// A colour whose alpha is the coverage.
class Ink {
public:
    explicit Ink(unsigned int colour) : _colour(colour & ~opaque) {
        for (int i = 0; i < 3; ++i) {
            _channels[i] = Floats{} + static_cast<float>(_colour >> (8 * i) & 0xFF);
        }
    }

    void draw(std::uint32_t* pixels, const unsigned char* coverage, int count) const {
        int i = 0;
        for (; i + lanes <= count; i += lanes) {
            std::uint32_t four;
            std::memcpy(&four, coverage + i, sizeof four);
            if (four == 0xFFFFFFFFU) {
                std::fill_n(pixels + i, lanes, _colour | opaque);
            } else {
                drawFour(pixels + i, coverage + i, four == 0);
            }
        }
        for (; i < count; ++i) {
            pixels[i] = calculateColor(pixels[i], _colour | std::uint32_t{coverage[i]} << 24);
        }
    }

private:
    void drawFour(std::uint32_t* pixels, const unsigned char* coverage, bool nothing) const {
        Words old;
        std::memcpy(&old, pixels, sizeof old);
        if (nothing && (old[0] & old[1] & old[2] & old[3]) >= opaque) {
            return;
        }
        const Words alphas = {coverage[0], coverage[1], coverage[2], coverage[3]};
        const Floats alphaD = toFloats(old >> 24) / 255.0F;
        const Floats alphaS = toFloats(alphas) / 255.0F;
        const Floats rest = 1.0F - alphaS;
        Words result = toWords((alphaD * rest + alphaS) * 255.0F) << 24;
        for (int i = 0; i < 3; ++i) {
            const Floats channel = toFloats(old >> (8 * i) & 0xFF);
            result |= toWords(_channels[i] * alphaS + rest * (channel * alphaD)) << (8 * i);
        }
        std::memcpy(pixels, &result, sizeof result);
    }

    std::uint32_t _colour;
    Floats _channels[3];
};

// Draws what lies on the surface. x, y: the coverage's first pixel.
void drawCoverage(OpenGlFontSurface& coverage, std::int64_t x, std::int64_t y, unsigned int colour,
                  STBSurfaceInterface& target) {
    const std::int64_t left = std::max<std::int64_t>(0, -x);
    const std::int64_t right = std::min<std::int64_t>(coverage.getWidth(), target.getWidth() - x);
    const std::int64_t top = std::max<std::int64_t>(0, -y);
    const std::int64_t bottom = std::min<std::int64_t>(coverage.getHeight(), target.getHeight() - y);
    const Ink ink(colour);
    auto* const words = reinterpret_cast<std::uint32_t*>(target.getMemoryPtr());
    const std::int64_t stride = target.getPitch() / 4;
    for (std::int64_t row = top; row < bottom && left < right; ++row) {
        ink.draw(words + (y + row) * stride + x + left,
                 coverage.getMemoryPtr() + row * coverage.getPitch() + left, static_cast<int>(right - left));
    }
}

} // namespace

unsigned int calculateColor(unsigned int dst, unsigned int src) {
    if (src >= opaque) {
        return src;
    }
    const auto channel = [](unsigned int word, int shift) {
        return static_cast<float>(word >> shift & 0xFF);
    };
    const float alphaD = channel(dst, 24) / 255.0F;
    const float alphaS = channel(src, 24) / 255.0F;
    const float rest = 1.0F - alphaS;
    unsigned int result = static_cast<unsigned int>((alphaD * rest + alphaS) * 255.0F) << 24;
    for (const int shift : {0, 8, 16}) {
        result |=
            static_cast<unsigned int>(channel(src, shift) * alphaS + rest * (channel(dst, shift) * alphaD))
            << shift;
    }
    return result;
}

void drawGlyphSlot(const SimpleGlyphSlot* glyph, int x, int y, unsigned int colour,
                   unsigned int outlineColour, STBSurfaceInterface* target,
                   const std::shared_ptr<TTF_Font>& font) {
    if (glyph == nullptr) {
        STBLogger_log(nullptr, "RenderManager", 1, __LINE__, "src/ui/system/RenderManager",
                      "NULL text glyph");
        return;
    }
    if (x < 0 || y < 0 || !font || target == nullptr || target->getPitch() / 4 < target->getWidth()) {
        return;
    }
    const std::int64_t left = std::int64_t{x} + glyph->left;
    const std::int64_t top = std::int64_t{y} + font->getFontVerticalBaseLinePx() - glyph->top;
    if (left + glyph->width > target->getWidth() || top + glyph->height > target->getHeight()) {
        return;
    }
    if (font->hasOutline() && glyph->stroke) {
        const std::int64_t strokeLeft = std::int64_t{x} + glyph->strokeLeft;
        const std::int64_t strokeTop = top - SimpleGlyphSlot::STROKE_RISE;
        if (strokeLeft + glyph->strokeWidth <= target->getWidth() && strokeTop <= target->getHeight()) {
            drawCoverage(*glyph->stroke, strokeLeft, strokeTop, outlineColour, *target);
        }
    }
    if (glyph->body) {
        drawCoverage(*glyph->body, left, top, colour, *target);
    }
}
