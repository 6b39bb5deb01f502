#pragma once

#include "platform/linux/firmware/FlashPlain.h"

namespace lumo {

// A block device (eMMC, SD card, USB or hard disk, a partition of one) as flash.
class FlashBlock : public FlashPlain {
public:
    // Opens it for this object alone: a device that is mounted, swapped to or otherwise taken is refused, and
    // cannot be mounted meanwhile. Refuses devices that are read-only or without a medium. Throws FlashError.
    explicit FlashBlock(const FlashTarget& target);

private:
    FlashBlock(const FlashTarget& target, UniqueFd&& fd);
};

} // namespace lumo
