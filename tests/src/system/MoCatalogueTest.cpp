#include "src/system/MoCatalogue.h"

#include <gmock/gmock.h>

#include "src/system/PhraseTable.h"
#include "tests/src/system/MoFile.h"

namespace {

using testing::HasSubstr;
using testing::StartsWith;

std::string errorOf(const std::string& bytes) {
    // A block of exactly this size lets AddressSanitizer see every read behind it.
    const std::vector<char> exact(bytes.begin(), bytes.end());
    const auto parsed = MoCatalogue::parse({exact.data(), exact.size()});
    const auto* error = std::get_if<MoCatalogue::Error>(&parsed);
    return error != nullptr ? error->text : "";
}

TEST(MoCatalogue, AcceptsNoCharsetButUtf8) {
    const std::string marker = "Content-Type: text/plain; charset=";
    for (const std::string& text : {"Language: x\n" + marker + "Utf-8\nX: y\n",
                                    marker + "KOI8-R", // not ended
                                    std::string("content-type: text/plain; charset=KOI8-R\n"),
                                    "X: y\n" + std::string(1, '\0') + marker + "KOI8-R\n"}) {
        EXPECT_EQ(errorOf(MoFile({{"", text}}).bytes), "") << text;
    }
    for (const auto& [value, shown] : std::vector<std::pair<std::string, std::string>>{
             {"ISO-8859-1", "iso-8859-1"}, {"UTF-8\r", "utf-8\r"}, {"", ""}}) {
        EXPECT_EQ(errorOf(MoFile({{"a", marker + value + "\n"}}).bytes),
                  "Only UTF-8 charset is supported. Provided charset: " + shown);
    }
}

TEST(MoCatalogue, RefusesTablesAndStringsOutsideTheFile) {
    const MoFile good({{"", "Language: de\n"}, {"a", "b"}});
    const std::size_t size = good.bytes.size();
    const std::tuple<const char*, std::size_t, std::size_t> words[] = {
        {"string", 36, size},                                 // the length of the second phrase
        {"string", 40, 0xffffffff},                           // its offset: wraps to 0 in 32 bits
        {"string", 48, size + 1},                             // the first translation's
        {"string", 56, 0x80000000}, {"table", 8, 0x20000000}, // times 8 wraps to 0 in 32 bits
        {"table", 12, size - 15},   {"table", 16, 0xfffffff8},
    };
    for (const auto& [what, at, value] : words) {
        MoFile file = good;
        file.set(at, value);
        EXPECT_THAT(errorOf(file.bytes), StartsWith(std::string("File is damaged: ") + what)) << at;
    }
    for (std::size_t length = 0; length + 2 < size; ++length) {
        EXPECT_THAT(errorOf(good.bytes.substr(0, length)),
                    StartsWith(length < 4 ? "File is not a po file" : "File is damaged: "));
    }
    MoFile empty({}); // needs no tables
    empty.set(12, 0xffffffff);
    EXPECT_EQ(errorOf(empty.bytes.substr(0, 20)), "");
}

TEST(MoCatalogue, RefusesStringsThatAddUpToMoreThanAnyLanguageHolds) {
    const std::string text(100000, 'x');
    MoFile file(MoFile::Entries(400, {"", ""}));
    file.append(28, text);
    for (std::size_t i = 1; i < 400; ++i) {
        file.bytes.replace(28 + i * 8, 8, file.bytes.substr(28, 8));
    }
    EXPECT_THAT(errorOf(file.bytes), HasSubstr("add up to 40000000 bytes"));
}

TEST(PhraseTable, TellsPhrasesOfAnyLengthApartByEveryByte) {
    PhraseTable table;
    std::string phrase;
    for (int i = 0; i < 3000; ++i) {
        EXPECT_TRUE(table.insert(phrase, std::to_string(i)));
        phrase += static_cast<char>(i * 7);
    }
    for (std::size_t i = 0; i < 3000; ++i) {
        ASSERT_EQ(table.find(std::string_view(phrase).substr(0, i)), std::to_string(i));
    }
    EXPECT_FALSE(table.insert("", "another"));
    for (std::size_t length = 1; length <= 40; ++length) {
        for (std::size_t at = 0; at < length; ++at) {
            std::string other(length, 'x');
            other[at] = '\n';
            EXPECT_TRUE(table.insert(other, other));
            other[at] = 'y';
            EXPECT_EQ(table.find(other).data(), nullptr);
        }
    }
    EXPECT_EQ(table.size(), 3000U + 40 * 41 / 2);
}

} // namespace
