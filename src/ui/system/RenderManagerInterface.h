#pragma once

#include <memory>
#include <string>

#include "src/ui/system/UIRect.h"
#include "src/ui/system/UIScale.h"
#include "src/ui/system/UITextAlign.h"

class Animation;
class Image;
class TTF_Font;

// Draws a screen. A frame is clearSurface(), blocks with drawing calls in them, and displayOnScreen().
// Colours are words 0xAARRGGBB, not premultiplied; coordinates are pixels of the screen. Failures are logged,
// never reported. The thread that draws the screen. The slots stand in a fixed order.
class RenderManagerInterface {
public:
    RenderManagerInterface() = default;
    virtual ~RenderManagerInterface() = default;
    RenderManagerInterface(const RenderManagerInterface&) = delete;
    RenderManagerInterface& operator=(const RenderManagerInterface&) = delete;

    // Opens a block within the current one. id: the caller's own pointer by which the block is found again in
    // the next frame; null will do for blocks that stand in the same order each time. cached: what the block
    // held the last time is wanted again. recreate: nothing is to be kept of an earlier block. rect: what the
    // block is clipped to; 0 by 0 does not clip. True: the earlier content is shown again, and nothing may be
    // drawn. False: draw it.
    virtual bool beginBlock(void* id, bool cached, bool recreate, UIRect rect) = 0;
    // Closes the innermost open block.
    virtual void endBlock() = 0;
    // Asks that the current block be kept as a bitmap.
    virtual void needBlockBitmapCache() = 0;
    // Attaches an animation to the current block.
    virtual void applyBlockAnimation(std::shared_ptr<Animation> animation) = 0;
    // Attaches an animation to a block that is not drawn in this frame, and keeps it on the screen until
    // the animation is complete.
    virtual void applyHiddenBlockAnimation(void* id, std::shared_ptr<Animation> animation) = 0;
    virtual void setAnimationEnabled(bool enabled) = 0;
    virtual bool isAnimationEnabled() const = 0;
    // Scales the whole output about the scale's pivot.
    virtual void setScale(const UIScale& scale) = 0;
    virtual UIScale getScale() const = 0;
    // Scales the current block about the pivot of that rectangle.
    virtual void applyBlockScale(const UIRect& rect, const UIScale& scale) = 0;
    // Presents the finished frame.
    virtual void displayOnScreen() = 0;
    virtual void clearSurface() = 0;
    virtual void fillRect(const UIRect& rect, unsigned int colour) = 0;
    // One line of UTF-8 text, aligned inside rect. outlineColour: of the font's stroke, when it has one.
    // suffix: for renderers that end a text with it where the text has to be cut.
    virtual void drawTextLine(const UIRect& rect, unsigned int colour, unsigned int outlineColour,
                              std::shared_ptr<TTF_Font> font, const std::string& text,
                              UITextHorizontalAlign horizontalAlign, UITextVerticalAlign verticalAlign,
                              const std::string& suffix) = 0;
    // Draws the src part of an image, 0 by 0 for all of it, stretched over dst.
    virtual void drawImage(const UIRect& dst, const UIRect& src, std::shared_ptr<Image> image) = 0;
    // What is on the screen; empty when that cannot be told.
    virtual std::shared_ptr<Image> makeScreenshot() = 0;
};
