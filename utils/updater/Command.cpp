#include "utils/updater/Command.h"

#include "utils/updater/Console.h"
#include "utils/updater/FirmwareService.h"
#include "utils/updater/Options.h"
#include "utils/updater/ProgressScreen.h"
#include "utils/updater/UpdateFlow.h"

namespace updater {

void runCommand(int argc, char** argv, const Environment& environment) {
    Console& console = environment.console;
    const auto options = parseOptions(argc, argv, console);
    if (!options) {
        printUsage(console, environment.service.getCurrentDeviceId());
        return;
    }
    if (options->extract && options->info) {
        printUsage(console, environment.service.getCurrentDeviceId());
        console.error("Updater: ERROR: -i and -e options can't be specified together");
        return;
    }
    const auto screen = environment.makeScreen();
    UpdateFlow(*options, environment.service, environment.actions, console, *screen).run();
}

} // namespace updater
