#include "src/system/Translator.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/file.h>
#include <unistd.h>

#include <atomic>
#include <climits>
#include <filesystem>
#include <thread>

#include "src/system/LanguageFile.h"
#include "tests/src/system/LogCapture.h"
#include "tests/src/system/MoFile.h"
#include "tests/support/Subprocess.h"
#include "tests/support/TempDir.h"

namespace {

using testing::AnyOf;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;

TEST(Translator, ReturnsUnknownPhraseAsItIs) {
    EXPECT_EQ(tr("No such phrase ${1}"), "No such phrase ${1}");
    EXPECT_EQ(tr(std::string("cut\0here", 8)), "cut");
    EXPECT_EQ(tr("", TRLIST("a")), "");
    EXPECT_EQ(tr("${1}${2}${3}${4}${5}", TRLIST("a", -15LL, LLONG_MIN, "b", "c")),
              "a-15-9223372036854775808bc");
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
    EXPECT_EQ(replaceString("a--b---", "--", "-"), "a-b--") << "inserted text is not searched";
    EXPECT_EQ(replaceString("ab", "", "x"), "ab");
}

std::string logLine(int level, const std::string& message) {
    return std::to_string(level) + " src/system/Translator " + message;
}

const std::string moAttempt = logLine(4, "Loading translation from MO.");
const std::string legacyAttempt = logLine(4, "Loading translation from Legacy format.");

// Uses the device paths, below a sysroot that all cases share, in their turn: they are processes side by
// side. There is a language in force, which a failing load must leave alone.
class TranslatorLoad : public testing::Test {
protected:
    void SetUp() override {
        std::filesystem::create_directories(LUMO_SYSROOT);
        turn = open(LUMO_SYSROOT "/turn", O_RDWR | O_CREAT | O_CLOEXEC, 0600);
        ASSERT_EQ(flock(turn, LOCK_EX), 0);
        for (const char* path : {LUMO_SYSROOT "/var/lumo", LUMO_SYSROOT "/home/lumo/lang"}) {
            std::filesystem::remove_all(path);
            std::filesystem::create_directories(path);
        }
        support::writeFile(languageFile("old.txt"), "word\nold word\n");
        ASSERT_TRUE(translator->loadLanguageFile("old"));
        LogCapture::take();
    }

    void TearDown() override { close(turn); }

    static std::string languageFile(const std::string& name) {
        return LUMO_SYSROOT "/home/lumo/lang/" + name;
    }

    static std::string mo(const MoFile::Entries& entries) { return MoFile(entries).bytes; }

