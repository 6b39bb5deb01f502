#pragma once

#include <functional>
#include <string>
#include <vector>

#include "tools/lumo-firmware/ChannelFile.h"
#include "tools/lumo-firmware/PackageCheck.h"

namespace lumo {

// Puts a package on an update server made of static files: a copy for each of its devices in
// <server>/<device>/, and then the channel file <server>/<device>/<type>.json that offers it. A channel never
// names a package that is not completely there. One thread at a time; several processes take turns.
class Publisher {
public:
    // server: a folder that is there. Throws ToolError.
    explicit Publisher(const std::string& server);

    // Publishes what was checked; the file is compared with it while it is copied. Unless forced to, it
    // refuses to offer an older version than a channel does now, and to replace a package file by another
    // one. Nothing is changed unless every device's folder is in order. Returns the channel files written.
    // Throws ToolError.
    std::vector<std::string> publish(const InputFile& package, const CheckedPackage& checked, bool force,
                                     const WorkDone& done = {});

private:
    struct Place {
        std::string folder;
        std::string package;
        std::string channel;
        bool copied = false; // the package is there already
    };

    Place plan(const std::string& device, const std::string& name, const CheckedPackage& checked, bool force);
    void copy(const InputFile& package, const CheckedPackage& checked, const Place& place,
              const WorkDone& done);

    std::string _server;
    UniqueFd _lock; // the server's folder, locked
};

} // namespace lumo
