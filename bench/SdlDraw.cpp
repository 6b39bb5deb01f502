#include "bench/SdlDraw.h"

#include <SDL.h>
#include <SDL_ttf.h>

#include <cstdio>
#include <cstdlib>
#include <utility>

namespace {

template <typename Pointer>
Pointer checked(Pointer pointer) {
    if (pointer == nullptr) {
        std::fprintf(stderr, "SDL: %s\n", SDL_GetError());
        std::exit(1);
    }
    return pointer;
}

SDL_Color colourOf(std::uint32_t word) {
    return {static_cast<Uint8>(word >> 16), static_cast<Uint8>(word >> 8), static_cast<Uint8>(word),
            static_cast<Uint8>(word >> 24)};
}

} // namespace

SdlDraw::SdlDraw(int width, int height, const char* fontPath, int fontHeightPx)
    : _width(width), _height(height) {
    TTF_Init();
    _font = checked(TTF_OpenFont(fontPath, fontHeightPx));
    _surface = checked(SDL_CreateRGBSurfaceWithFormat(0, width, height, 32, SDL_PIXELFORMAT_ARGB8888));
    _renderer = checked(SDL_CreateSoftwareRenderer(_surface));
    clear();
}

SdlDraw::~SdlDraw() {
    SDL_DestroyRenderer(_renderer); // and its textures
    SDL_FreeSurface(_picture);
    SDL_FreeSurface(_surface);
    TTF_CloseFont(_font);
    TTF_Quit();
}

void SdlDraw::clear() {
    SDL_FillRect(_surface, nullptr, 0xFF000000U);
}

void SdlDraw::setPicture(int width, int height, std::vector<std::uint32_t> words) {
    _words = std::move(words);
    _picture = checked(SDL_CreateRGBSurfaceWithFormatFrom(_words.data(), width, height, 32, width * 4,
                                                          SDL_PIXELFORMAT_ARGB8888));
    SDL_SetSurfaceBlendMode(_picture, SDL_BLENDMODE_BLEND);
    _texture = checked(SDL_CreateTextureFromSurface(_renderer, _picture));
    SDL_SetTextureBlendMode(_texture, SDL_BLENDMODE_BLEND);
    SDL_SetTextureScaleMode(_texture, SDL_ScaleModeLinear);
}

void SdlDraw::drawLine(int x, int y, std::uint32_t colour, const std::string& text) {
    SDL_Surface* const line = TTF_RenderUTF8_Blended(_font, text.c_str(), colourOf(colour));
    SDL_Rect place = {x, y, 0, 0};
    SDL_BlitSurface(line, nullptr, _surface, &place);
    SDL_FreeSurface(line);
}

void SdlDraw::fillOpaque(int width, int height, std::uint32_t colour) {
    const SDL_Rect rect = {0, 0, width, height};
    SDL_FillRect(_surface, &rect, colour);
}

void SdlDraw::fillBlended(int width, int height, std::uint32_t colour) {
    const SDL_Rect rect = {0, 0, width, height};
    const SDL_Color parts = colourOf(colour);
    SDL_SetRenderDrawBlendMode(_renderer, SDL_BLENDMODE_BLEND);
    SDL_SetRenderDrawColor(_renderer, parts.r, parts.g, parts.b, parts.a);
    SDL_RenderFillRect(_renderer, &rect);
    SDL_RenderFlush(_renderer);
}

void SdlDraw::blit() {
    SDL_BlitSurface(_picture, nullptr, _surface, nullptr);
}

void SdlDraw::stretch() {
    SDL_RenderCopy(_renderer, _texture, nullptr, nullptr);
    SDL_RenderFlush(_renderer);
}
