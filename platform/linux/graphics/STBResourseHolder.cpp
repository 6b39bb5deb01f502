#include "platform/STBResourseHolder.h"

#include <exception>
#include <memory>
#include <utility>

#include "platform/linux/device/Device.h"
#include "platform/linux/device/Log.h"
#include "platform/linux/device/SysfsLeds.h"
#include "platform/linux/graphics/Display.h"
#include "platform/linux/graphics/FrameKeeper.h"
#include "platform/linux/graphics/GlEs20Service.h"
#include "platform/linux/graphics/GraphicsService.h"
#include "platform/linux/graphics/Outputs.h"

#define LUMO_LOG_FILE "platform/linux/graphics/STBResourseHolder"

namespace lumo {

namespace {

// Everything that a display brings with it, from initialize() to uninitialize().
class Screen {
public:
    Screen(std::unique_ptr<Output> output, std::unique_ptr<FrameKeeper> keeper)
        : _glEs20(std::move(output), std::move(keeper)), _graphics(&_glEs20), _display(_glEs20) {}

    STBDisplay& display() { return _display; }

    STBGraphicsInterface& graphics() { return _graphics; }

private:
    GlEs20Service _glEs20;
    GraphicsService _graphics;
    Display _display;
};

// Never destroyed at the end of the process: the render thread may still be drawing then.
std::unique_ptr<Screen>& screen() {
    static auto* const instance = new std::unique_ptr<Screen>;
    return *instance;
}

bool bringUpScreen(const DisplayConfig& config) {
    try {
        std::unique_ptr<FrameKeeper> keeper;
        if (!config.frames.empty()) {
            keeper = std::make_unique<FrameKeeper>(config.frames);
        }
        screen() = std::make_unique<Screen>(makeOutput(config), std::move(keeper));
        return true;
    } catch (const std::exception& error) {
        LUMO_LOG(LogError, "No display: %s", error.what());
        return false;
    }
}

} // namespace

} // namespace lumo

STBPlatformSettings STBResourseHolder::getDefaultPlatformSettings() {
    return {};
}

bool STBResourseHolder::initialize(const STBPlatformSettings& settings) {
    const lumo::Config* const config = lumo::usableDeviceConfig();
    if (config == nullptr) {
        return false;
    }
    if (config->display.backend == "none") {
        LUMO_LOG(lumo::LogWarning, "No display: the configuration's display.backend is \"none\"");
        return false;
    }
    if (!settings.graphics && !settings.videoOutput) {
        LUMO_LOG(lumo::LogInfo, "Device %s is up, without a display", config->deviceId.c_str());
        return true;
    }
    if (!lumo::screen() && !lumo::bringUpScreen(config->display)) {
        return false;
    }
    LUMO_LOG(lumo::LogInfo, "Device %s is up, with the display \"%s\"", config->deviceId.c_str(),
             config->display.backend.c_str());
    return true;
}

void STBResourseHolder::uninitialize() {
    lumo::screen().reset();
}

STBLeds* STBResourseHolder::getSTBLeds() {
    static lumo::SysfsLeds* const leds = [] {
        const lumo::Config* const config = lumo::usableDeviceConfig();
        return new lumo::SysfsLeds(config == nullptr ? std::map<int, std::string>() : config->leds);
    }();
    return leds;
}

STBDisplay* STBResourseHolder::getSTBDisplay() {
    return lumo::screen() ? &lumo::screen()->display() : nullptr;
}

STBGraphicsInterface* STBResourseHolder::getSTBGraphics() {
    return lumo::screen() ? &lumo::screen()->graphics() : nullptr;
}
