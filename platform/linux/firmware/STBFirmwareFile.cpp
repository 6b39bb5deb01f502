#include "platform/STBFirmwareFile.h"

#include <exception>

#include "platform/linux/device/Device.h"
#include "platform/linux/device/Log.h"
#include "platform/linux/firmware/FirmwareError.h"
#include "platform/linux/firmware/FirmwareFileImpl.h"
#include "platform/linux/firmware/Locations.h"
#include "platform/linux/firmware/Url.h"

#define LUMO_LOG_FILE "platform/linux/firmware/STBFirmwareFile"

using namespace lumo;

STBFirmwareFile::STBFirmwareFile(std::string url, EventsListener* listener) : _impl(new Impl) {
    _impl->url = std::move(url);
    _impl->listener = listener;
}

STBFirmwareFile::~STBFirmwareFile() {
    delete _impl;
}

int STBFirmwareFile::open(int timeoutSeconds) {
    const OpenProgress progress = [this](CurrentOperation operation, std::uint64_t total, std::uint64_t done,
                                         double percent) {
        if (_impl->listener != nullptr) {
            _impl->listener->onFileOpenProgress(operation, static_cast<long long>(total),
                                                static_cast<long long>(done), percent);
        }
    };
    const Config* const config = usableDeviceConfig();
    if (config == nullptr) {
        return static_cast<int>(OpenResult::Failed);
    }
    if (_impl->url.empty()) { // why no location is known was said when it was asked for
        return static_cast<int>(OpenResult::NotFound);
    }
    try {
        if (_impl->opened) {
            throw FirmwareError(OpenResult::Failed, shownUrl(_impl->url) + ": opened twice");
        }
        _impl->opened = true;
        auto package = openPackage(_impl->url, *config, requestedType(_impl->url), timeoutSeconds, progress);
        _impl->blocks = package->blocks();
        _impl->package = std::move(package);
        return static_cast<int>(OpenResult::Opened);
    } catch (const FirmwareError& error) {
        LUMO_LOG(LogError, "%s", error.what());
        return static_cast<int>(error.result());
    } catch (const std::exception& error) {
        LUMO_LOG(LogError, "%s: %s", shownUrl(_impl->url).c_str(), error.what());
    } catch (...) { // a listener may throw anything
        LUMO_LOG(LogError, "%s: the listener threw something", shownUrl(_impl->url).c_str());
    }
    return static_cast<int>(OpenResult::Failed);
}

const std::map<std::string, STBFirmwareFile::Block>& STBFirmwareFile::getBlocks() const {
    return _impl->blocks;
}
