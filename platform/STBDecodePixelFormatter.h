#pragma once

#include "platform/STBPixelFormat.h"

// Decides the layout of decoded pictures. Owned by STBGraphicsInterface. Any thread.
class STBDecodePixelFormatter {
public:
    // The layout for a picture whose file says that it has colours, not only greys, and that some of it may
    // be transparent.
    virtual STBPixelFormat getDecodedFormat(bool hasColours, bool hasAlpha) const = 0;

protected:
    ~STBDecodePixelFormatter() = default;
};
