#pragma once

#include <map>
#include <memory>
#include <string>

#include "platform/STBFirmwareFile.h"
#include "platform/linux/firmware/Package.h"

// What an STBFirmwareFile holds.
struct STBFirmwareFile::Impl {
    std::string url;
    EventsListener* listener = nullptr;
    bool opened = false;
    std::unique_ptr<lumo::Package> package; // null before a successful open()
    std::map<std::string, Block> blocks;
};
