#include "tests/support/Subprocess.h"

#include <fcntl.h>
#include <linux/capability.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <stdexcept>

namespace support {

namespace {

struct Prepared {
    std::vector<std::string> environment;
    std::vector<char*> argv;
    std::vector<char*> envp;
};

// Everything that allocates is done before fork.
Prepared prepare(const Program& program) {
    Prepared prepared;
    std::map<std::string, std::string> variables;
    for (char** entry = environ; *entry != nullptr; ++entry) {
        const std::string text = *entry;
        const auto equals = text.find('=');
        variables[text.substr(0, equals)] = text.substr(equals + 1);
    }
    for (const auto& [name, value] : program.environment) {
        if (value.empty()) {
            variables.erase(name);
        } else {
            variables[name] = value;
        }
    }
    for (const auto& [name, value] : variables) {
        prepared.environment.push_back(name + "=" + value);
    }
    for (std::string& entry : prepared.environment) {
        prepared.envp.push_back(entry.data());
    }
    prepared.envp.push_back(nullptr);
    for (const std::string& argument : program.command) {
        prepared.argv.push_back(const_cast<char*>(argument.c_str()));
    }
    prepared.argv.push_back(nullptr);
    return prepared;
}

[[noreturn]] void becomeProgram(const Program& program, const Prepared& prepared, int out, int err) {
    dup2(open("/dev/null", O_RDONLY), STDIN_FILENO);
    dup2(out, STDOUT_FILENO);
    dup2(err, STDERR_FILENO);
    prctl(PR_CAPBSET_DROP, CAP_SYS_BOOT);
    if (!program.workingDirectory.empty() && chdir(program.workingDirectory.c_str()) != 0) {
        _exit(126);
    }
    execvpe(prepared.argv[0], prepared.argv.data(), prepared.envp.data());
    _exit(127);
}

// Reads both pipes until they are closed or the deadline passes; false on the latter.
bool drain(std::array<int, 2> pipes, std::array<std::string*, 2> texts, int timeoutSeconds) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(timeoutSeconds);
    while (pipes[0] >= 0 || pipes[1] >= 0) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
            deadline - std::chrono::steady_clock::now());
        if (left.count() <= 0) {
            return false;
        }
        pollfd fds[2] = {{pipes[0], POLLIN, 0}, {pipes[1], POLLIN, 0}};
        poll(fds, 2, static_cast<int>(left.count()));
        for (int i = 0; i < 2; ++i) {
            if (pipes[i] < 0 || fds[i].revents == 0) {
                continue;
            }
            char buffer[16384];
            const ssize_t count = read(pipes[i], buffer, sizeof buffer);
            if (count > 0) {
                texts[i]->append(buffer, static_cast<std::size_t>(count));
            } else {
                pipes[i] = -1;
            }
        }
    }
    return true;
}

} // namespace

ProcessResult run(const Program& program) {
    const Prepared prepared = prepare(program);
    int outPipe[2];
    int errPipe[2];
    if (pipe2(outPipe, O_CLOEXEC) != 0 || pipe2(errPipe, O_CLOEXEC) != 0) {
        throw std::runtime_error("no pipes");
    }
    const pid_t child = fork();
    if (child == 0) {
        becomeProgram(program, prepared, outPipe[1], errPipe[1]);
    }
    close(outPipe[1]);
    close(errPipe[1]);
    ProcessResult result;
    if (!drain({outPipe[0], errPipe[0]}, {&result.out, &result.err}, program.timeoutSeconds)) {
        kill(child, SIGKILL);
        result.err += "\n[killed by the test: it ran longer than it may]\n";
    }
    close(outPipe[0]);
    close(errPipe[0]);
    int status = 0;
    rusage usage{};
    wait4(child, &status, 0, &usage);
    result.maxResidentKiB = usage.ru_maxrss;
    if (WIFEXITED(status)) {
        result.exitCode = WEXITSTATUS(status);
    } else {
        result.signal = WTERMSIG(status);
    }
    return result;
}

pid_t start(const Program& program, const std::string& outputFile) {
    const Prepared prepared = prepare(program);
    const char* target = outputFile.empty() ? "/dev/null" : outputFile.c_str();
    const int output = open(target, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
    const pid_t child = fork();
    if (child == 0) {
        becomeProgram(program, prepared, output, output);
    }
    close(output);
    return child;
}

} // namespace support
