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
    loadLanguage({{"SU|MO|TU|WE|TH|FR|SA", "%b|%A|%Y|mi|do|fr|sa"},
                  {"Sunday|Monday|Tuesday|Wednesday|Thursday|Friday|Saturday", "1|2|3|4|5|6"},
                  {"Jan|Feb|Mar|Apr|May|Jun|Jul|Aug|Sep|Oct|Nov|Dec", "|1|2|3|4|5|6|7|8|9|10|11||12"}});
    EXPECT_EQ(DateTimeFormat::format("%A", sunday), "Sunday") << "six names are no week";
    EXPECT_EQ(DateTimeFormat::format("%b", sunday), "12") << "empty names do not count";
    EXPECT_EQ(DateTimeFormat::format("%a", sunday), "12") << "a name may hold a directive";
    EXPECT_EQ(DateTimeFormat::format("%a", sunday + 86400), "Monday")
        << "but not that one, which is strftime's";
    support::TempDir folder;
    support::writeFile(folder.file("y.txt"), "");
    ASSERT_TRUE(Translator::getInstance()->loadFile(folder.file("y.txt"), "y"));
    DateTimeFormat::setMode("12");
    EXPECT_EQ(DateTimeFormat::format("%a", sunday), "12");
    DateTimeFormat::flush();
    EXPECT_EQ(DateTimeFormat::format("%a", sunday), "SU");
}

TEST_F(DateTimeFormatTest, ResultOfSixtyBytesIsNoResult) {
    EXPECT_EQ(DateTimeFormat::format(std::string(59, 'x'), 0L), std::string(59, 'x'));
    EXPECT_EQ(DateTimeFormat::format(std::string(60, 'x'), 0L), "");
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

TEST_F(DateTimeFormatTest, ModeChoosesKeys) {
    for (const auto& [mode, chosen, suffix] :
         {std::tuple{"12", "12", "_12H"}, {"us", "24", ""}, {"12", "12", "_12H"}, {"12 ", "24", ""}}) {
        DateTimeFormat::setMode(mode);
        EXPECT_EQ(DateTimeFormat::getMode(), chosen);
        EXPECT_EQ(DateTimeFormat::NUMERIC_DATE_TIME.load(), std::string("NUMERIC_DATE_TIME") + suffix);
        EXPECT_EQ(DateTimeFormat::NUMERIC_TIME_SECS.load(), std::string("NUMERIC_TIME_SECS") + suffix);
        EXPECT_EQ(DateTimeFormat::NUMERIC_TIME.load(), std::string("NUMERIC_TIME") + suffix);
    }
}

} // namespace
