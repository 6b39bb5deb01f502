#pragma once

#include "utils/updater/FirmwareService.h"

namespace updater {

// The firmware service of the platform library.
class PlatformFirmwareService : public FirmwareService {
public:
    std::string getCurrentDeviceId() override;
    STBFirmwareUpdater::CheckForUpdatesResult
    checkForUpdates(const std::string& type, const std::string& reserved, int timeoutSeconds) override;
    STBFirmwareUpdater::DeviceFirmwareLocationInfo
    getFirmwareLocationInfo(const std::string& type, const std::string& reserved) override;
    std::string updateResultDescription(STBFirmwareUpdater::UpdateResult result) override;
    std::unique_ptr<FirmwarePackage> createPackage(const std::string& url,
                                                   STBFirmwareFile::EventsListener* listener) override;
};

} // namespace updater
