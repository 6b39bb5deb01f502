#pragma once

#include <optional>
#include <string>

#include "platform/linux/device/UniqueFd.h"

namespace lumo {

// The right to install, held by one process of the device at a time. The kernel takes it back when the holder
// ends, however it ends; scripts do not inherit it.
class InstallLock {
public:
    // Nothing when another process holds it. Throws std::system_error when the lock file cannot be made.
    static std::optional<InstallLock> tryTake(const std::string& stateDir);

private:
    explicit InstallLock(UniqueFd fd) : _fd(std::move(fd)) {}

    UniqueFd _fd;
};

} // namespace lumo
