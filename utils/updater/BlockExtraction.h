#pragma once

#include <map>
#include <string>

#include "platform/STBFirmwareFile.h"

namespace updater {

class Console;

// Writes each block, in key order, to the file <name>.bin in the current directory (a "/" in a name is a
// path; no directory is created), replacing what is there. A block that cannot be written whole is reported,
// its file removed, and the next one is tried. The blocks' bytes do not pile up in memory, however large they
// are: what has been written is offered back to the kernel, contents kept.
void extractBlocks(const std::map<std::string, STBFirmwareFile::Block>& blocks, Console& console);

} // namespace updater
