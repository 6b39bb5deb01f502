#pragma once

#include "utils/updater/SystemActions.h"

namespace updater {

// The real ones: sleep(3) and reboot(2).
class LinuxSystemActions : public SystemActions {
public:
    void waitSeconds(unsigned seconds) override;
    void reboot() override;
};

} // namespace updater
