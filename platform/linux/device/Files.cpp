#include "platform/linux/device/Files.h"

#include <fcntl.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <system_error>

namespace lumo {

namespace {

[[noreturn]] void fail(int error, const char* what, const std::string& path) {
    throw std::system_error(error, std::generic_category(), std::string("cannot ") + what + " " + path);
}

void writeAll(int fd, std::string_view bytes, const std::string& path) {
    while (!bytes.empty()) {
        const ssize_t count = ::write(fd, bytes.data(), bytes.size());
        if (count > 0) {
            bytes.remove_prefix(static_cast<std::size_t>(count));
        } else if (count == 0 || errno != EINTR) {
            fail(count == 0 ? EIO : errno, "write", path);
        }
    }
}

constexpr const char* temporaryPrefix = ".lumo-";

std::string randomName() {
    std::uint64_t bits = 0;
    if (::getrandom(&bits, sizeof bits, 0) != static_cast<ssize_t>(sizeof bits)) {
        throw std::system_error(errno, std::generic_category(), "cannot get random bytes");
    }
    char name[32];
    std::snprintf(name, sizeof name, "%s%016llx", temporaryPrefix, static_cast<unsigned long long>(bits));
    return name;
}

// A new file beside its destination, removed unless it has been put in place.
class TemporaryFile {
public:
    explicit TemporaryFile(const std::string& destination)
        : _path((std::filesystem::path(parentDirectory(destination)) / randomName()).string()),
          _fd(openFile(_path, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW, 0600)) {
        if (!_fd) {
            fail(errno, "create", _path);
        }
    }

    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;

    ~TemporaryFile() {
        if (!_inPlace) {
            ::unlink(_path.c_str());
        }
    }

    void fill(std::string_view bytes) {
        writeAll(_fd.get(), bytes, _path);
        if (::fsync(_fd.get()) != 0) {
            fail(errno, "flush", _path);
        }
        // A network file system reports some failures only here.
        if (::close(_fd.release()) != 0) {
            fail(errno, "close", _path);
        }
    }

    void moveTo(const std::string& destination) {
        if (::rename(_path.c_str(), destination.c_str()) != 0) {
            fail(errno, "replace", destination);
        }
        _inPlace = true;
    }

private:
    std::string _path;
    UniqueFd _fd;
    bool _inPlace = false;
};

} // namespace

UniqueFd openFile(const std::string& path, int flags, mode_t mode) {
    int fd = -1;
    do {
        fd = ::open(path.c_str(), flags | O_CLOEXEC, mode);
    } while (fd < 0 && errno == EINTR);
    if (fd < 0 || fd > STDERR_FILENO) {
        return UniqueFd(fd);
    }
    const UniqueFd low(fd);
    return UniqueFd(::fcntl(fd, F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
}

std::string parentDirectory(const std::string& path) {
    const std::string parent = std::filesystem::path(path).parent_path().string();
    return parent.empty() ? "." : parent;
}

void syncDirectory(const std::string& path) {
    const UniqueFd fd = openFile(path, O_RDONLY | O_DIRECTORY);
    if (!fd || ::fsync(fd.get()) != 0) {
        fail(errno, "flush the folder", path);
    }
}

void ensureDirectory(const std::string& path) {
    struct stat status {};

    if (::stat(path.c_str(), &status) == 0) {
        if (!S_ISDIR(status.st_mode)) {
            fail(ENOTDIR, "create the folder", path);
        }
        return;
    }
    if (errno != ENOENT) {
        fail(errno, "create the folder", path);
    }
    const std::string parent = parentDirectory(path);
    if (parent != path) {
        ensureDirectory(parent);
    }
    if (::mkdir(path.c_str(), 0700) == 0) {
        syncDirectory(parent);
        return;
    }
    const int error = errno;
    // Somebody else may have been faster, and "a/" is there once "a" is.
    if (error != EEXIST || ::stat(path.c_str(), &status) != 0 || !S_ISDIR(status.st_mode)) {
        fail(error, "create the folder", path);
    }
}

void writeFileDurably(const std::string& path, std::string_view bytes) {
    TemporaryFile file(path);
    file.fill(bytes);
    file.moveTo(path);
    syncDirectory(parentDirectory(path));
}

void removeStaleTemporaries(const std::string& directory) {
    const std::size_t length = std::string_view(temporaryPrefix).size() + 16;
    std::error_code ignored;
    for (const auto& entry : std::filesystem::directory_iterator(directory, ignored)) {
        const std::string name = entry.path().filename().string();
        if (name.starts_with(temporaryPrefix) && name.size() == length && entry.is_regular_file(ignored)) {
            std::filesystem::remove(entry.path(), ignored);
        }
    }
}

std::optional<std::string> readSmallFile(const std::string& path, std::size_t maxBytes) {
    // Not to wait for the other end of a pipe before finding out that it is one.
    const UniqueFd fd = openFile(path, O_RDONLY | O_NONBLOCK | O_NOCTTY);
    if (!fd) {
        if (errno == ENOENT) {
            return std::nullopt;
        }
        fail(errno, "open", path);
    }

    struct stat status {};

    if (::fstat(fd.get(), &status) != 0) {
        fail(errno, "query", path);
    }
    if (!S_ISREG(status.st_mode)) {
        fail(S_ISDIR(status.st_mode) ? EISDIR : EINVAL, "read", path);
    }
    std::string content;
    char buffer[16384];
    // Files of procfs and sysfs do not tell their size: only their end does.
    for (;;) {
        const ssize_t count = ::read(fd.get(), buffer, sizeof buffer);
        if (count == 0) {
            return content;
        }
        if (count < 0) {
            if (errno == EINTR) {
                continue;
            }
            fail(errno, "read", path);
        }
        if (static_cast<std::size_t>(count) > maxBytes - content.size()) {
            fail(EFBIG, "read", path);
        }
        content.append(buffer, static_cast<std::size_t>(count));
    }
}

} // namespace lumo
