#include <iostream>

#include "src/system/STBBackTrace.h"
#include "src/ui/opengl/OpenGlRenderManager.h"
#include "utils/updater/Command.h"
#include "utils/updater/Console.h"
#include "utils/updater/GuiUpdater.h"
#include "utils/updater/LinuxSystemActions.h"
#include "utils/updater/PlatformFirmwareService.h"
#include "utils/updater/StandardStreams.h"

int main(int argc, char** argv) {
    STBBackTrace::install(nullptr, nullptr);
    updater::secureStandardStreams();
    updater::Console console(std::cout, std::cerr);
    updater::PlatformFirmwareService service;
    updater::LinuxSystemActions actions;
    const auto makeRenderManager = [](int width, int height) {
        return std::make_unique<OpenGlRenderManager>(width, height, nullptr);
    };
    updater::runCommand(argc, argv,
                        {service, actions, console,
                         [&] { return std::make_shared<updater::GuiUpdater>(actions, makeRenderManager); }});
    return 0;
}
