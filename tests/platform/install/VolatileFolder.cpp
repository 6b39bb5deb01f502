#include "tests/platform/install/VolatileFolder.h"

#include <fcntl.h>
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
    return path.starts_with(_path + "/") ? path.substr(_path.size() + 1) : "";
}

void VolatileFolder::change(const Names& names) {
    _changes.push_back(names);
    for (const auto& [name, file] : names) {
        _names[name] = file;
    }
}

bool VolatileFolder::draw() {
    _power.draw(1);
    errno = EIO;
    return !_power.isOff();
}

bool VolatileFolder::beginOpen(const std::string& path, int flags) {
    const std::string name = nameOf(path);
    if (name.empty() || (flags & O_CREAT) == 0) {
        return true;
    }
    if (draw() && _names[name] == 0) {
        _files.emplace_back();
        change({{name, static_cast<int>(_files.size()) - 1}});
    }
    return !_power.isOff();
}

void VolatileFolder::endOpen(const std::string& path, int fd) {
    if (fd >= 0 && (path == _path || !nameOf(path).empty())) {
        _opened[fd] = path == _path ? 0 : _names[nameOf(path)];
    }
}

bool VolatileFolder::write(int fd, const void* bytes, std::size_t length) {
    _files.at(static_cast<std::size_t>(_opened.at(fd))).bytes.append(static_cast<const char*>(bytes), length);
    return draw();
}

bool VolatileFolder::fsync(int fd) {
    File& file = _files.at(static_cast<std::size_t>(_opened.at(fd)));
    if (!draw()) {
        return false;
    }
    file.flushed = file.bytes;
    if (_opened.at(fd) == 0) {
        _flushedNames = _names;
        _changes.clear();
    }
    return true;
}

bool VolatileFolder::rename(const std::string& from, const std::string& to) {
    if (!nameOf(from).empty() && draw()) {
        change({{nameOf(to), _names[nameOf(from)]}, {nameOf(from), 0}});
        ::unlink(to.c_str()); // file systems wait for the medium when a file is replaced
    }
    return !_power.isOff();
}

void VolatileFolder::losePower() {
    for (const Names& names : _changes) {
        for (const auto& [name, file] : _power.dice(2) == 0 ? names : Names()) {
            _flushedNames[name] = file;
        }
    }
    _changes.clear();
    _opened.clear();
    std::erase_if(_flushedNames, [](const auto& entry) { return entry.second == 0; });
    _names = _flushedNames;
    std::filesystem::remove_all(_path);
    std::filesystem::create_directory(_path);
    for (const auto& [name, number] : _names) {
        File& file = _files.at(static_cast<std::size_t>(number));
        const std::string outcomes[] = {file.bytes, "", file.bytes.substr(0, file.bytes.size() / 2),
                                        std::string(file.bytes.size(), '\0')};
        file.bytes = outcomes[file.flushed == file.bytes ? 0 : _power.dice(4)];
        file.flushed = file.bytes;
        support::writeFile(std::filesystem::path(_path) / name, file.bytes);
    }
}

} // namespace lumo::tests

using lumo::tests::current;

extern "C" {

int __real_open64(const char* path, int flags, ...);
int __real_fsync(int fd);
int __real_close(int fd);
int __real_rename(const char* from, const char* to) noexcept;
ssize_t __real_write(int fd, const void* bytes, std::size_t length);

int __wrap_open64(const char* path, int flags, ...) {
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
    va_end(arguments);
    if (current != nullptr && !current->beginOpen(path, flags)) {
        return -1;
    }
    const int fd = __real_open64(path, flags, mode);
    if (current != nullptr) {
        current->endOpen(path, fd);
    }
    return fd;
}

ssize_t __wrap_write(int fd, const void* bytes, std::size_t length) {
    const bool ours = current != nullptr && current->isOpen(fd);
    return ours && !current->write(fd, bytes, length) ? -1 : __real_write(fd, bytes, length);
}

int __wrap_fsync(int fd) {
    const bool ours = current != nullptr && current->isOpen(fd);
    return !ours ? __real_fsync(fd) : current->fsync(fd) ? 0 : -1;
}

int __wrap_rename(const char* from, const char* to) noexcept {
    return current != nullptr && !current->rename(from, to) ? -1 : __real_rename(from, to);
}

int __wrap_close(int fd) {
    if (current != nullptr) {
        current->close(fd);
    }
    return __real_close(fd);
}

} // extern "C"
