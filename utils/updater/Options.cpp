#include "utils/updater/Options.h"

#include <unistd.h>

#include <algorithm>
#include <climits>
#include <cstdlib>

#include "src/system/LumoStbVersion.h"
#include "utils/updater/Console.h"

namespace updater {

namespace {

// As strtol reads it: leading blanks and a sign are fine, what follows the digits is ignored, no digits are
// 0. Held within int, so that a huge number means the same where long has 32 bits.
int parseSeconds(const char* text) {
    return static_cast<int>(std::clamp<long>(std::strtol(text, nullptr, 10), INT_MIN, INT_MAX));
}

} // namespace

std::optional<Options> parseOptions(int argc, char** argv, Console& console) {
    Options options;
    optind = 0; // starts anew, permutation included
    int option = 0;
    while ((option = getopt(argc, argv, "iet:hfrc:")) != -1) {
        switch (option) {
        case 'i':
            options.info = true;
            break;
        case 'e':
            options.extract = true;
            break;
        case 't':
            options.type = optarg;
            break;
        case 'f':
            options.force = true;
            break;
        case 'r':
            options.reboot = true;
            break;
        case 'c':
            options.connectTimeout = parseSeconds(optarg);
            break;
        case 'h':
        case '?':
            return std::nullopt;
        default:
            console.line("Unknown option: " + std::to_string(option));
            break;
        }
    }
    if (optind < argc) {
        options.url = argv[optind];
    }
    return options;
}

void printUsage(Console& console, const std::string& deviceId) {
    console.line("Updater: LUMO gui firmware update utility, version " + LumoStbVersion::getVersion() +
                 " from " + LumoStbVersion::getVersionDate() + " (detected device: '" + deviceId + "')");
    for (const char* text : {
             "Usage: updater [OPTION] [URL]",
             "Available options:",
             "  [URL]     URL of the firmware BIN file (default will be used if empty)",
             "  -i        Don't update, just print firmware information",
             "  -e        Don't update, just extract blocks from firmware to the current dir",
             "  -t <type> Use specified update type instead of default",
             "  -h        Print this text and exit",
             "  -f        Force update even if blocks are not changed",
             "  -r        Reboot after successfully update",
             "  -c <sec>  Connection timeout in seconds for check phase (10 by default)",
             "",
             "Exit code is always 0.",
             "",
         }) {
        console.line(text);
    }
}

} // namespace updater
