#pragma once

#include <cstddef>
#include <string>

#include "platform/STBPixelFormat.h"

namespace lumo {

// Pixels to be written, owned by the caller.
struct PngPixels {
    const unsigned char* firstRow; // the top one
    int width;                     // pixels
    int height;                    // pixels
    std::ptrdiff_t pitch;          // bytes from one row to the next below; negative for rows bottom up
    STBPixelFormat format;
    bool keepAlpha = true; // false: as on a screen, where nothing shows through
    bool small = false;    // compress as well as can be, which takes ten times as long
};

// Writes a PNG file: to a name beside it first, which then takes its place, so that readers never see half a
// picture. False, with a line in the log, when that fails; then no file
// is left. Any thread.
bool writePngFile(const std::string& path, const PngPixels& pixels);

} // namespace lumo
