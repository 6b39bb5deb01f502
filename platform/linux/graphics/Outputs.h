#pragma once

#include <memory>

#include "platform/linux/device/Config.h"
#include "platform/linux/graphics/Output.h"

namespace lumo {

// The display that the configuration asks for, not opened yet. Throws std::runtime_error, whose text names
// what is missing, when there is no such display in this installation. Main thread.
std::unique_ptr<Output> makeOutput(const DisplayConfig& config);

} // namespace lumo
