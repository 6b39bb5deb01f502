#include "src/system/Translator.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <climits>
#include <filesystem>
#include <thread>

#include "src/system/LanguageFile.h"
#include "tests/src/system/LogCapture.h"
#include "tests/src/system/MoFile.h"
#include "tests/src/system/SysrootFixture.h"
#include "tests/support/Subprocess.h"

namespace {

using testing::AnyOf;
using testing::ElementsAre;
using testing::IsEmpty;

TEST(TRLIST, NumbersItemsFromOne) {
    const TRLIST list("a", -15LL, LLONG_MIN);
    EXPECT_EQ(list.getItem(0), nullptr);
    EXPECT_EQ(list.getItem(1)->str(), "a");
    EXPECT_EQ(list.getItem(2)->str(), "-15");
    EXPECT_EQ(list.getItem(3)->str(), "-9223372036854775808");
    EXPECT_EQ(list.getItem(4), nullptr);
}

TEST(Translator, ReturnsUnknownPhraseAsItIs) {
    EXPECT_EQ(tr("No such phrase ${1}"), "No such phrase ${1}");
    EXPECT_EQ(tr(std::string("cut\0here", 8)), "cut");
    EXPECT_EQ(tr(""), "");
    EXPECT_EQ(tr("", TRLIST("a")), "");
}

TEST(Translator, FillsPlaceholdersThatNameAnItem) {
    const struct {
        const char* phrase;
        const char* expected;
        const char* items[2] = {"first", "2nd"};
    } table[] = {
        {"${2} / ${1}, ${1}", "2nd / first, first"},
        {"${ 1}${\t1}", "firstfirst"},
        {"${1x}${1.9}${01}${+1}${1 2}", "firstfirstfirstfirstfirst"},
        {"${}${x}${0}${3}${-1}${1}", "${}${x}${0}${3}${-1}first"},
        {"${+}${-}${+-1}${ }${- 1}", "${+}${-}${+-1}${ }${- 1}"},
        {"${4294967297}${99999999999999999999}", "${4294967297}${99999999999999999999}"},
        {"${a${1}$${1}}", "${a${1}$first}"},
        {"${2} ${1", "2nd ${1"},
        {"{1} $1 ${", "{1} $1 ${"},
        // Of inserted text only the last character is searched.
        {"${1}${2}", "${2}x", {"${2}", "x"}},
        {"${1}{2}", "ax", {"a$", "x"}},
        {"a$${1}{2}", "ax", {"", "x"}},
        // An empty item at the start ends processing, and only there.
        {"${1}${2}", "${2}", {"", "x"}},
        {" ${1}${2}", " x", {"", "x"}},
    };

    for (const auto& [phrase, expected, items] : table) {
        EXPECT_EQ(tr(phrase, TRLIST(items[0], items[1])), expected);
    }
}

TEST(Translator, ReplaceStringNeverSearchesInsertedText) {
    EXPECT_EQ(replaceString("aaa", "a", "aa"), "aaaaaa");
    EXPECT_EQ(replaceString("a--b---", "--", "-"), "a-b--");
    EXPECT_EQ(replaceString("abab", "ab", ""), "");
    EXPECT_EQ(replaceString("ab", "", "x"), "ab");
}

std::vector<std::string> logged() {
    return LogCapture::take();
}

std::string logLine(int level, const std::string& message) {
    return std::to_string(level) + " src/system/Translator " + message;
}

const std::string moAttempt = logLine(4, "Loading translation from MO.");
const std::string legacyAttempt = logLine(4, "Loading translation from Legacy format.");
const std::string emptyOriginal = logLine(1, "Original is empty!");

std::string mo(const MoFile::Entries& entries) {
    return MoFile(entries).bytes();
}

// The device paths, with a language in force that a failing load must leave alone.
class TranslatorLoad : public SysrootFixture {
protected:
    void SetUp() override {
        SysrootFixture::SetUp();
        support::writeFile(languageFile("old.txt"), "word\nold word\n");
        ASSERT_TRUE(translator->loadLanguageFile("old"));
        logged();
    }

