#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <cstdio>

#include "src/common/Utils.h"

namespace {

using Strings = std::vector<std::string>;

TEST(UtilsText, ReadsNumbersAsSscanfDoes) {
    for (const char* text : {"", "x", "-", "12", " \t-7 apples", "+3", "007", "1e3", "0x1F", "- 1",
                             "2147483647", "-2147483648", "99999999999", "-99999999999999999999"}) {
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
    EXPECT_EQ(Utils::strToFloat("-1.5e2x"), -150.0F);
    EXPECT_TRUE(std::isinf(Utils::strToFloat("1e999")));
}

TEST(UtilsText, WritesNumbers) {
    EXPECT_EQ(Utils::intToStr(INT_MIN), "-2147483648");
    EXPECT_EQ(Utils::uint64ToStr(ULLONG_MAX), "18446744073709551615");
    EXPECT_EQ(Utils::floatToStr(0.1F), "0.1");
    EXPECT_EQ(Utils::floatToStr(1234567.0F), "1.23457e+06");
    EXPECT_EQ(Utils::floatToStr(-2.5F, 0), "-2");
    EXPECT_EQ(Utils::floatToStr(0.5F, 3), "0.500");
    EXPECT_EQ(Utils::floatToStr(3e38F, 100).size(), 39U + 1 + 100);
}

TEST(UtilsText, ChangesCaseByteByByte) {
    std::string text = "aZ09-\xC3\xA9\xFF";
    Utils::toUpper(text);
    EXPECT_EQ(text, "AZ09-\xC3\xA9\xFF");
    Utils::toLower(text);
    EXPECT_EQ(text, "az09-\xC3\xA9\xFF");
    EXPECT_EQ(Utils::strToUpper("Ts"), "TS");
    EXPECT_EQ(Utils::strToLower("Ts"), "ts");
}

TEST(UtilsText, TrimsBothEnds) {
    for (const auto& [text, expected] : {std::pair<std::string, std::string>{"", ""},
                                         {" \t\n\v\f\r", ""},
                                         {"  a b\n", "a b"},
                                         {"\xA0x\xA0", "\xA0x\xA0"}}) {
        std::string trimmed = text;
        Utils::trim(trimmed);
        EXPECT_EQ(trimmed, expected);
    }
}

TEST(UtilsText, SplitAppendsPartsThatAreNotEmpty) {
    Strings parts = {"before"};
    Utils::split(",a,,b;c,", parts, ",;");
    EXPECT_EQ(parts, (Strings{"before", "a", "b", "c"}));
    parts.clear();
    Utils::split(",;", parts, ";,");
    Utils::split("", parts, ",");
    EXPECT_EQ(parts, Strings{});
    Utils::split("a,b", parts, "");
    EXPECT_EQ(parts, Strings{"a,b"});
}

TEST(UtilsText, DumpsBytesAsHexadecimal) {
    EXPECT_EQ(Utils::dumpHex("\x00\xAB\xFF", 3), "00abff");
    EXPECT_EQ(Utils::dumpHex(nullptr, 0), "");
}

} // namespace
