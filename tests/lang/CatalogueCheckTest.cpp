#include "tests/lang/CatalogueCheck.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using testing::ElementsAre;

TEST(CatalogueCheck, FindsWhatTranslatorsGetWrong) {
    for (const auto& [phrase, translation, complaint] : {
             std::tuple{"${1} from ${2}", "${2}: ${1} (${1})", ""},
             {"a\nb", "A\nB\nC", ""},
             {"DATE", "%d.%m", ""},
             {"a", "", "not translated"},
             {"${1} from ${2}", "${1}", "other placeholders"},
             {"${1}", "${1} ${3}", "other placeholders"},
             {"${1}", "$ {1}", "other placeholders"},
             {"a|b|c", "A||C", "other number of names"},
             {"DATE", "DATE", "no pattern"},
             {"a\nb", "A\\nB", "a line break that is no newline"},
             {"a", "A\r\nA", "a line break that is no newline"},
             {"a ", "A", "other blanks at an end"},
         }) {
        const auto lines = complaints({{phrase, ""}}, {{phrase, translation}});
        const std::string line = std::string(phrase) + ": " + complaint;
        EXPECT_EQ(lines, std::vector<std::string>(line.ends_with(": ") ? 0 : 1, line));
    }
    EXPECT_THAT(complaints({{"a", ""}, {"b", ""}}, {{"a", "A"}, {"c", "C"}}),
                ElementsAre("b: not translated", "c: not in the code"));
}

} // namespace