    void expectOldLanguage() {
        EXPECT_EQ(tr("word"), "old word");
        EXPECT_EQ(translator->getCurrentLanguageCode(), "old");
    }

    Translator* const translator = Translator::getInstance();
    const support::TempDir folder;
};

TEST_F(TranslatorLoad, OnlyTheObsoleteCodeIsCorrectedAndRecorded) {
    for (const auto& [given, corrected, recorded] : {std::tuple("EE", "EE", "longer than before"),
                                                     {"et", "et", "longer than before"},
                                                     {"ee", "et", "et"}}) {
        support::writeFile(storedCode, "longer than before");
        std::string code = given;
        translator->patchLangCode(code);
        EXPECT_EQ(code, corrected);
        EXPECT_EQ(support::readFile(storedCode), recorded);
    }
    expectOldLanguage();
}

TEST_F(TranslatorLoad, SetupTakesTheStoredLanguageAndCorrectsIt) {
    support::writeFile(storedCode, " ee\nignored");
    support::writeFile(languageFile("et.txt"), "word\nsona\n");
    EXPECT_TRUE(translator->loadSetupLanguageFile("old"));
    EXPECT_EQ(tr("word"), "sona");
    EXPECT_EQ(translator->getCurrentLanguageCode(), "et");
    EXPECT_EQ(support::readFile(storedCode), "et");
    EXPECT_THAT(logged(), ElementsAre(logLine(3, "Loading setup language: et"), legacyAttempt));
}

TEST_F(TranslatorLoad, SetupFallsBackWhenNoStoredLanguageCanBeLoaded) {
    const std::string longest(49, 'x');
    support::writeFile(languageFile("ee.txt"), "word\nfallback\n");
    for (const std::string& stored : {std::string(), std::string(" \n"), std::string(50, 'x'), longest}) {
        support::writeFile(storedCode, stored);
        EXPECT_TRUE(translator->loadSetupLanguageFile("ee")); // not corrected
        EXPECT_EQ(tr("word"), "fallback");
        EXPECT_EQ(translator->getCurrentLanguageCode(), "ee");
        auto log = logged();
        if (stored == longest) {
            ASSERT_GE(log.size(), 3U);
            EXPECT_EQ(log[0], logLine(3, "Loading setup language: " + longest));
            EXPECT_EQ(log[2], logLine(1, "Can't open file " + languageFile(longest) + ".txt for language \"" +
                                             longest + "\""));
            log.erase(log.begin(), log.begin() + 3);
        }
        EXPECT_THAT(log, ElementsAre(logLine(3, "Loading fallback language: ee"), legacyAttempt)) << stored;
    }
}

TEST_F(TranslatorLoad, CatalogueWinsOverTextFileEvenWhenDamaged) {
    support::writeFile(languageFile("de.txt"), "word\ntext\n");
    support::writeFile(languageFile("de.mo"), mo({{"word", "catalogue"}}));
    EXPECT_TRUE(translator->loadLanguageFile("de"));
    EXPECT_EQ(tr("word"), "catalogue");
    support::writeFile(languageFile("de.mo"), "damaged");
    EXPECT_FALSE(translator->loadLanguageFile("de"));
    EXPECT_EQ(tr("word"), "catalogue");
    std::filesystem::remove(languageFile("de.mo"));
    EXPECT_TRUE(translator->loadLanguageFile("de"));
    EXPECT_EQ(tr("word"), "text");
}

TEST_F(TranslatorLoad, FormatIsChosenByThePathAnywhereInIt) {
    const std::string catalogue = mo({{"word", "catalogue"}});
    for (const auto& [name, text] :
         {std::pair("de.txt.mo", catalogue), {"a.mo.txt/de", catalogue}, {"a.txt/de", "word\ntext\n"}}) {
        const std::filesystem::path path = folder.path() / name;
        std::filesystem::create_directory(path.parent_path());
        support::writeFile(path, text);
        EXPECT_TRUE(translator->loadFile(path, "x")) << name;
        EXPECT_EQ(tr("word"), text == catalogue ? "catalogue" : "text");
    }
}

TEST_F(TranslatorLoad, UnreadableFileLeavesTheOldLanguageAndSaysWhy) {
    std::filesystem::create_directory(folder.path() / "folder.mo");
    std::filesystem::create_directory(folder.path() / "folder.txt");
    support::writeFile(folder.file("large.mo"), "x");
    std::filesystem::resize_file(folder.file("large.mo"), LanguageFile::maxBytes + 1);
    support::writeFile(folder.file("text.mo"), "word\nnew word\n");
    support::writeFile(folder.file("koi8.mo"), mo({{"", "Content-Type: text/plain; charset=KOI8-R\n"}}));
    MoFile damaged(MoFile::Entries{{"word", "new word"}});
    damaged.set(MoFile::phrasesAt, 100);
    support::writeFile(folder.file("damaged.mo"), damaged.bytes());
    const std::pair<const char*, const char*> files[] = {
        {"absent.mo", ""},
        {"folder.mo", "Can't read data\n"},
        {"large.mo", "Can't read data\n"},
        {"text.mo", "File is not a po file\n"},
        {"koi8.mo", "Only UTF-8 charset is supported. Provided charset: koi8-r\n"},
        {"damaged.mo", "File is damaged: table of 1 strings at 100 in 58 bytes\n"},
    };
    for (const auto& [name, said] : files) {
        testing::internal::CaptureStdout();
        EXPECT_FALSE(translator->loadFile(folder.file(name), "new"));
        EXPECT_EQ(testing::internal::GetCapturedStdout(), said) << name;
        EXPECT_THAT(logged(), ElementsAre(moAttempt, logLine(1, "Could not parse MO file: \"" +
                                                                    folder.file(name) + "\"")));
        expectOldLanguage();
    }
    EXPECT_FALSE(translator->loadSetupLanguageFile(""));
    EXPECT_FALSE(translator->loadLanguageFile(""));
    EXPECT_THAT(logged(), IsEmpty());
    for (const std::string& path : {folder.file("absent.txt"), folder.file("folder.txt")}) {
        EXPECT_FALSE(translator->loadFile(path, "new"));
        EXPECT_THAT(logged(), ElementsAre(legacyAttempt,
                                          logLine(1, "Can't open file " + path + " for language \"new\"")));
        expectOldLanguage();
    }
}

TEST_F(TranslatorLoad, CataloguePhrasesBecomeTheProgramsOwnAndTranslationsStay) {
    const std::string path = folder.file("x.mo");
    support::writeFile(path, mo({{"", "Language: x\n"},
                                 {"one\r\ntwo\n", "eins\r\nzwei\n"},
                                 {"one\\ntwo\n", "later"},
                                 {"none", ""},
                                 {"\r", "carriage return"},
                                 {std::string("one\0many", 8), "plural"},
                                 {"after", "danach"}}));
    EXPECT_TRUE(translator->loadFile(path, "x"));
    EXPECT_EQ(tr("one\\ntwo\\n"), "eins\r\nzwei\n");
    EXPECT_EQ(tr("none"), "none");
    EXPECT_EQ(tr("one"), "one");
    EXPECT_EQ(tr("after"), "danach");
    EXPECT_EQ(tr("", TRLIST("x")), "");
    EXPECT_THAT(logged(),
                ElementsAre(moAttempt, emptyOriginal,
                            logLine(2, "Duplicate original phrase in file " + path + ", \"one\\ntwo\\n\""),
                            logLine(2, "Missing translation in file " + path + " for phrase \"none\""),
                            emptyOriginal));
}

TEST_F(TranslatorLoad, TextFileComplaintsNameTheirLines) {
    const std::string path = folder.file("x.txt");
    support::writeFile(path, "\na\nA\nB\n\na\nc\n\n");
    EXPECT_TRUE(translator->loadFile(path, "x"));
    const std::string in = " in file " + path;
    EXPECT_THAT(
        logged(),
        ElementsAre(legacyAttempt,
                    logLine(2, "Missing translation" + in + " for phrase started at line 0 (\"\")"),
                    logLine(2, "Duplicate translation" + in + ", line 4 (\"a\" => \"B\")"),
                    logLine(2, "Duplicate original phrase" + in + ", line 6 (\"a\")"),
                    logLine(2, "Missing translation" + in + " for phrase started at line 7 (\"c\")")));
}

TEST_F(TranslatorLoad, ToolMadeCataloguesAndTextFilesGiveTheSameLanguage) {
    support::writeFile(folder.file("x.po"),
                       "msgid \"\"\nmsgstr \"Content-Type: text/plain; charset=UTF-8\\n\"\n"
                       "msgid \"Another\\nline\"\nmsgstr \"Zweite Zeile\"\n"
                       "msgid \"${1} bytes\"\nmsgstr \"${1} Bytes – ${1}\"\n"
                       "msgid \"empty\"\nmsgstr \"\"\n");
    for (const char* endianness : {"little", "big"}) {
        support::Program msgfmt;
        msgfmt.command = {"msgfmt", std::string("--endianness=") + endianness, "-o",
                          folder.file(endianness + std::string(".mo")), folder.file("x.po")};
        ASSERT_EQ(support::run(msgfmt).exitCode, 0);
    }
    const std::string text = "Another\\nline\nZweite Zeile\n\n${1} bytes\n${1} Bytes – ${1}\n";
    support::writeFile(folder.file("lf.txt"), text);
    support::writeFile(folder.file("crlf.txt"), replaceString(text, "\n", "\r\n"));
    EXPECT_NE(support::readFile(folder.file("little.mo")), support::readFile(folder.file("big.mo")));
    for (const char* name : {"little.mo", "big.mo", "lf.txt", "crlf.txt"}) {
        ASSERT_TRUE(translator->loadLanguageFile("old"));
        EXPECT_TRUE(translator->loadFile(folder.file(name), name));
        EXPECT_EQ(tr("Another\\nline"), "Zweite Zeile") << name;
        EXPECT_EQ(tr("${1} bytes", TRLIST(7LL)), "7 Bytes – 7") << name;
        EXPECT_EQ(tr("empty"), "empty") << name;
        EXPECT_EQ(tr("word"), "word") << name;
    }
}

TEST_F(TranslatorLoad, TranslationsNeverMixLanguages) {
    for (const std::string code : {"a", "b"}) {
        MoFile::Entries entries;
        for (int i = 0; i < 200; ++i) {
            entries.emplace_back("phrase " + std::to_string(i), code + " ${1}");
        }
        support::writeFile(languageFile(code + ".mo"), mo(entries));
    }
    ASSERT_TRUE(translator->loadLanguageFile("a"));
    std::atomic<bool> done{false};
    std::thread loader([&] {
        for (int i = 0; i < 200; ++i) {
            EXPECT_TRUE(translator->loadLanguageFile(i % 2 == 0 ? "b" : "a"));
        }
        done = true;
    });
    do {
        for (const char* phrase : {"phrase 0", "phrase 199"}) {
            EXPECT_THAT(tr(phrase, TRLIST("x")), AnyOf("a x", "b x"));
        }
        EXPECT_EQ(tr("word"), "word");
    } while (!done);
    loader.join();
    EXPECT_EQ(tr("phrase 0", TRLIST("x")), "a x"); // loaded last, by the other thread
}

} // namespace
