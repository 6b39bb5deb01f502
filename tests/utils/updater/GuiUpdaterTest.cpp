#include "utils/updater/GuiUpdater.h"

#include <gmock/gmock.h>

#include <cmath>

#include "src/system/Translator.h"
#include "src/ui/system/TTF_Library.h"
#include "tests/fakes/FakePlatform.h"
#include "tests/fakes/FakeRenderManager.h"
#include "tests/fakes/FakeSystemActions.h"

namespace {

using fakes::Journal;
using testing::Contains;
using testing::ElementsAre;
using testing::EndsWith;
using testing::MatchesRegex;
using testing::Not;
using testing::StartsWith;
using updater::GuiUpdater;

constexpr auto TRANSFER = STBFirmwareFile::OPERATION_TRANSFER;
constexpr auto CHECK = STBFirmwareFile::OPERATION_CHECK;
constexpr auto WRITE = STBFirmwareUpdater::OPERATION_WRITE;

class GuiUpdaterTest : public testing::Test {
protected:
    void SetUp() override {
        _platform = {};
        _platform.journal = &_journal;
        _platform.microseconds = 1000000;
    }

    void TearDown() override { _platform.journal = nullptr; }

    // English, whatever was chosen on this machine.
    GuiUpdater& screen() {
        _screen.emplace(_actions, _makeRenderer);
        Translator::getInstance()->loadLanguageFile("en");
        _journal.clear();
        return *_screen;
    }

    void pass(int milliseconds) { _platform.microseconds += milliseconds * 1000; }

    // What happened since the last call, but for what only interests who looks for faults.
    Journal events() {
        Journal journal = std::exchange(_journal, {});
        std::erase_if(journal, [](const std::string& line) { return line.starts_with("log 5"); });
        return journal;
    }

    // The same but for the log.
    Journal drawn() {
        Journal journal = events();
        std::erase_if(journal, [](const std::string& line) { return line.starts_with("log "); });
        return journal;
    }