    const std::string storedCode = LUMO_SYSROOT "/var/lumo/lang";
    Translator* const translator = Translator::getInstance();
    const support::TempDir folder;
    int turn = -1;
};

TEST_F(TranslatorLoad, SetupTakesTheStoredLanguageElseTheFallback) {
    support::writeFile(languageFile("et.txt"), "word\nsona\n");
    support::writeFile(languageFile("ee.txt"), "word\nfallback\n");
    for (const auto& [stored, loaded, kept] : std::vector<std::array<std::string, 3>>{
             {" ee\nignored", "et", "et"}, // the obsolete code is corrected, and only that
             {"EE", "ee", "EE"},
             {" \n", "ee", " \n"},
             {std::string(50, 'x'), "ee", std::string(50, 'x')}}) {
        support::writeFile(storedCode, stored);
        EXPECT_TRUE(translator->loadSetupLanguageFile("ee")); // not corrected
        EXPECT_EQ(tr("word"), loaded == "et" ? "sona" : "fallback");
        EXPECT_EQ(translator->getCurrentLanguageCode(), loaded);
        EXPECT_EQ(support::readFile(storedCode), kept);
    }
    LogCapture::take();
    const std::string longest(49, 'x');
    support::writeFile(storedCode, longest);
    EXPECT_TRUE(translator->loadSetupLanguageFile("ee"));
    EXPECT_THAT(LogCapture::take(),
                ElementsAre(logLine(3, "Loading setup language: " + longest), legacyAttempt,
                            logLine(1, "Can't open file " + languageFile(longest) + ".txt for language \"" +
                                           longest + "\""),
                            logLine(3, "Loading fallback language: ee"), legacyAttempt));
    EXPECT_FALSE(translator->loadSetupLanguageFile("") || translator->loadLanguageFile(""));
}

TEST_F(TranslatorLoad, FormatIsChosenByThePathAnywhereInItThenByWhatIsThere) {
    const std::string catalogue = mo({{"word", "catalogue"}});
    for (const auto& [name, text] :
         {std::pair("de.txt.mo", catalogue), {"a.mo.txt/de", catalogue}, {"a.txt/de", "word\ntext\n"}}) {
        const std::filesystem::path path = folder.path() / name;
        std::filesystem::create_directory(path.parent_path());
        support::writeFile(path, text);
        EXPECT_TRUE(translator->loadFile(path, "x")) << name;
        EXPECT_EQ(tr("word"), text == catalogue ? "catalogue" : "text");
    }
    support::writeFile(languageFile("de.txt"), "word\ntext\n");
    support::writeFile(languageFile("de.mo"), catalogue);
    EXPECT_TRUE(translator->loadLanguageFile("de"));
    EXPECT_EQ(tr("word"), "catalogue");
    support::writeFile(languageFile("de.mo"), "damaged");
    EXPECT_FALSE(translator->loadLanguageFile("de"));
    EXPECT_EQ(tr("word"), "catalogue");
}

TEST_F(TranslatorLoad, UnreadableFileLeavesTheOldLanguageAndSaysWhy) {
    std::filesystem::create_directory(folder.path() / "folder.mo");
    std::filesystem::create_directory(folder.path() / "folder.txt");
    support::writeFile(folder.file("large.mo"), "x");
    std::filesystem::resize_file(folder.file("large.mo"), LanguageFile::maxBytes + 1);
    support::writeFile(folder.file("text.mo"), "word\nnew word\n");
    MoFile damaged(MoFile::Entries{{"word", "new word"}});
    damaged.set(12, 100);
    support::writeFile(folder.file("damaged.mo"), damaged.bytes);
    const std::pair<std::string, std::string> files[] = {
        {"absent.mo", ""},
        {"folder.mo", "Can't read data\n"},
        {"large.mo", "Can't read data\n"},
        {"text.mo", "File is not a po file\n"},
        {"damaged.mo", "File is damaged: table of 1 strings at 100 in 58 bytes\n"},
        {"absent.txt", ""},
        {"folder.txt", ""},
    };
    for (const auto& [name, said] : files) {
        const std::string path = folder.file(name);
        testing::internal::CaptureStdout();
        EXPECT_FALSE(translator->loadFile(path, "new"));
        EXPECT_EQ(testing::internal::GetCapturedStdout(), said) << name;
        EXPECT_THAT(
            LogCapture::take(),
            Contains(logLine(1, name.ends_with("mo") ? "Could not parse MO file: \"" + path + "\""
                                                     : "Can't open file " + path + " for language \"new\"")));
        EXPECT_EQ(tr("word"), "old word");
        EXPECT_EQ(translator->getCurrentLanguageCode(), "old");
    }
}

TEST_F(TranslatorLoad, PhrasesBecomeTheProgramsOwnAndComplaintsNameThem) {
    const std::string path = folder.file("x.mo");
    support::writeFile(path, mo({{"", "Language: x\n"},
                                 {"one\r\ntwo\n", "eins\r\nzwei\n"},
                                 {"one\\ntwo\n", "later"},
                                 {"none", ""},
                                 {"\r", "carriage return"},
                                 {std::string("one\0many", 8), "plural"}}));
    EXPECT_TRUE(translator->loadFile(path, "x"));
    EXPECT_EQ(tr("one\\ntwo\\n"), "eins\r\nzwei\n");
    EXPECT_EQ(tr("none") + tr("one") + tr("", TRLIST("x")), "noneone");
    const std::string emptyOriginal = logLine(1, "Original is empty!");
    EXPECT_THAT(LogCapture::take(),
                ElementsAre(moAttempt, emptyOriginal,
                            logLine(2, "Duplicate original phrase in file " + path + ", \"one\\ntwo\\n\""),
                            logLine(2, "Missing translation in file " + path + " for phrase \"none\""),
                            emptyOriginal));
    support::writeFile(folder.file("x.txt"), "a\nA\nB\n\na\nc\n\n");
    EXPECT_TRUE(translator->loadFile(folder.file("x.txt"), "x"));
    EXPECT_THAT(LogCapture::take(), ElementsAre(legacyAttempt, HasSubstr("line 3 (\"a\" => \"B\")"),
                                                HasSubstr("line 5 (\"a\")"), HasSubstr("line 6 (\"c\")")));
}

TEST_F(TranslatorLoad, ToolMadeCataloguesOfEitherByteOrderAreRead) {
    support::writeFile(folder.file("x.po"),
                       "msgid \"\"\nmsgstr \"Content-Type: text/plain; charset=UTF-8\\n\"\n"
                       "msgid \"Another\\nline\"\nmsgstr \"Zweite Zeile\"\n"
                       "msgid \"${1} bytes\"\nmsgstr \"${1} Bytes – ${1}\"\n");
    for (const std::string order : {"little", "big"}) {
        const std::string path = folder.file(order + ".mo");
        const support::Program msgfmt{
            {"msgfmt", "--endianness=" + order, "-o", path, folder.file("x.po")}, {}, "", 60};
        ASSERT_EQ(support::run(msgfmt).exitCode, 0);
        EXPECT_TRUE(translator->loadFile(path, order));
        EXPECT_EQ(tr("Another\\nline"), "Zweite Zeile");
        EXPECT_EQ(tr("${1} bytes", TRLIST(7LL)), "7 Bytes – 7");
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
