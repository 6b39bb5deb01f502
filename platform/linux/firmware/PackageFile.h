#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "platform/linux/device/UniqueFd.h"

namespace lumo {

// The bytes of a package on this machine: a file where it lies, or a spool file of our own that has no name,
// so that nobody else can reach it and nothing is left behind whatever ends the process. Failures throw
// FirmwareError.
class PackageFile {
public:
    // Opens a file for reading. NotFound when it is not there or not a regular file.
    static PackageFile openInPlace(const std::string& path);
    // Makes an empty spool file in a folder, which is created when missing.
    static PackageFile createSpool(const std::string& directory);

    PackageFile(PackageFile&&) noexcept;
    PackageFile& operator=(PackageFile&&) = delete;
    ~PackageFile();

    // What messages call it.
    const std::string& name() const { return _name; }

    std::uint64_t size() const { return _size; }

    // Whether nobody but root and the user we run as may write to the file.
    bool isPrivate() const;
    // Whether the file's size and time stamps are what they were when it was opened. A spool file has no one
    // to change it.
    bool isUnchanged() const;

    // Fills the whole span.
    void read(std::uint64_t offset, std::span<std::byte> bytes) const;
    // Makes a part of it, which is not empty, readable through memory until the object dies.
    const unsigned char* map(std::uint64_t offset, std::uint64_t size);

    // Spool files only. reserve: fails now when the disk has no room for so many bytes.
    void reserve(std::uint64_t bytes);
    void append(std::span<const std::byte> bytes);
    void clear();

private:
    struct Stamp {
        std::uint64_t size = 0;
        timespec modified{};
        timespec changed{};
    };

    PackageFile(UniqueFd fd, std::string name, bool spool);
    Stamp stampNow() const;

    UniqueFd _fd;
    std::string _name;
    bool _spool;
    std::uint64_t _size = 0;
    Stamp _stamp;
    std::vector<std::pair<void*, std::size_t>> _mappings;
};

} // namespace lumo
