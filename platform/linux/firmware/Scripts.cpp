#include "platform/linux/firmware/Scripts.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <vector>

#include "platform/linux/device/Log.h"
#include "platform/linux/device/UniqueFd.h"

#define LUMO_LOG_FILE "platform/linux/firmware/Scripts"

namespace lumo {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t maxLine = 1000;
constexpr std::size_t maxLines = 2000;
constexpr int couldNotStart = 127;

// Cuts what a script prints into lines for the log.
class OutputLog {
public:
    explicit OutputLog(const std::string& label) : _label(label) {}

    ~OutputLog() {
        if (!_line.empty()) {
            flush();
        }
    }

    void take(const char* bytes, std::size_t count) {
        for (std::size_t i = 0; i < count; ++i) {
            if (bytes[i] == '\n' || _line.size() == maxLine) {
                flush();
            }
            if (bytes[i] != '\n') {
                _line += bytes[i];
            }
        }
    }

private:
    void flush() {
        if (_lines < maxLines) {
            LUMO_LOG(LogNotice, "%s: %s", _label.c_str(), _line.c_str());
        } else if (_lines == maxLines) {
            LUMO_LOG(LogWarning, "%s: prints more than %zu lines, the rest is dropped", _label.c_str(),
                     maxLines);
        }
        ++_lines;
        _line.clear();
    }

    const std::string& _label;
    std::string _line;
    std::size_t _lines = 0;
};

// The same file under a number that the child does not need for anything else.
UniqueFd high(int fd) {
    const UniqueFd low(fd);
    return UniqueFd(low ? fcntl(low.get(), F_DUPFD_CLOEXEC, 10) : -1);
}

// The script as an executable file without a name, kept beyond exec so that an interpreter can open it.
UniqueFd fileOf(const std::string& bytes) {
    UniqueFd file = high(memfd_create("lumo-script", MFD_CLOEXEC));
    std::size_t written = 0;
    while (file && written < bytes.size()) {
        const ssize_t count = write(file.get(), bytes.data() + written, bytes.size() - written);
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count <= 0) {
            return UniqueFd();
        }
        written += static_cast<std::size_t>(count);
    }
    return file;
}

const char* reasonOf(int error) {
    switch (error) {
    case ENOEXEC:
        return "cannot be started: not a program, it has no #! line\n";
    case ENOENT:
        return "cannot be started: its interpreter is missing\n";
    default:
        return "cannot be started: it may not be executed\n";
    }
}

[[noreturn]] void giveUp(int output, const char* reason) {
    [[maybe_unused]] const ssize_t written = write(output, reason, std::strlen(reason));
    _exit(couldNotStart);
}

// The child's side of fork: nothing here may allocate or lock.
[[noreturn]] void becomeScript(int script, int output, pid_t parent, char* const* argv,
                               char* const* environment) {
    setsid(); // no terminal to wait for, and a process group to kill
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != parent) {
        _exit(couldNotStart);
    }
    for (int number = 1; number < NSIG; ++number) {
        signal(number, SIG_DFL);
    }
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    constexpr int inherited = 3;
    const int nothing = open("/dev/null", O_RDONLY);
    if (chdir("/") != 0 || nothing < 0 || dup2(nothing, 0) < 0 || dup2(output, 1) < 0 ||
        dup2(output, 2) < 0 || dup2(script, inherited) < 0) {
        giveUp(output, "cannot be started: there is no / or no /dev/null\n");
    }
    umask(022);
    closefrom(inherited + 1);
    execve("/proc/self/fd/3", argv, environment);
    giveUp(STDERR_FILENO, reasonOf(errno));
}

// Lets this process learn how its children end, also where whoever started it had them ignored.
class ChildrenKept {
public:
    ChildrenKept() {
        struct sigaction kept {};

        kept.sa_handler = SIG_DFL;
        sigaction(SIGCHLD, nullptr, &_before);
        _changed = _before.sa_handler == SIG_IGN || (_before.sa_flags & SA_NOCLDWAIT) != 0;
        if (_changed) {
            sigaction(SIGCHLD, &kept, nullptr);
        }
    }

