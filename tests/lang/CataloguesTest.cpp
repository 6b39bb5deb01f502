#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>

#include "src/common/DateTimeFormat.h"
#include "src/common/Utils.h"
#include "src/system/Translator.h"
#include "tests/lang/CatalogueCheck.h"
#include "tests/src/system/LogCapture.h"
#include "tests/support/Subprocess.h"
#include "tests/support/TempDir.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

const std::string source = LUMO_LANG_SOURCE;
const std::string folder = LUMO_LANG_FOLDER;

void runTool(const std::vector<std::string>& command) {
    support::Program program;
    program.command = command;
    const auto result = support::run(program);
    ASSERT_EQ(result.exitCode, 0) << result.err;
}

// The phrases of a template, which has no translations.
Phrases readTemplate(const std::string& pot) {
    const support::TempDir work;
    runTool({"msgen", "-o", work.file("filled.po"), pot});
    runTool({"msgfmt", "-o", work.file("filled.mo"), work.file("filled.po")});
    return readCatalogue(work.file("filled.mo"));
}

std::vector<std::string> codes() {
    std::vector<std::string> list;
    Utils::split(LUMO_LANG_CODES, list, " ");
    return list;
}

TEST(Catalogues, TemplateHoldsThePhrasesOfTheCode) {
    const support::TempDir work;
    runTool({source + "collect", work.file("code.pot")});
    const Phrases code = readTemplate(work.file("code.pot"));
    EXPECT_GE(code.size(), 53U);
    EXPECT_EQ(code, readTemplate(source + "updater.pot")) << "run lang/collect";
}

TEST(Catalogues, EveryLanguageIsComplete) {
    const Phrases code = readTemplate(source + "updater.pot");
    for (const std::string& language : codes()) {
        EXPECT_THAT(complaints(code, readCatalogue(folder + language + ".mo")), IsEmpty()) << language;
    }
}

TEST(Catalogues, EveryLanguageLoadsWithoutWarnings) {
    for (const std::string& language : codes()) {
        LogCapture::take();
        EXPECT_TRUE(Translator::getInstance()->loadFile(folder + language, language));
        EXPECT_THAT(LogCapture::take(), ElementsAre("4 src/system/Translator Loading translation from MO.",
                                                    "1 src/system/Translator Original is empty!"));
        EXPECT_EQ(Translator::getInstance()->getCurrentLanguageCode(), language);
        EXPECT_THAT(tr("Installing update.\\nDo not turn off!"), testing::ContainsRegex("\n")) << language;
    }
}

TEST(Catalogues, EveryDateOfEveryLanguageFits) {
    setenv("TZ", "UTC0", 1);
    constexpr long day = 86400;
    for (const std::string& language : codes()) {
        ASSERT_TRUE(Translator::getInstance()->loadFile(folder + language, language));
        DateTimeFormat::flush();
        for (const char* mode : {DateTimeFormat::MODE_24H, DateTimeFormat::MODE_12H}) {
            DateTimeFormat::setMode(mode);
            for (long time = 1704067200; time < 1704067200 + 366 * day; time += day) { // 2024
                for (const std::string& text :
                     {Utils::formatDate(time), Utils::formatDateTime(time), Utils::formatDayTime(time, true),
                      Utils::formatDayTime(time, false), Utils::formatMonthDay(time, false),
                      Utils::formatDateLong(time), Utils::formatCurrentDate(time),
                      DateTimeFormat::format(Utils::getTranslatedTimeformat(DateTimeFormat::DATE, ""),
                                             time)}) {
                    ASSERT_NE(text, "") << language << " " << time;
                }
            }
        }
    }
    DateTimeFormat::setMode(DateTimeFormat::MODE_24H);
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
    const Phrases phrases = readCatalogue(folder + "de.mo");
    for (const int i : {0, 1}) {
        LogCapture::take();
        ASSERT_TRUE(Translator::getInstance()->loadFile(folder + (i == 0 ? "de.mo" : "de.txt"), "de"));
        EXPECT_EQ(LogCapture::take().size(), i == 0 ? 2U : 1U);
        for (const auto& [phrase, unused] : phrases) {
            texts[i].push_back(replaceString(tr(replaceString(phrase, "\n", "\\n")), "\n", "\\n"));
        }
    }
    EXPECT_EQ(texts[0], texts[1]);
    EXPECT_EQ(tr("Today"), "Heute");
}

} // namespace
