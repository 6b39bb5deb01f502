#pragma once

#include <memory>
#include <string>

struct _TTF_Font;

// What SDL_ttf makes of a text. Its names meet ours, so it stays behind this.
class SdlText {
public:
    // Ends the program when the font cannot be opened.
    SdlText(const char* path, int heightPx);
    ~SdlText();
    SdlText(const SdlText&) = delete;
    SdlText& operator=(const SdlText&) = delete;

    // TTF_SizeUTF8.
    int width(const std::string& text) const;

    // The lines of a greedy wrap at spaces: as much of the rest as TTF_MeasureUTF8 says fits, back to its
    // last space.
    int countLines(const std::string& text, int widthPx) const;

private:
    _TTF_Font* _font;
};
