#include "src/system/STBBackTrace.h"

#include <dlfcn.h>
#include <setjmp.h>
#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <cstring>

namespace {

struct Settings {
    std::atomic<const char*> file{nullptr};
    std::atomic<void (*)()> callback{nullptr};
};

// Never freed: a signal may come while the process is exiting.
Settings& settings() {
    static auto* const instance = new Settings;
    return *instance;
}

#if defined(__arm__)
constexpr std::uintptr_t symbolAddressBits = 1; // the symbol of a Thumb function has the mode bit set
#else
constexpr std::uintptr_t symbolAddressBits = 0;
#endif

void writeFrame(FILE* out, std::uintptr_t address) {
    if (address == 0) {
        fputs("Unknown address", out);
        return;
    }
    fprintf(out, "%p", reinterpret_cast<void*>(address));
    Dl_info symbol{};
    if (dladdr(reinterpret_cast<void*>(address | symbolAddressBits), &symbol) == 0) {
        fputs(" - error resolving address", out);
        return;
    }
    if (symbol.dli_saddr == nullptr) {
        fputs(" - no matching symbol", out);
        return;
    }
    const auto start = reinterpret_cast<std::uintptr_t>(symbol.dli_saddr) & ~symbolAddressBits;
    fprintf(out, " %s (+0x%x) (%s at %p) ", symbol.dli_sname, static_cast<unsigned int>(address - start),
            symbol.dli_fname, symbol.dli_fbase);
}

// The stream for the report: the file when one is set and can be written, standard error otherwise.
FILE* openReport(const char* description) {
    const char* file = settings().file;
    if (file == nullptr) {
        return stderr;
    }
    FILE* report = fopen(file, "w");
    if (report == nullptr) {
        fprintf(stderr, "Error opening file %s for writing (%s)\n", file, strerror(errno));
        return stderr;
    }
    fprintf(stderr, "Signal: %s, saving backtrace to file: %s\n", description, file);
    return report;
}

sigjmp_buf walkBroken;
pthread_t walker; // the thread that set it

void leaveWalk(int) {
    if (pthread_equal(pthread_self(), walker) == 0) {
        STBBackTrace::killProcess();
    }
    siglongjmp(walkBroken, 1);
}

void endProcess(int) {
    STBBackTrace::killProcess();
}

// From now on a fault calls handler, also while this thread handles one.
void handleFaults(void (*handler)(int)) {
    struct sigaction action {};

    action.sa_handler = handler;
    sigset_t faults;
    sigemptyset(&faults);
    for (const int signal : {SIGSEGV, SIGBUS, SIGABRT, SIGILL}) {
        sigaction(signal, &action, nullptr);
        sigaddset(&faults, signal);
    }
    pthread_sigmask(SIG_UNBLOCK, &faults, nullptr);
}

} // namespace

void STBBackTrace::install(const char* file, void (*callback)()) {
    settings().file = file;
    settings().callback = callback;

    struct sigaction action {};

    action.sa_sigaction = signal_handler_function;
    action.sa_flags = SA_SIGINFO;
    sigemptyset(&action.sa_mask);
    for (const int signal : {SIGSEGV, SIGABRT, SIGBUS, SIGXCPU, SIGILL}) {
        sigaction(signal, &action, nullptr);
    }
}

void STBBackTrace::signal_handler_function(int signal, siginfo_t*, void*) {
    const char* description = strsignal(signal);
    FILE* out = openReport(description);
    fprintf(out, "Signal: %s\n", description);
    fputs("=============BACKTRACE BEGIN============\n", out);
    fflush(out);
    // A program that wrote where it must not may have no stack left that can be followed; and unwind tables
    // of 32-bit ARM are exact at calls only, not at an instruction that faults. The report is finished all
    // the same.
    walker = pthread_self();
    if (sigsetjmp(walkBroken, 1) == 0) {
        handleFaults(leaveWalk);
        printStack(out);
    } else {
        fputs("The stack cannot be followed any further\n", out);
    }
    handleFaults(endProcess);
    fputs("=============BACKTRACE END============\n", out);
    if (out == stderr) {
        fflush(out);
    } else {
        fclose(out);
    }
    if (void (*callback)() = settings().callback) {
        callback();
    }
    killProcess();
}

_Unwind_Reason_Code STBBackTrace::backtrace_helper(_Unwind_Context* context, void* stream) {
    FILE* out = static_cast<FILE*>(stream);
    // On 32-bit ARM this is core register 15, whose lowest bit is the Thumb mode.
    writeFrame(out, static_cast<std::uintptr_t>(_Unwind_GetIP(context)) & ~std::uintptr_t{1});
    fputc('\n', out);
    fflush(out);
    return _URC_NO_REASON;
}

void STBBackTrace::printStack(FILE* stream) {
    _Unwind_Backtrace(backtrace_helper, stream);
}

void STBBackTrace::killProcess() {
    kill(getpid(), SIGKILL);
    for (;;) {
        pause(); // the signal may reach another thread first
    }
}
