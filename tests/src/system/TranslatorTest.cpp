#include "src/system/Translator.h"

#include <gtest/gtest.h>

#include <climits>

#include "tests/src/system/SysrootFixture.h"

namespace {

std::string substituted(const std::string& phrase, const TRLIST& items) {
    return Translator::getInstance()->translate(phrase, items, "test", 1);
}

TEST(TRLIST, NumbersItemsFromOne) {
    const TRLIST five("a", 3LL, "", -15LL, LLONG_MIN);
    EXPECT_EQ(five.getItem(0), nullptr);
    EXPECT_EQ(five.getItem(1)->str(), "a");
    EXPECT_EQ(five.getItem(2)->str(), "3");
    EXPECT_EQ(five.getItem(3)->str(), "");
    EXPECT_EQ(five.getItem(4)->str(), "-15");
    EXPECT_EQ(five.getItem(5)->str(), "-9223372036854775808");
    EXPECT_EQ(five.getItem(6), nullptr);
    EXPECT_EQ(TRLIST("a").getItem(2), nullptr);
}

TEST(Translator, ReturnsUnknownPhraseAsItIs) {
    EXPECT_EQ(tr("No such phrase ${1}"), "No such phrase ${1}");
    EXPECT_EQ(tr(std::string("cut\0here", 8)), "cut");
    EXPECT_EQ(tr(""), "");
    EXPECT_EQ(tr("", TRLIST("a")), "");
}

struct Substitution {
    const char* phrase;
    const char* expected;
};

TEST(Translator, FillsPlaceholdersThatNameAnItem) {
    const TRLIST items("first", "2nd");
    for (const auto& [phrase, expected] : {
             Substitution{"${2} / ${1}, ${1}", "2nd / first, first"},
             {"${ 1}${\t1}", "firstfirst"},
             {"${1x}${1.9}${01}${+1}${1 2}", "firstfirstfirstfirstfirst"},
             {"${}${x}${0}${3}${-1}${1}", "${}${x}${0}${3}${-1}first"},
             {"${+}${-}${+-1}${ }${- 1}", "${+}${-}${+-1}${ }${- 1}"},
             {"${4294967297}${99999999999999999999}", "${4294967297}${99999999999999999999}"},
             {"${a${1}", "${a${1}"},
             {"${2${1}", "2nd"},
             {"$${1}}", "$first}"},
             {"${2} ${1", "2nd ${1"},
             {"${1 ${2", "${1 ${2"},
             {"{1} $1 ${", "{1} $1 ${"},
         }) {
        EXPECT_EQ(substituted(phrase, items), expected) << phrase;
    }
}

TEST(Translator, SearchesNothingOfInsertedTextButItsLastCharacter) {
    EXPECT_EQ(substituted("${1}${2}", TRLIST("${2}", "x")), "${2}x");
    EXPECT_EQ(substituted("${1}{2}", TRLIST("a$", "x")), "ax");
    EXPECT_EQ(substituted("a$${1}{2}", TRLIST("", "x")), "ax");
}

TEST(Translator, EmptyItemAtTheStartEndsProcessing) {
    EXPECT_EQ(substituted("${1}${2}", TRLIST("", "x")), "${2}");
    EXPECT_EQ(substituted(" ${1}${2}", TRLIST("", "x")), " x");
    EXPECT_EQ(substituted("${2}${1}${2}", TRLIST("", "x")), "xx");
}

TEST(Translator, ReplaceStringNeverSearchesInsertedText) {
    EXPECT_EQ(replaceString("aaa", "a", "aa"), "aaaaaa");
    EXPECT_EQ(replaceString("a--b---", "--", "-"), "a-b--");
    EXPECT_EQ(replaceString("abab", "ab", ""), "");
    EXPECT_EQ(replaceString("ab", "", "x"), "ab");
}

using StoredLanguage = SysrootFixture;

TEST_F(StoredLanguage, OnlyTheObsoleteCodeIsCorrectedAndRecorded) {
    support::writeFile(storedCode, "longer than before");
    for (const char* untouched : {"EE", "et", "eee", ""}) {
        std::string code = untouched;
        Translator::getInstance()->patchLangCode(code);
        EXPECT_EQ(code, untouched);
        EXPECT_EQ(support::readFile(storedCode), "longer than before");
    }
    std::string code = "ee";
    Translator::getInstance()->patchLangCode(code);
    EXPECT_EQ(code, "et");
    EXPECT_EQ(support::readFile(storedCode), "et");
    EXPECT_EQ(Translator::getInstance()->getCurrentLanguageCode(), "");
}

TEST_F(StoredLanguage, UnwritableRecordIsIgnored) {
    std::filesystem::create_directory(storedCode);
    Translator::getInstance()->setNewLanguageCode("de");
    EXPECT_TRUE(std::filesystem::is_directory(storedCode));
}

} // namespace
