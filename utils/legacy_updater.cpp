#include <iostream>

#include "src/system/STBBackTrace.h"
#include "utils/updater/Command.h"
#include "utils/updater/Console.h"
#include "utils/updater/LinuxSystemActions.h"
#include "utils/updater/LogScreen.h"
#include "utils/updater/PlatformFirmwareService.h"
#include "utils/updater/StandardStreams.h"

int main(int argc, char** argv) {
    STBBackTrace::install(nullptr, nullptr);
    updater::secureStandardStreams();
    updater::Console console(std::cout, std::cerr);
    updater::PlatformFirmwareService service;
    updater::LinuxSystemActions actions;
    updater::runCommand(argc, argv, {service, actions, console, [&actions] {
                                         return std::make_shared<updater::LogScreen>(actions);
                                     }});
    return 0;
}
