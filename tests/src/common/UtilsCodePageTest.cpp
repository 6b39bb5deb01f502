#include <gtest/gtest.h>
#include <iconv.h>

#include "src/common/Utils.h"

namespace {

// What the C library makes of one byte; empty when the code page leaves it undefined.
std::string converted(const char* codePage, int byte) {
    const iconv_t converter = iconv_open("UTF-8", codePage);
    char in = static_cast<char>(byte);
    char out[8];
    char* source = &in;
    char* target = out;
    std::size_t inLeft = 1;
    std::size_t outLeft = sizeof out;
    const bool defined =
        iconv(converter, &source, &inLeft, &target, &outLeft) != static_cast<std::size_t>(-1);
    iconv_close(converter);
    return defined ? std::string(out, target) : std::string();
}

// Undefined bytes become zero bytes, what takes more than two bytes is left out.
std::string expected(const char* codePage, int byte) {
    const std::string text = converted(codePage, byte);
    return text.empty() ? std::string(1, '\0') : text.size() > 2 ? std::string() : text;
}

// The part of Windows-1251 that stands at this byte of the second table, -1 for code page 866.
int windowsByte(int byte) {
    if (byte >= 0xB0 && byte <= 0xDF) {
        return byte - 0x30;
    }
    return byte >= 0xF2 ? byte - 0x40 : -1;
}

TEST(UtilsCodePage, Windows1251IsThePublishedOne) {
    for (int byte = 0; byte < 256; ++byte) {
        EXPECT_EQ(Utils::cp1251ToUTF8(std::string(1, static_cast<char>(byte))), expected("CP1251", byte))
            << byte;
    }
    EXPECT_EQ(Utils::cp1251ToUTF8("\xCF\xF0\xE8\xE2\xE5\xF2\x85 1"), "Привет 1");
}

TEST(UtilsCodePage, SecondTableMixesWindowsCharactersIntoCodePage866) {
    for (int byte = 0; byte < 256; ++byte) {
        const int windows = windowsByte(byte);
        const std::string wanted = byte == 0xD8   ? std::string(1, '\0')
                                   : windows >= 0 ? expected("CP1251", windows)
                                                  : expected("CP866", byte);
        EXPECT_EQ(Utils::cp866ToUTF8(std::string(1, static_cast<char>(byte))), wanted) << byte;
    }
}

} // namespace
