#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "tests/platform/firmware/Power.h"

namespace lumo::tests {

// A folder of which a loss of power leaves only what has been flushed: the bytes of a file by fsync() of the
// file, names by fsync() of the folder. What was not may be there all the same, each for itself.
//
// The program that uses it is linked so that its calls of open, write, fsync, rename, unlink and close come
// through here (CMakeLists.txt). Each call that changes something is one unit of power; without power
// they fail. One folder at a time.
class VolatileFolder {
public:
    VolatileFolder(std::string path, Power& power);
    ~VolatileFolder();
    VolatileFolder(const VolatileFolder&) = delete;
    VolatileFolder& operator=(const VolatileFolder&) = delete;

    // Leaves in the folder what its medium holds.
    void losePower();

    // The calls; their names are those of the functions.
    int open(const std::string& path, int flags, int fd);
    // Whether the call may be carried out; false and errno otherwise.
    bool allows(int fd);
    bool allows(const char* path);
    void write(int fd, const void* bytes, std::size_t length);
    void fsync(int fd);
    void rename(const std::string& from, const std::string& to);
    void unlink(const std::string& path);

    void close(int fd) { _opened.erase(fd); }

    bool isOpen(int fd) const { return _opened.contains(fd); }

private:
    struct File {
        std::string bytes;
        std::optional<std::string> flushed;
    };

    // A name gets a file, or (0) loses it.
    using Change = std::vector<std::pair<std::string, int>>;

    std::string nameOf(const std::string& path) const;
    void apply(const Change& change, std::map<std::string, int>& names) const;
    void change(const Change& change);
    bool draw();
    std::string bytesAfterLoss(const File& file);

    const std::string _path;
    Power& _power;
    std::map<int, File> _files; // by a number that is never used again; 0 is the folder
    std::map<std::string, int> _names;
    std::map<std::string, int> _flushedNames;
    std::vector<Change> _changes; // since the folder was flushed
    std::map<int, int> _opened;   // descriptors
};

} // namespace lumo::tests
