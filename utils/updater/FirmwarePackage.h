#pragma once

#include <map>
#include <string>

#include "platform/STBFirmwareFile.h"
#include "platform/STBFirmwareUpdater.h"

namespace updater {

// One firmware package, as the flow uses it: opened once, then read or installed. Destroying it releases the
// blocks' bytes. Meanings and values are those of STBFirmwareFile and STBFirmwareUpdater::update.
class FirmwarePackage {
public:
    FirmwarePackage() = default;
    virtual ~FirmwarePackage() = default;
    FirmwarePackage(const FirmwarePackage&) = delete;
    FirmwarePackage& operator=(const FirmwarePackage&) = delete;

    [[nodiscard]] virtual int open(int timeoutSeconds) = 0;
    virtual const std::map<std::string, STBFirmwareFile::Block>& getBlocks() const = 0;
    [[nodiscard]] virtual STBFirmwareUpdater::UpdateResult
    update(STBFirmwareUpdater::EventsListener* listener, bool force) = 0;
};

} // namespace updater
