#include "platform/STBLogger.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <sstream>
#include <thread>
#include <vector>

#include "platform/linux/device/Device.h"
#include "tests/support/Subprocess.h"
#include "tests/support/TempDir.h"

namespace lumo {
namespace {

namespace fs = std::filesystem;
using support::ProcessResult;
using support::readFile;
using support::TempDir;
using support::writeFile;
using ::testing::AllOf;
using ::testing::Each;
using ::testing::HasSubstr;
using ::testing::MatchesRegex;
using ::testing::Not;
using ::testing::SizeIs;

std::vector<std::string> linesOf(const std::string& text) {
    std::istringstream stream(text);
    std::vector<std::string> lines;
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

ProcessResult probe(std::vector<std::string> arguments, const std::string& configuration) {
    arguments.insert(arguments.begin(), LUMO_PROBE);
    return support::run(
        {.command = arguments, .environment = {{"LUMO_PLATFORM", configuration}}, .workingDirectory = {}});
}

// Logs into a file of its own, at every level.
class STBLoggerTest : public ::testing::Test {
protected:
    STBLoggerTest() { logTo(file()); }

    ~STBLoggerTest() override { setDeviceConfigForTests(Config()); }

    static void logTo(const std::string& path) {
        Config config;
        config.log.level = 5;
        config.log.file = path;
        setDeviceConfigForTests(config);
    }

    std::string file() const { return _folder.file("log"); }

    std::vector<std::string> lines() const { return linesOf(readFile(file())); }

    const TempDir& folder() const { return _folder; }

private:
    TempDir _folder;
};

TEST_F(STBLoggerTest, WritesOneLineThatSaysWhenWhatAndWhere) {
    STBLogger_log(this, "net", 2, 17, "src/a/Fetcher", "%d of %s\n", 5, "seven");
    STBLogger_log(nullptr, nullptr, 5, 1, nullptr, "plain");
    ASSERT_THAT(lines(), SizeIs(2));
    EXPECT_THAT(lines()[0], MatchesRegex("20[0-9][0-9]-[01][0-9]-[0-3][0-9]T[0-2][0-9]:[0-5][0-9]:[0-6][0-9]"
                                         "\\.[0-9][0-9][0-9]Z warning net src/a/Fetcher:17: 5 of seven"));
    EXPECT_THAT(lines()[1], MatchesRegex("20[0-9T:.Z-]+ debug \\?:1: plain"));

    struct stat status {};

    ASSERT_EQ(::stat(file().c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0600u);
}

TEST_F(STBLoggerTest, MakesVisibleWhatCouldSteerATerminal) {
    const struct {
        std::string message;
        std::string shown;
    } cases[] = {
        {"a\x1B[2Jb\r\nc\td\x7F", "a\\x1B[2Jb\\x0D\\x0Ac\\x09d\\x7F"},
        {"Käse 電 \xF0\x9F\x93\xBA", "Käse 電 \xF0\x9F\x93\xBA"},
        {"\xC2\x9B"
         "31m",
         "\\xC2\\x9B31m"},
        {"\xC0\xAF \xED\xA0\x80 \xE2\x82", "\\xC0\\xAF \\xED\\xA0\\x80 \\xE2\\x82"},
        {"100 % \\x41", "100 % \\x41"},
    };

    for (const auto& [message, shown] : cases) {
        STBLogger_log(nullptr, "t", 1, 1, "f", "%s", message.c_str());
        EXPECT_THAT(lines().back(), ::testing::EndsWith(" f:1: " + shown));
    }
    EXPECT_THAT(lines(), SizeIs(std::size(cases)));
}

TEST_F(STBLoggerTest, SaysWhenItShortensALongMessage) {
    for (const std::size_t length : {512u, 65536u}) {
        STBLogger_log(nullptr, "t", 1, 1, "f", "%s", std::string(length, 'x').c_str());
        EXPECT_THAT(lines().back(), ::testing::EndsWith(" f:1: " + std::string(length, 'x'))) << length;
    }
    STBLogger_log(nullptr, "t", 1, 1, "f", "%s", std::string(70000, 'x').c_str());
    EXPECT_THAT(lines().back(), ::testing::EndsWith("xx [... 4464 more bytes]"));
}

TEST_F(STBLoggerTest, KeepsLinesOfThreadsAndProcessesApart) {
    const std::string configuration = folder().file("p.json");
    writeFile(configuration,
              R"({"device": {"id": "B"}, "updates": {"server": "http://h", "allowUnsigned": true},
                                 "log": {"level": 5, "file": ")" +
                  file() + "\"}}");
    std::vector<std::string> command = {LUMO_PROBE, "log", "3"};
    command.insert(command.end(), 200, std::string(6000, 'p'));
    const pid_t child = support::start(
        {.command = command, .environment = {{"LUMO_PLATFORM", configuration}}, .workingDirectory = {}});
    std::vector<std::thread> threads;
    for (const char letter : {'a', 'b', 'c'}) {
        threads.emplace_back([letter] {
            for (int i = 0; i < 200; ++i) {
                STBLogger_log(nullptr, "t", 3, 1, "f", "%s", std::string(6000, letter).c_str());
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    int status = -1;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
    EXPECT_THAT(lines(), AllOf(SizeIs(800), Each(MatchesRegex("20[0-9T:.Z-]+ notice .*: (a+|b+|c+|p+)"))));
    EXPECT_THAT(lines(), Each(::testing::SizeIs(::testing::Gt(6000u))));
}

TEST_F(STBLoggerTest, GoesToStandardErrorWhenTheFileCannotBeOpened) {
    fs::create_symlink(folder().file("elsewhere"), folder().file("link"));
    for (const char* name : {"link", "missing/log", "."}) {
        logTo(folder().file(name));
        ::testing::internal::CaptureStderr();
        errno = EXDEV;
        STBLogger_log(nullptr, "t", 4, 1, "f", "one");
        EXPECT_EQ(errno, EXDEV);
        STBLogger_log(nullptr, "t", 4, 1, "f", "two");
        const auto said = linesOf(::testing::internal::GetCapturedStderr());
        ASSERT_THAT(said, SizeIs(3)) << name;
        EXPECT_THAT(said[0], HasSubstr("Cannot open the log file " + folder().file(name)));
        EXPECT_THAT(said[2], HasSubstr("two"));
    }
    EXPECT_FALSE(fs::exists(folder().file("elsewhere")));
}

TEST_F(STBLoggerTest, DropsWhatIsAboveTheLevel) {
    writeFile(folder().file("p.json"), R"({"device": {"id": "B"},
        "updates": {"server": "http://h", "allowUnsigned": true}, "log": {"level": 2}})");
    for (const auto& [configuration, level] : {std::pair{"p.json", 2}, {"missing.json", 3}}) {
        for (int i = 1; i <= 5; ++i) {
            const std::string said =
                probe({"log", std::to_string(i), "text"}, folder().file(configuration)).err;
            EXPECT_EQ(said.find("probe tests/probe:42: text\n") != std::string::npos, i <= level) << i;
        }
    }
}

TEST_F(STBLoggerTest, SurvivesAReaderThatWentAway) {
    const ProcessResult result = probe({"broken-pipe"}, "");
    EXPECT_EQ(result.signal, 0);
    EXPECT_EQ(result.out, "alive\n");
}

TEST(DeviceConfigTest, RemembersItsErrorAndIsReadOnce) {
    const TempDir folder;
    writeFile(folder.file("broken.json"), "{}");
    const ProcessResult result = probe({"config"}, folder.file("broken.json"));
    const std::string error = "error " + folder.file("broken.json") + ": device is missing\n";
    EXPECT_EQ(result.out, error + error);
    EXPECT_EQ(result.err, "");
}

TEST(ResourceHolderTest, ComesUpWithLedsAndWithoutDisplay) {
    const TempDir folder;
    fs::create_directory(folder.file("led"));
    writeFile(folder.file("led/brightness"), "0");
    const std::string rest = R"("device": {"id": "B", "mac": "00:1a:2b:3c:4d:5e"},
        "updates": {"server": "http://h", "allowUnsigned": true}, "leds": {"3": ")" +
                             folder.file("led") + "\"}}";
    writeFile(folder.file("p.json"), "{" + rest);
    writeFile(folder.file("none.json"), R"({"display": {"backend": "none"}, )" + rest);

    const ProcessResult up = probe({"up"}, folder.file("p.json"));
    EXPECT_EQ(up.out, "up 1 display 0\naddress 00:1A:2B:3C:4D:5E\n");
    EXPECT_EQ(up.err, "");
    EXPECT_EQ(readFile(folder.file("led/brightness")), "255");

    const ProcessResult none = probe({"up"}, folder.file("none.json"));
    EXPECT_EQ(none.out, "up 0 display 0\naddress 00:1A:2B:3C:4D:5E\n");
    EXPECT_THAT(linesOf(none.err), SizeIs(1));
    EXPECT_THAT(none.err, HasSubstr(" warning lumostb "));
}

} // namespace
} // namespace lumo
