#pragma once

#include <sys/types.h>

#include <map>
#include <string>
#include <vector>

namespace support {

// How a program ended, and what it printed.
struct ProcessResult {
    int exitCode = -1; // -1 when a signal ended it
    int signal = 0;    // 0 when it exited by itself
    std::string out;
    std::string err;
    long maxResidentKiB = 0;
};

// A program to run. It has no right to reboot the machine, whatever user runs the test.
struct Program {
    std::vector<std::string> command;               // command[0]: path, or a name found in PATH
    std::map<std::string, std::string> environment; // added to, or replacing, the test's own; "" removes
    std::string workingDirectory;                   // empty: the test's
    int timeoutSeconds = 60;                        // then it is killed with SIGKILL
};

// Runs it to its end and collects standard output and standard error.
ProcessResult run(const Program& program);

// Starts it with standard output and error sent to /dev/null, or to a file when one is named; the caller
// waits for it.
pid_t start(const Program& program, const std::string& outputFile = "");

} // namespace support
