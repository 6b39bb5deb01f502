#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <cstring>
#include <regex>
#include <sstream>

#include "tests/support/Subprocess.h"
#include "tests/support/TempDir.h"

namespace {

using testing::HasSubstr;
using testing::MatchesRegex;
using testing::StartsWith;

constexpr const char* begin = "=============BACKTRACE BEGIN============";
constexpr const char* end = "=============BACKTRACE END============";

support::ProcessResult crash(const std::string& way, const std::vector<std::string>& file = {}) {
    support::Program program;
    program.command = {LUMO_CRASH_CHILD, way};
    program.command.insert(program.command.end(), file.begin(), file.end());
    program.environment["TSAN_OPTIONS"] = "report_signal_unsafe=0"; // the handler takes that risk knowingly
    auto result = support::run(program);
    EXPECT_EQ(result.signal, way == "recursive" ? 0 : SIGKILL) << way << result.out;
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

TEST(STBBackTrace, ReportsInvalidWritesOfAnyThreadAndWithABrokenStack) {
    expectReport(crash("segv").err, SIGSEGV, "writeOutsideMemory");
    expectReport(crash("segv-on-other-thread").err, SIGSEGV, "writeOutsideMemory");
    expectReport(crash("segv-without-stack").err, SIGSEGV, "crashWithoutStack");
}

TEST(STBBackTrace, HandlesEveryFatalSignal) {
    for (const int signal : {SIGSEGV, SIGABRT, SIGBUS, SIGXCPU, SIGILL}) {
        expectReport(crash(std::to_string(signal)).err, signal, "main");
    }
}

TEST(STBBackTrace, WritesReportToFileBeforeTheCallbackRuns) {
    const support::TempDir folder;
    const std::string file = folder.file("report");
    support::writeFile(file, std::string(100000, 'x'));
    const auto result = crash("segv", {file});
    EXPECT_EQ(result.err,
              std::string("Signal: ") + strsignal(SIGSEGV) + ", saving backtrace to file: " + file + "\n");
    EXPECT_EQ(result.out, "reported\n");
    expectReport(support::readFile(file), SIGSEGV, "writeOutsideMemory");
}

TEST(STBBackTrace, FallsBackToStandardErrorWhenFileCannotBeWritten) {
    const auto result = crash("segv", {"/no/such/folder/report"});
    const std::string complaint =
        "Error opening file /no/such/folder/report for writing (No such file or directory)\n";
    ASSERT_THAT(result.err, StartsWith(complaint));
    expectReport(result.err.substr(complaint.size()), SIGSEGV, "writeOutsideMemory");
    EXPECT_EQ(result.out, "reported\n");
}

TEST(STBBackTrace, SecondInstallReplacesFileAndCallback) {
    const support::TempDir folder;
    const auto result = crash("segv-after-second-install", {folder.file("report")});
    expectReport(result.err, SIGSEGV, "writeOutsideMemory");
    EXPECT_EQ(result.out, "");
    EXPECT_FALSE(std::filesystem::exists(folder.file("report")));
}

TEST(PthreadHelperMutex, FailureIsReportedCompletelyOnStandardOutput) {
    const std::string rule(88, '=');
    for (const auto& [way, assertion, function] : {std::tuple("lock-twice", "res != 35) ret=35", "lockTwice"),
                                                   {"unlock-unlocked", "res == 0) ret=1", "main"},
                                                   {"destroy-locked", "res != 16) ret=16", "main"}}) {
        const auto result = crash(way);
        const auto lines = linesOf(result.out);
        ASSERT_GE(lines.size(), 5U) << result.out;
        EXPECT_THAT(lines[1],
                    MatchesRegex(" ASSERT .* on inc/private/pthread_helper:[0-9]+, this:0x[0-9a-f]+"));
        EXPECT_THAT(lines[1], StartsWith(std::string(" ASSERT (") + assertion));
        for (const std::string& line : {lines[0], lines[2], lines.back()}) {
            EXPECT_EQ(line, rule);
        }
        EXPECT_THAT(result.out, HasSubstr(std::string(" ") + function + " (+0x"));
    }
    EXPECT_EQ(crash("recursive").exitCode, 0);
}

} // namespace