    fakes::platform::State& _platform = fakes::platform::state();
    Journal _journal;
    fakes::FakeSystemActions _actions{_journal};
    const GuiUpdater::MakeRenderManager _makeRenderer = [this](int width, int height) {
        EXPECT_EQ(width * 10000 + height, 12800720);
        return std::make_unique<fakes::FakeRenderManager>(_journal);
    };
    std::optional<GuiUpdater> _screen;
    const STBFirmwareFile::Block _kernel{"kernel", nullptr, 0, 0, 0, 0, 0};
};

TEST_F(GuiUpdaterTest, BringsThePlatformUpAndTakesItDownInOrder) {
    _platform.hdFormats = {STB_HD_1080I50, STB_HD_720P60};
    {
        const GuiUpdater gui(_actions, _makeRenderer);
        EXPECT_EQ(_journal.front(), "log 4: Initializing GuiUpdater");
        EXPECT_THAT(drawn(), ElementsAre("initialize 11111", "output HD 1 11 SD 1 00", "renderer up",
                                         "LED 0: 2", "LED 3: 2"));
        EXPECT_NE(Translator::getInstance()->getCurrentLanguageCode(), "");
    }
    EXPECT_THAT(drawn(), ElementsAre("renderer down", "LED 0: 1", "LED 3: 1", "uninitialize"));
    _platform.hasDisplay = _platform.hasLeds = false;
    screen();
    _screen.reset();
    EXPECT_THAT(drawn(), ElementsAre("renderer down", "uninitialize"));
}

TEST_F(GuiUpdaterTest, GoesOnWithoutAScreen) {
    for (const bool comesUp : {false, true}) {
        _platform.comesUp = comesUp;
        if (comesUp) {
            TTF_Library::instance()->createFace("openSans", LUMO_SYSROOT "/usr/share/fonts/OpenSans.ttf");
        }
        testing::internal::CaptureStderr();
        _screen.emplace(_actions, [](int, int) -> std::unique_ptr<RenderManagerInterface> { throw 0; });
        EXPECT_EQ(testing::internal::GetCapturedStderr(), comesUp ? "GuiUpdater: Can't create font\n" : "");
        EXPECT_THAT(events(), Contains(comesUp ? "log 1: Can't create Font face \"openSans\" - already exists"
                                               : "log 1: Can't initialize LIBLUMO"));
        _screen->setMainLabelText("a\\nb");
        _screen->setSecondLabelText("");
        _screen->setProgress(500, true);
        _screen->onFileOpenProgress(CHECK, 9, 9, 100);
        pass(1000);
        _screen->onUpdateProgress(_kernel, "mtd3", WRITE, 50);
        EXPECT_TRUE(_screen->isTimeToRefresh());
        _screen->onUpdateProgress(_kernel, "mtd3", WRITE, 100);
        EXPECT_THAT(events(), ElementsAre("log 4: a b", StartsWith("log 4: "), EndsWith(" kernel ( mtd3 )")));
        _screen->displayRebootAfter("done", 1);
        EXPECT_THAT(drawn(), ElementsAre("wait 1", "wait 1", "wait 1"));
        _screen.reset();
        EXPECT_THAT(drawn(), ElementsAre("LED 0: 1", "LED 3: 1", "uninitialize"));
    }
}

TEST_F(GuiUpdaterTest, DrawsTextsAndBarCentredTogether) {
    GuiUpdater& gui = screen();
    gui.setMainLabelText("Installing update.\\nDo not turn off!");
    EXPECT_THAT(events(), ElementsAre("log 4: Installing update. Do not turn off!", "clear", "begin",
                                      "text at 300: Installing update.", "text at 360: Do not turn off!",
                                      "end", "show"));
    gui.onUpdateProgress(_kernel, "mtd3", WRITE, 57.3);
    EXPECT_THAT(events(),
                ElementsAre("clear", "begin", "text at 270: Installing update.",
                            "text at 330: Do not turn off!", "text at 390: Flashing block kernel ( mtd3 )",
                            "fill x:192 y:450 w:513 h:50", "end", "show"));
    gui.onUpdateProgress(_kernel, "mtd3", WRITE, 100);
    EXPECT_THAT(events(), ElementsAre("log 4: Flashing block kernel ( mtd3 )", "clear", "begin",
                                      "text at 270: Installing update.", "text at 330: Do not turn off!",
                                      "text at 390: ", "end", "show"));
    pass(301);
    gui.onUpdateProgress(_kernel, "mtd3", static_cast<STBFirmwareUpdater::CurrentOperation>(9), 0.05);
    EXPECT_THAT(drawn(), AllOf(Contains("text at 390: "), Not(Contains(StartsWith("fill")))));
    pass(301);
    gui.onFileOpenProgress(TRANSFER, 5000000000, 70000, 0.125);
    EXPECT_THAT(drawn(), Contains(MatchesRegex("text at 390: 70000 .* 5000000000 .*")));
    gui.setProgress(1500, true);
    EXPECT_THAT(drawn(), Contains("fill x:192 y:450 w:896 h:50"));
    gui.setProgress(-5, true);
    EXPECT_THAT(drawn(), Not(Contains(StartsWith("fill"))));
}

TEST_F(GuiUpdaterTest, ShowsProgressAtMostEvery300Milliseconds) {
    GuiUpdater& gui = screen();

    const struct {
        int pause; // milliseconds
        double percent;
        bool shown;
    } reports[] = {{0, 1, true}, {300, 2, false}, {1, 3, true},     {100, 100, true}, {200, 0, false},
                   {1, 5, true}, {1, NAN, false}, {500, 100, true}, {300, 0, false}};

    int count = 0;
    for (const auto& report : reports) {
        pass(report.pause);
        if (++count % 2 == 0) {
            gui.onUpdateProgress(_kernel, "mtd3", WRITE, report.percent);
        } else {
            gui.onFileOpenProgress(CHECK, 0, 0, report.percent);
        }
        EXPECT_EQ(drawn().empty(), !report.shown) << "report " << count;
    }
}

TEST_F(GuiUpdaterTest, CountsDownToTheReboot) {
    screen().displayRebootAfter("Done.", 1);
    Journal expected;
    for (const std::string left : {"1", "0"}) {
        const std::string last = tr("Device will reboot after") + " " + left + " " + tr("sec.") + " ";
        expected.insert(expected.end(), {"log 4: Done.  " + last, "clear", "begin", "text at 270: Done.",
                                         "text at 330: ", "text at 390: " + last, "end", "show", "wait 1"});
    }
    expected.push_back("wait 1");
    EXPECT_EQ(events(), expected);
    _screen->displayRebootAfter("Done.", -1);
    EXPECT_THAT(events(), ElementsAre("wait 1"));
}

TEST(ScreenLayoutTest, CutsEachPlaceByItselfAndTheCentreTowardsZero) {
    const auto layout = updater::layOutScreen({3, 17}, {1, 17}, {896, 50, 1});
    // 61 and 20 high: three times 20 would be 60.
    EXPECT_THAT(layout.mainLines,
                ElementsAre(UIRect(0, 319, 1280, 20), UIRect(0, 339, 1280, 20), UIRect(0, 359, 1280, 20)));
    EXPECT_THAT(layout.secondLines, ElementsAre(UIRect(0, 380, 1280, 20)));
    EXPECT_EQ(layout.bar, UIRect(192, 400, 0, 50));
    EXPECT_EQ(updater::layOutScreen({13, 47}, {0, 47}, {}).mainLines[0].y, -6); // -13 halved
    for (const auto& [percent, permille] : {std::pair(57.39, 573),
                                            {99.99, 999},
                                            {1e300, 1000},
                                            {-1e300, 0},
                                            {double(NAN), 0},
                                            {double(INFINITY), 1000}}) {
        EXPECT_EQ(updater::toPermille(percent), permille) << percent;
    }
}

TEST(ScreenLayoutTest, LeavesTheCharactersOfLineBreaksOut) {
    using Lines = std::vector<std::string>;
    const std::pair<Lines, Lines> cases[] = {
        {{"one\\", "ntwo\n", "three"}, {"one", "two", "three"}},
        {{"\\", "n\\", "n"}, {"", "", ""}},
        {{"a\n", ""}, {"a", ""}},
        {{"now\\", "then\\"}, {"now\\", "then\\"}},
        {{"moved\ndown \\nboth"}, {"moved down  both"}},
    };
    for (const auto& [lines, visible] : cases) {
        EXPECT_EQ(updater::visibleLines(lines), visible);
    }
}

} // namespace
