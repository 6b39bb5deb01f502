#pragma once

struct STBBlitRequest;
class STBDecodePixelFormatter;
class STBGraphicsGlEs20Interface;
class STBSurfaceInterface;

// The device's graphics service. Owned by STBResourseHolder. Main thread.
class STBGraphicsInterface {
public:
    // Waits until earlier blits are finished, so that pixels may be touched directly.
    virtual void sync() = 0;
    // The layout that surfaces for the output should have, an STBPixelFormat.
    virtual int getOutputPixelFormat() const = 0;
    // A new surface of that many pixels, all transparent black, owned by the caller. pixelFormat: the
    // output's, or STB_PIXEL_ALPHA8 for a source of coverage. Null when the device has no such surfaces, for
    // a side of 0 or of more than 32767 pixels, and when there is no memory.
    virtual STBSurfaceInterface* createSurface(unsigned short width, unsigned short height,
                                               int pixelFormat) = 0;
    // Carries out one blit, which is clipped to the destination. 0 when done; another value, nothing drawn,
    // when the request cannot be carried out: a surface that is missing or not of this service, a size below
    // 1, a source rectangle that is not on its surface, an unknown mode.
    virtual int blit(const STBBlitRequest& request) = 0;
    // The OpenGL ES 2.0 service; null when the device has none.
    virtual STBGraphicsGlEs20Interface* getGlEs20() = 0;
    // What STBBitmap::decodeImageBuffer() is to be given. Never null.
    virtual STBDecodePixelFormatter* getDecodePixelFormatter() = 0;

protected:
    ~STBGraphicsInterface() = default;
};
