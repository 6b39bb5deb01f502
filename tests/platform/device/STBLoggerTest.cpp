#include "platform/STBLogger.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cerrno>
#include <filesystem>
#include <sstream>
#include <thread>

#include "platform/linux/device/Device.h"
#include "tests/support/Subprocess.h"
#include "tests/support/TempDir.h"

namespace lumo {
namespace {

namespace fs = std::filesystem;
using support::ProcessResult;
using support::readFile;
using support::writeFile;
using ::testing::Each;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::MatchesRegex;
using ::testing::SizeIs;

std::vector<std::string> linesOf(const std::string& text) {
    std::istringstream stream(text);
    std::vector<std::string> lines;
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

// Logs into a file of its own, at every level.
class STBLoggerTest : public ::testing::Test {
protected:
    STBLoggerTest() { logTo(file("log")); }

    ~STBLoggerTest() override { setDeviceConfigForTests(Config()); }

    static void logTo(const std::string& path) {
        Config config;
        config.log = {5, path};
        setDeviceConfigForTests(config);
    }

    static void log(const std::string& message) {
        STBLogger_log(nullptr, "t", 4, 1, "f", "%s", message.c_str());
    }

    // The probe with a configuration that has this member as well.
    support::Program probe(std::vector<std::string> arguments, const std::string& member) const {
        writeFile(file("p.json"), R"({"device": {"id": "B", "mac": "00:1a:2b:3c:4d:5e"}, )"
                                  R"("updates": {"server": "http://h", "allowUnsigned": true}, )" +
                                      member + "}");
        arguments.insert(arguments.begin(), LUMO_PROBE);
        return {arguments, {{"LUMO_PLATFORM", file("p.json")}}, {}};
    }

    std::string file(const std::string& name) const { return _folder.file(name); }

    std::vector<std::string> lines() const { return linesOf(readFile(file("log"))); }

private:
    const support::TempDir _folder;
};

TEST_F(STBLoggerTest, WritesOneLineThatSaysWhenWhatAndWhere) {
    STBLogger_log(this, "net", 2, 17, "src/a/Fetcher", "%d of %s\n", 5, "seven");
    EXPECT_THAT(lines(),
                Each(MatchesRegex("20[0-9][0-9]-[01][0-9]-[0-3][0-9]T[0-2][0-9]:[0-5][0-9]:[0-6][0-9]"
                                  "\\.[0-9][0-9][0-9]Z warning net src/a/Fetcher:17: 5 of seven")));
    STBLogger_log(nullptr, nullptr, 5, 1, nullptr, "plain");
    EXPECT_THAT(lines(), SizeIs(2));
    EXPECT_EQ(fs::status(file("log")).permissions(), fs::perms::owner_read | fs::perms::owner_write);
}

TEST_F(STBLoggerTest, MakesVisibleWhatCouldSteerATerminalAndShortensWhatIsLong) {
    const std::pair<std::string, std::string> cases[] = {
        {"a\x1B[2Jb\r\nc\td\x7F", "a\\x1B[2Jb\\x0D\\x0Ac\\x09d\\x7F"},
        {"Käse 電 \xF0\x9F\x93\xBA", "Käse 電 \xF0\x9F\x93\xBA"},
        {std::string("\xC2\x9B") + "31m", "\\xC2\\x9B31m"},
        {"\xC0\xAF \xED\xA0\x80 \xE2\x82", "\\xC0\\xAF \\xED\\xA0\\x80 \\xE2\\x82"},
        {std::string(65536, 'x'), std::string(65536, 'x')},
        {std::string(70000, 'x'), std::string(65536, 'x') + " [... 4464 more bytes]"},
    };
    for (const auto& [message, shown] : cases) {
        log(message);
        EXPECT_THAT(lines().back(), EndsWith(" f:1: " + shown));
    }
    EXPECT_THAT(lines(), SizeIs(std::size(cases)));
}

TEST_F(STBLoggerTest, KeepsLinesOfThreadsAndProcessesApart) {
    std::vector<std::string> arguments = {"log", "3"};
    arguments.insert(arguments.end(), 200, std::string(6000, 'p'));
    const pid_t child =
        support::start(probe(arguments, R"("log": {"level": 5, "file": ")" + file("log") + "\"}"));
    std::vector<std::thread> threads;
    for (const char letter : {'a', 'b', 'c'}) {
        threads.emplace_back([letter] {
            for (int i = 0; i < 200; ++i) {
                log(std::string(6000, letter));
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    int status = -1;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
    EXPECT_THAT(lines(), SizeIs(800));
    EXPECT_THAT(lines(), Each(::testing::SizeIs(::testing::Gt(6000u))));
    EXPECT_THAT(lines(), Each(MatchesRegex("20[0-9T:.Z-]+ [a-z]+ .*: (a+|b+|c+|p+)")));
}

TEST_F(STBLoggerTest, GoesToStandardErrorWhenTheFileCannotBeOpened) {
    fs::create_symlink(file("elsewhere"), file("link"));
    for (const char* name : {"link", "missing/log", "."}) {
        logTo(file(name));
        ::testing::internal::CaptureStderr();
        errno = EXDEV;
        log("one");
        EXPECT_EQ(errno, EXDEV);
        log("two");
        const auto said = linesOf(::testing::internal::GetCapturedStderr());
        ASSERT_THAT(said, SizeIs(3)) << name;
        EXPECT_THAT(said[0], HasSubstr("Cannot open the log file " + file(name)));
        EXPECT_THAT(said[2], HasSubstr("two"));
    }
    EXPECT_FALSE(fs::exists(file("elsewhere")));
}

TEST_F(STBLoggerTest, DropsWhatIsAboveTheLevelAndSurvivesAReaderThatWentAway) {
    for (const int level : {2, 3}) {
        for (int i = 1; i <= 5; ++i) {
            const std::string member = R"("log": {"level": )" + std::to_string(level) + "}";
            const std::string said = support::run(probe({"log", std::to_string(i), "text"}, member)).err;
            EXPECT_EQ(said.find("probe tests/probe:42: text\n") != std::string::npos, i <= level) << i;
        }
    }
    EXPECT_EQ(support::run(probe({"broken-pipe"}, R"("log": {})")).out, "alive\n");
}

TEST_F(STBLoggerTest, TheDeviceComesUpWithLedsAndWithoutDisplay) {
    fs::create_directory(file("led"));
    writeFile(file("led/brightness"), "0");
    const std::string leds = R"("leds": {"3": ")" + file("led") + "\"}";
    const ProcessResult up = support::run(probe({"up"}, leds));
    EXPECT_EQ(up.out, "up 1 display 0\naddress 00:1A:2B:3C:4D:5E\n");
    EXPECT_EQ(up.err, "");
    EXPECT_EQ(readFile(file("led/brightness")), "255");

    const ProcessResult none = support::run(probe({"up"}, leds + R"(, "display": {"backend": "none"})"));
    EXPECT_EQ(none.out, "up 0 display 0\naddress 00:1A:2B:3C:4D:5E\n");
    EXPECT_THAT(none.err, HasSubstr(" warning lumostb "));
}

} // namespace
} // namespace lumo
