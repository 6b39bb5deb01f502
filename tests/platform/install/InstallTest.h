#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/linux/device/Device.h"
#include "platform/linux/firmware/FlashMtd.h"
#include "platform/linux/firmware/Installer.h"
#include "tests/platform/firmware/FaultyFlash.h"
#include "tests/platform/firmware/SimulatedDisk.h"
#include "tests/platform/firmware/SimulatedMtd.h"
#include "tests/support/PackageBuilder.h"
#include "tests/support/TempDir.h"

namespace lumo::tests {

using Result = STBFirmwareUpdater::UpdateResult;
using State = InstallRecord::State;
using Operation = FlashError::Operation;
using support::noise;
using support::PackageBuilder;
using testing::ElementsAre;
using testing::HasSubstr;

// What the installer tells; a script is work, for which there has to be power.
struct RecordingListener final : STBFirmwareUpdater::EventsListener {
    void onUpdateProgress(const STBFirmwareFile::Block& block, const std::string& target,
                          STBFirmwareUpdater::CurrentOperation operation, double percent) override {
        steps.emplace_back(block.name + ">" + target + " " + std::to_string(operation), percent);
    }

    void onBeforeScriptExecution(STBFirmwareUpdater::ScriptType type) override {
        note("begin " + std::to_string(type));
    }

    void onAfterScriptExecution(STBFirmwareUpdater::ScriptType type, int result) override {
        note("end " + std::to_string(type) + " " + std::to_string(result));
    }

    void note(const std::string& event) {
        power.draw(1);
        if (power.isOff()) {
            throw PowerCut();
        }
        scripts.push_back(event);
    }

    explicit RecordingListener(Power& supply) : power(supply) {}

    Power& power;
    std::vector<std::pair<std::string, double>> steps;
    std::vector<std::string> scripts;
};

// A device with two flashes in memory, and packages for it.
class InstallTest : public testing::Test {
protected:
    enum class Kind { Disk, Nor, Nand };

    struct Flash {
        SimulatedChip chip;
        DiskMedium disk;
        FlashScript script;
    };

    InstallTest() {
        config.deviceId = "BOX";
        config.stateDir = folder.file("state");
        config.allowUnsigned = true;
        config.keys = {folder.file("key.pub")};
        config.log.file = folder.file("log");
        support::writeFile(folder.file("key.pub"), key.publicKey().toPem());
        setDeviceConfigForTests(config);
        use(Kind::Disk);
    }

    // Gives the device other flashes, of 16 erase blocks, and puts the old firmware into them.
    void use(Kind kind, std::uint32_t eraseSize = 4096, std::uint32_t pageSize = 512) {
        _kind = kind;
        _eraseSize = eraseSize;
        flashes.clear();
        for (const char* name : {"kernel", "rootfs"}) {
            config.flash[name] = {FlashTarget::Kind::File, name, 16 * eraseSize, eraseSize};
            SimulatedChip& chip = flashes[name].chip;
            chip = kind == Kind::Nand ? simulatedNand(16, eraseSize, pageSize) : simulatedNor(16, eraseSize);
            chip.power = &power;
        }
        fillWithOld();
    }

    void fillWithOld() {
        old = noise(16 * _eraseSize, 7);
        for (auto& [name, flash] : flashes) {
            flash.script = {};
            flash.chip.fill(old);
            flash.disk.fill(old);
        }
    }

    PackageBuilder builder(const std::string& version = "2.0") const {
        return PackageBuilder().device("BOX").version(version).key(key);
    }

    PackageBuilder usual(const std::string& version = "2.0") const {
        return builder(version)
            .block("kernel", kernel)
            .block("rootfs", rootfs, "rootfs", ManifestBlock::Compression::Zstd);
    }

    std::unique_ptr<Package> open(const PackageBuilder& package) {
        support::writeFile(folder.file("package.bin"), package.build());
        return openPackage(folder.file("package.bin"), config, std::nullopt, 1,
                           [](auto, auto, auto, auto) {});
    }

    Result install(const PackageBuilder& package, bool force = false) {
        return install(*open(package), force);
    }

    Result install(const Package& package, bool force = false) { return install(package, force, &listener); }

    Result install(const Package& package, bool force, STBFirmwareUpdater::EventsListener* events) {
        std::vector<STBFirmwareFile::Block> blocks(package.manifest().blocks.size());
        for (const auto& [name, block] : package.blocks()) {
            blocks[block.index] = block;
        }
        return Installer(package, blocks, config, events, force,
                         [this](const FlashTarget& target) { return openFlash(target); })
            .run();
    }

    std::unique_ptr<FlashDevice> openFlash(const FlashTarget& target) {
        Flash& flash = flashes.at(target.path);
        std::unique_ptr<FlashDevice> device;
        if (_kind == Kind::Disk) {
            device = std::make_unique<SimulatedDisk>(target.path, flash.disk, _eraseSize, power);
        } else {
            device = std::make_unique<FlashMtd>(target.path, std::make_unique<SimulatedMtd>(flash.chip));
        }
        return std::make_unique<FaultyFlash>(std::move(device), flash.script);
    }

    // What the medium holds.
    std::string content(const std::string& name) const {
        return _kind == Kind::Disk ? flashes.at(name).disk.bytes : flashes.at(name).chip.content();
    }

    bool holdsPackage() const {
        return content("kernel").substr(0, kernel.size()) == kernel &&
               content("rootfs").substr(0, rootfs.size()) == rootfs;
    }

    std::ptrdiff_t count(Operation operation) const {
        return flashes.at("kernel").script.count(operation) + flashes.at("rootfs").script.count(operation);
    }

    InstallRecord record() const { return readInstallRecord(config.stateDir); }

    std::string log() const { return support::readFile(config.log.file); }

    void expectInstalled(const std::string& version) const {
        EXPECT_TRUE(holdsPackage());
        EXPECT_EQ(record().state, State::Complete);
        EXPECT_EQ(record().version, version);
    }

    // The flash and the record are what they were; nothing was erased or written.
    void expectUntouched(State state = State::None) const {
        EXPECT_EQ(content("kernel"), old);
        EXPECT_EQ(content("rootfs"), old);
        EXPECT_EQ(count(Operation::Erase) + count(Operation::Write), 0);
        EXPECT_EQ(record().state, state);
    }

    support::TempDir folder;
    PrivateKey key = PrivateKey::generate();
    Config config;
    Power power;
    RecordingListener listener{power};
    std::map<std::string, Flash> flashes;
    std::string old;
    std::string kernel = noise(4 * 4096 + 100, 1);
    std::string rootfs = std::string(10000, 'r') + noise(20000, 2);

private:
    Kind _kind = Kind::Disk;
    std::uint32_t _eraseSize = 0;
};

} // namespace lumo::tests
