#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <string>
#include <utility>
#include <vector>

#include "src/common/DateTimeFormat.h"
#include "src/system/Translator.h"
#include "tests/support/TempDir.h"

// Starts each case without a language, in UTC and in 24-hour mode.
class LanguageFixture : public testing::Test {
protected:
    void SetUp() override {
        setZone("UTC0");
        DateTimeFormat::setMode("24");
        loadLanguage({});
    }

    void setZone(const char* zone) {
        setenv("TZ", zone, 1);
        tzset();
    }

    void loadLanguage(const std::vector<std::pair<std::string, std::string>>& phrases) {
        std::string text;
        for (const auto& [phrase, translation] : phrases) {
            text += phrase + "\n" + translation + "\n\n";
        }
        support::writeFile(_folder.file("x.txt"), text);
        ASSERT_TRUE(Translator::getInstance()->loadFile(_folder.file("x.txt"), "x"));
        DateTimeFormat::flush();
    }

    // Seconds since 1970 of a date and time in the present zone.
    static long at(int year, int month, int day, int hour = 0, int minute = 0, int second = 0) {
        std::tm time{};
        time.tm_year = year - 1900;
        time.tm_mon = month - 1;
        time.tm_mday = day;
        time.tm_hour = hour;
        time.tm_min = minute;
        time.tm_sec = second;
        time.tm_isdst = -1;
        return static_cast<long>(std::mktime(&time));
    }

    static constexpr const char* berlin = "CET-1CEST,M3.5.0,M10.5.0/3";

private:
    support::TempDir _folder;
};
