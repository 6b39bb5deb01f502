#pragma once

#include <cstddef>
#include <cstdint>
#include <ctime>
#include <functional>
#include <span>
#include <string>

#include "platform/linux/device/UniqueFd.h"

namespace lumo {

// A regular file that is read from its start to its end, any number of times, and must stay as it was when it
// was opened: its size and its time of modification are compared after each time. Throws ToolError.
class InputFile {
public:
    explicit InputFile(const std::string& path);

    const std::string& path() const { return _path; }

    std::uint64_t size() const { return _size; }

    // Hands out all bytes in pieces of 256 KiB (the last may be shorter); stops early when the reader answers
    // false.
    void read(const std::function<bool(std::span<const std::byte>)>& reader) const;

    [[noreturn]] void failChanged() const;

private:
    std::size_t readAt(std::uint64_t position, std::span<std::byte> piece) const;

    std::string _path;
    UniqueFd _fd;
    std::uint64_t _size = 0;
    std::timespec _modified{};
};

} // namespace lumo
