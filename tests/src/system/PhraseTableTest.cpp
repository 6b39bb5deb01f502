#include "src/system/PhraseTable.h"

#include <gtest/gtest.h>

namespace {

TEST(PhraseTable, FindsEveryPhraseOfEveryLength) {
    PhraseTable table;
    std::string phrase;
    for (int i = 0; i < 3000; ++i) {
        EXPECT_TRUE(table.insert(phrase, std::to_string(i)));
        phrase += static_cast<char>(i * 7);
    }
    EXPECT_EQ(table.size(), 3000U);
    for (int i = 0; i < 3000; ++i) {
        ASSERT_EQ(table.find(std::string_view(phrase).substr(0, static_cast<std::size_t>(i))),
                  std::to_string(i));
    }
    EXPECT_EQ(table.find(phrase).data(), nullptr);
    EXPECT_FALSE(table.insert("", "another"));
    EXPECT_EQ(table.find(""), "0");
}

TEST(PhraseTable, TellsPhrasesApartByEveryByte) {
    PhraseTable table;
    for (std::size_t length = 1; length <= 40; ++length) {
        for (std::size_t at = 0; at < length; ++at) {
            std::string phrase(length, 'x');
            phrase[at] = '\0';
            EXPECT_TRUE(table.insert(phrase, phrase));
            phrase[at] = 'y';
            EXPECT_EQ(table.find(phrase).data(), nullptr);
        }
    }
    EXPECT_EQ(table.size(), 40U * 41 / 2);
}

} // namespace
