#pragma once

#include <memory>
#include <string>

#include "utils/updater/FirmwarePackage.h"

namespace updater {

// What the flow needs of the device's firmware service. Meanings and values are those of STBFirmwareUpdater.
class FirmwareService {
public:
    FirmwareService() = default;
    virtual ~FirmwareService() = default;
    FirmwareService(const FirmwareService&) = delete;
    FirmwareService& operator=(const FirmwareService&) = delete;

    virtual std::string getCurrentDeviceId() = 0;
    virtual STBFirmwareUpdater::CheckForUpdatesResult
    checkForUpdates(const std::string& type, const std::string& reserved, int timeoutSeconds) = 0;
    virtual STBFirmwareUpdater::DeviceFirmwareLocationInfo
    getFirmwareLocationInfo(const std::string& type, const std::string& reserved) = 0;
    virtual std::string updateResultDescription(STBFirmwareUpdater::UpdateResult result) = 0;

    // A package at that URL, not opened yet. The listener must outlive it.
    virtual std::unique_ptr<FirmwarePackage> createPackage(const std::string& url,
                                                           STBFirmwareFile::EventsListener* listener) = 0;
};

} // namespace updater
