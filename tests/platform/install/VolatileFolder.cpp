#include "tests/platform/install/VolatileFolder.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <filesystem>

#include "tests/support/TempDir.h"

namespace lumo::tests {

namespace {

VolatileFolder* current = nullptr;

} // namespace

VolatileFolder::VolatileFolder(std::string path, Power& power) : _path(std::move(path)), _power(power) {
    std::filesystem::create_directories(_path);
    current = this;
}

VolatileFolder::~VolatileFolder() {
    current = nullptr;
}

std::string VolatileFolder::nameOf(const std::string& path) const {
    return path.rfind(_path + "/", 0) == 0 ? path.substr(_path.size() + 1) : "";
}

void VolatileFolder::apply(const Change& change, std::map<std::string, int>& names) const {
    for (const auto& [name, file] : change) {
        names.erase(name);
        if (file != 0) {
            names[name] = file;
        }
    }
}

void VolatileFolder::change(const Change& change) {
    apply(change, _names);
    _changes.push_back(change);
}

bool VolatileFolder::draw() {
    _power.draw(1);
    errno = EIO;
    return !_power.isOff();
}

bool VolatileFolder::allows(int fd) {
    return !isOpen(fd) || draw();
}

bool VolatileFolder::allows(const char* path) {
    return nameOf(path).empty() || draw();
}

int VolatileFolder::open(const std::string& path, int flags, int fd) {
    const std::string name = nameOf(path);
    if (fd >= 0 && path == _path) {
        _opened[fd] = 0;
    } else if (fd >= 0 && !name.empty()) {
        if ((flags & O_CREAT) != 0 && !_names.contains(name)) {
            const int number = _files.empty() ? 1 : _files.rbegin()->first + 1;
            _files[number] = {};
            change({{name, number}});
        }
        _opened[fd] = _names.at(name);
    }
    return fd;
}

void VolatileFolder::write(int fd, const void* bytes, std::size_t length) {
    if (isOpen(fd)) {
        _files[_opened[fd]].bytes.append(static_cast<const char*>(bytes), length);
    }
}

void VolatileFolder::fsync(int fd) {
    if (_opened[fd] != 0) {
        _files[_opened[fd]].flushed = _files[_opened[fd]].bytes;
        return;
    }
    _flushedNames = _names;
    _changes.clear();
}

void VolatileFolder::rename(const std::string& from, const std::string& to) {
    if (!nameOf(from).empty()) {
        change({{nameOf(to), _names.at(nameOf(from))}, {nameOf(from), 0}});
    }
}

void VolatileFolder::unlink(const std::string& path) {
    if (!nameOf(path).empty()) {
        change({{nameOf(path), 0}});
    }
}

std::string VolatileFolder::bytesAfterLoss(const File& file) {
    switch (_power.dice(file.flushed == file.bytes ? 1 : 4)) {
    case 1:
        return "";
    case 2:
        return file.bytes.substr(0, _power.dice(static_cast<unsigned>(file.bytes.size()) + 1));
    case 3:
        return std::string(file.bytes.size(), '\0');
    default:
        return file.bytes;
    }
}

void VolatileFolder::losePower() {
    for (const Change& change : _changes) {
        if (_power.dice(2) == 0) {
            apply(change, _flushedNames);
        }
    }
    _changes.clear();
    _names = _flushedNames;
    _opened.clear();
    for (const auto& entry : std::filesystem::directory_iterator(_path)) {
        std::filesystem::remove(entry.path());
    }
    std::map<int, File> left;
    for (const auto& [name, number] : _names) {
        const std::string bytes = bytesAfterLoss(_files[number]);
        left[number] = {bytes, bytes};
        support::writeFile(std::filesystem::path(_path) / name, bytes);
    }
    _files = left;
}

} // namespace lumo::tests

using lumo::tests::current;

extern "C" {

int __real_open64(const char* path, int flags, ...);
int __real_fsync(int fd);
int __real_close(int fd);
int __real_rename(const char* from, const char* to) noexcept;
int __real_unlink(const char* path) noexcept;
ssize_t __real_write(int fd, const void* bytes, std::size_t length);

int __wrap_open64(const char* path, int flags, ...) {
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
    va_end(arguments);
    if (current != nullptr && (flags & O_CREAT) != 0 && !current->allows(path)) {
        return -1;
    }
    const int fd = __real_open64(path, flags, mode);
    return current != nullptr ? current->open(path, flags, fd) : fd;
}

ssize_t __wrap_write(int fd, const void* bytes, std::size_t length) {
    if (current != nullptr && !current->allows(fd)) {
        return -1;
    }
    const ssize_t count = __real_write(fd, bytes, length);
    if (current != nullptr && count > 0) {
        current->write(fd, bytes, static_cast<std::size_t>(count));
    }
    return count;
}

int __wrap_fsync(int fd) {
    if (current == nullptr || !current->isOpen(fd)) {
        return __real_fsync(fd);
    }
    if (!current->allows(fd)) {
        return -1;
    }
    current->fsync(fd);
    return 0;
}

int __wrap_rename(const char* from, const char* to) noexcept {
    if (current != nullptr && !current->allows(from)) {
        return -1;
    }
    if (current != nullptr) {
        __real_unlink(to); // file systems wait for the medium when a file is replaced
    }
    const int result = __real_rename(from, to);
    if (current != nullptr && result == 0) {
        current->rename(from, to);
    }
    return result;
}

int __wrap_unlink(const char* path) noexcept {
    if (current != nullptr && !current->allows(path)) {
        return -1;
    }
    const int result = __real_unlink(path);
    if (current != nullptr && result == 0) {
        current->unlink(path);
    }
    return result;
}

int __wrap_close(int fd) {
    if (current != nullptr) {
        current->close(fd);
    }
    return __real_close(fd);
}

} // extern "C"