    ~ChildrenKept() {
        if (_changed) {
            sigaction(SIGCHLD, &_before, nullptr);
        }
    }

    ChildrenKept(const ChildrenKept&) = delete;
    ChildrenKept& operator=(const ChildrenKept&) = delete;

private:
    struct sigaction _before {};

    bool _changed = false;
};

int resultOf(int status) {
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

// Takes the next bytes of the pipe, and answers how many; 0 at its end.
int takeSome(int output, OutputLog& log) {
    char buffer[4096];
    ssize_t count = 0;
    do {
        count = read(output, buffer, sizeof buffer);
    } while (count < 0 && errno == EINTR);
    log.take(buffer, static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
    return static_cast<int>(std::max<ssize_t>(count, 0));
}

// Takes what is in the pipe now, and not what is put into it meanwhile.
void takeRest(int output, OutputLog& log) {
    int left = 0;
    ioctl(output, FIONREAD, &left);
    for (int taken = 1; left > 0 && taken > 0; left -= taken) {
        taken = takeSome(output, log);
    }
}

// Passes on what the script prints until it has ended, and ends it when its time is over. A process that it
// leaves running does not keep us, however much that prints.
int attend(pid_t child, int output, const ScriptContext& context) {
    constexpr int tick = 20; // milliseconds between looks at the child while it prints nothing
    OutputLog log(context.label);
    const auto deadline = Clock::now() + std::chrono::seconds(context.timeoutSeconds);
    bool open = true;
    bool killed = false;
    while (true) {
        int status = 0;
        const pid_t ended = waitpid(child, &status, WNOHANG);
        if (ended == child) {
            takeRest(output, log);
            return resultOf(status);
        }
        if (ended < 0 && errno != EINTR) {
            LUMO_LOG(LogError, "%s: how it ended is lost: %s", context.label.c_str(), std::strerror(errno));
            return couldNotStart;
        }
        if (!killed && Clock::now() >= deadline) {
            LUMO_LOG(LogWarning, "%s: killed, it ran longer than its %d s", context.label.c_str(),
                     context.timeoutSeconds);
            kill(-child, SIGKILL);
            kill(child, SIGKILL);
            killed = true;
        }
        pollfd waited{open ? output : -1, POLLIN, 0};
        if (poll(&waited, 1, tick) > 0) {
            open = takeSome(output, log) > 0;
        }
    }
}

} // namespace

int runScript(const std::string& bytes, const ScriptContext& context) {
    const UniqueFd script = fileOf(bytes);
    int ends[2] = {-1, -1};
    const bool prepared = script && pipe2(ends, O_CLOEXEC) == 0;
    const UniqueFd output(ends[0]);
    UniqueFd input = high(ends[1]);
    if (!prepared || !input) {
        LUMO_LOG(LogError, "%s: cannot be prepared: %s", context.label.c_str(), std::strerror(errno));
        return couldNotStart;
    }
    std::string name = context.label;
    std::vector<std::string> variables{"PATH=/usr/sbin:/usr/bin:/sbin:/bin", "HOME=/",
                                       "LUMO_DEVICE_ID=" + context.deviceId,
                                       "LUMO_VERSION=" + context.version};
    std::vector<char*> environment;
    environment.reserve(variables.size() + 1);
    for (std::string& variable : variables) {
        environment.push_back(variable.data());
    }
    environment.push_back(nullptr);
    char* argv[] = {name.data(), nullptr};
    const ChildrenKept kept;
    const pid_t parent = getpid();
    const pid_t child = fork();
    if (child == 0) {
        becomeScript(script.get(), input.get(), parent, argv, environment.data());
    }
    input.reset();
    if (child < 0) {
        LUMO_LOG(LogError, "%s: cannot be started: %s", context.label.c_str(), std::strerror(errno));
        return couldNotStart;
    }
    return attend(child, output.get(), context);
}

} // namespace lumo
