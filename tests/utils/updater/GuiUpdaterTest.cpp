#include "utils/updater/GuiUpdater.h"

#include <gmock/gmock.h>
#include <time.h>

#include <cmath>
#include <cstdarg>

#include "platform/STBDisplay.h"
#include "platform/STBLeds.h"
#include "platform/STBLogger.h"
#include "platform/STBResourseHolder.h"
#include "src/system/Translator.h"
#include "src/ui/system/TTF_Library.h"
#include "utils/updater/SystemActions.h"

namespace {

using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::EndsWith;
using testing::MatchesRegex;
using testing::Not;
using testing::StartsWith;
using updater::GuiUpdater;

using Journal = std::vector<std::string>;

// The platform's log, clock, LEDs, display and resource holder, which note what they are told and do as they
// are set, follow below; linked into the test, they take the place of the platform library's.
Journal journal;
bool comesUp = true;
bool hasDevices = true; // LEDs and a display
timespec now{1, 0};

void note(const std::string& line) {
    journal.push_back(line);
}

struct Leds final : STBLeds {
    void setState(int led, int state) override {
        note("LED " + std::to_string(led) + ": " + std::to_string(state));
    }
};

struct Display final : STBDisplay {
    std::set<STBHDVideoFormat> getSupportedHDFormats() const override {
        return {STB_HD_1080I50, STB_HD_720P60};
    }

    std::set<STBSDVideoFormat> getSupportedSDFormats() const override { return {}; }

    STBOutputSettings getOutputSettings() const override {
        return {STB_HD_1080P60, false, false, STB_SD_NTSC, false, false};
    }

    bool setOutputSettings(const STBOutputSettings& settings) override {
        note("HD format " + std::to_string(settings.hdFormat) + (settings.hdEnabled ? " on" : "") +
             (settings.hdVisible ? " visible" : "") + (settings.sdEnabled ? ", SD on" : ""));
        return true;
    }

    void showSurface(STBSurfaceInterface*, int, int, int, int) override {}
};

} // namespace

void STBLogger_log(const void*, const char*, int level, int, const char*, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    char text[4096];
    std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    if (level < 5) {
        note("log " + std::to_string(level) + ": " + text);
    }
}

STBPlatformSettings STBResourseHolder::getDefaultPlatformSettings() {
    return {};
}

bool STBResourseHolder::initialize(const STBPlatformSettings& settings) {
    return comesUp && settings.graphics && settings.videoOutput && settings.audioOutput &&
           settings.frontPanel && settings.remoteControl;
}

void STBResourseHolder::uninitialize() {
    note("uninitialize");
}

STBLeds* STBResourseHolder::getSTBLeds() {
    static Leds leds;
    return hasDevices ? &leds : nullptr;
}

STBDisplay* STBResourseHolder::getSTBDisplay() {
    static Display display;
    return hasDevices ? &display : nullptr;
}

STBGraphicsInterface* STBResourseHolder::getSTBGraphics() {
    return nullptr;
}

// The linker's --wrap sends the clock's calls here; machines with a 32-bit long call it by the other name.
extern "C" int __wrap_clock_gettime(clockid_t clock, timespec* time);
extern "C" int __wrap___clock_gettime64(clockid_t clock, timespec* time);

int __wrap_clock_gettime(clockid_t, timespec* time) {
    *time = now;
    return 0;
}

int __wrap___clock_gettime64(clockid_t clock, timespec* time) {
    return __wrap_clock_gettime(clock, time);
}

namespace {

// Notes what it is told to draw.
struct Renderer final : RenderManagerInterface {
    Renderer() { note("renderer up"); }

    ~Renderer() override { note("renderer down"); }

    bool beginBlock(void* id, bool cached, bool recreate, UIRect rect) override {
        note(id == nullptr && !cached && !recreate && rect == UIRect() ? "begin" : "begin other");
        return false;
    }

    void endBlock() override { note("end"); }

    void clearSurface() override { note("clear"); }

    void displayOnScreen() override { note("show"); }

    void fillRect(const UIRect& rect, unsigned int colour) override {
        note("fill" + rect.dump() + (colour == 0xFFFFD65F ? "" : " in another colour"));
    }

