#include "tools/lumo-firmware/OutputFile.h"

#include <fcntl.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <system_error>

#include "platform/linux/device/Files.h"
#include "tools/lumo-firmware/ToolError.h"

namespace lumo {

namespace {

std::string procName(int fd) {
    return "/proc/self/fd/" + std::to_string(fd);
}

} // namespace

OutputFile::OutputFile(const std::string& path, Access access) : _path(path), _folder(parentDirectory(path)) {
    struct stat status {};

    if (stat(path.c_str(), &status) == 0 && !S_ISREG(status.st_mode)) {
        throw ToolError("cannot replace " + path + ": it is not a regular file");
    }
    open(access == Access::Owner ? 0600 : 0666);
}

OutputFile::~OutputFile() {
    if (!_temporary.empty()) {
        unlink(_temporary.c_str());
    }
}

void OutputFile::open(mode_t mode) {
    _fd = openFile(_folder, O_TMPFILE | O_RDWR, mode);
    // A nameless file gets its name by way of /proc.
    if (_fd && access(procName(_fd.get()).c_str(), F_OK) == 0) {
        return;
    }
    const std::string name = temporaryName();
    _fd = openFile(name, O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW, mode);
    if (!_fd) {
        fail("create");
    }
    _temporary = name;
}

std::string OutputFile::temporaryName() const {
    std::uint64_t bits = 0;
    if (getrandom(&bits, sizeof bits, 0) != static_cast<ssize_t>(sizeof bits)) {
        fail("get random bytes for");
    }
    char name[32];
    std::snprintf(name, sizeof name, "/.lumo-%016llx", static_cast<unsigned long long>(bits));
    return _folder + name;
}

void OutputFile::fail(const std::string& what) const {
    throw ToolError("cannot " + what + " " + _path + ": " + std::strerror(errno));
}

void OutputFile::write(std::uint64_t offset, std::span<const std::byte> bytes) {
    while (!bytes.empty()) {
        const ssize_t count = pwrite(_fd.get(), bytes.data(), bytes.size(), static_cast<off_t>(offset));
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count <= 0) {
            errno = count == 0 ? EIO : errno;
            fail("write");
        }
        offset += static_cast<std::uint64_t>(count);
        bytes = bytes.subspan(static_cast<std::size_t>(count));
    }
}

void OutputFile::write(std::uint64_t offset, const std::string& bytes) {
    write(offset, std::as_bytes(std::span(bytes)));
}

void OutputFile::giveName(const std::string& name) {
    if (_temporary.empty()) {
        if (linkat(AT_FDCWD, procName(_fd.get()).c_str(), AT_FDCWD, name.c_str(), AT_SYMLINK_FOLLOW) != 0) {
            fail("create");
        }
    } else if (link(_temporary.c_str(), name.c_str()) != 0) {
        fail("create");
    }
}

void OutputFile::commit(Existing existing) {
    if (fsync(_fd.get()) != 0) {
        fail("flush");
    }
    if (existing == Existing::Keep) {
        giveName(_path);
    } else {
        if (_temporary.empty()) {
            const std::string name = temporaryName();
            giveName(name);
            _temporary = name;
        }
        if (rename(_temporary.c_str(), _path.c_str()) != 0) {
            fail("replace");
        }
        _temporary.clear();
    }
    try {
        syncDirectory(_folder);
    } catch (const std::system_error& error) {
        throw ToolError(error.what());
    }
}

} // namespace lumo
