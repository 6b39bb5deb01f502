#pragma once

#include "platform/linux/device/Config.h"

namespace lumo {

// This process's configuration, read once on first use. Throws ConfigError, with the same text each time. Any
// thread. References stay valid until the process ends.
const Config& deviceConfig();

// The same for callers that go on without one: null when it cannot be used. The first of these calls that
// fails logs the reason, so that it is said once. Any thread.
const Config* usableDeviceConfig();

// The same for the logger, which must not log: null when the configuration cannot be used, or when this very
// thread is reading it at the moment.
const Config* deviceConfigForLog();

// Replaces the configuration from now on, also one that cannot be used. For tests.
void setDeviceConfigForTests(const Config& config);

} // namespace lumo
