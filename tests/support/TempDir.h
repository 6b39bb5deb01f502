#pragma once

#include <filesystem>
#include <string>

namespace support {

// A folder of its own under the system's temporary one, removed with everything in it at the end.
class TempDir {
public:
    TempDir();
    ~TempDir();
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    const std::filesystem::path& path() const { return _path; }

    std::string file(const std::string& name) const { return (_path / name).string(); }

private:
    std::filesystem::path _path;
};

// Whole files, binary. Both fail the running test (and readFile returns "") when they cannot be carried out.
std::string readFile(const std::filesystem::path& path);
void writeFile(const std::filesystem::path& path, const std::string& bytes);

} // namespace support
