#pragma once

namespace updater {

// Makes the standard streams safe for a process that writes flash. Streams that the caller closed are opened
// on /dev/null: otherwise the next file opened, a flash device for one, would become standard output and the
// console lines would go there. And a closed pipe becomes a failed write instead of SIGPIPE, so that a reader
// who leaves cannot end an installation in the middle. Call it before anything is opened or printed.
void secureStandardStreams();

} // namespace updater
