#include "src/common/DateTimeFormat.h"

#include <gtest/gtest.h>

#include <climits>

#include "tests/src/common/LanguageFixture.h"

namespace {

using DateTimeFormatTest = LanguageFixture;

TEST_F(DateTimeFormatTest, PutsNamesInAndLeavesTheRestToStrftime) {
    const long time = at(2024, 3, 5, 13, 7, 9);
    EXPECT_EQ(DateTimeFormat::format("%A %a %B %b %h", time), "Tuesday TU March Mar of March");
    EXPECT_EQ(DateTimeFormat::format("%e|%d.%m.%Y %H:%M:%S %I%p %%d", time),
              " 5|05.03.2024 13:07:09 01PM %d");
    EXPECT_EQ(DateTimeFormat::format("%%a", time), "13:07:09U") << "%TU, once the name is in";
    EXPECT_EQ(DateTimeFormat::format("", time), "");
}

TEST_F(DateTimeFormatTest, NamesFollowTheLanguageFromFlushOn) {
    const long sunday = at(2024, 12, 29);
    EXPECT_EQ(DateTimeFormat::format("%A %h", sunday), "Sunday of December");
    loadLanguage({{"SU|MO|TU|WE|TH|FR|SA", "so|mo|di|mi|do|fr|sa"},
                  {"Sunday|Monday|Tuesday|Wednesday|Thursday|Friday|Saturday", "1|2|3|4|5|6"},
                  {"Jan|Feb|Mar|Apr|May|Jun|Jul|Aug|Sep|Oct|Nov|Dec", "1|2|3|4|5|6|7|8|9|10|11||12"}});
    EXPECT_EQ(DateTimeFormat::format("%a", sunday), "so");
    EXPECT_EQ(DateTimeFormat::format("%A", sunday), "Sunday") << "six names are no week";
    EXPECT_EQ(DateTimeFormat::format("%b", sunday), "12") << "empty names do not count";
    support::TempDir folder;
    support::writeFile(folder.file("y.txt"), "");
    ASSERT_TRUE(Translator::getInstance()->loadFile(folder.file("y.txt"), "y"));
    DateTimeFormat::setMode("12");
    EXPECT_EQ(DateTimeFormat::format("%a", sunday), "so");
    DateTimeFormat::flush();
    EXPECT_EQ(DateTimeFormat::format("%a", sunday), "SU");
}

TEST_F(DateTimeFormatTest, NamesMayHoldDirectives) {
    loadLanguage({{"SU|MO|TU|WE|TH|FR|SA", "%b|%A|%Y|x|x|x|x"}});
    EXPECT_EQ(DateTimeFormat::format("%a", at(2024, 3, 3)), "Mar");
    EXPECT_EQ(DateTimeFormat::format("%a", at(2024, 3, 4)), "Monday")
        << "%A, which strftime writes in English";
    EXPECT_EQ(DateTimeFormat::format("%a", at(2024, 3, 5)), "2024");
}

TEST_F(DateTimeFormatTest, ResultOfSixtyBytesIsNoResult) {
    EXPECT_EQ(DateTimeFormat::format(std::string(59, 'x'), 0L), std::string(59, 'x'));
    EXPECT_EQ(DateTimeFormat::format(std::string(60, 'x'), 0L), "");
    EXPECT_EQ(DateTimeFormat::format(std::string(10000, 'x'), 0L), "");
}

TEST_F(DateTimeFormatTest, ImpossibleDatesShowAsSuch) {
    std::tm time{};
    time.tm_wday = 7;
    time.tm_mon = -1;
    EXPECT_EQ(DateTimeFormat::format("%A%a%B%b%h", &time), "?????");
    if (sizeof(long) > 4) {
        EXPECT_EQ(DateTimeFormat::format("%Y", LONG_MAX), "");
        EXPECT_EQ(DateTimeFormat::formatUtc("%Y", LONG_MIN), "");
    }
}

TEST_F(DateTimeFormatTest, LocalTimeFollowsTheZone) {
    setZone("XXX-5:30");
    EXPECT_EQ(DateTimeFormat::format("%H:%M", 0L), "05:30");
    EXPECT_EQ(DateTimeFormat::formatUtc("%H:%M", 0L), "00:00");
    setZone("XXX1");
    EXPECT_EQ(DateTimeFormat::format("%H:%M %A", 0L), "23:00 Wednesday");
}

TEST_F(DateTimeFormatTest, ModeChoosesKeys) {
    EXPECT_EQ(DateTimeFormat::getMode(), "24");
    DateTimeFormat::setMode("12");
    EXPECT_EQ(DateTimeFormat::getMode(), "12");
    EXPECT_STREQ(DateTimeFormat::NUMERIC_DATE_TIME, "NUMERIC_DATE_TIME_12H");
    EXPECT_STREQ(DateTimeFormat::NUMERIC_TIME_SECS, "NUMERIC_TIME_SECS_12H");
    EXPECT_STREQ(DateTimeFormat::NUMERIC_TIME, "NUMERIC_TIME_12H");
    for (const char* other : {"us", "", "24", "12 "}) {
        DateTimeFormat::setMode("12");
        DateTimeFormat::setMode(other);
        EXPECT_EQ(DateTimeFormat::getMode(), "24");
        EXPECT_STREQ(DateTimeFormat::NUMERIC_DATE_TIME, "NUMERIC_DATE_TIME");
        EXPECT_STREQ(DateTimeFormat::NUMERIC_TIME_SECS, "NUMERIC_TIME_SECS");
        EXPECT_STREQ(DateTimeFormat::NUMERIC_TIME, "NUMERIC_TIME");
    }
}

TEST_F(DateTimeFormatTest, ParseListReplacesWhatWasThere) {
    std::vector<std::string> names = {"old"};
    loadLanguage({{"a|b", "|A||B|"}, {"c|d", "C"}});
    DateTimeFormat::parseList("a|b", names);
    EXPECT_EQ(names, (std::vector<std::string>{"A", "B"}));
    DateTimeFormat::parseList("c|d", names);
    EXPECT_EQ(names, (std::vector<std::string>{"c", "d"}));
}

} // namespace
