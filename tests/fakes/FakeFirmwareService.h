#pragma once

#include <map>
#include <memory>
#include <string>

#include "tests/fakes/Journal.h"
#include "utils/updater/FirmwareService.h"

namespace fakes {

// A firmware service whose answers a test sets, and which notes what it is asked.
class FakeFirmwareService : public updater::FirmwareService {
public:
    explicit FakeFirmwareService(Journal& journal) : _journal(journal) {}

    std::int32_t status = 1;
    int openResult = 0;
    int updateResult = 2;
    std::map<std::string, STBFirmwareFile::Block> blocks;

    std::string getCurrentDeviceId() override {
        _journal.push_back("device id");
        return "BOX";
    }

    STBFirmwareUpdater::CheckForUpdatesResult
    checkForUpdates(const std::string& type, const std::string& reserved, int timeoutSeconds) override {
        _journal.push_back("check '" + type + "' '" + reserved + "' " + std::to_string(timeoutSeconds));
        return {status, "local-1", "server-2", 0, 0, {}};
    }

    STBFirmwareUpdater::DeviceFirmwareLocationInfo
    getFirmwareLocationInfo(const std::string& type, const std::string& reserved) override {
        _journal.push_back("location '" + type + "' '" + reserved + "'");
        return {"", "http://s/default.bin", "", "", ""};
    }

    std::string updateResultDescription(STBFirmwareUpdater::UpdateResult result) override {
        return "result %d " + std::to_string(result);
    }

    std::unique_ptr<updater::FirmwarePackage>
    createPackage(const std::string& url, STBFirmwareFile::EventsListener* listener) override {
        _journal.push_back("package " + url);
        return std::make_unique<Package>(*this, listener);
    }

private:
    class Package : public updater::FirmwarePackage {
    public:
        Package(FakeFirmwareService& service, STBFirmwareFile::EventsListener* listener)
            : _service(service), _listener(listener) {}

        ~Package() override { _service._journal.push_back("package released"); }

        int open(int timeoutSeconds) override {
            _service._journal.push_back("open " + std::to_string(timeoutSeconds));
            _listener->onFileOpenProgress(STBFirmwareFile::OPERATION_CHECK, 1, 1, 100);
            return _service.openResult;
        }

        const std::map<std::string, STBFirmwareFile::Block>& getBlocks() const override {
            return _service.blocks;
        }

        STBFirmwareUpdater::UpdateResult update(STBFirmwareUpdater::EventsListener* listener,
                                                bool force) override {
            _service._journal.push_back(force ? "update, forced" : "update");
            listener->onUpdateProgress({}, "mtd0", STBFirmwareUpdater::OPERATION_WRITE, 100);
            return static_cast<STBFirmwareUpdater::UpdateResult>(_service.updateResult);
        }

    private:
        FakeFirmwareService& _service;
        STBFirmwareFile::EventsListener* _listener;
    };

    Journal& _journal;
};

} // namespace fakes
