#include "tests/support/Running.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace support {

Running::Running(const Program& program) {
    const std::string pipe = _folder.file("output");
    EXPECT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
    // Open at both ends until the program has its own.
    _output = ::open(pipe.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    _process = start(program, pipe);
    ::fcntl(_output, F_SETFL, 0);
}

Running::~Running() {
    if (_process > 0) {
        send(SIGKILL);
        wait();
    }
    ::close(_output);
}

std::string Running::line() const {
    std::string text;
    for (char c = 0; ::read(_output, &c, 1) == 1 && c != '\n';) {
        text += c;
    }
    return text;
}

void Running::send(int signal) const {
    ::kill(_process, signal);
}

int Running::wait() {
    int status = 0;
    ::waitpid(_process, &status, 0);
    _process = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : WTERMSIG(status);
}

} // namespace support
