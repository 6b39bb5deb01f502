#include "utils/updater/PlatformFirmwareService.h"

namespace updater {

namespace {

class PlatformFirmwarePackage : public FirmwarePackage {
public:
    PlatformFirmwarePackage(const std::string& url, STBFirmwareFile::EventsListener* listener)
        : _file(url, listener) {}

    int open(int timeoutSeconds) override { return _file.open(timeoutSeconds); }

    const std::map<std::string, STBFirmwareFile::Block>& getBlocks() const override {
        return _file.getBlocks();
    }

    STBFirmwareUpdater::UpdateResult update(STBFirmwareUpdater::EventsListener* listener,
                                            bool force) override {
        return STBFirmwareUpdater::update(_file, listener, force);
    }

private:
    STBFirmwareFile _file;
};

} // namespace

std::string PlatformFirmwareService::getCurrentDeviceId() {
    return STBFirmwareUpdater::getCurrentDeviceId();
}

STBFirmwareUpdater::CheckForUpdatesResult
PlatformFirmwareService::checkForUpdates(const std::string& type, const std::string& reserved,
                                         int timeoutSeconds) {
    return STBFirmwareUpdater::checkForUpdates(type, reserved, timeoutSeconds);
}

STBFirmwareUpdater::DeviceFirmwareLocationInfo
PlatformFirmwareService::getFirmwareLocationInfo(const std::string& type, const std::string& reserved) {
    return STBFirmwareUpdater::getFirmwareLocationInfo(type, reserved);
}

std::string PlatformFirmwareService::updateResultDescription(STBFirmwareUpdater::UpdateResult result) {
    return STBFirmwareUpdater::updateResultDescription(result);
}

std::unique_ptr<FirmwarePackage>
PlatformFirmwareService::createPackage(const std::string& url, STBFirmwareFile::EventsListener* listener) {
    return std::make_unique<PlatformFirmwarePackage>(url, listener);
}

} // namespace updater
