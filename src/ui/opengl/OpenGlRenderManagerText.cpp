#include <utf8.h>

#include <algorithm>
#include <climits>
#include <cstring>
#include <utility>

#include "src/ui/opengl/OpenGlLog.h"
#include "src/ui/opengl/OpenGlRenderManager.h"
#include "src/ui/opengl/SimpleElementBlock.h"
#include "src/ui/opengl/VertexColour.h"
#include "src/ui/system/SimpleGlyphSlot.h"
#include "src/ui/system/TTF_Font.h"
#include "src/ui/system/Utf8.h"

namespace {

constexpr int TALLEST_LINE = 2048; // pixels, without margins
constexpr std::size_t SEARCH_AHEAD = 16;

// A quarter of the font's size is left free on every side, for what reaches out of its cell.
int marginX(const TTF_Font& font) {
    return std::max(font.getFontWidthPx(), 0) / 4;
}

int marginY(const TTF_Font& font) {
    return std::max(font.getFontHeightPx(), 0) / 4;
}

int pixels(std::int64_t size) {
    return static_cast<int>(std::clamp<std::int64_t>(size, 1, INT_MAX));
}

} // namespace

void OpenGlRenderManager::drawTextLine(const UIRect& rect, unsigned int colour,
                                       unsigned int /*outlineColour*/, std::shared_ptr<TTF_Font> font,
                                       const std::string& text, UITextHorizontalAlign horizontalAlign,
                                       UITextVerticalAlign verticalAlign, const std::string& suffix) {
    if (text.empty()) {
        return;
    }
    if (!Utf8::isValid(text)) {
        OPENGL_LOG(1, "drawText error: text is invalid utf8\n");
        return;
    }
    if (!font) {
        OPENGL_LOG(1, "OpenGlRenderManager::drawTextLine -font is NULL");
        return;
    }
    const std::lock_guard lock(_recordingMutex);
    if (checkSimpleElementLock() || !_currentNode->block->isRecording()) {
        return;
    }
    const TextLineSource source{font, text, suffix, rect.w, horizontalAlign};
    SimpleElement element(ShaderTypeText);
    element.textSurface = findTextLine(source, *font);
    if (!element.textSurface) {
        element.textSurface = makeTextLine(source, *font);
    }
    const TextLineSurface& surface = *element.textSurface;
    const int offsetY = verticalTextOffset(verticalAlign, rect.h, font->getFontHeightPx());
    placeQuad(element, static_cast<double>(rect.x) + surface.offset - marginX(*font),
              static_cast<double>(rect.y) + offsetY - marginY(*font), surface.width(), surface.height());
    setVertexColours(element, {colour, colour, colour, colour});
    element.textureCoords = WHOLE_TEXTURE;
    append(std::move(element));
}

// The same line in what the block shows now: screens are recorded again and again with most of their lines
// unchanged. Only a few elements from the last find on are looked at. Null when there is none.
std::shared_ptr<TextLineSurface> OpenGlRenderManager::findTextLine(const TextLineSource& source,
                                                                   TTF_Font& font) {
    SimpleElementBlock& block = *_currentNode->block;
    const SimpleElementBlock::Elements& shown = *block.elements; // only this thread puts another list there
    const std::size_t end = std::min(shown.size(), block.textSearch + SEARCH_AHEAD);
    for (std::size_t i = block.textSearch; i < end; ++i) {
        const auto& surface = shown[i].textSurface;
        if (surface && surface->complete && surface->source == source) {
            block.textSearch = i + 1;
            // Counts as a use of the font, and fails when the font has lost its face.
            auto first = source.text.begin();
            return font.loadGlyphSlot(utf8::unchecked::next(first)) != nullptr ? surface : nullptr;
        }
    }
    return nullptr;
}

