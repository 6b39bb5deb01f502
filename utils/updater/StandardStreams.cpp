#include "utils/updater/StandardStreams.h"

#include <fcntl.h>
#include <unistd.h>

#include <csignal>

namespace updater {

void secureStandardStreams() {
    for (int stream = STDIN_FILENO; stream <= STDERR_FILENO; ++stream) {
        if (fcntl(stream, F_GETFD) == -1) {
            open("/dev/null", O_RDWR); // takes the lowest number that is free: this one
        }
    }

    // A handler that does nothing, not SIG_IGN: programs started later, such as a package's scripts, inherit
    // ignored signals but not handlers.
    struct sigaction action {};

    action.sa_handler = [](int) {};
    action.sa_flags = SA_RESTART;
    sigaction(SIGPIPE, &action, nullptr);
}

} // namespace updater
