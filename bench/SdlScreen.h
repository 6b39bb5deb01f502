#pragma once

#include <cstdint>
#include <vector>

struct SDL_Renderer;
struct SDL_Texture;
struct SDL_Window;

// A screen drawn by SDL2's opengles2 renderer with linear sampling, without a display.
class SdlScreen {
public:
    // Ends the program when SDL has no such renderer.
    SdlScreen(int width, int height);
    ~SdlScreen();
    SdlScreen(const SdlScreen&) = delete;
    SdlScreen& operator=(const SdlScreen&) = delete;

    // Coverage, a byte a pixel, becomes a texture that every frame draws there.
    void addText(int x, int y, int width, int height, const std::vector<std::uint8_t>& coverage);
    // Clears, draws the texts and a bar in that colour, and waits until it is drawn.
    void frame(unsigned int colour, int barX, int barY, int barWidth, int barHeight);

private:
    struct Text {
        SDL_Texture* texture;
        int x, y, width, height;
    };

    SDL_Window* _window;
    SDL_Renderer* _renderer;
    void (*_finish)();
    std::vector<Text> _texts;
};
