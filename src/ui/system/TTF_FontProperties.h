#pragma once

#include <string>

class TTF_FontFace;

// Names a font: which face, how large, with how broad an outline.
struct TTF_FontProperties {
    TTF_FontProperties(const std::string& faceName, int width, int height, int outlineWidth)
        : name(faceName), widthPx(width), heightPx(height), outline(outlineWidth) {}

    // face takes no part.
    bool operator==(const TTF_FontProperties& other) const {
        return name == other.name && widthPx == other.widthPx && heightPx == other.heightPx &&
               outline == other.outline;
    }

    std::string name;             // as the face was registered
    int widthPx;                  // of a character; 0: follows from the height
    int heightPx;                 // of a line
    int outline;                  // pixels around the glyphs; 0: none
    TTF_FontFace* face = nullptr; // the font fills it in
};
