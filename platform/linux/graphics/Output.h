#pragma once

#include <set>

namespace lumo {

// A place where OpenGL ES pictures become visible: what one kind of display is behind the render thread. The
// render thread makes all calls but size(), which any thread may make after open().
//
// Crosses the border of a module that is loaded at run time: nothing but virtual operations here, and
// failures are std::runtime_error, whose text says what is missing.
class Output {
public:
    struct Size {
        int width;  // pixels
        int height; // pixels
    };

    enum class Shown {
        Yes,
        ContextLost, // the context is of no use any more; a new one may be
        Gone,        // there is nothing to show pictures on any more
    };

    Output() = default;
    virtual ~Output() = default;
    Output(const Output&) = delete;
    Output& operator=(const Output&) = delete;

    // Connects to the display. Throws. May be called again after close().
    virtual void open() = 0;
    // Releases all that open() brought up. Does nothing when it is closed.
    virtual void close() = 0;

    // Makes a context of OpenGL ES 2.0 and makes it current. Throws.
    virtual void makeContext() = 0;
    // Destroys it. Does nothing without one.
    virtual void dropContext() = 0;

    // Puts the frame that was drawn on the display.
    virtual Shown present() = 0;

    // Attends to what the display has to say. False when there is no display any more.
    virtual bool attend() = 0;
    // Grows whenever what was shown has to be drawn again.
    virtual int damage() const = 0;

    virtual Size size() const = 0;
    // Pictures a second that the display can be driven with at this size, nominally.
    virtual std::set<int> rates() const = 0;
    virtual void setRate(int rate) = 0;
};

} // namespace lumo
