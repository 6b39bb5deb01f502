#include "platform/linux/firmware/FlashIo.h"

#include <system_error>

#include "platform/linux/device/Text.h"

namespace lumo {

namespace {

const char* verbFor(FlashError::Operation operation) {
    switch (operation) {
    case FlashError::Operation::Open:
        return "open";
    case FlashError::Operation::Query:
        return "query";
    case FlashError::Operation::Read:
        return "read";
    case FlashError::Operation::Erase:
        return "erase";
    case FlashError::Operation::Write:
        return "write";
    case FlashError::Operation::Sync:
        return "flush";
    }
    return "use";
}

} // namespace

FlashError flashError(FlashError::Operation operation, const std::string& name, const std::string& cause) {
    return {operation, std::string("cannot ") + verbFor(operation) + " " + visibleText(name) + ": " + cause};
}

FlashError flashError(FlashError::Operation operation, const std::string& name, std::uint64_t offset,
                      std::uint64_t length, const std::string& cause) {
    return {operation, std::string("cannot ") + verbFor(operation) + " " + std::to_string(length) +
                           " bytes at " + std::to_string(offset) + " of " + visibleText(name) + ": " + cause};
}

std::string errorText(int error) {
    return std::generic_category().message(error);
}

void checkRange(FlashError::Operation operation, const FlashDevice& device, std::uint64_t offset,
                std::uint64_t length) {
    if (offset > device.size() || length > device.size() - offset) {
        throw flashError(operation, device.name(), offset, length,
                         "beyond its end at " + std::to_string(device.size()));
    }
}

void checkEraseRange(const FlashDevice& device, std::uint64_t offset, std::uint64_t length) {
    checkRange(FlashError::Operation::Erase, device, offset, length);
    const bool toTheEnd = offset + length == device.size();
    if (offset % device.eraseSize() != 0 || (length % device.eraseSize() != 0 && !toTheEnd)) {
        throw flashError(FlashError::Operation::Erase, device.name(), offset, length,
                         "not whole erase blocks of " + std::to_string(device.eraseSize()) + " bytes");
    }
}

} // namespace lumo
