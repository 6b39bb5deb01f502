#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <regex>
#include <sstream>

#include "tests/support/Subprocess.h"
#include "tests/support/TempDir.h"

namespace {

using testing::HasSubstr;
using testing::StartsWith;

constexpr const char* begin = "=============BACKTRACE BEGIN============";
constexpr const char* end = "=============BACKTRACE END============";

support::ProcessResult runChild(const std::string& way, const std::string& argument = "") {
    support::Program program;
    program.command = {LUMO_CRASH_CHILD, way, argument};
    program.environment["TSAN_OPTIONS"] = "report_signal_unsafe=0"; // the handler takes that risk knowingly
    return support::run(program);
}

support::ProcessResult crash(const std::string& way, const std::string& argument = "") {
    auto result = runChild(way, argument);
    EXPECT_EQ(result.signal, SIGKILL) << way;
    return result;
}

std::vector<std::string> linesOf(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) {
        lines.push_back(line);
    }
    return lines;
}

// A complete report: signal line, banners, well-formed frames between them, one of which names function.
void expectReport(const std::string& text, int signal, const std::string& function) {
    const auto lines = linesOf(text);
    ASSERT_GE(lines.size(), 4U) << text;
    EXPECT_EQ(lines[0], std::string("Signal: ") + strsignal(signal));
    EXPECT_EQ(lines[1], begin);
    EXPECT_EQ(lines.back(), end);
    const std::regex frame("0x[0-9a-f]+( \\S+ \\(\\+0x[0-9a-f]+\\) \\(\\S+ at 0x[0-9a-f]+\\) "
                           "| - error resolving address| - no matching symbol)|Unknown address|The stack "
                           "cannot be followed any further");
    bool named = false;
    for (std::size_t i = 2; i + 1 < lines.size(); ++i) {
        EXPECT_TRUE(std::regex_match(lines[i], frame)) << lines[i];
        named = named || lines[i].find(" " + function + " (+0x") != std::string::npos;
    }
    EXPECT_TRUE(named) << "no frame of " << function << " in\n" << text;
    EXPECT_EQ(text.back(), '\n');
}

TEST(STBBackTrace, ReportsInvalidWriteOnStandardErrorAndDiesBySigkill) {
    const auto result = crash("segv");
    expectReport(result.err, SIGSEGV, "writeOutsideMemory");
    EXPECT_EQ(result.out, "");
}

TEST(STBBackTrace, ReportsStackOfThreadThatRaisedTheSignal) {
    expectReport(crash("segv-on-other-thread").err, SIGSEGV, "writeOutsideMemory");
}

TEST(STBBackTrace, FinishesTheReportWhenTheStackIsBroken) {
    expectReport(crash("segv-without-stack").err, SIGSEGV, "crashWithoutStack");
}

TEST(STBBackTrace, HandlesEveryFatalSignal) {
    for (const int signal : {SIGSEGV, SIGABRT, SIGBUS, SIGXCPU, SIGILL}) {
        expectReport(crash("signal", std::to_string(signal)).err, signal, "main");
    }
}

TEST(STBBackTrace, WritesReportToFileBeforeTheCallbackRuns) {
    const support::TempDir folder;
    const std::string file = folder.file("report");
    support::writeFile(file, std::string(100000, 'x'));
    const auto result = crash("segv-to-file", file);
    EXPECT_EQ(result.err,
              std::string("Signal: ") + strsignal(SIGSEGV) + ", saving backtrace to file: " + file + "\n");
    EXPECT_EQ(result.out, "reported\n");
    expectReport(support::readFile(file), SIGSEGV, "writeOutsideMemory");
}

TEST(STBBackTrace, FallsBackToStandardErrorWhenFileCannotBeWritten) {
    const auto result = crash("segv-to-file", "/no/such/folder/report");
    const std::string complaint =
        "Error opening file /no/such/folder/report for writing (No such file or directory)\n";
    ASSERT_THAT(result.err, StartsWith(complaint));
    expectReport(result.err.substr(complaint.size()), SIGSEGV, "writeOutsideMemory");
    EXPECT_EQ(result.out, "reported\n");
}

TEST(STBBackTrace, SecondInstallReplacesFileAndCallback) {
    const support::TempDir folder;
    const auto result = crash("segv-after-second-install", folder.file("report"));
    expectReport(result.err, SIGSEGV, "writeOutsideMemory");
    EXPECT_EQ(result.out, "");
    EXPECT_FALSE(std::filesystem::exists(folder.file("report")));
}

struct MutexFailure {
    const char* way;
    const char* condition;
    int result;
    const char* function;
};

TEST(PthreadHelperMutex, FailureIsReportedCompletelyOnStandardOutput) {
    for (const auto& [way, condition, code, function] :
         {MutexFailure{"lock-twice", "res != 35", EDEADLK, "lockTwice"},
          MutexFailure{"unlock-unlocked", "res == 0", EPERM, "main"},
          MutexFailure{"destroy-locked", "res != 16", EBUSY, "main"}}) {
        const auto result = crash(way);
        const auto lines = linesOf(result.out);
        ASSERT_GE(lines.size(), 5U) << result.out;
        const std::string rule(88, '=');
        EXPECT_EQ(lines[0], rule);
        const std::string start = std::string(" ASSERT (") + condition + ") ret=" + std::to_string(code) +
                                  " on inc/private/pthread_helper:";
        EXPECT_TRUE(std::regex_match(lines[1].substr(std::min(start.size(), lines[1].size())),
                                     std::regex("[0-9]+, this:0x[0-9a-f]+")))
            << lines[1];
        EXPECT_THAT(lines[1], StartsWith(start));
        EXPECT_EQ(lines[2], rule);
        EXPECT_EQ(lines.back(), rule);
        EXPECT_THAT(result.out, HasSubstr(std::string(" ") + function + " (+0x"));
    }
}

TEST(PthreadHelperMutex, RecursiveTypeMayBeLockedTwice) {
    const auto result = runChild("recursive");
    EXPECT_EQ(result.exitCode, 0) << result.out;
}

} // namespace
