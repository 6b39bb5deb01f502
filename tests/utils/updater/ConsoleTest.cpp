#include "utils/updater/Console.h"

#include <gtest/gtest.h>

#include <sstream>

namespace {

// Refuses everything while full, as a disk does.
class FullDisk : public std::stringbuf {
public:
    bool full = false;

    std::streamsize xsputn(const char* text, std::streamsize count) override {
        return full ? 0 : std::stringbuf::xsputn(text, count);
    }
};

TEST(ConsoleTest, PrintsAgainOnceTheDiskHasRoom) {
    FullDisk disk;
    std::ostream out(&disk);
    std::ostringstream err;
    updater::Console console(out, err);
    disk.full = true;
    console.line("lost");
    disk.full = false;
    console.line("kept");
    console.error("elsewhere");
    EXPECT_EQ(disk.str(), "kept\n");
    EXPECT_EQ(err.str(), "elsewhere\n");
}

} // namespace
