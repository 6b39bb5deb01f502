#include "src/common/Utils.h"

#include <gmock/gmock.h>
#include <iconv.h>

#include <climits>
#include <cstdio>
#include <filesystem>

#include "src/system/Translator.h"
#include "tests/src/system/LogCapture.h"
#include "tests/support/TempDir.h"

namespace {

using testing::ElementsAre;

TEST(UtilsText, ReadsNumbersAsSscanfDoes) {
    for (const char* text : {"", "-", " \t-7 apples", "+3", "007", "1e3", "0x1F", "- 1", "-1.5e2x", "1e999",
                             "0xDEADbeefs", "-2147483648", "99999999999", "-99999999999999999999"}) {
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
    EXPECT_EQ(Utils::uint64ToStr(ULLONG_MAX), "18446744073709551615");
    EXPECT_EQ(Utils::floatToStr(1234567.0F), "1.23457e+06");
    EXPECT_EQ(Utils::floatToStr(3e38F, 100).size(), 39U + 1 + 100);
    EXPECT_EQ(Utils::dumpHex("\x00\xAB\xFF", 3), "00abff");
}

TEST(UtilsText, WorksByteByByte) {
    EXPECT_EQ(Utils::strToUpper("aZ09-\xC3\xA9\xFF"), "AZ09-\xC3\xA9\xFF");
    EXPECT_EQ(Utils::strToLower("aZ09-\xC3\xA9\xFF"), "az09-\xC3\xA9\xFF");
    for (const auto& [given, expected] :
         {std::pair{" \t\n\v\f\r", ""}, {"  a b\n", "a b"}, {"\xA0x\xA0", "\xA0x\xA0"}}) {
        std::string text = given;
        Utils::trim(text);
        EXPECT_EQ(text, expected);
    }
    std::vector<std::string> parts = {"before"};
    Utils::split(",a,,b;c,", parts, ",;");
    Utils::split("d,e", parts, "");
    EXPECT_THAT(parts, ElementsAre("before", "a", "b", "c", "d,e"));
}

// What the C library makes of one byte, but for what the conversions do otherwise: bytes that the code page
// leaves undefined become zero bytes, what takes more than two bytes is left out.
std::string converted(const char* codePage, int byte) {
    const iconv_t converter = iconv_open("UTF-8", codePage);
    char in = static_cast<char>(byte);
    char out[8];
    char* source = &in;
    char* target = out;
    std::size_t inLeft = 1;
    std::size_t outLeft = sizeof out;
    const bool defined = iconv(converter, &source, &inLeft, &target, &outLeft) == 0;
    iconv_close(converter);
    const std::string text = defined ? std::string(out, target) : std::string(1, '\0');
    return text.size() > 2 ? "" : text;
}

TEST(UtilsCodePage, TablesAreThePublishedOnes) {
    for (int byte = 0; byte < 256; ++byte) {
        const std::string text(1, static_cast<char>(byte));
        EXPECT_EQ(Utils::cp1251ToUTF8(text), converted("CP1251", byte)) << byte;
        // The second one mixes characters of Windows-1251 into code page 866.
        const std::string mixed = byte >= 0xB0 && byte <= 0xDF ? converted("CP1251", byte - 0x30)
                                  : byte >= 0xF2               ? converted("CP1251", byte - 0x40)
                                                               : converted("CP866", byte);
        EXPECT_EQ(Utils::cp866ToUTF8(text), byte == 0xD8 ? std::string(1, '\0') : mixed) << byte;
    }
    EXPECT_EQ(Utils::cp1251ToUTF8("\xCF\xF0\xE8\xE2\xE5\xF2\x85 1"), "Привет 1");
}

TEST(UtilsSize, CountsWholeKibibytes) {
    constexpr unsigned long long kibi = 1024;
    for (const auto& [amount, size, rate] : {
             std::tuple{kibi, "1024 bytes", "1024 bit/s"},
             {kibi + 1, "1.00 kBytes", "1.00 kbit/s"},
             {kibi * kibi + kibi - 1, "1024.00 kBytes", "1024.00 kbit/s"},
             {kibi * kibi + kibi, "1.00 MBytes", "1.00 Mbit/s"},
             {kibi * kibi * kibi * 5 / 2, "2.50 GBytes", "2.50 Gbit/s"},
             {ULLONG_MAX, "17179869184.00 GBytes", "17179869184.00 Gbit/s"},
         }) {
        EXPECT_EQ(Utils::formatFileSize(amount), size);
        EXPECT_EQ(Utils::formatBitRate(amount), rate);
    }
    // Units are words of any length and no formats.
    const support::TempDir folder;
    const std::string word(1000, 'x');
    support::writeFile(folder.file("x.txt"), "kBytes\n%s%n\n\nbytes\n" + word + "\n");
    ASSERT_TRUE(Translator::getInstance()->loadFile(folder.file("x.txt"), "x"));
    EXPECT_EQ(Utils::formatFileSize(2048), "2.00 %s%n");
    EXPECT_EQ(Utils::formatFileSize(1), "1 " + word);
}

TEST(UtilsUrl, SendsMulticastAddressesToTheRelay) {
    for (const auto& [text, url, protocol] : {std::tuple{"http://x", true, true},
                                              {"://x", true, false},
                                              {"a.b://x", true, false},
                                              {"/a/b:/c", false, false}}) {
        EXPECT_EQ(Utils::isURL(text), url) << text;
        EXPECT_EQ(Utils::hasURLProtocol(text), protocol) << text;
    }
    for (const auto& [url, proxy, expected] : {
             std::tuple{"udp://@239.1.1.1:1234", "relay:4022", "http://relay:4022/udp/239.1.1.1:1234"},
             {"RTP://@@1", "https://relay/", "https://relay//rtp/@1"},
             {"UDP://1", "HTTP://relay", "http://HTTP://relay/udp/1"},
             {"udp://@", "relay", "http://relay/udp/@"},
             {"udp://", "relay", "udp://"},
             {"Udp://1", "relay", "Udp://1"},
             {"udp://1", "", "udp://1"},
         }) {
        EXPECT_EQ(Utils::convertUdpxyUrl(url, proxy), expected) << url;
    }
}

TEST(UtilsFile, TakesPathsApart) {
    for (const auto& [path, base, dir, extension] : {std::tuple{"/a/Movie.TS", "Movie.TS", "/a", "ts"},
                                                     {"/a/b/", "", "/a", ""},
                                                     {"/a.b/c", "c", "/a.b", "b/c"},
                                                     {".x", ".x", ".", "x"},
                                                     {"", "", ".", ""}}) {
        EXPECT_EQ(Utils::baseName(path), base) << path;
        EXPECT_EQ(Utils::dirName(path), dir) << path;
        EXPECT_EQ(Utils::getFileExtension(path), extension) << path;
    }
    EXPECT_TRUE(Utils::checkExtension("a.MKV", "mkv"));
    EXPECT_FALSE(Utils::checkExtension(".mkv", "mkv")) << "there must be a name before it";
    EXPECT_EQ(Utils::calculateMd5("message digest"), "f96b697d7cb7938d525a2f31aaf161d0");
    EXPECT_EQ(Utils::calculateMd5("abc?", 3U), "900150983cd24fb0d6963f7d28e17f72");
}

TEST(UtilsFile, KeepsTheIdentifierItMadeAndNothingElse) {
    const support::TempDir folder;
    const std::string path = folder.file("id");
    EXPECT_TRUE(Utils::testDirectoryWritable(folder.path()));
    EXPECT_FALSE(Utils::testDirectoryWritable("/no/such/folder"));
    EXPECT_EQ(Utils::getIdFromFile(path, true), "");
    EXPECT_TRUE(std::filesystem::is_empty(folder.path()));
    const std::string id = Utils::getIdFromFile(path, false);
    EXPECT_THAT(id, testing::MatchesRegex("[0-9]+-[0-9]+"));
    EXPECT_EQ(Utils::getIdFromFile(path, true), id);
    EXPECT_NE(Utils::getIdFromFile("/no/such/folder/id", false), "");
    std::filesystem::remove(path);
    EXPECT_TRUE(std::filesystem::is_empty(folder.path()));
    // A file that opens decides, whatever it holds.
    for (const auto& [text, kept] : {std::pair<std::string, std::string>{"", ""},
                                     {"\n ab12 cd\n", "ab12"},
                                     {std::string(5000, 'x'), std::string(4096, 'x')}}) {
        support::writeFile(path, text);
        EXPECT_EQ(Utils::getIdFromFile(path, false), kept);
        EXPECT_EQ(support::readFile(path), text);
    }
}

TEST(UtilsClock, OffsetCountsWholeHoursTowardsZero) {
    for (const auto& [zone, hours] :
         {std::pair{"AAA-5:45", 5}, {"BBB3:30", -3}, {"CCC0:59", 0}, {"UTC0", 0}}) {
        setenv("TZ", zone, 1);
        EXPECT_EQ(Utils::getCurrentTZOffset(), hours) << zone;
    }
}

} // namespace
