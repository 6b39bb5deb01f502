#pragma once

#include "platform/linux/device/Config.h"

namespace lumo {

// This process's configuration, read once on first use. Throws ConfigError, the same one each time; whoever catches
// it first logs it. Any thread.
const Config& deviceConfig();

// Replaces the configuration from now on. For tests.
void setDeviceConfigForTests(const Config& config);

} // namespace lumo
