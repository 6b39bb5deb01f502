#pragma once

#include <memory>
#include <utility>

#include "src/ui/system/Image.h"
#include "src/ui/system/UIRect.h"

// A part of an image: a cell of a sheet, for one. A plain value.
class Icon {
public:
    Icon() = default; // no image

    Icon(std::shared_ptr<Image> image, const UIRect& clipRect)
        : _image(std::move(image)), _clipRect(clipRect) {}

    const std::shared_ptr<Image>& getImage() const { return _image; }

    const UIRect& getClipRect() const { return _clipRect; }

private:
    std::shared_ptr<Image> _image;
    UIRect _clipRect;
};
