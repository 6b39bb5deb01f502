#include "utils/updater/Options.h"

#include <gmock/gmock.h>

#include <climits>

#include "tests/fakes/CommandLine.h"
#include "tests/fakes/JournalConsole.h"

namespace {

using fakes::CommandLine;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Optional;

class OptionsTest : public testing::Test {
protected:
    std::optional<updater::Options> parse(CommandLine&& line) {
        return updater::parseOptions(line.argc(), line.argv(), _console.console());
    }

    fakes::Journal _journal;
    fakes::JournalConsole _console{_journal};
};

TEST_F(OptionsTest, StartFromTheirDefaults) {
    const auto options = parse({});
    ASSERT_TRUE(options);
    EXPECT_EQ(options->url, std::nullopt);
    EXPECT_EQ(options->type, "");
    EXPECT_EQ(options->connectTimeout, 10);
    EXPECT_FALSE(options->force || options->reboot || options->extract || options->info);
}

TEST_F(OptionsTest, CountBehindTheUrlToo) {
    const auto options = parse({"-f", "http://s/a.bin", "-ier", "-t", "beta", "http://s/second.bin", "-c7"});
    ASSERT_TRUE(options);
    EXPECT_THAT(options->url, Optional(std::string("http://s/a.bin")));
    EXPECT_EQ(options->type, "beta");
    EXPECT_EQ(options->connectTimeout, 7);
    EXPECT_TRUE(options->force && options->reboot && options->extract && options->info);
    EXPECT_THAT(parse({"--", "-f"})->url, Optional(std::string("-f")));
    EXPECT_THAT(parse({""})->url, Optional(std::string()));
}

TEST_F(OptionsTest, ReadTheTimeoutAsFarAsItIsANumber) {
    const std::pair<const char*, int> rows[] = {
        {"abc", 0},
        {"0x10", 0},
        {"010", 10},
        {" \t+42 s", 42},
        {"99999999999999999999", INT_MAX},
        {"4294967297", INT_MAX},
    };
    for (const auto& [text, seconds] : rows) {
        const auto options = parse({"-c", text});
        ASSERT_TRUE(options) << text;
        EXPECT_EQ(options->connectTimeout, seconds) << "'" << text << "'";
    }
}

TEST_F(OptionsTest, StopAtHelpAndAtWhatGetoptRefuses) {
    testing::internal::CaptureStderr();
    EXPECT_EQ(parse({"-i", "-h", "-z"}), std::nullopt);
    EXPECT_THAT(testing::internal::GetCapturedStderr(), IsEmpty()) << "nothing behind -h is read";

    for (const auto& [option, message] :
         {std::pair{"-z", "'z'"}, std::pair{"-t", "'t'"}, std::pair{"-fc", "'c'"}}) {
        testing::internal::CaptureStderr();
        EXPECT_EQ(parse({option}), std::nullopt);
        EXPECT_THAT(testing::internal::GetCapturedStderr(), HasSubstr(message)) << "getopt names it";
    }
    EXPECT_THAT(_journal, IsEmpty());
}

} // namespace
