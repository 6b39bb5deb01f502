#pragma once

#include "platform/STBMacAddr.h"

// Facts about the device.
class STBUtils {
public:
    // The address by which the device is known to the server: that of the interface of the default route,
    // unless the configuration names one. All zero when there is none. Any thread.
    static STBMacAddr getMainMacAddress();

    STBUtils() = delete;
};
