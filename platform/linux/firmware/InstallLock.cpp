#include "platform/linux/firmware/InstallLock.h"

#include <fcntl.h>
#include <sys/file.h>

#include <cerrno>
#include <system_error>

#include "platform/linux/device/Files.h"

namespace lumo {

std::optional<InstallLock> InstallLock::tryTake(const std::string& stateDir) {
    ensureDirectory(stateDir);
    const std::string path = stateDir + "/update.lock";
    UniqueFd fd = openFile(path, O_RDWR | O_CREAT | O_NOFOLLOW, 0600);
    if (!fd) {
        throw std::system_error(errno, std::generic_category(), "cannot open the lock file " + path);
    }
    while (flock(fd.get(), LOCK_EX | LOCK_NB) != 0) {
        if (errno == EWOULDBLOCK) {
            return std::nullopt;
        }
        if (errno != EINTR) {
            throw std::system_error(errno, std::generic_category(), "cannot lock " + path);
        }
    }
    return InstallLock(std::move(fd));
}

} // namespace lumo
