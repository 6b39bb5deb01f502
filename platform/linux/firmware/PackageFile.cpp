#include "platform/linux/firmware/PackageFile.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <system_error>

#include "platform/linux/device/Files.h"
#include "platform/linux/firmware/FirmwareError.h"

namespace lumo {

namespace {

static_assert(sizeof(off_t) == 8, "packages may be larger than 2 GiB on 32-bit machines, too");

FirmwareError failed(const std::string& what) {
    const int cause = errno;
    return {OpenResult::Failed, what + ": " + std::strerror(cause)};
}

bool sameTime(const timespec& a, const timespec& b) {
    return a.tv_sec == b.tv_sec && a.tv_nsec == b.tv_nsec;
}

// Not every file system makes files without a name; there it gets one that cannot be guessed, and loses it at
// once.
UniqueFd openNameless(const std::string& directory) {
    UniqueFd fd = openFile(directory, O_TMPFILE | O_RDWR | O_EXCL, 0600);
    if (fd || (errno != EOPNOTSUPP && errno != EISDIR && errno != ENOENT)) {
        return fd;
    }
    std::string name = directory + "/spool-XXXXXX";
    const UniqueFd named(mkostemp(name.data(), O_CLOEXEC));
    if (!named) {
        return UniqueFd();
    }
    unlink(name.c_str());
    // Not 0, 1 or 2, as with openFile(): what is printed must not end in the package.
    return UniqueFd(fcntl(named.get(), F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
}

} // namespace

PackageFile::PackageFile(UniqueFd fd, std::string name, bool spool)
    : _fd(std::move(fd)), _name(std::move(name)), _spool(spool) {}

PackageFile::PackageFile(PackageFile&& other) noexcept
    : _fd(std::move(other._fd)),
      _name(std::move(other._name)),
      _spool(other._spool),
      _size(other._size),
      _stamp(other._stamp),
      _mappings(std::exchange(other._mappings, {})) {}

PackageFile::~PackageFile() {
    for (const auto& [mapping, size] : _mappings) {
        munmap(mapping, size);
    }
}

PackageFile PackageFile::openInPlace(const std::string& path) {
    // Without O_NONBLOCK a named pipe would hang the open until someone writes to it.
    PackageFile file(openFile(path, O_RDONLY | O_NONBLOCK | O_NOCTTY), path, false);
    if (!file._fd) {
        const int cause = errno;
        throw FirmwareError(cause == ENOENT || cause == ENOTDIR ? OpenResult::NotFound : OpenResult::Failed,
                            "cannot open " + path + ": " + std::strerror(cause));
    }

    struct stat status {};

    if (fstat(file._fd.get(), &status) != 0) {
        throw failed("cannot look at " + path);
    }
    if (!S_ISREG(status.st_mode)) {
        throw FirmwareError(OpenResult::NotFound, path + " is not a regular file");
    }
    file._stamp = file.stampNow();
    file._size = file._stamp.size;
    return file;
}

PackageFile PackageFile::createSpool(const std::string& directory) {
    try {
        ensureDirectory(directory);
    } catch (const std::system_error& error) {
        throw FirmwareError(OpenResult::Failed, std::string("no place for the package: ") + error.what());
    }
    PackageFile file(openNameless(directory), "the spool file in " + directory, true);
    if (!file._fd) {
        throw failed("cannot make a spool file in " + directory);
    }
    return file;
}

PackageFile::Stamp PackageFile::stampNow() const {
    struct stat status {};

    if (fstat(_fd.get(), &status) != 0) {
        throw failed("cannot look at " + _name);
    }
    return {static_cast<std::uint64_t>(status.st_size), status.st_mtim, status.st_ctim};
}

bool PackageFile::isPrivate() const {
    struct stat status {};

    if (fstat(_fd.get(), &status) != 0) {
        throw failed("cannot look at " + _name);
    }
    const bool ours = status.st_uid == 0 || status.st_uid == geteuid();
    return ours && (status.st_mode & (S_IWGRP | S_IWOTH)) == 0;
}

bool PackageFile::isUnchanged() const {
    if (_spool) {
        return true;
    }
    const Stamp now = stampNow();
    return now.size == _stamp.size && sameTime(now.modified, _stamp.modified) &&
           sameTime(now.changed, _stamp.changed);
}

void PackageFile::read(std::uint64_t offset, std::span<std::byte> bytes) const {
    while (!bytes.empty()) {
        const ssize_t count = pread(_fd.get(), bytes.data(), bytes.size(), static_cast<off_t>(offset));
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count < 0) {
            throw failed("cannot read " + _name + " at byte " + std::to_string(offset));
        }
        if (count == 0) {
            throw FirmwareError(OpenResult::Damaged,
                                _name + " became shorter while it was read: it ends at byte " +
                                    std::to_string(offset));
        }
        offset += static_cast<std::uint64_t>(count);
        bytes = bytes.subspan(static_cast<std::size_t>(count));
    }
}

const unsigned char* PackageFile::map(std::uint64_t offset, std::uint64_t size) {
    const auto pageSize = static_cast<std::uint64_t>(sysconf(_SC_PAGESIZE));
    const std::uint64_t lead = offset % pageSize;
    void* mapping = MAP_FAILED;
    errno = ENOMEM;
    if (size + lead <= std::numeric_limits<std::size_t>::max() / 2) {
        mapping = mmap(nullptr, static_cast<std::size_t>(size + lead), PROT_READ, MAP_SHARED, _fd.get(),
                       static_cast<off_t>(offset - lead));
    }
    if (mapping == MAP_FAILED) {
        throw failed("cannot map " + std::to_string(size) + " bytes of " + _name);
    }
    _mappings.emplace_back(mapping, static_cast<std::size_t>(size + lead));
    return static_cast<const unsigned char*>(mapping) + lead;
}

void PackageFile::reserve(std::uint64_t bytes) {
    struct statvfs system {};

    // A tmpfs without a limit tells no size.
    if (fstatvfs(_fd.get(), &system) != 0 || system.f_blocks == 0) {
        return;
    }
    const std::uint64_t available = std::uint64_t(system.f_bavail) * system.f_frsize;
    if (bytes > _size && bytes - _size > available) {
        throw FirmwareError(OpenResult::Failed, _name + " needs " + std::to_string(bytes) +
                                                    " bytes, and only " + std::to_string(available) +
                                                    " are free there");
    }
}

void PackageFile::append(std::span<const std::byte> bytes) {
    while (!bytes.empty()) {
        const ssize_t count = pwrite(_fd.get(), bytes.data(), bytes.size(), static_cast<off_t>(_size));
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count <= 0) {
            throw failed("cannot write " + _name + " at byte " + std::to_string(_size));
        }
        _size += static_cast<std::uint64_t>(count);
        bytes = bytes.subspan(static_cast<std::size_t>(count));
    }
}

void PackageFile::clear() {
    _size = 0;
    if (ftruncate(_fd.get(), 0) != 0) {
        throw failed("cannot empty " + _name);
    }
}

} // namespace lumo
