#include "tools/lumo-firmware/Publisher.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <string_view>
#include <system_error>

#include "platform/linux/device/Files.h"
#include "tools/lumo-firmware/OutputFile.h"
#include "tools/lumo-firmware/ToolError.h"

namespace lumo {

namespace {

// The name stands in the channel file as a relative URL, beside channel files.
std::string publishedName(const std::string& path) {
    const std::string name = std::filesystem::path(path).filename().string();
    const bool plain = name.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789"
                                              "._+~-") == std::string::npos;
    if (name.empty() || name.size() > 200 || !plain || name.front() == '.' ||
        std::string_view(name).ends_with(".json")) {
        throw ToolError("cannot publish \"" + name +
                        "\" under that name (1 to 200 of A-Z a-z 0-9 . _ + ~ -, no leading dot, not .json)");
    }
    return name;
}

bool isThere(const std::string& path) {
    struct stat status {};

    return lstat(path.c_str(), &status) == 0;
}

bool holds(const std::string& path, const CheckedPackage& checked) {
    const InputFile file(path);
    if (file.size() != checked.size) {
        return false;
    }
    Sha256 hash;
    file.read([&hash](std::span<const std::byte> piece) {
        hash.update(piece);
        return true;
    });
    return hash.finish() == checked.sha256;
}

void refuseOlder(const std::string& path, const std::string& version) {
    const std::optional<ChannelFile> channel = ChannelFile::read(path);
    if (channel && strverscmp(version.c_str(), channel->version.c_str()) < 0) {
        throw ToolError(path + " offers version " + channel->version + ", and " + version +
                        " is older (--force goes back)");
    }
}

} // namespace

Publisher::Publisher(const std::string& server)
    : _server(server), _lock(openFile(server, O_RDONLY | O_DIRECTORY)) {
    if (!_lock) {
        throw ToolError("cannot open the server folder " + server + ": " + std::strerror(errno));
    }
    while (flock(_lock.get(), LOCK_EX) != 0) {
        if (errno == EINTR) {
            continue;
        }
        // Some network file systems lock no folders; there is nothing to take turns on then.
        if (errno == EBADF || errno == EOPNOTSUPP || errno == ENOLCK) {
            break;
        }
        throw ToolError("cannot lock the server folder " + server + ": " + std::strerror(errno));
    }
}

Publisher::Place Publisher::plan(const std::string& device, const std::string& name,
                                 const CheckedPackage& checked, bool force) {
    const std::string folder = _server + "/" + device;
    Place place{folder, folder + "/" + name, folder + "/" + checked.manifest.type + ".json"};
    if (!force) {
        refuseOlder(place.channel, checked.manifest.version);
    }
    if (isThere(place.package)) {
        place.copied = holds(place.package, checked);
        if (!place.copied && !force) {
            throw ToolError(place.package +
                            " is there already, and is another package (--force replaces it)");
        }
    }
    return place;
}

void Publisher::copy(const InputFile& package, const CheckedPackage& checked, const Place& place,
                     const WorkDone& done) {
    if (mkdir(place.folder.c_str(), 0777) == 0) {
        syncDirectory(_server);
    } else if (errno != EEXIST) {
        throw ToolError("cannot create the folder " + place.folder + ": " + std::strerror(errno));
    }
    if (place.copied) {
        // Whoever put it there may not have waited for the medium.
        const UniqueFd file = openFile(place.package, O_RDONLY);
        if (!file || fsync(file.get()) != 0) {
            throw ToolError("cannot flush " + place.package + ": " + std::strerror(errno));
        }
        syncDirectory(place.folder);
        return;
    }
    OutputFile copy(place.package);
    Sha256 hash;
    std::uint64_t position = 0;
    package.read([&](std::span<const std::byte> piece) {
        hash.update(piece);
        copy.write(position, piece);
        position += piece.size();
        if (done) {
            done(piece.size());
        }
        return true;
    });
    if (hash.finish() != checked.sha256) {
        package.failChanged();
    }
    copy.commit();
}

std::vector<std::string> Publisher::publish(const InputFile& package, const CheckedPackage& checked,
                                            bool force, const WorkDone& done) {
    const std::string name = publishedName(package.path());
    std::vector<Place> places;
    for (const std::string& device : checked.manifest.devices) {
        places.push_back(plan(device, name, checked, force));
    }
    for (const Place& place : places) {
        copy(package, checked, place, done);
    }
    std::vector<std::string> channels;
    for (const Place& place : places) {
        ChannelFile{checked.manifest.version, name, checked.size, checked.sha256}.write(place.channel);
        channels.push_back(place.channel);
    }
    return channels;
}

} // namespace lumo
