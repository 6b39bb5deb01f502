#include <unistd.h>

#include <CLI/CLI.hpp>
#include <exception>
#include <functional>
#include <iostream>

#include "platform/linux/device/Text.h"
#include "tools/lumo-firmware/Commands.h"
#include "tools/lumo-firmware/ToolError.h"

namespace {

enum ExitCode : int { Done = 0, Failed = 1, WrongUsage = 2 };

// What the command line asks for, filled in by the parser.
struct CommandLine {
    lumo::KeygenOptions keygen;
    lumo::CreateOptions create;
    lumo::InspectOptions inspect;
    lumo::PublishOptions publish;
};

// An option that may be given several times, with one value each.
template <typename Values>
CLI::Option* repeatable(CLI::App& command, const char* name, Values& values, const char* text) {
    return command.add_option(name, values, text)->allow_extra_args(false)->take_all();
}

void addKeygen(CLI::App& app, lumo::KeygenOptions& options) {
    CLI::App& command = *app.add_subcommand("keygen", "Make a key pair: NAME.pem and NAME.pub.pem");
    command.add_option("NAME", options.name, "Path of the key files, without .pem")->required();
    command.add_flag("--force", options.force, "Replace key files that are there");
}

void addCreate(CLI::App& app, lumo::CreateOptions& options) {
    CLI::App& command = *app.add_subcommand("create", "Make a package from a description or from options");
    command.add_option("DESCRIPTION", options.description, "JSON file that describes the package");
    command.add_option("--version", options.version, "Version of the firmware")->type_name("VERSION");
    command.add_option("--type", options.type, "Type of the update; \"default\" if nothing else is said")
        ->type_name("TYPE");
    repeatable(command, "--device", options.devices, "Identifier of a device it is for; repeatable")
        ->type_name("ID");
    repeatable(command, "--block", options.blocks,
               "A block: name, file and flash target, and \"none\" (default), \"zstd\" or \"zstd:LEVEL\"; "
               "repeatable")
        ->type_name("NAME=FILE@TARGET[:COMPRESSION]");
    repeatable(command, "--script", options.scripts,
               "A script that runs before or after flashing, and its time limit (60 s); repeatable")
        ->type_name("before|after=FILE[:SECONDS]");
    command.add_option("--key", options.key, "Private key that signs the package")->type_name("FILE");
    command.add_flag("--unsigned", options.isUnsigned, "Do not sign it");
    command.add_option("-o,--output", options.output, "Package file to write")->required()->type_name("FILE");
}

void addInspect(CLI::App& app, lumo::InspectOptions& options) {
    CLI::App& command = *app.add_subcommand("inspect", "Show a package, and check everything in it");
    command.add_option("PACKAGE", options.package, "Package file")->required();
    repeatable(command, "--key", options.keys, "Public key, one of which must have signed it; repeatable")
        ->type_name("FILE");
    command.add_flag("--json", options.json, "Print JSON");
}

void addPublish(CLI::App& app, lumo::PublishOptions& options) {
    CLI::App& command =
        *app.add_subcommand("publish", "Put a package into the folder of an update server and offer it");
    command.add_option("PACKAGE", options.package, "Package file")->required();
    command.add_option("--server", options.server, "The server's folder")->required()->type_name("FOLDER");
    repeatable(command, "--key", options.keys, "Public key, one of which must have signed it; repeatable")
        ->type_name("FILE");
    command.add_flag("--force", options.force,
                     "Also offer an older version than now, and replace another package of that name");
}

int report(const std::exception& error, ExitCode code) {
    std::cerr << "lumo-firmware: " << lumo::visibleText(error.what()) << std::endl;
    return code;
}

std::string usageFailure(const CLI::App*, const CLI::Error& error) {
    return "lumo-firmware: " + lumo::visibleText(error.what()) + "\nRun with --help for more information.\n";
}

int carryOut(const CLI::App& app, const CommandLine& line) {
    const lumo::Streams streams{std::cout, isatty(STDERR_FILENO) == 1 ? &std::cerr : nullptr};
    const std::string command = app.get_subcommands().front()->get_name();
    try {
        if (command == "keygen") {
            lumo::keygen(line.keygen, streams);
        } else if (command == "create") {
            lumo::create(line.create, streams);
        } else if (command == "inspect") {
            lumo::inspect(line.inspect, streams);
        } else {
            lumo::publish(line.publish, streams);
        }
        if (!std::cout.flush()) {
            throw lumo::ToolError("cannot write to standard output");
        }
    } catch (const lumo::UsageError& error) {
        return report(error, WrongUsage);
    } catch (const std::exception& error) {
        std::cout.flush();
        return report(error, Failed);
    }
    return Done;
}

} // namespace

int main(int argc, char** argv) {
    CLI::App app("Makes, shows and publishes firmware packages.", "lumo-firmware");
    app.set_version_flag("--version", "lumo-firmware " LUMO_VERSION);
    app.require_subcommand(1);
    app.failure_message(usageFailure);
    CommandLine line;
    addKeygen(app, line.keygen);
    addCreate(app, line.create);
    addInspect(app, line.inspect);
    addPublish(app, line.publish);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? Done : WrongUsage;
    }
    return carryOut(app, line);
}
