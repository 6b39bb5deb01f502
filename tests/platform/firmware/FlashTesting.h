#pragma once

#include <optional>
#include <string>

#include "platform/linux/firmware/FlashDevice.h"

// Verbs for tests of flash devices.

namespace lumo {

// Bytes that differ from page to page.
inline std::string pattern(std::size_t length) {
    std::string bytes(length, '\0');
    for (std::size_t i = 0; i < length; ++i) {
        bytes[i] = static_cast<char>(i * 31 + i / 512);
    }
    return bytes;
}

inline std::string get(FlashDevice& flash, std::uint64_t offset, std::uint64_t length) {
    std::string bytes(static_cast<std::size_t>(length), '\0');
    flash.read(offset, std::as_writable_bytes(std::span(bytes)));
    return bytes;
}

inline void put(FlashDevice& flash, std::uint64_t offset, const std::string& bytes) {
    flash.write(offset, std::as_bytes(std::span(bytes)));
}

// A FlashError as a value.
struct Failure {
    std::optional<FlashError::Operation> operation; // empty: nothing failed
    std::string text;
    std::optional<std::uint64_t> wornBlock;
};

template <typename Action>
Failure failureOf(const Action& action) {
    try {
        action();
    } catch (const FlashError& error) {
        return {error.operation(), error.what(), error.wornBlock()};
    }
    return {};
}

} // namespace lumo
