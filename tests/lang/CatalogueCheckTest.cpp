#include "tests/lang/CatalogueCheck.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST(CatalogueCheck, FindsWhatTranslatorsGetWrong) {
    struct Case {
        const char* phrase;
        const char* translation;
        const char* complaint; // null: none
    };

    for (const auto& [phrase, translation, complaint] : {
             Case{"${1} from ${2}", "${2}: ${1} (${1})", nullptr},
             {"a\nb", "A\nB\nC", nullptr},
             {"a|b", "A|B", nullptr},
             {"DATE", "%d.%m", nullptr},
             {"a", "", "not translated"},
             {"${1} from ${2}", "${1}", "other placeholders"},
             {"${1}", "${1} ${3}", "other placeholders"},
             {"${1}", "$ {1}", "other placeholders"},
             {"${1}", "${1", "other placeholders"},
             {"a|b|c", "A|B", "other number of names"},
             {"a|b|c", "A||C", "other number of names"},
             {"DATE", "DATE", "no pattern"},
             {"a\nb", "A\\nB", "a line break that is no newline"},
             {"a", "A\r\nA", "a line break that is no newline"},
             {"a ", "A", "other blanks at an end"},
             {"a", "A\n", "other blanks at an end"},
         }) {
        const auto lines = complaints({{phrase, ""}}, {{phrase, translation}});
        if (complaint == nullptr) {
            EXPECT_THAT(lines, IsEmpty());
        } else {
            EXPECT_THAT(lines, ElementsAre(std::string(phrase) + ": " + complaint));
        }
    }
}

TEST(CatalogueCheck, FindsMissingAndForeignPhrases) {
    EXPECT_THAT(complaints({{"a", ""}, {"b", ""}}, {{"a", "A"}, {"c", "C"}}),
                ElementsAre("b: not translated", "c: not in the code"));
}

} // namespace
