#pragma once

#include "platform/linux/firmware/FlashPlain.h"

namespace lumo {

// A regular file as flash.
class FlashFile : public FlashPlain {
public:
    // Opens target.path, which is created with its missing parent folders (mode 0600, folders 0700), and
    // extended with zeros when it is shorter than target.size; a longer one keeps its rest. Symbolic links
    // and anything that is not a regular file are refused. Throws FlashError.
    explicit FlashFile(const FlashTarget& target);
};

} // namespace lumo
