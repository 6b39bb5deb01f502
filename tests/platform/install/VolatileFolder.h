#pragma once

#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tests/platform/firmware/Power.h"

namespace lumo::tests {

// A folder of which a loss of power leaves only what has been flushed: the bytes of a file by fsync() of the
// file, names by fsync() of the folder. What was not may be there all the same, each for itself.
//
// The program that uses it is linked so that its calls of open, write, fsync, rename and close come through
// here (CMakeLists.txt). Each that changes something is one unit of power; without power they fail. One
// folder at a time.
class VolatileFolder {
public:
    VolatileFolder(std::string path, Power& power);
    ~VolatileFolder();
    VolatileFolder(const VolatileFolder&) = delete;
    VolatileFolder& operator=(const VolatileFolder&) = delete;

    // Leaves in the folder what its medium holds.
    void losePower();

    // The calls. Those that answer bool say whether the power lasts for it; errno is set.
    bool beginOpen(const std::string& path, int flags);
    void endOpen(const std::string& path, int fd);
    bool write(int fd, const void* bytes, std::size_t length);
    bool fsync(int fd);
    bool rename(const std::string& from, const std::string& to);

    void close(int fd) { _opened.erase(fd); }

    bool isOpen(int fd) const { return _opened.contains(fd); }

private:
    struct File {
        std::string bytes;
        std::optional<std::string> flushed;
    };

    using Names = std::map<std::string, int>; // of files, by number; 0: no such name any more

    std::string nameOf(const std::string& path) const;
    void change(const Names& names);
    bool draw();

    const std::string _path;
    Power& _power;
    std::vector<File> _files{1}; // the first is the folder itself
    Names _names;
    Names _flushedNames;
    std::vector<Names> _changes; // since the folder was flushed
    std::map<int, int> _opened;  // file by descriptor
};

} // namespace lumo::tests
