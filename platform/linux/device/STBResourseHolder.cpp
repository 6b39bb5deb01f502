#include "platform/STBResourseHolder.h"

#include "platform/linux/device/Device.h"
#include "platform/linux/device/Log.h"
#include "platform/linux/device/SysfsLeds.h"

#define LUMO_LOG_FILE "platform/linux/device/STBResourseHolder"

STBPlatformSettings STBResourseHolder::getDefaultPlatformSettings() {
    return {};
}

bool STBResourseHolder::initialize(const STBPlatformSettings&) {
    const lumo::Config* const config = lumo::usableDeviceConfig();
    if (config == nullptr) {
        return false;
    }
    if (config->display.backend == "none") {
        LUMO_LOG(lumo::LogWarning, "No display: the configuration's display.backend is \"none\"");
        return false;
    }
    LUMO_LOG(lumo::LogInfo, "Device %s is up, without a display", config->deviceId.c_str());
    return true;
}

void STBResourseHolder::uninitialize() {
    // The LEDs, which are all there is, need no release.
}

STBLeds* STBResourseHolder::getSTBLeds() {
    static lumo::SysfsLeds* const leds = [] {
        const lumo::Config* const config = lumo::usableDeviceConfig();
        return new lumo::SysfsLeds(config == nullptr ? std::map<int, std::string>() : config->leds);
    }();
    return leds;
}

STBDisplay* STBResourseHolder::getSTBDisplay() {
    return nullptr;
}

STBGraphicsInterface* STBResourseHolder::getSTBGraphics() {
    return nullptr;
}
