#include "platform/linux/graphics/Display.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "platform/STBPixelFormat.h"
#include "platform/STBSurfaceInterface.h"
#include "platform/linux/device/Log.h"

#define LUMO_LOG_FILE "platform/linux/graphics/Display"

namespace lumo {

namespace {

struct Mode {
    STBHDVideoFormat format;
    int width;  // pixels
    int height; // pixels
    int rate;   // pictures a second
};

// Nothing here puts out interlaced pictures.
constexpr Mode modes[] = {
    {STB_HD_720P50, 1280, 720, 50},
    {STB_HD_720P60, 1280, 720, 60},
    {STB_HD_1080P50, 1920, 1080, 50},
    {STB_HD_1080P60, 1920, 1080, 60},
};

constexpr int usualRate = 60;

int rateOf(STBHDVideoFormat format) {
    const auto* const mode =
        std::find_if(std::begin(modes), std::end(modes), [=](const Mode& m) { return m.format == format; });
    return mode == std::end(modes) ? usualRate : mode->rate;
}

} // namespace

Display::Display(GlEs20Service& service) : _service(service), _settings{} {
    _settings.hdFormat = STB_HD_720P60;
    for (const STBHDVideoFormat format : getSupportedHDFormats()) {
        if (rateOf(format) == usualRate) {
            _settings.hdFormat = format;
        }
    }
    _settings.hdEnabled = true;
    _settings.hdVisible = true;
}

std::set<STBHDVideoFormat> Display::getSupportedHDFormats() const {
    Output::Size size{};
    _service.getOutputSize(size.width, size.height);
    const std::set<int> rates = _service.rates();
    std::set<STBHDVideoFormat> formats;
    for (const Mode& mode : modes) {
        if (mode.width == size.width && mode.height == size.height && rates.count(mode.rate) != 0) {
            formats.insert(mode.format);
        }
    }
    return formats;
}

std::set<STBSDVideoFormat> Display::getSupportedSDFormats() const {
    return {};
}

STBOutputSettings Display::getOutputSettings() const {
    return _settings;
}

bool Display::setOutputSettings(const STBOutputSettings& settings) {
    if (settings.sdEnabled || settings.sdVisible) {
        LUMO_LOG(LogWarning, "The display has no SD output");
        return false;
    }
    if (settings.hdFormat != _settings.hdFormat && getSupportedHDFormats().count(settings.hdFormat) == 0) {
        LUMO_LOG(LogWarning, "The display does not support the HD format %d", settings.hdFormat);
        return false;
    }
    _settings = settings;
    _service.drive(settings.hdEnabled && settings.hdVisible, rateOf(settings.hdFormat));
    return true;
}

void Display::showSurface(STBSurfaceInterface* surface, int x, int y, int width, int height) {
    if (surface == nullptr || surface->getPixelFormat() != STB_PIXEL_ARGB8888) {
        LUMO_LOG(LogError, "Only surfaces of colours can be shown");
        return;
    }
    // 64 bits: the sums of what a caller gives may not fit into an int.
    const std::int64_t left = std::clamp<std::int64_t>(x, 0, surface->getWidth());
    const std::int64_t top = std::clamp<std::int64_t>(y, 0, surface->getHeight());
    const std::int64_t right = std::min<std::int64_t>(std::int64_t{x} + width, surface->getWidth());
    const std::int64_t bottom = std::min<std::int64_t>(std::int64_t{y} + height, surface->getHeight());
    if (left >= right || top >= bottom) {
        LUMO_LOG(LogError, "Nothing of the surface is to be shown");
        return;
    }
    Picture picture{static_cast<int>(right - left), static_cast<int>(bottom - top), {}};
    const auto row = static_cast<std::size_t>(right - left);
    picture.words.resize(row * static_cast<std::size_t>(bottom - top));
    const unsigned char* const pixels = surface->getMemoryPtr() + left * 4;
    for (std::int64_t line = top; line < bottom; ++line) {
        std::memcpy(&picture.words[row * static_cast<std::size_t>(line - top)],
                    pixels + line * surface->getPitch(), row * 4);
    }
    if (!_service.show(std::move(picture))) {
        LUMO_LOG(LogWarning, "The surface is not shown: a frame renderer draws the screen");
    }
}

} // namespace lumo
