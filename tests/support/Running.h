#pragma once

#include <sys/types.h>

#include <string>

#include "tests/support/Subprocess.h"
#include "tests/support/TempDir.h"

namespace support {

// A program that runs while a test reads line by line what it prints to standard output and standard error.
// Killed with the object.
class Running {
public:
    explicit Running(const Program& program);
    ~Running();
    Running(const Running&) = delete;
    Running& operator=(const Running&) = delete;

    // Waits for the next line; the test's own time limit ends it when there is none. Empty as well when the
    // program has ended.
    std::string line() const;

    pid_t process() const { return _process; }

    void send(int signal) const;
    // Waits for its end: its exit code, or the number of the signal that ended it.
    int wait();

private:
    TempDir _folder;
    int _output = -1;
    pid_t _process = -1;
};

} // namespace support
