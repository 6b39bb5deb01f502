#include "platform/linux/firmware/FlashDevice.h"

#include <sys/stat.h>
#include <sys/sysmacros.h>

#include <cerrno>

#include "platform/linux/firmware/FlashBlock.h"
#include "platform/linux/firmware/FlashFile.h"
#include "platform/linux/firmware/FlashIo.h"
#include "platform/linux/firmware/FlashMtd.h"
#include "platform/linux/firmware/FlashPaced.h"

namespace lumo {

namespace {

// Device numbers of Linux (Documentation/admin-guide/devices.txt).
constexpr unsigned mtdCharacterMajor = 90;
constexpr unsigned mtdBlockMajor = 31;

bool isFile(const FlashTarget& target, const struct stat&) {
    return target.kind == FlashTarget::Kind::File;
}

bool isMtd(const FlashTarget&, const struct stat& status) {
    return S_ISCHR(status.st_mode) && major(status.st_rdev) == mtdCharacterMajor;
}

bool isMtdBlock(const FlashTarget&, const struct stat& status) {
    return S_ISBLK(status.st_mode) && major(status.st_rdev) == mtdBlockMajor;
}

bool isBlock(const FlashTarget&, const struct stat& status) {
    return S_ISBLK(status.st_mode);
}

std::unique_ptr<FlashDevice> openBlock(const FlashTarget& target) {
    return std::make_unique<FlashBlock>(target);
}

std::unique_ptr<FlashDevice> openFile(const FlashTarget& target) {
    auto file = std::make_unique<FlashFile>(target);
    if (target.speed == 0) {
        return file;
    }
    return std::make_unique<FlashPaced>(std::move(file), target.speed);
}

std::unique_ptr<FlashDevice> openMtdDevice(const FlashTarget& target) {
    return std::make_unique<FlashMtd>(target.path, openMtd(target.path));
}

std::unique_ptr<FlashDevice> refuseMtdBlock(const FlashTarget& target) {
    throw flashError(FlashError::Operation::Open, target.path,
                     "a block device over MTD knows no bad blocks: name the character device (/dev/mtdN)");
}

// The first that fits opens the destination.
const struct {
    bool (*fits)(const FlashTarget& target, const struct stat& status);
    std::unique_ptr<FlashDevice> (*open)(const FlashTarget& target);
} variants[] = {
    {isFile, openFile},
    {isMtd, openMtdDevice},
    {isMtdBlock, refuseMtdBlock},
    {isBlock, openBlock},
};

} // namespace

void FlashDevice::retire(std::uint64_t wornBlock) {
    throw flashError(FlashError::Operation::Erase, name(), wornBlock, eraseSize(),
                     "this kind of flash has no spare blocks");
}

std::unique_ptr<FlashDevice> openFlash(const FlashTarget& target) {
    struct stat status {};

    // Looked at before it is opened: opening some devices (a watchdog, a tape) already does something.
    if (target.kind == FlashTarget::Kind::Device && ::stat(target.path.c_str(), &status) != 0) {
        throw flashError(FlashError::Operation::Open, target.path, errorText(errno));
    }
    for (const auto& variant : variants) {
        if (variant.fits(target, status)) {
            return variant.open(target);
        }
    }
    throw flashError(FlashError::Operation::Open, target.path,
                     "it is neither an MTD character device nor a block device");
}

} // namespace lumo
