#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

namespace lumo {

// The system calls that an opened MTD character device answers, with their results: -1 and errno on failure.
class MtdIo {
public:
    virtual ~MtdIo() = default;

    // Requests of <mtd/mtd-user.h>.
    virtual int ioctl(unsigned long request, void* argument) = 0;
    virtual ssize_t pread(void* bytes, std::size_t length, std::uint64_t offset) = 0;
    virtual ssize_t pwrite(const void* bytes, std::size_t length, std::uint64_t offset) = 0;
    // Bytes of the device, bad blocks included. (MEMGETINFO has 32 bits for them only.)
    virtual std::int64_t size() = 0;
};

// Opens an MTD character device for reading and writing. Throws FlashError.
std::unique_ptr<MtdIo> openMtd(const std::string& path);

} // namespace lumo
