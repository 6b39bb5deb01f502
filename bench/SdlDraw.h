#pragma once

#include <cstdint>
#include <string>
#include <vector>

struct SDL_Renderer;
struct SDL_Surface;
struct SDL_Texture;
struct _TTF_Font;

// What SDL draws into a surface of words 0xAARRGGBB in memory. Its names meet ours, so it stays behind this.
class SdlDraw {
public:
    SdlDraw(int width, int height, const char* fontPath, int fontHeightPx);
    ~SdlDraw();
    SdlDraw(const SdlDraw&) = delete;
    SdlDraw& operator=(const SdlDraw&) = delete;

    void clear();
    // What blit() and stretch() draw: width * height words. Once.
    void setPicture(int width, int height, std::vector<std::uint32_t> words);

    // TTF_RenderUTF8_Blended and SDL_BlitSurface.
    void drawLine(int x, int y, std::uint32_t colour, const std::string& text);
    // SDL_FillRect, from the upper left corner.
    void fillOpaque(int width, int height, std::uint32_t colour);
    // SDL_RenderFillRect of the software renderer, blending.
    void fillBlended(int width, int height, std::uint32_t colour);
    // SDL_BlitSurface of the picture, blending.
    void blit();
    // SDL_RenderCopy of the software renderer over the whole surface, blending and interpolating.
    void stretch();

private:
    int _width;
    int _height;
    SDL_Surface* _surface;
    SDL_Renderer* _renderer;
    _TTF_Font* _font;
    std::vector<std::uint32_t> _words;
    SDL_Surface* _picture = nullptr;
    SDL_Texture* _texture = nullptr;
};
