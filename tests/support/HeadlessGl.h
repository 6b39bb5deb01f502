#pragma once

#include <cstdint>
#include <vector>

namespace support {

// An OpenGL ES 2.0 context without a window, current on the thread that made it, with a frame buffer of its
// own. Several may live at once, on one thread or on many; the one made last is current on its thread.
// Throws std::runtime_error with EGL's error where there is no such thing.
class HeadlessGl {
public:
    HeadlessGl(int width, int height);
    // On the thread where it is current, if it is.
    ~HeadlessGl();
    HeadlessGl(const HeadlessGl&) = delete;
    HeadlessGl& operator=(const HeadlessGl&) = delete;

    int width() const { return _width; }

    int height() const { return _height; }

    // The frame buffer: width * height pixels of four bytes R, G, B, A, top row first. Binds the default
    // frame buffer.
    std::vector<std::uint8_t> pixels() const;
    // One pixel of it as a colour word 0xAARRGGBB; y counts from the top.
    std::uint32_t pixel(int x, int y) const;

private:
    const int _width;
    const int _height;
    void* _display = nullptr;
    void* _context = nullptr;
    void* _surface = nullptr;
};

} // namespace support
