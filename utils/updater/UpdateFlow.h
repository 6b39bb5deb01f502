#pragma once

#include <string>

#include "platform/STBFirmwareUpdater.h"
#include "utils/updater/Options.h"

namespace updater {

class Console;
class FirmwarePackage;
class FirmwareService;
class ProgressScreen;
class SystemActions;

// One run of the command behind its options: check, open, then describe, extract or install. Main thread.
class UpdateFlow {
public:
    // The references must outlive the flow.
    UpdateFlow(const Options& options, FirmwareService& service, SystemActions& actions, Console& console,
               ProgressScreen& screen);

    // Returns when the command is over, with the package released; never after a result that may have left
    // the device without firmware, so that the warning stays on the screen.
    void run();

private:
    // Both tell whether the run goes on.
    bool checkForUpdates();
    bool open(FirmwarePackage& package, const std::string& url);

    void extract(const FirmwarePackage& package);
    void install(FirmwarePackage& package);
    void finish(STBFirmwareUpdater::UpdateResult result);
    void finishInstalled();
    // text: translated.
    void showAndWait(const std::string& text, unsigned seconds);
    [[noreturn]] void showForever(const std::string& text);

    const Options& _options;
    FirmwareService& _service;
    SystemActions& _actions;
    Console& _console;
    ProgressScreen& _screen;
};

} // namespace updater
