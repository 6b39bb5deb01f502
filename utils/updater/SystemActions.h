#pragma once

namespace updater {

// What the command does to time and to the machine.
class SystemActions {
public:
    SystemActions() = default;
    virtual ~SystemActions() = default;
    SystemActions(const SystemActions&) = delete;
    SystemActions& operator=(const SystemActions&) = delete;

    // Sleeps on the calling thread for that many whole seconds, signals notwithstanding.
    virtual void waitSeconds(unsigned seconds) = 0;
    // Restarts the machine at once: nothing is synced and no process is asked. Returns only when the kernel
    // refuses.
    virtual void reboot() = 0;
};

} // namespace updater
