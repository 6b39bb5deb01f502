#include "src/system/STBBackTrace.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstring>
#include <mutex>
#include <regex>
#include <thread>

#include "inc/private/pthread_helper.h"
#include "tests/support/TempDir.h"

extern "C" const char* __tsan_default_options();

// The handler knowingly allocates.
const char* __tsan_default_options() {
    return "report_signal_unsafe=0";
}

extern "C" __attribute__((noinline)) void writeOutsideMemory() {
    // Not the null page's first byte: sanitizers would report that themselves.
    volatile std::uintptr_t address = 8;
    *reinterpret_cast<volatile int*>(address) = 1;
}

// Takes the way back to its callers away before it crashes, as a buffer overrun on the stack does.
extern "C" __attribute__((noinline)) void crashWithoutStack() {
    auto* const frame = static_cast<volatile std::uintptr_t*>(__builtin_frame_address(0));
    frame[0] = 64; // where the caller's frame is
    writeOutsideMemory();
    __asm__ volatile(""); // a tail call would leave no frame of this function
}

extern "C" __attribute__((noinline)) void lockTwice() {
    pthread_helper::mutex mutex;
    mutex.lock();
    mutex.lock();
}

namespace {

using testing::HasSubstr;
using testing::MatchesRegex;
using testing::StartsWith;

struct STBBackTraceTest : testing::Test {
    // How a process of its own ends that does this, with what it printed in out and err.
    int run(const std::function<void()>& act) {
        const pid_t child = fork();
        if (child == 0) {
            dup2(open(folder.file("out").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600), STDOUT_FILENO);
            dup2(open(folder.file("err").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600), STDERR_FILENO);
            STBBackTrace::install(nullptr, nullptr);
            act();
            _exit(0);
        }
        int status = 0;
        waitpid(child, &status, 0);
        out = support::readFile(folder.file("out"));
        err = support::readFile(folder.file("err"));
        return WIFSIGNALED(status) ? WTERMSIG(status) : 0;
    }

    // Where a complete report is expected: signal line, banners, well-formed frames between them, one of
    // which names function.
    static void expectReport(const std::string& text, int signal, const std::string& function) {
        const std::regex report(
            std::string("Signal: ") + strsignal(signal) +
            "\n=============BACKTRACE BEGIN============\n"
            "((0x[0-9a-f]+( \\S+ \\(\\+0x[0-9a-f]+\\) \\(\\S+ at 0x[0-9a-f]+\\) | - error resolving address"
            "| - no matching symbol)|Unknown address|The stack cannot be followed any further)\n)+"
            "=============BACKTRACE END============\n");
        EXPECT_TRUE(std::regex_match(text, report)) << text;
        EXPECT_THAT(text, HasSubstr(" " + function + " (+0x"));
    }

    static void report() { EXPECT_EQ(write(STDOUT_FILENO, "reported\n", 9), 9); }

    support::TempDir folder;
    const std::string file = folder.file("report");
    std::string out;
    std::string err;
};

TEST_F(STBBackTraceTest, ReportsInvalidWritesOfAnyThreadAndWithABrokenStack) {
    EXPECT_EQ(run([] { std::thread(writeOutsideMemory).join(); }), SIGKILL);
    expectReport(err, SIGSEGV, "writeOutsideMemory");
    EXPECT_EQ(run(crashWithoutStack), SIGKILL);
    expectReport(err, SIGSEGV, "crashWithoutStack");
    for (const int signal : {SIGABRT, SIGBUS, SIGXCPU, SIGILL}) {
        EXPECT_EQ(run([signal] { raise(signal); }), SIGKILL);
        expectReport(err, signal, "main");
    }
}

TEST_F(STBBackTraceTest, WritesReportToFileBeforeTheCallbackRuns) {
    support::writeFile(file, std::string(100000, 'x'));
    const auto crashInto = [](const std::string& name) {
        STBBackTrace::install(name.c_str(), report);
        writeOutsideMemory();
    };
    run([&] { crashInto(file); });
    EXPECT_EQ(err, "Signal: Segmentation fault, saving backtrace to file: " + file + "\n");
    EXPECT_EQ(out, "reported\n");
    expectReport(support::readFile(file), SIGSEGV, "writeOutsideMemory");

    run([&] { crashInto("/no/such/folder/report"); });
    const std::string complaint =
        "Error opening file /no/such/folder/report for writing (No such file or directory)\n";
    ASSERT_THAT(err, StartsWith(complaint));
    expectReport(err.substr(complaint.size()), SIGSEGV, "writeOutsideMemory");
    EXPECT_EQ(out, "reported\n");
}

TEST_F(STBBackTraceTest, MutexReportsItsMisuse) {
    const auto destroyLocked = [] {
        alignas(pthread_helper::mutex) unsigned char memory[sizeof(pthread_helper::mutex)];
        auto* mutex = new (memory) pthread_helper::mutex;
        mutex->lock();
        mutex->~mutex();
    };
    for (const auto& [misuse, assertion, function] :
         std::vector<std::tuple<std::function<void()>, std::string, std::string>>{
             {lockTwice, "res != 35\\) ret=35", "lockTwice"},
             {[] { pthread_helper::mutex().unlock(); }, "res == 0\\) ret=1", "main"},
             {destroyLocked, "res != 16\\) ret=16", "main"}}) {
        EXPECT_EQ(run(misuse), SIGKILL);
        EXPECT_THAT(out, MatchesRegex("=+\n ASSERT \\(" + assertion +
                                      " on inc/private/pthread_helper:[0-9]+, this:0x[0-9a-f]+\n=+\n(.|\n)*" +
                                      " " + function + " \\(\\+0x(.|\n)*\n=+\n"));
    }
    pthread_helper::mutex recursive(PTHREAD_MUTEX_RECURSIVE);
    const std::scoped_lock outer(recursive);
    const std::scoped_lock inner(recursive);
}

} // namespace
