#include <gtest/gtest.h>

#include <climits>

#include "src/common/Utils.h"
#include "src/system/Translator.h"
#include "tests/support/TempDir.h"

namespace {

TEST(UtilsSize, CountsWholeKibibytes) {
    constexpr unsigned long long kibi = 1024;
    for (const auto& [amount, size, rate] : {
             std::tuple{0 * kibi, "0 bytes", "0 bit/s"},
             {kibi, "1024 bytes", "1024 bit/s"},
             {kibi + 1, "1.00 kBytes", "1.00 kbit/s"},
             {kibi * kibi - 1, "1023.00 kBytes", "1023.00 kbit/s"},
             {kibi * kibi + kibi - 1, "1024.00 kBytes", "1024.00 kbit/s"},
             {kibi * kibi + kibi, "1.00 MBytes", "1.00 Mbit/s"},
             {kibi * kibi * 3 / 2, "1.50 MBytes", "1.50 Mbit/s"},
             {kibi * kibi * kibi * 5 / 2, "2.50 GBytes", "2.50 Gbit/s"},
             {ULLONG_MAX, "17179869184.00 GBytes", "17179869184.00 Gbit/s"},
         }) {
        EXPECT_EQ(Utils::formatFileSize(amount), size);
        EXPECT_EQ(Utils::formatBitRate(amount), rate);
    }
}

TEST(UtilsSize, UnitsAreWordsOfAnyLengthAndNoFormats) {
    const support::TempDir folder;
    const std::string word(1000, 'x');
    support::writeFile(folder.file("x.txt"), "kBytes\n%s%n\n\nbytes\n" + word + "\n");
    ASSERT_TRUE(Translator::getInstance()->loadFile(folder.file("x.txt"), "x"));
    EXPECT_EQ(Utils::formatFileSize(2048), "2.00 %s%n");
    EXPECT_EQ(Utils::formatFileSize(1), "1 " + word);
}

} // namespace
