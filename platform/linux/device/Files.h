#pragma once

#include <sys/types.h>

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "platform/linux/device/UniqueFd.h"

// Small operations on files. Those that throw throw std::system_error, whose text names the
// operation, the path and the cause. Any thread.

namespace lumo {

// open(2) with O_CLOEXEC, repeated when a signal interrupts it. The descriptor is never 0, 1 or 2, even where
// the caller was started with these closed: output meant for a terminal must not end in a device or a record.
// Empty, with errno set, on failure.
UniqueFd openFile(const std::string& path, int flags, mode_t mode = 0);

// Creates a folder and its missing parents with mode 0700; each new one survives a power cut once this
// returns. A folder that is there already is left as it is. Throws when it is there as something else.
void ensureDirectory(const std::string& path);

// Replaces a file as a whole: after a crash or a power cut at any point the old content or the new one is
// there, and once this returns it is the new one. The file has mode 0600; a symbolic link is replaced, not
// followed. Throws, leaving the old content and no temporary file.
void writeFileDurably(const std::string& path, std::string_view bytes);

// Removes what writeFileDurably left in a folder when a process was killed in the middle of it. Nobody else
// may be writing there at the same time. Never throws.
void removeStaleTemporaries(const std::string& directory);

// The content of a regular file (also one of procfs or sysfs); empty when there is no such file. Throws when
// it cannot be read, is longer than maxBytes or is not a regular file.
std::optional<std::string> readSmallFile(const std::string& path, std::size_t maxBytes);

// Makes the names in a folder durable. Throws.
void syncDirectory(const std::string& path);

// The folder a path lies in: "/" for "/x", "." for "x".
std::string parentDirectory(const std::string& path);

} // namespace lumo
