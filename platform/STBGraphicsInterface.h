#pragma once

struct STBBlitRequest;
class STBGraphicsGlEs20Interface;
class STBSurfaceInterface;

// The device's graphics service. Owned by STBResourseHolder. Main thread.
class STBGraphicsInterface {
public:
    // Waits until earlier blits are finished, so that pixels may be touched directly.
    virtual void sync() = 0;
    // The layout that surfaces for the output should have, an STBPixelFormat.
    virtual int getOutputPixelFormat() const = 0;
    // A new surface of that many pixels, all transparent black, owned by the caller; null when there is no
    // memory.
    virtual STBSurfaceInterface* createSurface(unsigned short width, unsigned short height,
                                               int pixelFormat) = 0;
    // Carries out one blit. 0 when done; another value when the request cannot be carried out, nothing drawn.
    virtual int blit(const STBBlitRequest& request) = 0;
    // The OpenGL ES 2.0 service; null when the device has none.
    virtual STBGraphicsGlEs20Interface* getGlEs20() = 0;

protected:
    ~STBGraphicsInterface() = default;
};
