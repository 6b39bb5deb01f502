#include "tests/support/XServer.h"

#include <X11/Xlib.h>
#include <X11/Xutil.h>

#include <stdexcept>

namespace support {

namespace {

Program xvfb(int width, int height) {
    const std::string screen = std::to_string(width) + "x" + std::to_string(height) + "x24";
    return {{"Xvfb", "-displayfd", "1", "-screen", "0", screen, "-nolisten", "tcp"}, {}, "", 60};
}

} // namespace

bool XServer::available() {
    return run({{"sh", "-c", "command -v Xvfb"}, {}, "", 60}).exitCode == 0;
}

XServer::XServer(int width, int height) : _server(xvfb(width, height)) {
    // Its number, perhaps after complaints.
    std::string number = _server.line();
    while (number.find_first_not_of("0123456789") != std::string::npos) {
        number = _server.line();
    }
    _name = ":" + number;
    _connection = ::XOpenDisplay(_name.c_str());
    if (_connection == nullptr) {
        throw std::runtime_error("no X server at " + _name);
    }
}

XServer::~XServer() {
    ::XCloseDisplay(_connection);
}

std::uint32_t XServer::pixel(int x, int y) const {
    XImage* const image =
        ::XGetImage(_connection, DefaultRootWindow(_connection), x, y, 1, 1, AllPlanes, ZPixmap);
    const unsigned long pixel = XGetPixel(image, 0, 0);
    XDestroyImage(image);
    return static_cast<std::uint32_t>(pixel & 0xFFFFFF);
}

void XServer::closeWindows() const {
    Window root = 0;
    Window parent = 0;
    Window* windows = nullptr;
    unsigned count = 0;
    ::XQueryTree(_connection, DefaultRootWindow(_connection), &root, &parent, &windows, &count);
    for (unsigned i = 0; i < count; ++i) {
        XEvent event{};
        event.xclient.type = ClientMessage;
        event.xclient.window = windows[i];
        event.xclient.message_type = ::XInternAtom(_connection, "WM_PROTOCOLS", False);
        event.xclient.format = 32;
        event.xclient.data.l[0] = static_cast<long>(::XInternAtom(_connection, "WM_DELETE_WINDOW", False));
        ::XSendEvent(_connection, windows[i], False, NoEventMask, &event);
    }
    ::XFree(windows);
    ::XFlush(_connection);
}

} // namespace support
