#pragma once

#include <sys/types.h>

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <string>

#include "platform/linux/firmware/FlashDevice.h"

// What the implementations of FlashDevice share: texts of errors, checks of ranges, and complete transfers.

namespace lumo {

// "cannot open /dev/mtd3: <cause>"
FlashError flashError(FlashError::Operation operation, const std::string& name, const std::string& cause);
// "cannot erase 131072 bytes at 262144 of /dev/mtd3: <cause>"
FlashError flashError(FlashError::Operation operation, const std::string& name, std::uint64_t offset,
                      std::uint64_t length, const std::string& cause);
std::string errorText(int error);

// Throw FlashError for a range that is not within the device; for one to erase also unless it is whole erase
// blocks.
void checkRange(FlashError::Operation operation, const FlashDevice& device, std::uint64_t offset,
                std::uint64_t length);
void checkEraseRange(const FlashDevice& device, std::uint64_t offset, std::uint64_t length);

// Calls transfer(done) -> bytes transferred, or -1 with errno, until length bytes are; interrupted calls are
// repeated. Throws FlashError when it fails, or reports an end before the end.
template <typename Transfer>
void transferAll(FlashError::Operation operation, const std::string& name, std::uint64_t offset,
                 std::size_t length, const Transfer& transfer) {
    std::size_t done = 0;
    while (done < length) {
        const ssize_t count = transfer(done);
        if (count > 0) {
            done += static_cast<std::size_t>(count);
        } else if (count == 0) {
            throw flashError(operation, name, offset + done, length - done, "it ends there");
        } else if (errno != EINTR) {
            throw flashError(operation, name, offset + done, length - done, errorText(errno));
        }
    }
}

} // namespace lumo
