#pragma once

#include <string>

namespace lumo {

// What a package script is told.
struct ScriptContext {
    std::string deviceId; // LUMO_DEVICE_ID
    std::string version;  // LUMO_VERSION: the package's
    std::string label;    // how log lines call it: "before-script 0"
    int timeoutSeconds = 30;
};

// Runs a script to its end, in / with a clean environment (PATH, HOME and the two variables above), standard
// input empty, and standard output and error going to the log at level 3, line by line. The script is
// executed from memory, so it needs no writable folder and leaves nothing behind; its first line names its
// interpreter. When its time is over, it and its process group are killed; so is it when this process dies.
// Answers its exit code, minus the signal that ended it, or 127 when it could not be started, with the reason
// in the log. What it leaves running is let be. One thread at a time: SIGCHLD is made to work meanwhile.
int runScript(const std::string& bytes, const ScriptContext& context);

} // namespace lumo
