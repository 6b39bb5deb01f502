#include <gmock/gmock.h>

#include <map>
#include <regex>
#include <set>

#include "src/common/DateTimeFormat.h"
#include "src/common/Utils.h"
#include "src/system/MoCatalogue.h"
#include "src/system/Translator.h"
#include "tests/src/system/LogCapture.h"
#include "tests/support/Subprocess.h"
#include "tests/support/TempDir.h"

namespace {

using testing::ElementsAre;

// Source phrases and their translations, as they stand in a catalogue: line breaks are newlines.
using Phrases = std::map<std::string, std::string>;

const std::string source = LUMO_LANG_SOURCE;
const std::string folder = LUMO_LANG_FOLDER;

std::vector<std::string> split(const std::string& text, const char* delimiter) {
    std::vector<std::string> parts;
    Utils::split(text, parts, delimiter);
    return parts;
}

const std::vector<std::string> codes = split(LUMO_LANG_CODES, " ");

// The phrases of a compiled catalogue, without its header.
Phrases readCatalogue(const std::string& path) {
    const std::string bytes = support::readFile(path);
    const auto catalogue = std::get<MoCatalogue>(MoCatalogue::parse(bytes));
    Phrases phrases;
    for (std::uint32_t i = 0; i < catalogue.size(); ++i) {
        phrases.emplace(catalogue.phrase(i), catalogue.translation(i));
    }
    phrases.erase("");
    return phrases;
}

// The phrases of a template, which has no translations.
Phrases readTemplate(const std::string& pot) {
    const support::TempDir work;
    for (const std::vector<std::string>& command :
         {std::vector<std::string>{"msgen", "-o", work.file("filled.po"), pot},
          {"msgfmt", "-o", work.file("filled.mo"), work.file("filled.po")}}) {
        EXPECT_EQ(support::run({command, {}, "", 60}).exitCode, 0);
    }
    return readCatalogue(work.file("filled.mo"));
}

std::set<std::string> placeholders(const std::string& text) {
    static const std::regex pattern("\\$\\{[^}]*\\}?|\\$|\\{|\\}");
    return {std::sregex_token_iterator(text.begin(), text.end(), pattern), {}};
}

std::pair<std::size_t, std::size_t> blanksAtEnds(const std::string& text) {
    return {text.find_first_not_of(" \n"), text.size() - 1 - text.find_last_not_of(" \n")};
}

// What a translator got wrong; empty when nothing.
std::string complaint(const std::string& phrase, const std::string& translation) {
    if (translation.empty()) {
        return "not translated";
    }
    if (std::regex_match(phrase, std::regex("[A-Z0-9_]{4,}"))) {
        return translation.find('%') == std::string::npos ? "no pattern" : "";
    }
    if (placeholders(phrase) != placeholders(translation)) {
        return "other placeholders";
    }
    if (split(phrase, "|").size() != split(translation, "|").size()) {
        return "other number of names";
    }
    if (translation.find_first_of("\\\r") != std::string::npos) {
        return "a line break that is no newline";
    }
    return blanksAtEnds(phrase) != blanksAtEnds(translation) ? "other blanks at an end" : "";
}

TEST(Catalogues, TemplateHoldsThePhrasesOfTheCode) {
    const support::TempDir work;
    ASSERT_EQ(support::run({{source + "collect", work.file("code.pot")}, {}, "", 60}).exitCode, 0);
    const Phrases code = readTemplate(work.file("code.pot"));
    EXPECT_GE(code.size(), 53U);
    EXPECT_EQ(code, readTemplate(source + "updater.pot")) << "run lang/collect";
}

TEST(Catalogues, EveryLanguageIsCompleteAndLoads) {
    // What translators get wrong is found.
    for (const auto& [phrase, translation] : {std::pair{"${1} from ${2}", "${1}"},
                                              {"${1}", "${1} ${3}"},
                                              {"a|b|c", "A||C"},
                                              {"DATE", "DATE"},
                                              {"a\nb", "A\\nB"},
                                              {"a ", "A"}}) {
        EXPECT_NE(complaint(phrase, translation), "") << translation;
    }
    EXPECT_EQ(complaint("${1} from ${2}", "${2}: ${1} (${1})"), "");
    const Phrases code = readTemplate(source + "updater.pot");
    for (const std::string& language : codes) {
        SCOPED_TRACE(language);
        const Phrases catalogue = readCatalogue(folder + language + ".mo");
        EXPECT_EQ(catalogue.size(), code.size());
        for (const auto& [phrase, unused] : code) {
            const auto entry = catalogue.find(phrase);
            EXPECT_EQ(complaint(phrase, entry != catalogue.end() ? entry->second : ""), "") << phrase;
        }
        LogCapture::take();
        EXPECT_TRUE(Translator::getInstance()->loadFile(folder + language, language));
        EXPECT_THAT(LogCapture::take(), ElementsAre("4 src/system/Translator Loading translation from MO.",
                                                    "1 src/system/Translator Original is empty!"));
        EXPECT_THAT(tr("Installing update.\\nDo not turn off!"), testing::ContainsRegex("\n"));
    }
}

TEST(Catalogues, EveryDateOfEveryLanguageFits) {
    setenv("TZ", "UTC0", 1);
    constexpr long day = 86400;
    for (const std::string& language : codes) {
        ASSERT_TRUE(Translator::getInstance()->loadFile(folder + language, language));
        DateTimeFormat::flush();
        for (const char* mode : {DateTimeFormat::MODE_24H, DateTimeFormat::MODE_12H}) {
            DateTimeFormat::setMode(mode);
            for (long time = 1704067200; time < 1704067200 + 366 * day; time += day) { // 2024
                for (const std::string& text :
                     {Utils::formatDate(time), Utils::formatDateTime(time), Utils::formatDayTime(time, true),
                      Utils::formatDayTime(time, false), Utils::formatMonthDay(time, false),
                      Utils::formatDateLong(time), Utils::formatCurrentDate(time)}) {
                    ASSERT_NE(text, "") << language << " " << time;
                }
            }
        }
    }
}

TEST(Catalogues, MonthsTakeTheCaseTheyNeed) {
    setenv("TZ", "UTC0", 1);
    const long time = 1709640000; // 2024-03-05, a Tuesday
    for (const auto& [language, date, month] : {std::tuple{"en", "Tuesday, March 5", "March 2024"},
                                                {"ru", "Вторник, 5 марта", "Март 2024"},
                                                {"pl", "Wtorek, 5 marca", "Marzec 2024"},
                                                {"es", "Martes, 5 de marzo", "Marzo 2024"}}) {
        ASSERT_TRUE(Translator::getInstance()->loadFile(folder + language, language));
        DateTimeFormat::flush();
        EXPECT_EQ(Utils::formatCurrentDate(time), date);
        EXPECT_EQ(Utils::formatMonth(time, true), month);
    }
}

TEST(Catalogues, TextFormatSaysTheSame) {
    std::vector<std::string> texts[2];
    for (const int i : {0, 1}) {
        ASSERT_TRUE(Translator::getInstance()->loadFile(folder + (i == 0 ? "de.mo" : "de.txt"), "de"));
        for (const auto& [phrase, unused] : readCatalogue(folder + "de.mo")) {
            texts[i].push_back(replaceString(tr(replaceString(phrase, "\n", "\\n")), "\n", "\\n"));
        }
    }
    EXPECT_EQ(texts[0], texts[1]);
    EXPECT_EQ(tr("Today"), "Heute");
}

} // namespace
