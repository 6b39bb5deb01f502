#include "platform/linux/firmware/Scripts.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>
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

// The child's side of fork: nothing here may allocate or lock.
[[noreturn]] void becomeScript(int script, int output, pid_t parent, char* const* argv,
                               char* const* environment) {
    setpgid(0, 0);
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
        _exit(couldNotStart);
    }
    umask(022);
    rlimit limit{};
    getrlimit(RLIMIT_NOFILE, &limit);
    const int last = static_cast<int>(std::min<rlim_t>(limit.rlim_cur, 4096));
    for (int fd = inherited + 1; fd < last; ++fd) {
        close(fd);
    }
    execve("/proc/self/fd/3", argv, environment);
    static constexpr char message[] = "cannot be started: no interpreter, or not a program\n";
    const ssize_t ignored = write(2, message, sizeof message - 1);
    _exit(ignored < 0 ? couldNotStart : couldNotStart);
}

int resultOf(int status) {
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

// Passes on what the script prints until it has ended, and ends it when its time is over.
int attend(pid_t child, int output, const ScriptContext& context) {
    constexpr int tick = 20; // milliseconds between looks at the child while it prints nothing
    OutputLog log(context.label);
    const auto deadline = Clock::now() + std::chrono::seconds(context.timeoutSeconds);
    bool open = true;
    bool killed = false;
    while (true) {
        pollfd waited{open ? output : -1, POLLIN, 0};
        poll(&waited, 1, tick);
        char buffer[4096];
        const ssize_t count = waited.revents != 0 ? read(output, buffer, sizeof buffer) : -1;
        if (count > 0) {
            log.take(buffer, static_cast<std::size_t>(count));
        } else if (count == 0) {
            open = false;
        }
        int status = 0;
        // What it printed last is still taken; a process it left running does not keep us.
        if (count <= 0 && waitpid(child, &status, WNOHANG) == child) {
            return resultOf(status);
        }
        if (!killed && Clock::now() >= deadline) {
            LUMO_LOG(LogError, "%s: killed, it ran longer than its %d seconds", context.label.c_str(),
                     context.timeoutSeconds);
            kill(-child, SIGKILL);
            kill(child, SIGKILL);
            killed = true;
        }
    }
}

} // namespace

int runScript(const std::string& bytes, const ScriptContext& context) {
    const UniqueFd script = fileOf(bytes);
    int ends[2];
    if (!script || pipe2(ends, O_CLOEXEC) != 0) {
        LUMO_LOG(LogError, "%s: cannot be prepared: %s", context.label.c_str(), std::strerror(errno));
        return couldNotStart;
    }
    const UniqueFd output(ends[0]);
    UniqueFd input = high(ends[1]);
    std::string name = context.label;
    std::vector<std::string> variables{"PATH=/usr/sbin:/usr/bin:/sbin:/bin", "HOME=/",
                                       "LUMO_DEVICE_ID=" + context.deviceId,
                                       "LUMO_VERSION=" + context.version};
    std::vector<char*> environment;
    for (std::string& variable : variables) {
        environment.push_back(variable.data());
    }
    environment.push_back(nullptr);
    char* argv[] = {name.data(), nullptr};
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
