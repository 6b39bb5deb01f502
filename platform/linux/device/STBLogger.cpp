#include "platform/STBLogger.h"

#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <signal.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <string>
#include <string_view>

#include "platform/linux/device/Device.h"
#include "platform/linux/device/Files.h"
#include "platform/linux/device/Log.h"
#include "platform/linux/device/Text.h"

namespace lumo {

namespace {

constexpr std::size_t longestMessage = 64 << 10;

// Keeps a reader that went away (of "updater 2>&1 | head", say) from killing the process in the middle of its
// work.
class NoPipeSignal {
public:
    NoPipeSignal() {
        sigemptyset(&_pipe);
        sigaddset(&_pipe, SIGPIPE);
        sigset_t pending;
        sigpending(&pending);
        _wasPending = sigismember(&pending, SIGPIPE) == 1;
        pthread_sigmask(SIG_BLOCK, &_pipe, &_before);
    }

    NoPipeSignal(const NoPipeSignal&) = delete;
    NoPipeSignal& operator=(const NoPipeSignal&) = delete;

    ~NoPipeSignal() { pthread_sigmask(SIG_SETMASK, &_before, nullptr); }

    // Takes back the signal of a write that just failed with EPIPE.
    void discard() {
        const timespec now{};
        while (!_wasPending && sigtimedwait(&_pipe, nullptr, &now) < 0 && errno == EINTR) {
        }
    }

private:
    sigset_t _pipe;
    sigset_t _before;
    bool _wasPending;
};

bool writeLine(int fd, std::string_view line) {
    NoPipeSignal signal;
    while (!line.empty()) {
        const ssize_t count = ::write(fd, line.data(), line.size());
        if (count >= 0) {
            line.remove_prefix(static_cast<std::size_t>(count));
        } else if (errno == EAGAIN) {
            pollfd writable{fd, POLLOUT, 0};
            ::poll(&writable, 1, -1);
        } else if (errno == EPIPE) {
            signal.discard();
            return false;
        } else if (errno != EINTR) {
            return false;
        }
    }
    return true;
}

// Where lines go: the file that the configuration names, or standard error.
class Sink {
public:
    void write(const Config* config, const std::string& line) {
        const std::lock_guard lock(_mutex);
        if (config != _config) {
            _config = config;
            open(config == nullptr ? "" : config->log.file);
        }
        if (!_file || !writeLine(_file.get(), line)) {
            writeLine(STDERR_FILENO, line);
        }
    }

private:
    void open(const std::string& path) {
        _file.reset();
        if (path.empty()) {
            return;
        }
        // O_NONBLOCK: not to wait for the reader of a pipe.
        _file = openFile(path, O_WRONLY | O_APPEND | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY, 0600);
        if (!_file) {
            const std::string problem = "Cannot open the log file " + path + ": " + std::strerror(errno) +
                                        ". The log goes to standard error.";
            writeLine(STDERR_FILENO, visibleText(problem) + "\n");
        }
    }

    // Guarded by _mutex.
    std::mutex _mutex;
    const Config* _config = nullptr;
    UniqueFd _file;
};

Sink& sink() {
    static auto* const instance = new Sink; // never destroyed: exit handlers may still log
    return *instance;
}

const char* wordFor(int level) {
    static const char* const words[] = {"error", "error", "warning", "notice", "info", "debug"};
    return words[std::clamp<int>(level, LogError, LogDebug)];
}

std::string timeStamp() {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    tm parts{};
    gmtime_r(&now.tv_sec, &parts);
    char date[32];
    const std::size_t length = strftime(date, sizeof date, "%Y-%m-%dT%H:%M:%S", &parts);
    char fraction[16];
    std::snprintf(fraction, sizeof fraction, ".%03dZ", static_cast<int>(now.tv_nsec / 1000000));
    return std::string(date, length) + fraction;
}

__attribute__((format(printf, 1, 0))) std::string formatted(const char* format, va_list arguments) {
    va_list again;
    va_copy(again, arguments);
    char small[512];
    const int length = std::vsnprintf(small, sizeof small, format, arguments);
    std::string text;
    if (length < 0) {
        text = std::string("(cannot be formatted) ") + format;
    } else if (static_cast<std::size_t>(length) < sizeof small) {
        text.assign(small, static_cast<std::size_t>(length));
    } else {
        const std::size_t kept = std::min(static_cast<std::size_t>(length), longestMessage);
        text.resize(kept);
        // The terminating zero goes where the string keeps its own.
        std::vsnprintf(text.data(), kept + 1, format, again);
        if (kept < static_cast<std::size_t>(length)) {
            text += " [... " + std::to_string(static_cast<std::size_t>(length) - kept) + " more bytes]";
        }
    }
    va_end(again);
    if (text.ends_with('\n')) {
        text.pop_back();
    }
    return text;
}

struct Origin {
    const char* tag;
    int level;
    int line;
    const char* file;
};

__attribute__((format(printf, 2, 0))) void log(const Origin& origin, const char* format, va_list arguments) {
    const Config* const config = deviceConfigForLog();
    const int highest = config == nullptr ? LogConfig().level : config->log.level;
    if (origin.level > highest || format == nullptr) {
        return;
    }
    std::string text = origin.tag == nullptr || *origin.tag == '\0' ? "" : std::string(origin.tag) + " ";
    text +=
        std::string(origin.file == nullptr ? "?" : origin.file) + ":" + std::to_string(origin.line) + ": ";
    text += formatted(format, arguments);
    sink().write(config, timeStamp() + " " + wordFor(origin.level) + " " + visibleText(text) + "\n");
}

} // namespace

} // namespace lumo

// "2024-11-20T09:08:01.123Z warning lumostb platform/linux/device/SysfsLeds:57: message"
void STBLogger_log(const void*, const char* tag, int level, int line, const char* file, const char* format,
                   ...) {
    const int savedError = errno;
    va_list arguments;
    va_start(arguments, format);
    try {
        lumo::log({tag, level, line, file}, format, arguments);
    } catch (const std::exception&) {
        // Out of memory. The caller has its own way to find that out.
    }
    va_end(arguments);
    errno = savedError;
}
