#pragma once

// Draws something of its own beneath the UI, such as windows of other programs. All operations are called on
// the render thread with the context current; the GL state that draw() and the others leave behind does not
// matter.
class WindowCompositorInterface {
public:
    WindowCompositorInterface() = default;
    virtual ~WindowCompositorInterface() = default;
    WindowCompositorInterface(const WindowCompositorInterface&) = delete;
    WindowCompositorInterface& operator=(const WindowCompositorInterface&) = delete;

    // Once, right after it was made.
    virtual void start() = 0;
    // Once a frame. True: the content has changed, the frame must be drawn again.
    virtual bool poll() = 0;
    // Draws the content into the cleared frame buffer, before the UI.
    virtual void draw() = 0;
    // Before it is deleted.
    virtual void stop() = 0;
};
