#pragma once

#include <string>

#include "tools/lumo-firmware/PackageWriter.h"

namespace lumo {

// Reads a package description, JSON as docs/package-format.md shows it. Relative file names are taken from
// the description's own folder. Throws ToolError that names the description, the field and what is wrong with
// it.
PackageDescription readDescription(const std::string& path);

// Reads "name=file@target", "name=file@target:none", "...:zstd" or "...:zstd:LEVEL"; the file may hold any
// character, the last "@" ends it. Throws UsageError.
PackageDescription::Block parseBlockOption(const std::string& text);

// Reads "before=file", "after=file" or the same with ":SECONDS" behind it. Throws UsageError.
PackageDescription::Script parseScriptOption(const std::string& text);

} // namespace lumo
