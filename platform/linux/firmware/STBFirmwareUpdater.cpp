#include "platform/STBFirmwareUpdater.h"

#include <cstring>
#include <map>
#include <mutex>

#include "platform/linux/device/Device.h"
#include "platform/linux/device/Log.h"
#include "platform/linux/firmware/Channel.h"
#include "platform/linux/firmware/FirmwareFileImpl.h"
#include "platform/linux/firmware/InstallRecord.h"
#include "platform/linux/firmware/Installer.h"
#include "platform/linux/firmware/Locations.h"
#include "platform/linux/firmware/Url.h"

#define LUMO_LOG_FILE "platform/linux/firmware/STBFirmwareUpdater"

using namespace lumo;

namespace {

constexpr int askAgainSeconds = 10;

// What this process has learned from the server.
struct Learned {
    std::mutex mutex;
    std::map<std::string, Channel> byType;        // the newest answer for each type
    std::map<std::string, std::string> typeByUrl; // which type led to a location
};

Learned& learned() {
    static Learned instance;
    return instance;
}

void remember(const std::string& type, const Channel& channel) {
    const std::lock_guard lock(learned().mutex);
    learned().byType[type] = channel;
    learned().typeByUrl[channel.url] = type.empty() ? "default" : type;
}

std::optional<Channel> recall(const std::string& type) {
    const std::lock_guard lock(learned().mutex);
    const auto found = learned().byType.find(type);
    return found == learned().byType.end() ? std::nullopt : std::optional(found->second);
}

std::string describe(const InstallRecord& record) {
    switch (record.state) {
    case InstallRecord::State::None:
        return "none";
    case InstallRecord::State::Begun:
        return "incomplete";
    case InstallRecord::State::AfterScripts:
    case InstallRecord::State::Complete:
        break;
    }
    return record.version;
}

} // namespace

std::optional<std::string> lumo::requestedType(const std::string& url) {
    const std::lock_guard lock(learned().mutex);
    const auto found = learned().typeByUrl.find(url);
    return found == learned().typeByUrl.end() ? std::nullopt : std::optional(found->second);
}

std::string STBFirmwareUpdater::getCurrentDeviceId() {
    const Config* const config = usableDeviceConfig();
    return config == nullptr ? "unknown" : config->deviceId;
}

STBFirmwareUpdater::CheckForUpdatesResult STBFirmwareUpdater::checkForUpdates(const std::string& type,
                                                                              const std::string& /*reserved*/,
                                                                              int timeoutSeconds) {
    CheckForUpdatesResult result{};
    result.status = static_cast<std::int32_t>(ChannelAnswer::Outcome::Failed);
    const Config* const config = usableDeviceConfig();
    if (config == nullptr) {
        return result;
    }
    try {
        const InstallRecord record = readInstallRecord(config->stateDir);
        const ChannelAnswer answer = askServer(*config, type, timeoutSeconds);
        result.localVersion = describe(record);
        if (answer.outcome != ChannelAnswer::Outcome::Offered) {
            const bool failed = answer.outcome == ChannelAnswer::Outcome::Failed;
            LUMO_LOG(failed ? LogError : LogWarning, "%s", answer.error.c_str());
            result.status = static_cast<std::int32_t>(answer.outcome);
            return result;
        }
        const Channel& channel = answer.channel;
        remember(type, channel);
        const std::string& installed = record.installedVersion();
        const bool newer = installed.empty() || strverscmp(channel.version.c_str(), installed.c_str()) > 0;
        result.status = newer || record.isUnfinished() ? 1 : 0;
        result.serverVersion = channel.version;
        result.packageSizeLow = static_cast<std::uint32_t>(channel.size);
        result.packageSizeHigh = static_cast<std::uint32_t>(channel.size >> 32);
        result.details = {{"url", channel.url}, {"sha256", channel.sha256}};
        return result;
    } catch (const std::exception& error) {
        LUMO_LOG(LogError, "%s", error.what());
        result.status = static_cast<std::int32_t>(ChannelAnswer::Outcome::Failed);
        return result;
    }
}

STBFirmwareUpdater::DeviceFirmwareLocationInfo
STBFirmwareUpdater::getFirmwareLocationInfo(const std::string& type, const std::string& /*reserved*/) {
    DeviceFirmwareLocationInfo info;
    const Config* const config = usableDeviceConfig();
    if (config == nullptr) {
        return info;
    }
    try {
        info.deviceId = config->deviceId;
        info.type = type;
        info.server = config->server;
        std::optional<Channel> channel = recall(type);
        if (!channel) {
            const ChannelAnswer answer = askServer(*config, type, askAgainSeconds);
            if (answer.outcome != ChannelAnswer::Outcome::Offered) {
                LUMO_LOG(LogError, "%s", answer.error.c_str());
                return info;
            }
            remember(type, answer.channel);
            channel = answer.channel;
        }
        info.url = channel->url;
        info.version = channel->version;
    } catch (const std::exception& error) {
        LUMO_LOG(LogError, "%s", error.what());
    }
    return info;
}

STBFirmwareUpdater::UpdateResult STBFirmwareUpdater::update(const STBFirmwareFile& file,
                                                            EventsListener* listener, bool force) {
    const Config* const config = usableDeviceConfig();
    if (config == nullptr) {
        return UPDATE_FLASH_ERROR;
    }
    try {
        if (!file._impl->package) {
            LUMO_LOG(LogError, "%s: not opened, nothing to install", shownUrl(file._impl->url).c_str());
            return UPDATE_WRONG_FORMAT;
        }
        std::vector<STBFirmwareFile::Block> blocks(file._impl->blocks.size());
        for (const auto& [key, block] : file._impl->blocks) {
            blocks[block.index] = block;
        }
        return Installer(*file._impl->package, std::move(blocks), *config, listener, force).run();
    } catch (const std::exception& error) {
        LUMO_LOG(LogError, "%s", error.what());
        return UPDATE_FLASH_ERROR;
    }
}

const char* STBFirmwareUpdater::updateResultDescription(UpdateResult result) {
    switch (result) {
    case UPDATE_NOT_NEEDED:
        return "Update is not needed";
    case UPDATE_BUSY:
        return "Another process is installing an update";
    case UPDATE_DONE:
        return "Update was successfully installed";
    case UPDATE_WRONG_FORMAT:
        return "The package cannot be installed on this device";
    case UPDATE_WRITE_FAILED:
        return "Writing to flash failed";
    case UPDATE_VERIFY_FAILED:
        return "Flash does not hold what was written to it";
    case UPDATE_TOO_LARGE:
        return "The package is larger than the flash";
    case UPDATE_FLASH_ERROR:
        return "The flash or the install record cannot be used";
    }
    return "Unknown result";
}
