#pragma once

#include <optional>
#include <string>

namespace updater {

class Console;

// What the command line asks for.
struct Options {
    std::optional<std::string> url; // the first argument that is no option; present even when it is empty
    std::string type;               // empty: the platform's default
    int connectTimeout = 10;        // seconds, for the check
    bool force = false;
    bool reboot = false;
    bool extract = false;
    bool info = false;
};

// Reads the command line with getopt, which permutes argv: options behind the URL count too. Stops at -h, at
// an unknown option and at a missing argument (getopt has named it on standard error then); no value means
// that the usage text is due and nothing else. Uses getopt's global state: one thread at a time.
std::optional<Options> parseOptions(int argc, char** argv, Console& console);

// Prints the usage text on standard output.
void printUsage(Console& console, const std::string& deviceId);

} // namespace updater
