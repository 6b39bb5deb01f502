#include "utils/updater/GuiUpdater.h"

#include <algorithm>
#include <iostream>

#include "platform/STBDisplay.h"
#include "platform/STBLeds.h"
#include "platform/STBLogger.h"
#include "platform/STBResourseHolder.h"
#include "src/system/Translator.h"
#include "src/ui/system/TTF_Font.h"
#include "src/ui/system/TTF_Library.h"
#include "src/ui/system/UiException.h"
#include "utils/updater/SystemActions.h"

namespace updater {

namespace {

enum Level : int { LEVEL_ERROR = 1, LEVEL_WARNING = 2, LEVEL_INFORMATION = 4, LEVEL_DEBUG = 5 };

const NSTime REFRESH_INTERVAL(300000);
constexpr int FONT_HEIGHT = 50;
constexpr int LEDS_OF_AN_UPDATE[] = {0, 3};

// A text of several lines is one line of the log, whichever way its line breaks are written.
void log(Level level, int line, const std::string& lines) {
    const std::string text = replaceString(replaceString(lines, "\\n", " "), "\n", " ");
    STBLogger_log(nullptr, "updater", level, line, "utils/updater/GuiUpdater", "%s", text.c_str());
}

void setLeds(STBLeds::State state) {
    STBLeds* const leds = STBResourseHolder::getSTBLeds();
    for (const int led : LEDS_OF_AN_UPDATE) {
        if (leds != nullptr) {
            leds->setState(led, state);
        }
    }
}

// Both outputs on, each in the lowest format it has.
void configureVideoOutput() {
    STBDisplay* const display = STBResourseHolder::getSTBDisplay();
    if (display == nullptr) {
        return;
    }
    const auto hdFormats = display->getSupportedHDFormats();
    const auto sdFormats = display->getSupportedSDFormats();
    STBOutputSettings settings = display->getOutputSettings();
    if (!hdFormats.empty()) {
        settings.hdFormat = *hdFormats.begin();
        settings.hdEnabled = settings.hdVisible = true;
    }
    if (!sdFormats.empty()) {
        settings.sdFormat = *sdFormats.begin();
        settings.sdEnabled = settings.sdVisible = true;
    }
    if (!display->setOutputSettings(settings)) {
        log(LEVEL_WARNING, __LINE__, "The display refuses its lowest video formats");
    }
}

// A font breaks the text into lines; without one nothing is drawn of it.
std::vector<std::string> splitText(const TextLabel& label, const std::string& text) {
    return label.font ? label.font->splitTextToLines(text, label.width) : std::vector{text};
}

LabelSize sizeOf(const TextLabel& label) {
    return {label.lines.size(), label.font ? label.font->getFontHeightPx() : 0};
}

const char* phraseOf(STBFirmwareUpdater::CurrentOperation operation) {
    switch (operation) {
    case STBFirmwareUpdater::OPERATION_CHECKSUM:
        return tr_noop("Calculating checksum");
    case STBFirmwareUpdater::OPERATION_COMPARE:
        return tr_noop("Comparing block");
    case STBFirmwareUpdater::OPERATION_ERASE:
        return tr_noop("Erasing block");
    case STBFirmwareUpdater::OPERATION_WRITE:
        return tr_noop("Flashing block");
    }
    return "";
}

std::string describe(const STBFirmwareFile::Block& block, const std::string& target,
                     STBFirmwareUpdater::CurrentOperation operation) {
    const std::string phrase = tr(phraseOf(operation));
    return phrase.empty() ? "" : phrase + " " + block.name + " ( " + target + " )";
}

bool isFinished(double percent) {
    return percent >= 100;
}

void logFinished(const std::string& detail) {
    if (!detail.empty()) {
        log(LEVEL_INFORMATION, __LINE__, detail);
    }
}

} // namespace

GuiUpdater::GuiUpdater(SystemActions& actions, const MakeRenderManager& makeRenderManager)
    : _actions(actions) {
    log(LEVEL_INFORMATION, __LINE__, "Initializing GuiUpdater");
    if (!initializePlatform()) {
        log(LEVEL_ERROR, __LINE__, "Can't initialize LIBLUMO");
        return;
    }
    configureVideoOutput();
    if (!createFont()) {
        std::cerr << "GuiUpdater: Can't create font" << std::endl;
        return;
    }
    _renderManager = makeRenderManager(SCREEN_WIDTH, SCREEN_HEIGHT);
    setLeds(STBLeds::STATE_BLINKING);
    Translator::getInstance()->loadSetupLanguageFile("ru");
    _enabled = true;
}

GuiUpdater::~GuiUpdater() {
    _renderManager.reset();
    // The labels' fonts go on without their face until the labels are gone.
    TTF_Library::destroy();
    setLeds(STBLeds::STATE_ON);
    STBResourseHolder::uninitialize();
}

bool GuiUpdater::initializePlatform() {
    STBPlatformSettings settings = STBResourseHolder::getDefaultPlatformSettings();
    settings.graphics = true;
    settings.videoOutput = true;
    settings.audioOutput = true;
    settings.frontPanel = true;
    settings.remoteControl = true;
    return STBResourseHolder::initialize(settings);
}

bool GuiUpdater::createFont() {
    try {
        if (TTF_Library::instance()->createFace("openSans", LUMO_SYSROOT "/usr/share/fonts/OpenSans.ttf") ==
            nullptr) {
            return false;
        }
        _mainLabel.font = TTF_Library::getFont(TTF_FontProperties("openSans", FONT_HEIGHT, FONT_HEIGHT, 0));
        _secondLabel.font = _mainLabel.font;
    } catch (UiException* thrown) {
        const std::unique_ptr<UiException> error(thrown);
        log(LEVEL_ERROR, __LINE__, error->what());
    }
    return _mainLabel.font != nullptr;
}

void GuiUpdater::onFileOpenProgress(STBFirmwareFile::CurrentOperation operation, long long totalBytes,
                                    long long processedBytes, double percent) {
    if (!isTimeToRefresh() && !isFinished(percent)) {
        return;
    }
    std::string detail;
    std::string name;
    if (operation == STBFirmwareFile::OPERATION_CHECK) {
        name = "Checking";
        changeMainText(tr("Checking update package."));
    } else if (operation == STBFirmwareFile::OPERATION_TRANSFER) {
        name = "Downloading";
        detail = tr("${1} from ${2} bytes", TRLIST(TRITEM(processedBytes), TRITEM(totalBytes)));
    }
    changeProgress(name, detail, percent);
    draw();
}

void GuiUpdater::onUpdateProgress(const STBFirmwareFile::Block& block, const std::string& target,
                                  STBFirmwareUpdater::CurrentOperation operation, double percent) {
    if ((!_enabled || !isTimeToRefresh()) && !isFinished(percent)) {
        return;
    }
    const std::string detail = describe(block, target, operation);
    if (_enabled) {
        changeProgress(std::string(phraseOf(operation)) + " " + block.name, detail, percent);
        draw();
    } else {
        logFinished(detail);
    }
}

void GuiUpdater::changeProgress(const std::string& operation, const std::string& detail, double percent) {
    const bool finished = isFinished(percent);
    if (finished) {
        logFinished(detail);
    }
    changeSecondText(finished ? "" : detail);
    _progressVisible = !finished;
    _progress = toPermille(percent);
    log(LEVEL_DEBUG, __LINE__, operation + ": " + std::to_string(_progress) + " of 1000 are shown");
}

void GuiUpdater::changeMainText(const std::string& text) {
    if (text != _loggedText) {
        log(LEVEL_INFORMATION, __LINE__, text);
        _loggedText = text;
    }
    _mainLabel.lines = splitText(_mainLabel, text);
}

void GuiUpdater::changeSecondText(const std::string& text) {
    _secondLabel.lines = splitText(_secondLabel, text);
}

void GuiUpdater::setMainLabelText(const std::string& text) {
    changeMainText(text);
    draw();
}

void GuiUpdater::setSecondLabelText(const std::string& text) {
    changeSecondText(text);
    draw();
}

void GuiUpdater::setProgress(int value, bool visible) {
    _progressVisible = visible;
    _progress = std::clamp(value, 0, 1000);
    draw();
}

void GuiUpdater::displayRebootAfter(const std::string& text, int seconds) {
    for (int left = seconds; left >= 0; --left) {
        setMainLabelText(text + "\n\n" + tr("Device will reboot after") + " " + std::to_string(left) + " " +
                         tr("sec.") + " ");
        _actions.waitSeconds(1);
    }
    _actions.waitSeconds(1);
}

void GuiUpdater::draw() {
    if (!_enabled || !_renderManager) {
        return;
    }
    const ScreenLayout layout =
        layOutScreen(sizeOf(_mainLabel), sizeOf(_secondLabel), {_progressWidth, _progressHeight, _progress});
    _renderManager->clearSurface();
    _renderManager->beginBlock(nullptr, false, false, UIRect());
    drawLabel(_mainLabel, layout.mainLines);
    drawLabel(_secondLabel, layout.secondLines);
    if (_progressVisible && layout.bar.w != 0) {
        _renderManager->fillRect(layout.bar, _progressColour);
    }
    _renderManager->endBlock();
    _renderManager->displayOnScreen();
}

void GuiUpdater::drawLabel(const TextLabel& label, const std::vector<UIRect>& places) {
    const std::vector<std::string> lines = visibleLines(label.lines);
    for (std::size_t i = 0; i < lines.size(); ++i) {
        _renderManager->drawTextLine(places[i], label.colour, 0, label.font, lines[i],
                                     UITextHorizontalAlignCenter, UITextVerticalAlignCenter, "");
    }
}

bool GuiUpdater::isTimeToRefresh() {
    const NSTime now = NSTime::nowRelative();
    if (!(now - _lastRefresh > REFRESH_INTERVAL)) {
        return false;
    }
    _lastRefresh = now;
    return true;
}

} // namespace updater
