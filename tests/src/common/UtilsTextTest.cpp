#include <gtest/gtest.h>

#include <climits>
#include <cstdio>

#include "src/common/Utils.h"

namespace {

TEST(UtilsText, ReadsNumbersAsSscanfDoes) {
    for (const char* text : {"", "x", "-", "12", " \t-7 apples", "+3", "007", "1e3", "0x1F", "- 1", "-1.5e2x",
                             "1e999", "2147483647", "-2147483648", "99999999999", "-99999999999999999999"}) {
        int number = 0;
        unsigned int hex = 0;
        float real = 0;
        sscanf(text, "%d", &number);
        sscanf(text, "%x", &hex);
        sscanf(text, "%f", &real);
        EXPECT_EQ(Utils::strToInt(text), number) << text;
        EXPECT_EQ(Utils::strHexToUint32(text), hex) << text;
        EXPECT_EQ(Utils::strToFloat(text), real) << text;
    }
    EXPECT_EQ(Utils::strHexToUint32("0xDEADbeefs"), 0xdeadbeefU);
}

TEST(UtilsText, WritesNumbers) {
    EXPECT_EQ(Utils::intToStr(INT_MIN), "-2147483648");
    EXPECT_EQ(Utils::uint64ToStr(ULLONG_MAX), "18446744073709551615");
    EXPECT_EQ(Utils::floatToStr(1234567.0F), "1.23457e+06");
    EXPECT_EQ(Utils::floatToStr(0.5F, 3), "0.500");
    EXPECT_EQ(Utils::floatToStr(3e38F, 100).size(), 39U + 1 + 100);
}

TEST(UtilsText, ChangesCaseAndTrimsByteByByte) {
    EXPECT_EQ(Utils::strToUpper("aZ09-\xC3\xA9\xFF"), "AZ09-\xC3\xA9\xFF");
    EXPECT_EQ(Utils::strToLower("aZ09-\xC3\xA9\xFF"), "az09-\xC3\xA9\xFF");
    for (const auto& [given, expected] :
         {std::pair{" \t\n\v\f\r", ""}, {"  a b\n", "a b"}, {"\xA0x\xA0", "\xA0x\xA0"}}) {
        std::string text = given;
        Utils::trim(text);
        EXPECT_EQ(text, expected);
    }
}

TEST(UtilsText, SplitAppendsPartsThatAreNotEmpty) {
    std::vector<std::string> parts = {"before"};
    Utils::split(",a,,b;c,", parts, ",;");
    Utils::split(",;", parts, ";,");
    Utils::split("d,e", parts, "");
    EXPECT_EQ(parts, (std::vector<std::string>{"before", "a", "b", "c", "d,e"}));
}

TEST(UtilsText, DumpsBytesAsHexadecimal) {
    EXPECT_EQ(Utils::dumpHex("\x00\xAB\xFF", 3), "00abff");
    EXPECT_EQ(Utils::dumpHex(nullptr, 0), "");
}

} // namespace
