#include "src/ui/system/Image.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <utility>
#include <vector>

#include "inc/private/CurlWrapper.h"
#include "platform/STBBitmap.h"
#include "platform/STBGraphicsInterface.h"
#include "platform/STBLogger.h"
#include "platform/STBResourseHolder.h"
#include "platform/STBSurfaceInterface.h"
#include "src/ui/system/GlTexture.h"

#define LOG(level, ...) STBLogger_log(this, "Image", level, __LINE__, "src/ui/system/Image", __VA_ARGS__)

namespace {

constexpr STBPoint largestPicture = {1920, 1080};

struct TextureFormat {
    GLenum format;
    int bytesPerPixel;
};

// What OpenGL ES is told of a bitmap; one that it cannot have has no bytes.
TextureFormat textureFormat(int pixelFormat) {
    switch (pixelFormat) {
    case STB_PIXEL_RGBA8888:
    case STB_PIXEL_RGBA8888_SCREEN:
    case STB_PIXEL_ARGB8888:
    case STB_PIXEL_RGBA8888_OPAQUE:
        return {GL_RGBA, 4};
    case STB_PIXEL_ALPHA8:
        return {GL_ALPHA, 1};
    default:
        return {0, 0};
    }
}

// The pixels of that part of the bitmap; what lies beyond it is zero.
std::vector<unsigned char> copyRows(const STBBitmap& bitmap, const UIRect& src, int bytesPerPixel) {
    const auto bytes = [=](int pixels) {
        return static_cast<std::size_t>(pixels) * static_cast<std::size_t>(bytesPerPixel);
    };
    std::vector<unsigned char> rows(bytes(src.w) * static_cast<std::size_t>(src.h));
    const std::int64_t left = std::max(src.x, 0);
    const std::int64_t right = std::min<std::int64_t>(std::int64_t{src.x} + src.w, bitmap.getWidth());
    const std::int64_t top = std::max(src.y, 0);
    const std::int64_t bottom = std::min<std::int64_t>(std::int64_t{src.y} + src.h, bitmap.getHeight());
    for (std::int64_t y = top; y < bottom && left < right; ++y) {
        const auto from =
            static_cast<std::size_t>(y) * bytes(bitmap.getWidth()) + bytes(static_cast<int>(left));
        const auto to =
            static_cast<std::size_t>(y - src.y) * bytes(src.w) + bytes(static_cast<int>(left - src.x));
        std::memcpy(&rows[to], bitmap.getMemoryPtr() + from, bytes(static_cast<int>(right - left)));
    }
    return rows;
}

// The texture of that part of the bitmap; 0 and why where there can be none.
GLuint upload(const STBBitmap& bitmap, const UIRect& src, TextureFormat texture, GLenum& error) {
    if (texture.bytesPerPixel == 0) {
        error = GL_INVALID_ENUM;
        return 0;
    }
    // Width against height is on purpose: only square pictures go up without a copy.
    if (src.x == 0 && src.y == 0 && src.w == bitmap.getHeight() && src.h == bitmap.getWidth()) {
        return makeTexture(texture.format, texture.bytesPerPixel, bitmap.getWidth(), bitmap.getHeight(),
                           bitmap.getMemoryPtr(), error);
    }
    std::vector<unsigned char> rows;
    if (fitsTexture(src.w, src.h)) {
        rows = copyRows(bitmap, src, texture.bytesPerPixel);
    }
    return makeTexture(texture.format, texture.bytesPerPixel, src.w, src.h, rows.data(), error);
}

} // namespace

Image::Coords::Coords(const UIRect& rect)
    : x(static_cast<std::uint16_t>(rect.x)),
      y(static_cast<std::uint16_t>(rect.y)),
      w(static_cast<std::uint16_t>(rect.w)),
      h(static_cast<std::uint16_t>(rect.h)) {}

Image::Image(unsigned int compressFormat, unsigned int color)
    : _compressFormat(compressFormat), _color(color) {}

Image::~Image() = default;

bool Image::load(const std::string& path) {
    LOG(4, "Loading image: %s", CurlWrapper::shownUrl(path).c_str());
    const bool isFile = path.size() >= 2 && path[0] == '/';
    const CurlWrapper::OpenResult result =
        AppCurlWrapper(nullptr, nullptr).open(isFile ? "file://" + path : path, nullptr);
    if (!result.ok()) {
        LOG(1, "Can't load image from url %s", CurlWrapper::shownUrl(path).c_str());
        return false;
    }
    return loadBuffer(reinterpret_cast<const unsigned char*>(result.data.data()),
                      static_cast<unsigned int>(result.data.size()), path);
}

