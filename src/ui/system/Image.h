#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <tuple>

#include "src/ui/system/UIRect.h"

class STBBitmap;
class STBSurfaceInterface;

// A decoded picture, and the OpenGL ES textures cut from it. Failures to load are logged and leave the
// picture held before. Holds no lock: one that a published screen draws belongs to the rendering thread until
// that screen is gone.
class Image {
public:
    // Key of a texture: the source rectangle, cut to 16 bits each. Larger or negative rectangles fold onto
    // others.
    struct Coords {
        Coords() = default;
        explicit Coords(const UIRect& rect);

        bool operator==(const Coords& other) const = default;

        // By height and width, then by y and x.
        bool operator<(const Coords& other) const {
            return std::tie(h, w, y, x) < std::tie(other.h, other.w, other.y, other.x);
        }

        std::uint16_t x = 0;
        std::uint16_t y = 0;
        std::uint16_t w = 0;
        std::uint16_t h = 0;
    };

    // compressFormat: of STBBitmap::compressBitmap, applied to every picture loaded; 0 leaves them as they
    // are. color: tint, 0xAARRGGBB; 0 for none.
    Image(unsigned int compressFormat, unsigned int color);
    ~Image();
    Image(const Image&) = delete;
    Image& operator=(const Image&) = delete;

    // From a file (an absolute path) or URL; at most 1920 by 1080, larger pictures are scaled down.
    bool load(const std::string& path);
    // From the bytes of a PNG, a JPEG or whatever else the platform decodes. name: for messages.
    bool loadBuffer(const unsigned char* data, unsigned int size, const std::string& name);
    // From width * height * 4 bytes R, G, B, A. stride: bytes from row to row; another one than width * 4 is
    // warned of and not used.
    bool loadRGBA8888(int width, int height, int stride, const unsigned char* pixels);
    // Takes a picture that is decoded already.
    bool loadFromBitmap(std::unique_ptr<STBBitmap> bitmap, const std::string& name);
    // Loads it when isValid() is next asked and there is no picture.
    void loadLater(const std::string& path);
    // Whether there is a picture. One that was to be loaded later is tried once.
    bool isValid();

    // The texture of that part of the picture, made when first asked for in that context; 0 when there is no
    // picture or the upload fails. Never deletes textures. Rendering thread.
    unsigned int getTexture(int context, const UIRect& src);
    // Moves and cuts a source rectangle so that it lies in the picture, with a line in the log when it had
    // to. caller: for that line.
    void adjustClipRect(UIRect& rect, const std::string& caller) const;

    int getWidth() const { return _width; } // pixels, 0 without a picture

    int getHeight() const { return _height; } // pixels, 0 without a picture

    unsigned int getColor() const { return _color; }

    int GetPixelFormat() const;         // an STBPixelFormat; 0 without a picture
    unsigned int getMemorySize() const; // bytes; 0 without a picture

    // Always null: images are drawn as textures, or from their bitmap.
    STBSurfaceInterface* getSurface() const { return nullptr; }

    // Null without a picture. Good until the next load.
    const STBBitmap* getBitmap() const { return _bitmap.get(); }

    // What the software renderer draws the picture from: made by it, gone with the picture. Null until then.
    STBSurfaceInterface* getBlitSource() const { return _blitSource.get(); }

    void keepBlitSource(std::unique_ptr<STBSurfaceInterface> surface);

    // The picture is a horizontal strip of that many frames; 0 for a still one.
    void setAnimation(unsigned int frames, unsigned int speedMsec);

    unsigned int getAnimationFrames() const { return _animationFrames; }

    unsigned int getAnimationSpeedMsec() const { return _animationSpeedMsec; } // milliseconds a frame

private:
    std::map<Coords, unsigned int> _textures;
    std::unique_ptr<STBBitmap> _bitmap;
    std::unique_ptr<STBSurfaceInterface> _blitSource;
    std::string _path;
    int _context = -1;
    unsigned int _compressFormat;
    int _width = 0;
    int _height = 0;
    unsigned int _color;
    unsigned int _animationFrames = 0;
    unsigned int _animationSpeedMsec = 0;
};
