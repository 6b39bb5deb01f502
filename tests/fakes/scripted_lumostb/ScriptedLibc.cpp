#include <sys/reboot.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>

#include "tests/fakes/scripted_lumostb/Scenario.h"

using scripted::record;
using scripted::scenario;

// The dynamic linker finds these before those of libc: a program under test neither waits nor reboots the
// machine.

unsigned int sleep(unsigned int seconds) {
    static std::atomic<int> count = 0;
    record("sleep(" + std::to_string(seconds) + ")");
    ++count;
    if (count == scenario().value("endAfterSleeps", 0)) {
        _exit(77);
    }
    if (count == 1 && scenario().contains("interruptSleep")) {
        errno = EINTR;
        return scenario().at("interruptSleep");
    }
    return 0;
}

int reboot(int command) noexcept {
    char text[32];
    std::snprintf(text, sizeof text, "reboot(0x%x)", static_cast<unsigned>(command));
    record(text);
    errno = EPERM;
    return -1;
}
