#include "utils/updater/LogScreen.h"

#include "platform/STBLogger.h"
#include "src/system/Translator.h"
#include "utils/updater/SystemActions.h"

namespace updater {

namespace {

constexpr int LEVEL_INFORMATION = 4;

// A text of several lines is one line of the log, whichever way its line breaks are written.
void log(int line, const std::string& lines) {
    const std::string text = replaceString(replaceString(lines, "\\n", " "), "\n", " ");
    STBLogger_log(nullptr, "updater", LEVEL_INFORMATION, line, "utils/updater/LogScreen", "%s", text.c_str());
}

std::string operationPhrase(STBFirmwareUpdater::CurrentOperation operation) {
    switch (operation) {
    case STBFirmwareUpdater::OPERATION_CHECKSUM:
        return tr("Calculating checksum");
    case STBFirmwareUpdater::OPERATION_COMPARE:
        return tr("Comparing block");
    case STBFirmwareUpdater::OPERATION_ERASE:
        return tr("Erasing block");
    case STBFirmwareUpdater::OPERATION_WRITE:
        return tr("Flashing block");
    }
    return "";
}

} // namespace

LogScreen::LogScreen(SystemActions& actions) : _actions(actions) {
    Translator::getInstance()->loadSetupLanguageFile("ru");
}

void LogScreen::onFileOpenProgress(STBFirmwareFile::CurrentOperation operation, long long totalBytes,
                                   long long processedBytes, double percent) {
    if (percent < 100) {
        return;
    }
    if (operation == STBFirmwareFile::OPERATION_TRANSFER) {
        log(__LINE__, tr("${1} from ${2} bytes", TRLIST(TRITEM(processedBytes), TRITEM(totalBytes))));
    } else if (operation == STBFirmwareFile::OPERATION_CHECK) {
        log(__LINE__, tr("Checking update package."));
    }
}

void LogScreen::onUpdateProgress(const STBFirmwareFile::Block& block, const std::string& target,
                                 STBFirmwareUpdater::CurrentOperation operation, double percent) {
    const std::string phrase = operationPhrase(operation);
    if (percent >= 100 && !phrase.empty()) {
        log(__LINE__, phrase + " " + block.name + " ( " + target + " )");
    }
}

void LogScreen::setMainLabelText(const std::string& text) {
    log(__LINE__, text);
}

void LogScreen::displayRebootAfter(const std::string& text, int seconds) {
    for (int left = seconds; left >= 0; --left) {
        setMainLabelText(text + "\\n\\n" + tr("Device will reboot after") + " " + std::to_string(left) + " " +
                         tr("sec.") + " ");
        _actions.waitSeconds(1);
    }
    _actions.waitSeconds(1);
}

} // namespace updater
