#include "platform/linux/firmware/FlashBlock.h"

#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>

#include <cerrno>

#include "platform/linux/device/Files.h"
#include "platform/linux/firmware/FlashIo.h"

namespace lumo {

namespace {

constexpr auto Open = FlashError::Operation::Open;

bool isReadOnly(const std::string& path) {
    const UniqueFd fd = openFile(path, O_RDONLY | O_NONBLOCK);
    int readOnly = 0;
    return fd && ::ioctl(fd.get(), BLKROGET, &readOnly) == 0 && readOnly != 0;
}

UniqueFd openAlone(const std::string& path) {
    // Asked first: opening a read-only device for writing is refused by some kernels, with a misleading
    // cause, and not by others.
    if (isReadOnly(path)) {
        throw flashError(Open, path, "the device is read-only");
    }
    UniqueFd fd = openFile(path, O_RDWR | O_EXCL);
    if (!fd) {
        throw flashError(Open, path,
                         errno == EBUSY ? "it is in use (mounted, swapped to, or part of another device)"
                                        : errorText(errno));
    }

    struct stat status {};

    if (::fstat(fd.get(), &status) != 0 || !S_ISBLK(status.st_mode)) {
        throw flashError(Open, path, "it is not a block device");
    }
    return fd;
}

std::uint64_t sizeOf(const UniqueFd& fd, const std::string& path) {
    std::uint64_t size = 0;
    if (::ioctl(fd.get(), BLKGETSIZE64, &size) != 0) {
        throw flashError(FlashError::Operation::Query, path, errorText(errno));
    }
    if (size == 0) {
        throw flashError(Open, path, "the device has no medium");
    }
    return size;
}

} // namespace

FlashBlock::FlashBlock(const FlashTarget& target) : FlashBlock(target, openAlone(target.path)) {}

FlashBlock::FlashBlock(const FlashTarget& target, UniqueFd&& fd)
    : FlashPlain(target.path, std::move(fd), sizeOf(fd, target.path), target.eraseSize) {}

} // namespace lumo
