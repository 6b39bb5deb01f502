#pragma once

#include <SDL.h>

#include <string>

#include "platform/linux/graphics/Output.h"

namespace lumo {

// A window of the desktop's display server, or the whole screen without one (KMS), through SDL. All of SDL is
// used on the render thread alone. One object at a time.
class OutputSdl final : public Output {
public:
    enum class Kind { Window, Kms };

    // size: of the window; for the screen the mode to look for, its current one being taken when it has none
    // of that size.
    OutputSdl(Kind kind, Size size);
    ~OutputSdl() override;

    void open() override;
    void close() override;
    void makeContext() override;
    void dropContext() override;
    Shown present() override;
    bool attend() override;

    int damage() const override { return _damage; }

    Size size() const override { return _size; }

    std::set<int> rates() const override { return _rates; }

    void setRate(int rate) override;

private:
    void openWindow();
    void openScreen();
    void createWindow(int x, int y, Size size, unsigned flags);
    std::set<int> ratesOf(Size size) const;

    const Kind _kind;
    const Size _wanted;
    Size _size;
    std::set<int> _rates;
    int _rate = 0; // that the screen was told to have
    SDL_Window* _window = nullptr;
    SDL_GLContext _context = nullptr;
    int _damage = 0;
    bool _closed = false; // somebody closed the window
};

} // namespace lumo
