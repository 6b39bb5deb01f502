#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

#include "platform/linux/device/UniqueFd.h"

namespace lumo {

// A file that appears under its name complete and on the medium, or not at all. Until commit() it has no name
// (or, on file systems without nameless files, an unpredictable one beside its destination), so that nothing
// is left behind by a failure, nor by a killed process. Throws ToolError.
class OutputFile {
public:
    enum class Access { Everyone, Owner }; // 0666 less the umask, and 0600
    enum class Existing { Replace, Keep };

    // Fails at once when path is there and is not a regular file, or when nothing can be created beside it.
    explicit OutputFile(const std::string& path, Access access = Access::Everyone);
    ~OutputFile();
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    // Writes at an offset; bytes that are never written are zero.
    void write(std::uint64_t offset, std::span<const std::byte> bytes);
    void write(std::uint64_t offset, const std::string& bytes);

    // Makes the file durable and gives it its name, at once for all who look. Existing::Keep: fails when
    // there is a file of that name.
    void commit(Existing existing = Existing::Replace);

private:
    void open(mode_t mode);
    std::string temporaryName() const;
    void giveName(const std::string& name);
    [[noreturn]] void fail(const std::string& what) const;

    std::string _path;
    std::string _folder;
    std::string _temporary; // empty: nameless, or in place
    UniqueFd _fd;
};

} // namespace lumo