std::shared_ptr<TextLineSurface> OpenGlRenderManager::makeTextLine(const TextLineSource& source,
                                                                   TTF_Font& font) {
    const std::int64_t suffixWidth = font.getTextWidth(source.suffix, 0);
    const std::int64_t textWidth = font.getTextWidth(source.text, 0);
    const int offset =
        horizontalTextOffset(source.align, source.rectWidth, static_cast<unsigned int>(textWidth));
    const int width =
        pixels(std::min(textWidth, std::int64_t{source.rectWidth} - offset) + 2 * marginX(font));
    const int height =
        pixels(std::int64_t{std::min(font.getFontHeightPx(), TALLEST_LINE)} + 2 * marginY(font));
    auto surface = std::make_shared<TextLineSurface>(this, width, height);
    surface->source = source;
    surface->offset = offset;
    surface->complete = true;
    writeText(*surface, static_cast<int>(std::min<std::int64_t>(suffixWidth, INT_MAX)), font);
    return surface;
}

// Writes the line's text. Where it is too long for the surface, it is cut and ends with the suffix; without
// room for a suffix, the letters that do not fit are left out.
void OpenGlRenderManager::writeText(TextLineSurface& surface, int suffixWidth, TTF_Font& font) const {
    std::int64_t pen = marginX(font);
    const int top = marginY(font);
    const auto load = [&](std::u32string::value_type codePoint) {
        const SimpleGlyphSlot* glyph = font.loadGlyphSlot(codePoint);
        surface.complete = surface.complete && glyph != nullptr;
        return glyph;
    };
    const auto advance = [](const SimpleGlyphSlot* glyph) {
        return glyph != nullptr ? glyph->advancePx() : 0;
    };
    const auto write = [&](const SimpleGlyphSlot* glyph) {
        if (glyph == nullptr || !glyph->empty()) {
            drawGlyphSlot(glyph, static_cast<int>(pen), top, 0, 0, surface, font);
        }
        pen += advance(glyph);
    };
    const bool roomForSuffix = surface.width() > suffixWidth;
    const int limit = roomForSuffix ? surface.width() - suffixWidth : surface.width();
    const std::u32string text = utf8::utf8to32(surface.source.text);
    for (std::size_t i = 0; i < text.size(); ++i) {
        const SimpleGlyphSlot* glyph = load(text[i]);
        if (pen + advance(glyph) <= limit) {
            write(glyph);
            continue;
        }
        if (!roomForSuffix) {
            continue;
        }
        // The room kept for the suffix may do for the rest.
        std::int64_t end = pen;
        std::vector<const SimpleGlyphSlot*> rest;
        for (std::size_t k = i; k < text.size() && end <= surface.width(); ++k) {
            rest.push_back(load(text[k]));
            end += advance(rest.back());
        }
        if (end > surface.width()) {
            rest.clear();
            const bool valid = Utf8::isValid(surface.source.suffix);
            surface.complete = surface.complete && valid;
            for (const char32_t codePoint : utf8::utf8to32(valid ? surface.source.suffix : std::string())) {
                rest.push_back(load(codePoint));
            }
        }
        std::for_each(rest.begin(), rest.end(), write);
        return;
    }
}

void OpenGlRenderManager::drawGlyphSlot(const SimpleGlyphSlot* glyph, int x, int y, unsigned int /*colour*/,
                                        unsigned int /*outlineColour*/, TextLineSurface& surface,
                                        const TTF_Font& font) const {
    if (glyph == nullptr) {
        OPENGL_LOG(1, "NULL text glyph");
        return;
    }
    const std::int64_t left = std::int64_t{x} + glyph->left;
    const std::int64_t top = std::int64_t{y} + font.getFontVerticalBaseLinePx() - glyph->top;
    const bool inside = x >= 0 && y >= 0 && left >= 0 && top >= 0 && left + glyph->width <= surface.width() &&
                        top + glyph->height <= surface.height();
    if (!inside || surface.pixels() == nullptr || !glyph->body || glyph->body->getMemoryPtr() == nullptr) {
        return;
    }
    const std::uint8_t* source = glyph->body->getMemoryPtr();
    std::uint8_t* target = surface.pixels() + top * surface.width() + left;
    for (int row = 0; row < glyph->height; ++row) {
        std::memcpy(target, source, static_cast<std::size_t>(glyph->width));
        source += glyph->body->getPitch();
        target += surface.width();
    }
}
