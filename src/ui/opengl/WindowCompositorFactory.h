#pragma once

class WindowCompositorInterface;

// Makes window compositors. Render thread.
class WindowCompositorFactory {
public:
    // A new one, owned by the caller, for a screen of that many pixels; null when there can be none.
    virtual WindowCompositorInterface* create(int width, int height) = 0;

    WindowCompositorFactory() = default;
    virtual ~WindowCompositorFactory() = default;
    WindowCompositorFactory(const WindowCompositorFactory&) = delete;
    WindowCompositorFactory& operator=(const WindowCompositorFactory&) = delete;
};
