#include "platform/STBUtils.h"

#include "platform/linux/device/Device.h"
#include "platform/linux/device/MacAddress.h"

STBMacAddr STBUtils::getMainMacAddress() {
    const lumo::Config* const config = lumo::usableDeviceConfig();
    return config != nullptr && config->mac ? *config->mac : lumo::findMainMacAddress("");
}
