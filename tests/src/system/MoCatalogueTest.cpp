#include "src/system/MoCatalogue.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>

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

std::string header(const std::string& text) {
    return MoFile({{"", text}}).bytes();
}

TEST(MoCatalogue, ReadsBothByteOrders) {
    for (const bool bigEndian : {false, true}) {
        const MoFile file({{"", "Language: de\n"}, {std::string("one\0many", 8), "x"}, {"b", ""}}, bigEndian);
        const auto parsed = MoCatalogue::parse(file.bytes());
        const auto& catalogue = std::get<MoCatalogue>(parsed);
        ASSERT_EQ(catalogue.size(), 3U);
        EXPECT_EQ(catalogue.translation(0), "Language: de\n");
        EXPECT_EQ(catalogue.phrase(1), std::string_view("one\0many", 8));
        EXPECT_EQ(catalogue.translation(1), "x");
        EXPECT_EQ(catalogue.translation(2), "");
    }
}

TEST(MoCatalogue, RefusesWhatIsNoCatalogue) {
    for (const std::string& bytes : {std::string(), std::string("\xde\x12\x04"), std::string(1000, '\0'),
                                     std::string("msgid \"a\"\nmsgstr \"b\"\n")}) {
        EXPECT_EQ(errorOf(bytes), "File is not a po file") << bytes;
    }
}

TEST(MoCatalogue, AcceptsNoCharsetButUtf8) {
    const std::string marker = "Content-Type: text/plain; charset=";
    for (const std::string& text :
         {marker + "UTF-8\n", marker + "utf-8\n", "Language: x\n" + marker + "Utf-8\nX: y\n",
          marker + "KOI8-R", // not ended
          std::string("Content-Type: text/plain\n"),
          std::string("content-type: text/plain; charset=KOI8-R\n"),
          "X: y\n" + std::string(1, '\0') + marker + "KOI8-R\n"}) {
        EXPECT_EQ(errorOf(header(text)), "") << text;
    }
    const std::string refusal = "Only UTF-8 charset is supported. Provided charset: ";
    for (const auto& [value, shown] : std::vector<std::pair<std::string, std::string>>{
             {"ISO-8859-1", "iso-8859-1"}, {"UTF-8 ", "utf-8 "}, {"UTF-8\r", "utf-8\r"}, {"", ""}}) {
        EXPECT_EQ(errorOf(header(marker + value + "\n")), refusal + shown);
    }
    EXPECT_EQ(errorOf(MoFile({{"a", marker + "KOI8-R\n"}}).bytes()), refusal + "koi8-r");
}

TEST(MoCatalogue, RefusesTablesAndStringsOutsideTheFile) {
    const MoFile good({{"", "Language: de\n"}, {"a", "b"}});
    const std::size_t size = good.bytes().size();

    struct Damage {
        const char* what;
        std::size_t at;
        std::uint32_t value;
    };

    for (const auto& [what, at, value] : {
             Damage{"string", MoFile::phraseLengthAt(1), static_cast<std::uint32_t>(size)},
             Damage{"string", MoFile::phraseLengthAt(1), 0xffffffff},
             Damage{"string", MoFile::phraseLengthAt(1) + 4, 0xffffffff}, // wraps to 0 in 32 bits
             Damage{"string", good.translationLengthAt(0) + 4, static_cast<std::uint32_t>(size + 1)},
             Damage{"string", good.translationLengthAt(1) + 4, 0x80000000},
             Damage{"table", MoFile::countAt, 0xffffffff},
             Damage{"table", MoFile::countAt, 0x20000000}, // times 8 wraps to 0 in 32 bits
             Damage{"table", MoFile::phrasesAt, static_cast<std::uint32_t>(size - 15)},
             Damage{"table", MoFile::translationsAt, 0xfffffff8},
         }) {
        MoFile file = good;
        file.set(at, value);
        EXPECT_THAT(errorOf(file.bytes()), StartsWith(std::string("File is damaged: ") + what))
            << at << " " << value;
    }
    for (std::size_t length = 4; length + 2 < size; ++length) {
        EXPECT_THAT(errorOf(good.bytes().substr(0, length)), StartsWith("File is damaged: ")) << length;
    }
}

TEST(MoCatalogue, RefusesStringsThatAddUpToMoreThanAnyLanguageHolds) {
    const std::string text(100000, 'x');
    MoFile::Entries entries(400, {"", ""});
    entries[0].second = text;
    MoFile file(entries);
    const std::size_t offset = file.bytes().find(text);
    for (std::size_t i = 1; i < entries.size(); ++i) {
        file.set(MoFile::phraseLengthAt(i), static_cast<std::uint32_t>(text.size()));
        file.set(MoFile::phraseLengthAt(i) + 4, static_cast<std::uint32_t>(offset));
    }
    EXPECT_THAT(errorOf(file.bytes()), HasSubstr("add up to 40000000 bytes"));
}

TEST(MoCatalogue, EmptyOneNeedsNoTables) {
    MoFile file({});
    file.set(MoFile::phrasesAt, 0xffffffff);
    file.set(MoFile::translationsAt, 0xffffffff);
    EXPECT_EQ(errorOf(file.bytes()), "");
    EXPECT_EQ(errorOf(file.bytes().substr(0, 20)), "");
    EXPECT_EQ(errorOf(file.bytes().substr(0, 19)), "File is damaged: 19 bytes cannot hold a header");
}

} // namespace
