#pragma once

#include <functional>
#include <memory>

namespace updater {

class Console;
class FirmwareService;
class ProgressScreen;
class SystemActions;

// The outside of the command. What it refers to must outlive the call it is given to.
struct Environment {
    FirmwareService& service;
    SystemActions& actions;
    Console& console;
    // Brings up the screen. A shared pointer, because it destroys the screen by its own type.
    std::function<std::shared_ptr<ProgressScreen>()> makeScreen;
};

// The whole command `updater [OPTION] [URL]`: parses the options, then prints the usage text, for which
// nothing but the device's identifier is asked, or brings up the screen and runs the flow. Main thread.
void runCommand(int argc, char** argv, const Environment& environment);

} // namespace updater
