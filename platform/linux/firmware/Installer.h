#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "platform/STBFirmwareUpdater.h"
#include "platform/linux/device/Config.h"
#include "platform/linux/firmware/BlockInstaller.h"
#include "platform/linux/firmware/FlashDevice.h"
#include "platform/linux/firmware/InstallRecord.h"
#include "platform/linux/firmware/Package.h"

namespace lumo {

// Opens a destination of the flash map; openFlash on a device, a wrapper around it in tests.
using FlashOpener = std::function<std::unique_ptr<FlashDevice>(const FlashTarget&)>;

// Puts one package into flash.
//
// The order is what makes a power cut harmless: everything that can be checked is checked; "begun" is
// recorded durably; blocks are compared, erased, written, synced and read back, one after the other in the
// order of their keys; the new version is recorded durably; the after-scripts run; "complete" is recorded. A
// run that is cut short leaves a record that makes the next one go through the same steps, and the comparison
// makes it write only what is still missing. Scripts therefore may run more than once. Main thread; one run()
// an object.
class Installer {
public:
    using Result = STBFirmwareUpdater::UpdateResult;

    // blocks: the package's, by their place in the manifest. listener may be null. Package, configuration and
    // listener outlive the object.
    Installer(const Package& package, std::vector<STBFirmwareFile::Block> blocks, const Config& config,
              STBFirmwareUpdater::EventsListener* listener, bool force, FlashOpener opener = openFlash);
    ~Installer();

    // Never throws. Every result but success leaves one line in the log that names its cause.
    Result run();

private:
    struct Job {
        std::size_t index; // of the block in the manifest
        std::unique_ptr<FlashDevice> flash;
    };

    Result installIfAlone();
    Result install();
    void plan();
    void checkSizes() const;
    bool hasScripts(ManifestScript::When when) const;
    void begin();
    bool installBlock(const Job& job);
    bool installBlocks();
    void runScripts(ManifestScript::When when);
    void complete();
    void restoreRecord();
    Result resultOf(const FlashError& error) const;
    Result fail(Result result, const std::string& text);

    const Package& _package;
    const std::vector<STBFirmwareFile::Block> _blocks;
    const Config& _config;
    STBFirmwareUpdater::EventsListener* const _listener;
    const bool _force;
    const FlashOpener _opener;

    std::vector<Job> _jobs;
    InstallRecord _before;  // the record as it was found
    bool _recorded = false; // the record now says that this installation was begun
    bool _touched = false;  // flash may differ from what it held before
};

} // namespace lumo
