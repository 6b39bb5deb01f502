#include "src/system/LegacyParser.h"

#include <gtest/gtest.h>

#include <map>
#include <vector>

#include "src/system/Translator.h"

namespace {

using Warnings = std::vector<std::string>;

TEST(LegacyParser, ReadsEveryEntryThatCanBeRead) {
    const struct {
        const char* name;
        std::string text;
        std::map<std::string, std::string> phrases;
        Warnings warnings;
    } cases[] = {
        {"empty file", "", {}, {}},
        {"entries, comments, blanks",
         "## German\nCancel\n## between\nAbbrechen\n\n\n\n two  words \nzwei\\nZeilen\n\n#\nx##",
         {{"Cancel", "Abbrechen"}, {" two  words ", "zwei\\nZeilen"}, {"#", "x##"}},
         {}},
        {"empty line first", "##\n\n\na\nA\n", {{"", ""}, {"a", "A"}}, {"missing 0 "}},
        {"no translation", "a\n\n\nb\nB\n", {{"a", "a"}, {"b", "B"}}, {"missing 1 a"}},
        {"no translation at the end", "a\nA\n\nb", {{"a", "A"}}, {}},
        {"carriage returns", "a\rb\r\r\nA\r\n\r\nb\r\nB\r", {{"a\rb\r", "A"}, {"b", "B"}}, {}},
        {"second translation",
         "a\nA\nAA\n##\nAAA\n\nb\nB",
         {{"a", "A"}, {"b", "B"}},
         {"duplicate translation 3 a => AA", "duplicate translation 5 a => AAA"}},
        {"duplicate phrase, its translation becomes a phrase",
         "Cancel\nAbbrechen\n\nCancel\nAnnuler\n\n",
         {{"Cancel", "Abbrechen"}, {"Annuler", "Annuler"}},
         {"duplicate phrase 4 Cancel", "missing 5 Annuler"}},
        {"duplicate phrase, two lines follow",
         "a\nA\n\na\nx\ny\n",
         {{"a", "A"}, {"x", "y"}},
         {"duplicate phrase 4 a"}},
    };

    for (const auto& [name, text, phrases, expected] : cases) {
        SCOPED_TRACE(name);
        Warnings warnings;
        const auto report = [&](LegacyParser::Warning warning, int line, const std::string& phrase,
                                const std::string& translation) {
            const char* names[] = {"missing", "duplicate phrase", "duplicate translation"};
            warnings.push_back(names[static_cast<int>(warning)] + (" " + std::to_string(line) + " ") +
                               phrase + (translation.empty() ? "" : " => " + translation));
        };
        const PhraseTable table = LegacyParser(report).parse(text);
        EXPECT_EQ(table.size(), phrases.size());
        for (const auto& [phrase, translation] : phrases) {
            EXPECT_EQ(table.find(phrase), translation);
        }
        EXPECT_EQ(warnings, expected);
    }
}

} // namespace
