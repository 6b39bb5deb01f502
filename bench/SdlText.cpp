#include "bench/SdlText.h"

#include <SDL_ttf.h>

#include <cstdio>
#include <cstdlib>

SdlText::SdlText(const char* path, int heightPx) {
    TTF_Init();
    _font = TTF_OpenFont(path, heightPx);
    if (_font == nullptr) {
        std::fprintf(stderr, "%s: %s\n", path, TTF_GetError());
        std::exit(1);
    }
}

SdlText::~SdlText() {
    TTF_CloseFont(_font);
    TTF_Quit();
}

int SdlText::width(const std::string& text) const {
    int pixels = 0;
    TTF_SizeUTF8(_font, text.c_str(), &pixels, nullptr);
    return pixels;
}

int SdlText::countLines(const std::string& text, int widthPx) const {
    int lines = 0;
    std::size_t start = 0;
    while (start < text.size()) {
        int pixels = 0;
        int characters = 0; // bytes too: the text is ASCII
        TTF_MeasureUTF8(_font, text.c_str() + start, widthPx, &pixels, &characters);
        std::size_t end = start + static_cast<std::size_t>(characters);
        if (end < text.size()) {
            end = text.rfind(' ', end) + 1;
        }
        start = end;
        ++lines;
    }
    return lines;
}
