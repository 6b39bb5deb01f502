// A program that does with the platform library's device half what its first argument says (none: it shows
// the configuration), in a process whose environment and descriptors a test has prepared.

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "platform/STBLeds.h"
#include "platform/STBLogger.h"
#include "platform/STBResourseHolder.h"
#include "platform/STBUtils.h"
#include "platform/linux/device/Device.h"

namespace {

void logOne(int level, const char* text) {
    STBLogger_log(nullptr, "probe", level, 42, "tests/probe", "%s", text);
}

void printConfig() {
    try {
        const lumo::Config& config = lumo::deviceConfig();
        std::printf("%s in %s\n", config.deviceId.c_str(), config.stateDir.c_str());
    } catch (const lumo::ConfigError& error) {
        std::printf("error %s\n", error.what());
    }
}

void bringUp() {
    const bool up = STBResourseHolder::initialize(STBResourseHolder::getDefaultPlatformSettings());
    std::printf("up %d display %d\n", up, STBResourseHolder::getSTBDisplay() != nullptr);
    STBResourseHolder::uninitialize();
    STBResourseHolder::getSTBLeds()->setState(3, STBLeds::STATE_ON);
    std::printf("address %s\n", STBUtils::getMainMacAddress().toString().c_str());
}

// Standard error becomes a pipe that nobody reads.
void logIntoABrokenPipe() {
    int ends[2];
    if (::pipe(ends) != 0 || ::dup2(ends[1], STDERR_FILENO) < 0) {
        std::exit(1);
    }
    ::close(ends[0]);
    logOne(1, "lost");
    logOne(1, "lost");
    std::printf("alive\n");
}

} // namespace

int main(int argc, char** argv) {
    const std::string task = argc > 1 ? argv[1] : "";
    if (task.empty()) {
        printConfig();
    } else if (task == "up") {
        bringUp();
    } else if (task == "broken-pipe") {
        logIntoABrokenPipe();
    }
    for (int i = 3; i < argc; ++i) {
        logOne(std::atoi(argv[2]), argv[i]);
    }
    return 0;
}