    void drawTextLine(const UIRect& rect, unsigned int colour, unsigned int outlineColour,
                      std::shared_ptr<TTF_Font> font, const std::string& text,
                      UITextHorizontalAlign horizontalAlign, UITextVerticalAlign verticalAlign,
                      const std::string& suffix) override {
        const bool usual = colour == 0xFFFFD65F && outlineColour == 0 && font && horizontalAlign == 2 &&
                           verticalAlign == 2 && suffix.empty() && rect.x == 0 && rect.w == 1280 &&
                           rect.h == 60;
        note((usual ? "text at " : "other text at ") + std::to_string(rect.y) + ": " + text);
    }

    // Nobody asks for the rest.
    MOCK_METHOD(void, needBlockBitmapCache, (), (override));
    MOCK_METHOD(void, applyBlockAnimation, (std::shared_ptr<Animation>), (override));
    MOCK_METHOD(void, applyHiddenBlockAnimation, (void*, std::shared_ptr<Animation>), (override));
    MOCK_METHOD(void, setAnimationEnabled, (bool), (override));
    MOCK_METHOD(bool, isAnimationEnabled, (), (const, override));
    MOCK_METHOD(void, setScale, (const UIScale&), (override));
    MOCK_METHOD(UIScale, getScale, (), (const, override));
    MOCK_METHOD(void, applyBlockScale, (const UIRect&, const UIScale&), (override));
    MOCK_METHOD(void, drawImage, (const UIRect&, const UIRect&, std::shared_ptr<Image>), (override));
    MOCK_METHOD(std::shared_ptr<Image>, makeScreenshot, (), (override));
};

struct Actions final : updater::SystemActions {
    void waitSeconds(unsigned seconds) override { note("wait " + std::to_string(seconds)); }

    void reboot() override { note("reboot"); }
};

std::unique_ptr<RenderManagerInterface> makeRenderer(int width, int height) {
    EXPECT_EQ(width * 10000 + height, 12800720);
    return std::make_unique<Renderer>();
}

constexpr auto TRANSFER = STBFirmwareFile::OPERATION_TRANSFER;
constexpr auto CHECK = STBFirmwareFile::OPERATION_CHECK;
constexpr auto WRITE = STBFirmwareUpdater::OPERATION_WRITE;

struct GuiUpdaterTest : testing::Test {
    // English, whatever was chosen on this machine.
    GuiUpdater& screen() {
        gui.emplace(actions, makeRenderer);
        Translator::getInstance()->loadLanguageFile("en");
        journal.clear();
        return *gui;
    }

    static void pass(int milliseconds) {
        now.tv_nsec += milliseconds * 1000000L;
        now.tv_sec += now.tv_nsec / 1000000000;
        now.tv_nsec %= 1000000000;
    }

    // What happened since the last call.
    static Journal events() { return std::exchange(journal, {}); }

    // The same but for the log.
    static Journal drawn() {
        Journal lines = events();
        std::erase_if(lines, [](const std::string& line) { return line.starts_with("log "); });
        return lines;
    }

