#pragma once

#include <cstdint>
#include <string>

#include "tests/support/Running.h"

struct _XDisplay;

namespace support {

// An X server that draws into memory (Xvfb), with a screen of that size and without a window manager. It ends
// with the object, without notice to its clients.
class XServer {
public:
    // Whether there is one to start.
    static bool available();

    XServer(int width, int height);
    ~XServer();
    XServer(const XServer&) = delete;
    XServer& operator=(const XServer&) = delete;

    // What clients find in DISPLAY.
    const std::string& name() const { return _name; }

    // 0xRRGGBB as it is to be seen now.
    std::uint32_t pixel(int x, int y) const;
    // Asks all windows to close, as a window manager does when its button is pressed.
    void closeWindows() const;

private:
    Running _server;
    std::string _name;
    _XDisplay* _connection = nullptr;
};

} // namespace support
