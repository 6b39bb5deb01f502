#pragma once

#include "platform/linux/device/UniqueFd.h"
#include "platform/linux/firmware/FlashDevice.h"

namespace lumo {

// A destination that takes any bytes at any place without erasing: what block devices and regular files have
// in common. Reads and writes are one pread or pwrite each. Writing goes at the pace of the medium, but for a
// few MiB, so that progress is not over long before sync() is.
class FlashPlain : public FlashDevice {
public:
    const std::string& name() const override { return _name; }

    std::uint64_t size() const override { return _size; }

    std::uint32_t eraseSize() const override { return _eraseSize; }

    void read(std::uint64_t offset, std::span<std::byte> bytes) override;
    void erase(std::uint64_t offset, std::uint64_t length) override;
    void write(std::uint64_t offset, std::span<const std::byte> bytes) override;
    // Also drops what the kernel caches of it, so that what is read next is what the medium holds: after a
    // failure to write, the kernel takes its own copy for written.
    void sync() override;

protected:
    // eraseSize 0: the default.
    FlashPlain(std::string name, UniqueFd&& fd, std::uint64_t size, std::uint32_t eraseSize);

private:
    void flushWritten();

    const std::string _name;
    const UniqueFd _fd;
    const std::uint64_t _size;
    const std::uint32_t _eraseSize;

    struct Run {
        std::uint64_t begin = 0;
        std::uint64_t end = 0;
    };

    // What the kernel was told to write back, and what was written since.
    Run _onTheWay;
    Run _written;
};

} // namespace lumo