bool Image::loadBuffer(const unsigned char* data, unsigned int size, const std::string& name) {
    STBGraphicsInterface* graphics = STBResourseHolder::getSTBGraphics();
    STBDecodePixelFormatter* formatter = graphics == nullptr ? nullptr : graphics->getDecodePixelFormatter();
    return loadFromBitmap(
        std::unique_ptr<STBBitmap>(STBBitmap::decodeImageBuffer(data, size, formatter, largestPicture)),
        name);
}

bool Image::loadRGBA8888(int width, int height, int stride, const unsigned char* pixels) {
    if (stride != std::int64_t{width} * 4) {
        LOG(1, "Unexpected stride value! Further behavior is undefined");
    }
    std::unique_ptr<STBBitmap> bitmap;
    if (width > 0 && height > 0 && pixels != nullptr) {
        bitmap.reset(STBBitmap::makeRGBA8888FromRawData(width, height, pixels));
    }
    return loadFromBitmap(std::move(bitmap), "RGBA8888");
}

bool Image::loadFromBitmap(std::unique_ptr<STBBitmap> bitmap, const std::string& name) {
    if (bitmap == nullptr) {
        LOG(1, "Can't decode image %s", CurlWrapper::shownUrl(name).c_str());
        return false;
    }
    if (_compressFormat != 0) {
        std::unique_ptr<STBBitmap> compressed(STBBitmap::compressBitmap(bitmap.get(), _compressFormat));
        if (compressed != nullptr) {
            bitmap = std::move(compressed);
        } else {
            LOG(2, "Image %s stays uncompressed: no format %u", CurlWrapper::shownUrl(name).c_str(),
                _compressFormat);
        }
    }
    _bitmap = std::move(bitmap);
    _blitSource.reset();
    _width = _bitmap->getWidth();
    _height = _bitmap->getHeight();
    _textures.clear();
    _path = name;
    return true;
}

void Image::loadLater(const std::string& path) {
    _path = path;
}

bool Image::isValid() {
    if (_bitmap == nullptr && !_path.empty()) {
        load(std::exchange(_path, {})); // taken out first: a failure is not tried again
    }
    return _bitmap != nullptr;
}

unsigned int Image::getTexture(int context, const UIRect& src) {
    if (context != _context) {
        _textures.clear(); // the names belong to the other context
        _context = context;
    }
    const auto known = _textures.find(Coords(src));
    if (known != _textures.end()) {
        return known->second;
    }
    if (_bitmap == nullptr) {
        return 0;
    }
    const TextureFormat format = textureFormat(_bitmap->getPixelFormat());
    GLenum error = GL_NO_ERROR;
    const GLuint texture = upload(*_bitmap, src, format, error);
    if (texture == 0) {
        LOG(1, "Failed to load bitmap to texture %dx%d  - %x", _width, _height, error);
        return 0;
    }
    LOG(4, "Texture generated for bitmap: %dx%d", _width, _height);
    _textures.emplace(src, texture);
    return texture;
}

void Image::adjustClipRect(UIRect& rect, const std::string& caller) const {
    UIRect inside = rect;
    if (inside.x > _width) {
        inside.x = 0;
    }
    if (inside.y > _height) {
        inside.y = 0;
    }
    if (std::int64_t{inside.x} + inside.w > _width) {
        inside.w = _width - inside.x;
    }
    if (std::int64_t{inside.y} + inside.h > _height) {
        inside.h = _height - inside.y;
    }
    if (inside != rect) {
        LOG(2, "Image::adjustClipRect(%s) - Rect (%s) on image '%s' is out of bound. Adjusted to  (%s)",
            caller.c_str(), rect.dump().c_str(), CurlWrapper::shownUrl(_path).c_str(), inside.dump().c_str());
        rect = inside;
    }
}

int Image::GetPixelFormat() const {
    return _bitmap == nullptr ? 0 : _bitmap->getPixelFormat();
}

unsigned int Image::getMemorySize() const {
    return _bitmap == nullptr ? 0 : _bitmap->getMemorySize();
}

void Image::keepBlitSource(std::unique_ptr<STBSurfaceInterface> surface) {
    _blitSource = std::move(surface);
}

void Image::setAnimation(unsigned int frames, unsigned int speedMsec) {
    _animationFrames = frames;
    _animationSpeedMsec = speedMsec;
}
