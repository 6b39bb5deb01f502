#include "bench/SdlScreen.h"

#include <SDL.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

SdlScreen::SdlScreen(int width, int height) {
    setenv("SDL_VIDEODRIVER", "offscreen", 1);
    SDL_SetHint(SDL_HINT_RENDER_DRIVER, "opengles2");
    SDL_SetHint(SDL_HINT_RENDER_SCALE_QUALITY, "linear");
    SDL_Init(SDL_INIT_VIDEO);
    _window = SDL_CreateWindow("", 0, 0, width, height, SDL_WINDOW_OPENGL);
    _renderer = SDL_CreateRenderer(_window, -1, SDL_RENDERER_ACCELERATED);
    SDL_RendererInfo info{};
    if (_renderer == nullptr || SDL_GetRendererInfo(_renderer, &info) != 0 ||
        std::strcmp(info.name, "opengles2") != 0) {
        std::fprintf(stderr, "SDL: no opengles2 renderer: %s\n", SDL_GetError());
        std::exit(1);
    }
    _finish = reinterpret_cast<void (*)()>(SDL_GL_GetProcAddress("glFinish"));
}

SdlScreen::~SdlScreen() {
    SDL_DestroyRenderer(_renderer);
    SDL_DestroyWindow(_window);
    SDL_Quit();
}

void SdlScreen::addText(int x, int y, int width, int height, const std::vector<std::uint8_t>& coverage) {
    std::vector<std::uint32_t> pixels;
    for (const std::uint8_t alpha : coverage) {
        pixels.push_back(0x00FFFFFFU | static_cast<std::uint32_t>(alpha) << 24U);
    }
    SDL_Texture* texture =
        SDL_CreateTexture(_renderer, SDL_PIXELFORMAT_ARGB8888, SDL_TEXTUREACCESS_STATIC, width, height);
    SDL_SetTextureBlendMode(texture, SDL_BLENDMODE_BLEND);
    SDL_UpdateTexture(texture, nullptr, pixels.data(), width * 4);
    _texts.push_back({texture, x, y, width, height});
}

void SdlScreen::frame(unsigned int colour, int barX, int barY, int barWidth, int barHeight) {
    const auto red = static_cast<std::uint8_t>(colour >> 16U);
    const auto green = static_cast<std::uint8_t>(colour >> 8U);
    const auto blue = static_cast<std::uint8_t>(colour);
    SDL_SetRenderDrawColor(_renderer, 0, 0, 0, 0);
    SDL_RenderClear(_renderer);
    for (const Text& text : _texts) {
        const SDL_Rect place{text.x, text.y, text.width, text.height};
        SDL_SetTextureColorMod(text.texture, red, green, blue);
        SDL_RenderCopy(_renderer, text.texture, nullptr, &place);
    }
    const SDL_Rect bar{barX, barY, barWidth, barHeight};
    SDL_SetRenderDrawBlendMode(_renderer, SDL_BLENDMODE_BLEND);
    SDL_SetRenderDrawColor(_renderer, red, green, blue, 255);
    SDL_RenderFillRect(_renderer, &bar);
    SDL_RenderFlush(_renderer);
    _finish();
}
