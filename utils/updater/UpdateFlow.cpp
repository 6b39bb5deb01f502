#include "utils/updater/UpdateFlow.h"

#include "src/system/Translator.h"
#include "utils/updater/BlockExtraction.h"
#include "utils/updater/Console.h"
#include "utils/updater/FirmwareService.h"
#include "utils/updater/ProgressScreen.h"
#include "utils/updater/SystemActions.h"

namespace updater {

namespace {

constexpr int OPEN_TIMEOUT_SECONDS = 30;
constexpr int REBOOT_COUNTDOWN_SECONDS = 10;
constexpr unsigned OUTCOME_SECONDS = 5;
constexpr unsigned TOO_LARGE_SECONDS = 2;

} // namespace

UpdateFlow::UpdateFlow(const Options& options, FirmwareService& service, SystemActions& actions,
                       Console& console, ProgressScreen& screen)
    : _options(options), _service(service), _actions(actions), _console(console), _screen(screen) {}

void UpdateFlow::run() {
    const std::string deviceId = _service.getCurrentDeviceId();
    if (!_options.url && !checkForUpdates()) {
        return;
    }
    std::string url = _options.url.value_or("");
    if (url.empty()) {
        url = _service.getFirmwareLocationInfo(_options.type, "").url;
    }
    _console.line("Updater: Starting updater for device '" + deviceId + "' from URL: " + url);
    const auto package = _service.createPackage(url, &_screen);
    _screen.setMainLabelText(tr("Downloading update package"));
    if (!open(*package, url) || _options.info) {
        return;
    }
    if (_options.extract) {
        extract(*package);
    } else {
        install(*package);
    }
}

bool UpdateFlow::checkForUpdates() {
    const auto result = _service.checkForUpdates(_options.type, "", _options.connectTimeout);
    const std::string versions =
        "Updater: Server version: " + result.serverVersion + " Local version: " + result.localVersion;
    switch (result.status) {
    case 0:
        _console.line(versions);
        if (!_options.force) {
            _console.line("Updater: Update not needed");
        }
        return _options.force;
    case 1:
        _console.line(versions);
        _console.line("Updater: Have new updates at the server");
        return true;
    case 2:
        _console.line("Updater: No such file");
        showAndWait(tr("No avaliable firmware files found on update server."), OUTCOME_SECONDS);
        return false;
    case 3:
        showAndWait(tr("Unable to connect to update server."), OUTCOME_SECONDS);
        _console.line("Updater: Connect timeout");
        return false;
    case 4:
        _console.error("Updater: ERROR: Error while checking for updates");
        _screen.setMainLabelText(tr("Error while checking for updates."));
        return false;
    default:
        return true;
    }
}

bool UpdateFlow::open(FirmwarePackage& package, const std::string& url) {
    const int result = package.open(OPEN_TIMEOUT_SECONDS);
    switch (result) {
    case 1:
    case 3:
    case 4:
        _console.error("Updater: WARNING: no valid firmware found at '" + url + "'");
        break;
    case 2:
        _console.error("Updater: WARNING: connect timeout '" + url + "'");
        break;
    case 5:
    case 6:
        _console.error("Updater: WARNING: firmware is broken '" + url + "'");
        break;
    default:
        break;
    }
    return result == 0;
}

void UpdateFlow::extract(const FirmwarePackage& package) {
    _console.line("Updater: Extract requested");
    const auto blocks = package.getBlocks();
    extractBlocks(blocks, _console);
}

void UpdateFlow::install(FirmwarePackage& package) {
    _screen.setMainLabelText(tr("Installing update.\\nDo not turn off!"));
    const auto result = package.update(&_screen, _options.force);
    _console.line("Updater: Update finished, result: " + _service.updateResultDescription(result));
    finish(result);
}

void UpdateFlow::finish(STBFirmwareUpdater::UpdateResult result) {
    switch (result) {
    case STBFirmwareUpdater::UPDATE_NOT_NEEDED:
        showAndWait(tr("Update is not required."), OUTCOME_SECONDS);
        break;
    case STBFirmwareUpdater::UPDATE_BUSY:
        showAndWait(tr("Another process is\\ninstalling update now."), OUTCOME_SECONDS);
        break;
    case STBFirmwareUpdater::UPDATE_DONE:
        finishInstalled();
        break;
    case STBFirmwareUpdater::UPDATE_WRONG_FORMAT:
        showAndWait(tr("Wrong update package format."), OUTCOME_SECONDS);
        break;
    case STBFirmwareUpdater::UPDATE_WRITE_FAILED:
    case STBFirmwareUpdater::UPDATE_VERIFY_FAILED:
        showForever(tr("Firmware update error.\\nDevice may not operate any more."));
    case STBFirmwareUpdater::UPDATE_TOO_LARGE:
        showAndWait(tr("Update package size is larger then flash size."), TOO_LARGE_SECONDS);
        break;
    case STBFirmwareUpdater::UPDATE_FLASH_ERROR:
        _screen.setMainLabelText(tr("MTD error on update."));
        break;
    }
}

void UpdateFlow::finishInstalled() {
    const std::string text = tr("Update was successfully installed.");
    if (!_options.reboot) {
        showAndWait(text, OUTCOME_SECONDS);
        return;
    }
    _screen.displayRebootAfter(text, REBOOT_COUNTDOWN_SECONDS);
    _console.line("Updater: Rebooting... ");
    _console.flush();
    _actions.waitSeconds(1);
    _actions.reboot();
}

void UpdateFlow::showAndWait(const std::string& text, unsigned seconds) {
    _screen.setMainLabelText(text);
    _actions.waitSeconds(seconds);
}

void UpdateFlow::showForever(const std::string& text) {
    _screen.setMainLabelText(text);
    for (;;) {
        _actions.waitSeconds(1);
    }
}

} // namespace updater
