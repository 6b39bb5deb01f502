#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>

#include "platform/STBFirmwareFile.h"
#include "platform/STBFirmwareUpdater.h"
#include "tests/fakes/scripted_lumostb/Scenario.h"

using scripted::jsonText;
using scripted::record;
using scripted::scenario;

struct STBFirmwareFile::Impl {
    EventsListener* listener;
    std::map<std::string, Block> blocks;
    int spool = -1;
};

namespace {

// Both live as long as the process.
STBFirmwareFile::Block makeBlock(const nlohmann::json& description) {
    STBFirmwareFile::Block block{description.at("name"), nullptr, 0, 0, 0, 0, 0};
    if (description.contains("text")) {
        const auto& text = description.at("text").get_ref<const std::string&>();
        block.data = reinterpret_cast<const unsigned char*>(text.data());
        block.size = static_cast<std::uint32_t>(text.size());
        return block;
    }
    const int file = open(description.at("file").get_ref<const std::string&>().c_str(), O_RDONLY | O_CLOEXEC);

    struct stat status {};

    fstat(file, &status);
    block.size = static_cast<std::uint32_t>(status.st_size);
    block.data =
        static_cast<const unsigned char*>(mmap(nullptr, block.size, PROT_READ, MAP_PRIVATE, file, 0));
    close(file);
    return block;
}

const nlohmann::json& list(const char* name) {
    static const nlohmann::json none = nlohmann::json::array();
    return scenario().contains(name) ? scenario().at(name) : none;
}

} // namespace

STBFirmwareFile::STBFirmwareFile(std::string url, EventsListener* listener)
    : _impl(new Impl{listener, {}, -1}) {
    record("STBFirmwareFile(" + jsonText(url) + ")");
}

STBFirmwareFile::~STBFirmwareFile() {
    record("~STBFirmwareFile()");
    if (_impl->spool >= 0) {
        close(_impl->spool);
    }
    delete _impl;
}

int STBFirmwareFile::open(int timeoutSeconds) {
    record("open(" + std::to_string(timeoutSeconds) + ")");
    if (scenario().value("crash", false)) {
        raise(SIGSEGV);
    }
    if (scenario().contains("spool")) {
        _impl->spool = ::open(scenario().at("spool").get_ref<const std::string&>().c_str(),
                              O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    }
    for (const auto& block : list("blocks")) {
        _impl->blocks[block.at("key")] = makeBlock(block);
    }
    for (const auto& event : list("openProgress")) {
        _impl->listener->onFileOpenProgress(static_cast<CurrentOperation>(event[0].get<int>()), event[1],
                                            event[2], event[3]);
    }
    return scenario().value("open", 0);
}

const std::map<std::string, STBFirmwareFile::Block>& STBFirmwareFile::getBlocks() const {
    record("getBlocks()");
    return _impl->blocks;
}

std::string STBFirmwareUpdater::getCurrentDeviceId() {
    record("getCurrentDeviceId()");
    return scenario().value("deviceId", "SCRIPTED");
}

STBFirmwareUpdater::CheckForUpdatesResult STBFirmwareUpdater::checkForUpdates(const std::string& type,
                                                                              const std::string& reserved,
                                                                              int timeoutSeconds) {
    record("checkForUpdates(" + jsonText(type) + ", " + jsonText(reserved) + ", " +
           std::to_string(timeoutSeconds) + ")");
    const nlohmann::json check = scenario().value("check", nlohmann::json::object());
    return {check.value("status", 1), check.value("local", "1.0"), check.value("server", "2.0"), 0, 0, {}};
}

STBFirmwareUpdater::DeviceFirmwareLocationInfo
STBFirmwareUpdater::getFirmwareLocationInfo(const std::string& type, const std::string& reserved) {
    record("getFirmwareLocationInfo(" + jsonText(type) + ", " + jsonText(reserved) + ")");
    return {"not this", scenario().value("location", "http://server/default.bin"), "nor", "one of", "these"};
}

STBFirmwareUpdater::UpdateResult STBFirmwareUpdater::update(const STBFirmwareFile& file,
                                                            EventsListener* listener, bool force) {
    record(std::string("update(") + (force ? "force" : "") + ")");
    listener->onBeforeScriptExecution(SCRIPT_BEFORE);
    for (const auto& event : list("updateProgress")) {
        listener->onUpdateProgress(file._impl->blocks.at(event[0]), event[1],
                                   static_cast<CurrentOperation>(event[2].get<int>()), event[3]);
    }
    listener->onAfterScriptExecution(SCRIPT_AFTER, 0);
    return static_cast<UpdateResult>(scenario().value("update", 2));
}

const char* STBFirmwareUpdater::updateResultDescription(UpdateResult result) {
    record("updateResultDescription(" + std::to_string(result) + ")");
    static const std::string description = scenario().value("description", "scripted result");
    return description.c_str();
}
