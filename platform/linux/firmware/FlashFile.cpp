#include "platform/linux/firmware/FlashFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

#include "platform/linux/device/Files.h"
#include "platform/linux/firmware/FlashIo.h"

namespace lumo {

namespace {

constexpr auto Open = FlashError::Operation::Open;
// O_NONBLOCK has no effect on regular files; should the path become a pipe meanwhile, nobody waits for its
// other end.
constexpr int existing = O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY;

UniqueFd create(const std::string& path) {
    const std::string folder = parentDirectory(path);
    ensureDirectory(folder);
    UniqueFd fd = openFile(path, existing | O_CREAT | O_EXCL, 0600);
    if (fd) {
        syncDirectory(folder);
    }
    return fd;
}

// Looked at before it is opened: opening some devices (a watchdog, a tape) already does something.
void checkKind(const std::string& path) {
    struct stat status {};

    if (::lstat(path.c_str(), &status) == 0 && !S_ISREG(status.st_mode)) {
        throw flashError(Open, path,
                         S_ISLNK(status.st_mode) ? "it is a symbolic link" : "it is not a regular file");
    }
}

UniqueFd openOrCreate(const std::string& path) {
    checkKind(path);
    UniqueFd fd = openFile(path, existing);
    if (!fd && errno == ENOENT) {
        try {
            fd = create(path);
        } catch (const std::system_error& error) {
            throw flashError(Open, path, error.what());
        }
    }
    if (!fd) {
        throw flashError(Open, path, errorText(errno));
    }
    return fd;
}

UniqueFd openExtended(const FlashTarget& target) {
    UniqueFd fd = openOrCreate(target.path);

    struct stat status {};

    if (::fstat(fd.get(), &status) != 0) {
        throw flashError(Open, target.path, errorText(errno));
    }
    if (!S_ISREG(status.st_mode)) {
        throw flashError(Open, target.path, "it is not a regular file");
    }
    if (static_cast<std::uint64_t>(status.st_size) < target.size &&
        ::ftruncate(fd.get(), static_cast<off_t>(target.size)) != 0) {
        throw flashError(Open, target.path,
                         "extending it to " + std::to_string(target.size) +
                             " bytes failed: " + errorText(errno));
    }
    return fd;
}

} // namespace

FlashFile::FlashFile(const FlashTarget& target)
    : FlashPlain(target.path, openExtended(target), target.size, target.eraseSize) {}

} // namespace lumo
