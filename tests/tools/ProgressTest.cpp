#include "tools/lumo-firmware/Progress.h"

#include <gtest/gtest.h>

#include <sstream>

namespace {

using namespace std::chrono_literals;

class ProgressTest : public testing::Test {
protected:
    lumo::Progress::Clock clock() {
        return [this] { return _now; };
    }

    std::chrono::steady_clock::time_point _now;
    std::ostringstream _terminal;
};

TEST_F(ProgressTest, ShowsNothingWithinTheFirstSecond) {
    lumo::Progress progress(&_terminal, "Writing", 200, clock());
    _now += 999ms;
    progress.add(150);
    progress.finish();
    EXPECT_EQ(_terminal.str(), "");
}

TEST_F(ProgressTest, SaysHundredPercentOnlyWhenDone) {
    lumo::Progress progress(&_terminal, "Writing", 200, clock());
    progress.add(50);
    _now += 1s;
    progress.add(1);
    progress.add(1);
    progress.add(1000);
    EXPECT_EQ(_terminal.str(), "\rWriting: 25 %\rWriting: 26 %\rWriting: 99 %");
    progress.finish();
    EXPECT_TRUE(_terminal.str().ends_with("\rWriting: 100 %\n"));
}

TEST_F(ProgressTest, EndsItsLineWhenTheWorkFails) {
    {
        lumo::Progress progress(&_terminal, "Writing", 4, clock());
        _now += 2s;
        progress.add(1);
    }
    EXPECT_EQ(_terminal.str(), "\rWriting: 25 %\n");
}

TEST_F(ProgressTest, CountsTotalsThatDoNotFitTimesHundred) {
    lumo::Progress progress(&_terminal, "Writing", UINT64_MAX, clock());
    _now += 2s;
    progress.add(UINT64_MAX / 2);
    EXPECT_EQ(_terminal.str(), "\rWriting: 50 %");
}

} // namespace
