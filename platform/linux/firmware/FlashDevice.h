#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>

#include "platform/linux/device/Config.h"

namespace lumo {

// A failure of the flash itself. The text names the device, the operation, the place and the cause.
class FlashError : public std::runtime_error {
public:
    enum class Operation { Open, Query, Read, Erase, Write, Sync };

    FlashError(Operation operation, const std::string& text, std::optional<std::uint64_t> wornBlock = {})
        : std::runtime_error(text), _operation(operation), _wornBlock(wornBlock) {}

    Operation operation() const { return _operation; }

    // Where the erase block begins that could not be erased or programmed, if it can be set aside for it with
    // FlashDevice::retire().
    std::optional<std::uint64_t> wornBlock() const { return _wornBlock; }

private:
    Operation _operation;
    std::optional<std::uint64_t> _wornBlock;
};

// One opened destination of the flash map, as a run of bytes without holes: on NAND, bad blocks are left out
// and everything after them moves down. Offsets and lengths are in bytes from its start. Every operation does
// all it was asked to or throws FlashError. Used by one thread at a time; the destructor releases the device
// without syncing.
class FlashDevice {
public:
    virtual ~FlashDevice() = default;

    // What messages call it: the path.
    virtual const std::string& name() const = 0;
    // Usable bytes. Not more than that can be read or written. Shrinks with retire() only.
    virtual std::uint64_t size() const = 0;
    // The unit in which content is compared, erased and rewritten; at least 1, size() need not be a multiple.
    virtual std::uint32_t eraseSize() const = 0;

    virtual void read(std::uint64_t offset, std::span<std::byte> bytes) = 0;
    // Prepares whole erase blocks for writing: offset is a multiple of eraseSize(), and so is length unless
    // it reaches the end. On media that need no erasing it changes nothing.
    virtual void erase(std::uint64_t offset, std::uint64_t length) = 0;
    // Writes bytes into erased space. offset is a multiple of eraseSize(), or the end of the write before it
    // if that was whole pages. The rest of a last, incomplete page is filled with 0xFF.
    virtual void write(std::uint64_t offset, std::span<const std::byte> bytes) = 0;
    // Returns when everything written is on the medium, and makes later reads come from there where the
    // kernel allows it.
    virtual void sync() = 0;
    // Sets a worn erase block aside for ever, as FlashError::wornBlock() named it. Everything from there on
    // then lies on the next blocks: what is read there is something else than before, and has to be erased
    // before it is written. Throws FlashError, nothing set aside, when no block behind it works either.
    virtual void retire(std::uint64_t wornBlock);
};

// Opens a destination for reading and writing with the implementation that fits what is there: an MTD
// character device, a block device, or a regular file (which is created, and extended to its configured size,
// when missing or short). Throws FlashError.
std::unique_ptr<FlashDevice> openFlash(const FlashTarget& target);

} // namespace lumo
