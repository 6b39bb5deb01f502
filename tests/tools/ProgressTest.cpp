#include "tools/lumo-firmware/Progress.h"

#include <gtest/gtest.h>

#include <sstream>

TEST(ProgressTest, ShowsWholePercentsAfterASecondAndHundredOnlyWhenDone) {
    std::chrono::steady_clock::time_point now;
    std::ostringstream terminal;
    lumo::Progress progress(&terminal, "Writing", UINT64_MAX, [&] { return now; });
    progress.add(UINT64_MAX / 4 + 1);
    now += std::chrono::seconds(1);
    progress.add(UINT64_MAX / 4 + 1);
    progress.add(1);
    progress.add(UINT64_MAX / 2 - 3);
    EXPECT_EQ(terminal.str(), "\rWriting: 50 %\rWriting: 99 %");
    progress.finish();
    EXPECT_TRUE(terminal.str().ends_with("\rWriting: 100 %\n"));
}
