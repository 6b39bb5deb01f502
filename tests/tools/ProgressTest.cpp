#include "tools/lumo-firmware/Progress.h"

#include <gtest/gtest.h>

#include <sstream>

namespace {

using namespace std::chrono_literals;

TEST(ProgressTest, ShowsWholePercentsAfterASecondAndHundredOnlyWhenDone) {
    std::chrono::steady_clock::time_point now;
    std::ostringstream terminal;
    const auto clock = [&] { return now; };
    {
        lumo::Progress quick(&terminal, "Writing", 200, clock);
        now += 999ms;
        quick.add(150);
        quick.finish();
        EXPECT_EQ(terminal.str(), "");
        lumo::Progress progress(&terminal, "Writing", 200, clock);
        progress.add(50);
        now += 1s;
        progress.add(1);
        progress.add(1);
        progress.add(1000);
        EXPECT_EQ(terminal.str(), "\rWriting: 25 %\rWriting: 26 %\rWriting: 99 %");
        progress.finish();
        EXPECT_TRUE(terminal.str().ends_with("\rWriting: 100 %\n"));
        terminal.str("");
        lumo::Progress cutShort(&terminal, "Writing", UINT64_MAX, clock);
        now += 2s;
        cutShort.add(UINT64_MAX / 2);
    }
    EXPECT_EQ(terminal.str(), "\rWriting: 50 %\n");
}

} // namespace
