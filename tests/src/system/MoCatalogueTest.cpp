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

TEST(MoCatalogue, AcceptsNoCharsetButUtf8) {
    const std::string marker = "Content-Type: text/plain; charset=";
    for (const std::string& text :
         {marker + "UTF-8\n", marker + "utf-8\n", "Language: x\n" + marker + "Utf-8\nX: y\n",
          marker + "KOI8-R", // not ended
          std::string("Content-Type: text/plain\n"),
          std::string("content-type: text/plain; charset=KOI8-R\n"),
          "X: y\n" + std::string(1, '\0') + marker + "KOI8-R\n"}) {
        EXPECT_EQ(errorOf(MoFile({{"", text}}).bytes()), "") << text;
    }
    const std::string refusal = "Only UTF-8 charset is supported. Provided charset: ";
    for (const auto& [value, shown] : std::vector<std::pair<std::string, std::string>>{
             {"ISO-8859-1", "iso-8859-1"}, {"UTF-8 ", "utf-8 "}, {"UTF-8\r", "utf-8\r"}, {"", ""}}) {
        EXPECT_EQ(errorOf(MoFile({{"a", marker + value + "\n"}}).bytes()), refusal + shown);
    }
}

TEST(MoCatalogue, RefusesTablesAndStringsOutsideTheFile) {
    const MoFile good({{"", "Language: de\n"}, {"a", "b"}});
    const std::size_t size = good.bytes().size();

    const struct {
        const char* what;
        std::size_t at;
        std::uint32_t value;
    } table[] = {
        {"string", MoFile::phraseLengthAt(1), static_cast<std::uint32_t>(size)},
        {"string", MoFile::phraseLengthAt(1), 0xffffffff},
        {"string", MoFile::phraseLengthAt(1) + 4, 0xffffffff}, // wraps to 0 in 32 bits
        {"string", good.translationLengthAt(0) + 4, static_cast<std::uint32_t>(size + 1)},
        {"string", good.translationLengthAt(1) + 4, 0x80000000},
        {"table", MoFile::countAt, 0xffffffff},
        {"table", MoFile::countAt, 0x20000000}, // times 8 wraps to 0 in 32 bits
        {"table", MoFile::phrasesAt, static_cast<std::uint32_t>(size - 15)},
        {"table", MoFile::translationsAt, 0xfffffff8},
    };

    for (const auto& [what, at, value] : table) {
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
    EXPECT_EQ(errorOf(file.bytes().substr(0, 20)), "");
    EXPECT_EQ(errorOf(file.bytes().substr(0, 19)), "File is damaged: 19 bytes cannot hold a header");
    EXPECT_EQ(errorOf(file.bytes().substr(0, 3)), "File is not a po file");
}

} // namespace