    Actions actions;
    std::optional<GuiUpdater> gui;
    const STBFirmwareFile::Block kernel{"kernel", nullptr, 0, 0, 0, 0, 0};
};

TEST_F(GuiUpdaterTest, BringsThePlatformUpAndTakesItDownInOrder) {
    journal.clear();
    gui.emplace(actions, makeRenderer);
    EXPECT_EQ(journal.front(), "log 4: Initializing GuiUpdater");
    EXPECT_THAT(drawn(), ElementsAre("HD format " + std::to_string(STB_HD_720P60) + " on visible",
                                     "renderer up", "LED 0: 2", "LED 3: 2"));
    EXPECT_NE(Translator::getInstance()->getCurrentLanguageCode(), "");
    gui.reset();
    EXPECT_THAT(drawn(), ElementsAre("renderer down", "LED 0: 1", "LED 3: 1", "uninitialize"));
    hasDevices = false;
    screen();
    gui.reset();
    hasDevices = true;
    EXPECT_THAT(drawn(), ElementsAre("renderer down", "uninitialize"));
}

TEST_F(GuiUpdaterTest, GoesOnWithoutAScreen) {
    for (const bool fontIsMissing : {false, true}) {
        comesUp = fontIsMissing;
        if (fontIsMissing) {
            TTF_Library::instance()->createFace("openSans", LUMO_SYSROOT "/usr/share/fonts/OpenSans.ttf");
        }
        testing::internal::CaptureStderr();
        gui.emplace(actions, [](int, int) -> std::unique_ptr<RenderManagerInterface> { throw 0; });
        EXPECT_EQ(testing::internal::GetCapturedStderr(),
                  fontIsMissing ? "GuiUpdater: Can't create font\n" : "");
        EXPECT_EQ(testing::Value(events(), Contains("log 1: Can't initialize LIBLUMO")), !fontIsMissing);
        gui->setMainLabelText("a\\nb");
        gui->setProgress(500, true);
        gui->onFileOpenProgress(CHECK, 9, 9, 100);
        gui->onUpdateProgress(kernel, "mtd3", WRITE, 100);
        EXPECT_THAT(events(), ElementsAre("log 4: a b", StartsWith("log 4: "), EndsWith(" kernel ( mtd3 )")));
        gui->displayRebootAfter("done", 1);
        EXPECT_THAT(drawn(), ElementsAre("wait 1", "wait 1", "wait 1"));
        gui.reset();
        EXPECT_THAT(drawn(), ElementsAre("LED 0: 1", "LED 3: 1", "uninitialize"));
    }
    comesUp = true;
}

TEST_F(GuiUpdaterTest, DrawsTextsAndBarCentredTogether) {
    screen().setMainLabelText("Installing update.\\nDo not turn off!");
    EXPECT_THAT(events(), ElementsAre("log 4: Installing update. Do not turn off!", "clear", "begin",
                                      "text at 300: Installing update.", "text at 360: Do not turn off!",
                                      "end", "show"));
    gui->onUpdateProgress(kernel, "mtd3", WRITE, 57.3);
    EXPECT_THAT(events(), AllOf(Contains("text at 390: Flashing block kernel ( mtd3 )"),
                                Contains("fill x:192 y:450 w:513 h:50")));
    gui->onUpdateProgress(kernel, "mtd3", WRITE, 100);
    EXPECT_THAT(events(), ElementsAre("log 4: Flashing block kernel ( mtd3 )", "clear", "begin",
                                      "text at 270: Installing update.", "text at 330: Do not turn off!",
                                      "text at 390: ", "end", "show"));
    pass(301);
    gui->onUpdateProgress(kernel, "mtd3", static_cast<STBFirmwareUpdater::CurrentOperation>(9), 0.05);
    EXPECT_THAT(drawn(), AllOf(Contains("text at 390: "), Not(Contains(StartsWith("fill")))));
    pass(301);
    gui->onFileOpenProgress(TRANSFER, 5000000000, 70000, 0.125);
    EXPECT_THAT(drawn(), Contains(MatchesRegex("text at 390: 70000 .* 5000000000 .*")));
    screen().displayRebootAfter("Done.", 0);
    const std::string last = tr("Device will reboot after") + " 0 " + tr("sec.") + " ";
    EXPECT_THAT(events(),
                ElementsAre("log 4: Done.  " + last, "clear", "begin", "text at 270: Done.",
                            "text at 330: ", "text at 390: " + last, "end", "show", "wait 1", "wait 1"));
    gui->displayRebootAfter("Done.", -1);
    EXPECT_THAT(events(), ElementsAre("wait 1"));
}

TEST_F(GuiUpdaterTest, ShowsProgressAtMostEvery300Milliseconds) {
    screen();

    const struct {
        int pause; // milliseconds
        double percent;
        bool shown;
    } reports[] = {{301, 1, true}, {300, 2, false}, {1, 3, true},     {100, 100, true}, {200, 0, false},
                   {1, 5, true},   {1, NAN, false}, {500, 100, true}, {300, 0, false}};

    int count = 0;
    for (const auto& report : reports) {
        pass(report.pause);
        if (++count % 2 == 0) {
            gui->onUpdateProgress(kernel, "mtd3", WRITE, report.percent);
        } else {
            gui->onFileOpenProgress(CHECK, 0, 0, report.percent);
        }
        EXPECT_EQ(drawn().empty(), !report.shown) << "report " << count;
    }
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
    using Lines = std::vector<std::string>;
    const std::pair<Lines, Lines> lines[] = {
        {{"one\\", "ntwo\n", "three"}, {"one", "two", "three"}},
        {{"\\", "n\\", "n"}, {"", "", ""}},
        {{"moved\ndown \\nboth"}, {"moved down  both"}},
    };
    for (const auto& [given, visible] : lines) {
        EXPECT_EQ(updater::visibleLines(given), visible);
    }
}

} // namespace
