#pragma once

#include <deque>
#include <memory>

#include "src/ui/system/GlyphDrawing.h"
#include "src/ui/system/RenderManagerInterface.h"

class STBGraphicsInterface;
class STBSurfaceInterface;
struct STBBlitRequest;

// Draws with the processor, into surfaces of the platform's graphics service, and shows the main one on its
// display. Nothing moves: blocks are drawn as if they were not there, an animation is over as soon as it
// arrives here, and of scales only the whole output's counts. Images with animation frames are not drawn.
// Made after and deleted before the platform's resources; without a graphics service it draws nothing, and
// says so in the log.
class RenderManager final : public RenderManagerInterface {
public:
    // Size of the main surface in pixels, cut to 16 bits.
    RenderManager(int width, int height);
    ~RenderManager() override;

    bool beginBlock(void*, bool, bool, UIRect) override { return false; }

    void endBlock() override {}

    void needBlockBitmapCache() override {}

    void applyBlockAnimation(std::shared_ptr<Animation> animation) override;
    void applyHiddenBlockAnimation(void* id, std::shared_ptr<Animation> animation) override;

    void setAnimationEnabled(bool) override {}

    bool isAnimationEnabled() const override { return false; }

    void setScale(const UIScale& scale) override { _scale = scale; }

    UIScale getScale() const override { return _scale; }

    void applyBlockScale(const UIRect&, const UIScale&) override {}

    void displayOnScreen() override;
    void clearSurface() override;
    void fillRect(const UIRect& rect, unsigned int colour) override;
    void drawTextLine(const UIRect& rect, unsigned int colour, unsigned int outlineColour,
                      std::shared_ptr<TTF_Font> font, const std::string& text,
                      UITextHorizontalAlign horizontalAlign, UITextVerticalAlign verticalAlign,
                      const std::string& suffix) override;
    void drawImage(const UIRect& dst, const UIRect& src, std::shared_ptr<Image> image) override;
    std::shared_ptr<Image> makeScreenshot() override;

    // Draws to that surface until endSurfaceBlock(). surface: of the graphics service, not owned, not null.
    virtual void beginSurfaceBlock(STBSurfaceInterface* surface);
    virtual void endSurfaceBlock();
    // Draws the innermost surface block's surface, stretched over dst, onto the one beneath it.
    virtual void drawSurfaceBlock(const UIRect& dst);

    // Draws text from the pen position x, y on, the top of the line, up to the first glyph that would pass
    // the right edge of clip; nothing when the text is not valid UTF-8.
    void drawText(int x, int y, unsigned int colour, unsigned int outlineColour,
                  const std::shared_ptr<TTF_Font>& font, const UIRect& clip, const std::string& text);

private:
    STBSurfaceInterface* target() const;
    // The blit's result; not 0 without a graphics service.
    int blit(STBSurfaceInterface* source, const UIRect& src, STBSurfaceInterface* onto, const UIRect& dst,
             unsigned int colour) const;
    // What to blit an image from, made when it is first drawn; null when there is no picture or no memory.
    STBSurfaceInterface* sourceOf(Image& image) const;

    std::deque<STBSurfaceInterface*> _surfaceStack;
    std::unique_ptr<STBSurfaceInterface> _mainSurface;
    std::unique_ptr<STBSurfaceInterface> _fillSurface; // one pixel
    STBGraphicsInterface* _graphics;
    UIScale _scale;
};
