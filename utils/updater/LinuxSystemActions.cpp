#include "utils/updater/LinuxSystemActions.h"

#include <sys/reboot.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>

namespace updater {

void LinuxSystemActions::waitSeconds(unsigned seconds) {
    using std::chrono::steady_clock;
    const auto end = steady_clock::now() + std::chrono::seconds(seconds);
    while (seconds > 0) {
        errno = 0;
        // What sleep returns after a signal is cut to whole seconds, 0 too: errno alone tells, and the clock
        // the rest.
        if (::sleep(seconds) == 0 && errno != EINTR) {
            return;
        }
        const auto rest = std::chrono::ceil<std::chrono::seconds>(end - steady_clock::now());
        seconds = rest.count() > 0 ? static_cast<unsigned>(rest.count()) : 0;
    }
}

void LinuxSystemActions::reboot() {
    ::reboot(RB_AUTOBOOT);
}

} // namespace updater
