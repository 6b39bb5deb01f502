#include "platform/linux/firmware/Installer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>

#include "platform/linux/device/Device.h"
#include "platform/linux/firmware/InstallLock.h"
#include "tests/platform/install/MemoryFlash.h"
#include "tests/support/PackageBuilder.h"
#include "tests/support/TempDir.h"

namespace lumo::tests {

namespace {

using Result = STBFirmwareUpdater::UpdateResult;
using State = InstallRecord::State;
using support::noise;
using support::PackageBuilder;
using testing::ElementsAre;
using testing::HasSubstr;

constexpr std::size_t flashSize = 64 * 1024;

struct Step {
    std::string block;
    int operation;
    double percent;
};

class RecordingListener final : public STBFirmwareUpdater::EventsListener {
public:
    void onUpdateProgress(const STBFirmwareFile::Block& block, const std::string& target,
                          STBFirmwareUpdater::CurrentOperation operation, double percent) override {
        steps.push_back({block.name + ">" + target, operation, percent});
    }

    void onBeforeScriptExecution(STBFirmwareUpdater::ScriptType type) override {
        scripts.push_back("begin " + std::to_string(type));
    }

    void onAfterScriptExecution(STBFirmwareUpdater::ScriptType type, int result) override {
        scripts.push_back("end " + std::to_string(type) + " " + std::to_string(result));
    }

    std::vector<Step> steps;
    std::vector<std::string> scripts;
};

// A device with two flashes, and packages for it.
class InstallerTest : public testing::Test {
protected:
    InstallerTest() {
        config.deviceId = "BOX";
        config.stateDir = folder.file("state");
        config.allowUnsigned = true;
        config.keys = {folder.file("key.pub")};
        config.log.file = folder.file("log");
        support::writeFile(folder.file("key.pub"), key.publicKey().toPem());
        for (const char* name : {"kernel", "rootfs"}) {
            config.flash[name] = {FlashTarget::Kind::File, std::string("/flash/") + name, flashSize, 4096};
            flashes[std::string("/flash/") + name].bytes = noise(flashSize, 7);
        }
        setDeviceConfigForTests(config);
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

    Result install(Package& package, bool force = false) {
        std::vector<STBFirmwareFile::Block> blocks(package.manifest().blocks.size());
        for (const auto& [name, block] : package.blocks()) {
            blocks[block.index] = block;
        }
        return Installer(package, blocks, config, &listener, force,
                         [this](const FlashTarget& target) { return flashes.open(target); })
            .run();
    }

    FlashState& flash(const std::string& name) { return flashes["/flash/" + name]; }

    InstallRecord record() const { return readInstallRecord(config.stateDir); }

    std::string log() const { return support::readFile(config.log.file); }

    void expectInstalled(const std::string& version) {
        EXPECT_EQ(flash("kernel").bytes.substr(0, kernel.size()), kernel);
        EXPECT_EQ(flash("rootfs").bytes.substr(0, rootfs.size()), rootfs);
        EXPECT_EQ(record().state, State::Complete);
        EXPECT_EQ(record().version, version);
    }

    // The flash and the record are what they were; nothing was erased or written.
    void expectUntouched(State state = State::None) {
        for (const char* name : {"kernel", "rootfs"}) {
            EXPECT_EQ(flash(name).bytes, noise(flashSize, 7)) << name;
            EXPECT_EQ(flash(name).count('e') + flash(name).count('w'), 0u) << name;
        }
        EXPECT_EQ(record().state, state);
    }

    support::TempDir folder;
    PrivateKey key = PrivateKey::generate();
    Config config;
    MemoryFlashes flashes;
    RecordingListener listener;
    std::string kernel = noise(4 * 4096 + 100, 1);
    std::string rootfs = std::string(10000, 'r') + noise(20000, 2);
};

FlashError failure(FlashError::Operation operation) {
    return {operation, "the flash broke"};
}

} // namespace

TEST_F(InstallerTest, WritesBothBlocksAndRecordsTheVersion) {
    EXPECT_EQ(install(usual()), STBFirmwareUpdater::UPDATE_DONE);
    expectInstalled("2.0");
    EXPECT_EQ(install(usual()), STBFirmwareUpdater::UPDATE_NOT_NEEDED);
}

TEST_F(InstallerTest, RewritesOnlyEraseBlocksThatDiffer) {
    install(usual());
    FlashState& state = flash("kernel");
    state.calls.clear();
    state.bytes[4096] = static_cast<char>(state.bytes[4096] ^ 1); // first byte of erase block 1
    state.bytes[4 * 4096 + 99] = static_cast<char>(state.bytes[4 * 4096 + 99] ^ 1); // last byte of the block
    EXPECT_EQ(install(usual()), STBFirmwareUpdater::UPDATE_DONE);
    expectInstalled("2.0");
    std::vector<std::uint64_t> erased;
    for (const FlashCall& call : state.calls) {
        if (call.operation == 'e') {
            erased.push_back(call.offset);
        }
    }
    EXPECT_THAT(erased, ElementsAre(4096, 4 * 4096));
}

TEST_F(InstallerTest, ComparesWholeEraseBlocksLargerThanAWindow) {
    for (const char* name : {"kernel", "rootfs"}) {
        config.flash[name].size = 3 << 20;
    }
    for (FlashState* state : {&flash("kernel"), &flash("rootfs")}) {
        state->bytes = noise(3 << 20, 9);
        state->eraseSize = 1 << 20;
    }
    kernel = noise((2 << 20) + 5000, 3);
    install(usual());
    expectInstalled("2.0");
    FlashState& state = flash("kernel");
    state.bytes[(1 << 20) + 700000] = static_cast<char>(state.bytes[(1 << 20) + 700000] ^ 1);
    state.bytes[(1 << 20) + 900000] = static_cast<char>(state.bytes[(1 << 20) + 900000] ^ 1);
    state.calls.clear();
    EXPECT_EQ(install(usual()), STBFirmwareUpdater::UPDATE_DONE);
    expectInstalled("2.0");
    EXPECT_EQ(state.count('e'), 1u);
}

TEST_F(InstallerTest, ForceRewritesEverythingAndAllowsAnOlderVersion) {
    install(usual("2.0"));
    flash("kernel").calls.clear();
    EXPECT_EQ(install(usual("1.0")), STBFirmwareUpdater::UPDATE_NOT_NEEDED);
    EXPECT_THAT(log(), HasSubstr("version 2.0 is installed, and the package holds the older 1.0"));
    EXPECT_EQ(record().version, "2.0");
    EXPECT_EQ(install(usual("1.0"), true), STBFirmwareUpdater::UPDATE_DONE);
    EXPECT_EQ(flash("kernel").count('e'), 5u);
    expectInstalled("1.0");
}

TEST_F(InstallerTest, RefusesWhatCannotBeHonouredBeforeTouchingAnything) {
    EXPECT_EQ(install(builder().block("kernel", kernel).block("extra", rootfs, "nowhere")),
              STBFirmwareUpdater::UPDATE_WRONG_FORMAT);
    EXPECT_THAT(log(), HasSubstr("block extra is for nowhere"));
    EXPECT_EQ(install(builder().block("kernel", kernel).block("rootfs", noise(flashSize + 1, 4))),
              STBFirmwareUpdater::UPDATE_TOO_LARGE);
    EXPECT_THAT(log(),
                HasSubstr("block rootfs has 65537 bytes, and its target rootfs (/flash/rootfs) holds 65536"));
    config.flash["kernel"].path = "/flash/rootfs";
    EXPECT_EQ(install(usual()), STBFirmwareUpdater::UPDATE_WRONG_FORMAT);
    expectUntouched();
}

TEST_F(InstallerTest, RefusesAPackageThatWasChangedAfterItWasOpened) {
    const std::unique_ptr<Package> package = open(usual());
    std::string bytes = support::readFile(folder.file("package.bin"));
    bytes[4096] = static_cast<char>(bytes[4096] ^ 1);
    support::writeFile(folder.file("package.bin"), bytes);
    EXPECT_EQ(install(*package), STBFirmwareUpdater::UPDATE_WRONG_FORMAT);
    EXPECT_THAT(log(), HasSubstr("was changed after it was checked"));
    expectUntouched();
}

TEST_F(InstallerTest, NeverRecordsSuccessForAPackageThatChangesMeanwhile) {
    flash("rootfs").before = [this](FlashState& state, const FlashCall& call) {
        if (call.operation == 'e' && state.count('e') == 1) {
            std::string bytes = support::readFile(folder.file("package.bin"));
            bytes.back() = static_cast<char>(bytes.back() ^ 1);
            support::writeFile(folder.file("package.bin"), bytes);
        }
    };
    rootfs = noise(20000, 2);
    const std::unique_ptr<Package> plain = open(builder().block("kernel", kernel).block("rootfs", rootfs));
    EXPECT_EQ(install(*plain), STBFirmwareUpdater::UPDATE_WRITE_FAILED);
    EXPECT_THAT(log(),
                HasSubstr("was changed after it was checked; the flash holds an unfinished installation"));
    EXPECT_EQ(record().state, State::Begun);
}

TEST_F(InstallerTest, SaysThatAnOlderPackageCannotMendAnUnfinishedInstallation) {
    writeInstallRecord(config.stateDir, {State::Begun, "3.0", "2.0"});
    EXPECT_EQ(install(usual("1.9")), STBFirmwareUpdater::UPDATE_WRONG_FORMAT);
    EXPECT_THAT(log(),
                HasSubstr("an installation of version 3.0 was cut short, and the package holds 1.9, which is "
                          "older than 2.0"));
    expectUntouched(State::Begun);
    EXPECT_EQ(install(usual("1.9"), true), STBFirmwareUpdater::UPDATE_DONE);
    expectInstalled("1.9");
}

TEST_F(InstallerTest, RefusesTwoNamesOfOneFlash) {
    support::writeFile(folder.file("flash"), "");
    std::filesystem::create_hard_link(folder.file("flash"), folder.file("other"));
    config.flash["kernel"].path = folder.file("flash");
    config.flash["rootfs"].path = folder.file("other");
    flashes[folder.file("flash")] = flashes[folder.file("other")] = flash("kernel");
    EXPECT_EQ(install(usual()), STBFirmwareUpdater::UPDATE_WRONG_FORMAT);
    EXPECT_THAT(log(), HasSubstr("two blocks of the package lead to"));
    EXPECT_EQ(flashes[folder.file("other")].calls.size(), 0u);
}

TEST_F(InstallerTest, RemovesWhatAKilledRunLeftBehind) {
    std::filesystem::create_directories(config.stateDir);
    support::writeFile(config.stateDir + "/.lumo-0123456789abcdef", "x");
    support::writeFile(config.stateDir + "/.lumo-keep", "x");
    install(usual());
    EXPECT_FALSE(std::filesystem::exists(config.stateDir + "/.lumo-0123456789abcdef"));
    EXPECT_TRUE(std::filesystem::exists(config.stateDir + "/.lumo-keep"));
}

TEST_F(InstallerTest, IsAloneOrDoesNothing) {
    {
        const std::optional<InstallLock> held = InstallLock::tryTake(config.stateDir);
        EXPECT_EQ(install(usual()), STBFirmwareUpdater::UPDATE_BUSY);
        expectUntouched();
    }
    EXPECT_EQ(install(usual()), STBFirmwareUpdater::UPDATE_DONE);
}

// Every fault has its result; before the first erase nothing is changed and nothing is recorded, after it the
// record says that the installation is unfinished, and the next run mends it.
TEST_F(InstallerTest, NamesWhatFailedAndRecoversFromIt) {
    using Operation = FlashError::Operation;

    struct Case {
        const char* name;
        char call;
        std::size_t number; // of the calls of this kind
        Operation operation;
        Result result;
        bool touched;
    };

    const std::size_t compares = 5; // one probe an erase block, all different
    const Case cases[] = {
        {"first comparison", 'r', 1, Operation::Read, STBFirmwareUpdater::UPDATE_FLASH_ERROR, false},
        {"last comparison", 'r', compares, Operation::Read, STBFirmwareUpdater::UPDATE_FLASH_ERROR, false},
        {"read-back", 'r', compares + 1, Operation::Read, STBFirmwareUpdater::UPDATE_VERIFY_FAILED, true},
        {"first erase", 'e', 1, Operation::Erase, STBFirmwareUpdater::UPDATE_WRITE_FAILED, true},
        {"last erase", 'e', 5, Operation::Erase, STBFirmwareUpdater::UPDATE_WRITE_FAILED, true},
        {"write", 'w', 1, Operation::Write, STBFirmwareUpdater::UPDATE_WRITE_FAILED, true},
        {"sync", 's', 1, Operation::Sync, STBFirmwareUpdater::UPDATE_WRITE_FAILED, true},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        FlashState& state = flash("kernel");
        state = FlashState{noise(flashSize, 7), 4096, {}, {}, {}};
        flash("rootfs") = state;
        writeInstallRecord(config.stateDir, {State::Complete, "1.0", ""});
        state.before = [&c](FlashState& now, const FlashCall& call) {
            if (call.operation == c.call && now.count(c.call) == c.number) {
                throw failure(c.operation);
            }
        };
        EXPECT_EQ(install(usual()), c.result);
        EXPECT_EQ(flash("rootfs").calls.size(), 0u) << "goes on after a failure";
        EXPECT_EQ(record().state, c.touched ? State::Begun : State::Complete);
        EXPECT_EQ(record().installedVersion(), c.touched ? "" : "1.0");
        state.before = nullptr;
        EXPECT_EQ(install(usual()), STBFirmwareUpdater::UPDATE_DONE);
        expectInstalled("2.0");
    }
}

TEST_F(InstallerTest, FindsCellsThatDoNotHoldWhatWasWritten) {
    flash("rootfs").after = [](FlashState& state, const FlashCall& call) {
        if (call.operation == 'w') {
            state.bytes[20000] = static_cast<char>(state.bytes[20000] ^ 4);
        }
    };
    EXPECT_EQ(install(usual()), STBFirmwareUpdater::UPDATE_VERIFY_FAILED);
    EXPECT_THAT(log(),
                HasSubstr("block rootfs does not read back from /flash/rootfs: it differs between byte"));
    EXPECT_EQ(record().state, State::Begun);
}

// A page that was being written when the power went does not read back on NAND.
TEST_F(InstallerTest, RewritesWhatACutLeftUnreadable) {
    writeInstallRecord(config.stateDir, {State::Begun, "2.0", "1.0"});
    FlashState& state = flash("kernel");
    state.bytes.replace(0, kernel.size(), kernel);
    state.before = [](FlashState& now, const FlashCall& call) {
        if (call.operation == 'r' && call.offset / 4096 == 2 && now.count('e') == 0) {
            throw failure(FlashError::Operation::Read);
        }
    };
    EXPECT_EQ(install(usual()), STBFirmwareUpdater::UPDATE_DONE);
    EXPECT_EQ(state.count('e'), 1u);
    expectInstalled("2.0");
}

TEST_F(InstallerTest, ProgressClimbsToOneHundredOncePerStep) {
    install(usual());
    std::vector<std::string> finished;
    double last = -1;
    std::string current;
    for (const Step& step : listener.steps) {
        const std::string name = step.block + " " + std::to_string(step.operation);
        if (name != current) {
            last = -1;
        }
        current = name;
        EXPECT_GT(step.percent, last) << name;
        EXPECT_LE(step.percent, 100) << name;
        last = step.percent;
        if (step.percent == 100) {
            finished.push_back(name);
        }
    }
    EXPECT_THAT(finished,
                ElementsAre("kernel>kernel 0", "kernel>kernel 1", "kernel>kernel 2", "kernel>kernel 3",
                            "rootfs>rootfs 0", "rootfs>rootfs 1", "rootfs>rootfs 2", "rootfs>rootfs 3"));
}

TEST_F(InstallerTest, RunsScriptsAroundTheInstallation) {
    PackageBuilder package = usual();
    package.script(PackageBuilder::When::After, "#!/bin/sh\necho after $LUMO_VERSION\nexit 3\n")
        .script(PackageBuilder::When::Before, "#!/bin/sh\necho before $LUMO_DEVICE_ID\n");
    flash("kernel").before = [this](FlashState&, const FlashCall&) {
        EXPECT_EQ(listener.scripts.size(), 2u);
    };
    EXPECT_EQ(install(package), STBFirmwareUpdater::UPDATE_DONE);
    EXPECT_THAT(listener.scripts, ElementsAre("begin 0", "end 0 0", "begin 1", "end 1 3"));
    EXPECT_THAT(log(), HasSubstr("before BOX"));
    EXPECT_THAT(log(), HasSubstr("after 2.0"));
    expectInstalled("2.0");
}

TEST_F(InstallerTest, ABeforeScriptCanRefuseTheInstallation) {
    PackageBuilder package = usual();
    package.script(PackageBuilder::When::Before, "#!/bin/sh\nexit 9\n");
    EXPECT_EQ(install(package), STBFirmwareUpdater::UPDATE_WRONG_FORMAT);
    EXPECT_THAT(log(), HasSubstr("before-script 0 ended with 9"));
    expectUntouched();
}

TEST_F(InstallerTest, FinishesAnInstallationWhoseAfterScriptsDidNotAllRun) {
    install(usual());
    writeInstallRecord(config.stateDir, {State::AfterScripts, "2.0", ""});
    PackageBuilder package = usual();
    package.script(PackageBuilder::When::After, "#!/bin/sh\n:\n");
    EXPECT_EQ(install(package), STBFirmwareUpdater::UPDATE_DONE);
    EXPECT_THAT(listener.scripts, ElementsAre("begin 1", "end 1 0"));
    expectInstalled("2.0");
}

// The plug is pulled at every single operation that changes flash, with that operation half done: the process
// is gone, and the next one, which knows only flash and records, ends with exactly the package's bytes.
TEST_F(InstallerTest, SurvivesBeingCutShortAnywhere) {
    const std::string shared = folder.file("flash.img");
    int cuts = 0;
    for (std::size_t point = 1;; ++point) {
        SCOPED_TRACE(point);
        for (const char* name : {"kernel", "rootfs"}) {
            flash(name) = FlashState{noise(flashSize, 7), 4096, {}, {}, {}};
        }
        writeInstallRecord(config.stateDir, {State::Complete, "1.0", ""});
        const std::unique_ptr<Package> package = open(usual());
        const pid_t child = fork();
        if (child == 0) {
            std::size_t operations = 0;
            const auto cut = [&](FlashState& state, const FlashCall& call) {
                if (call.operation == 'r' || ++operations != point) {
                    return;
                }
                const auto half = static_cast<std::size_t>(call.length / 2);
                for (std::size_t i = 0; i < half; ++i) {
                    state.bytes[static_cast<std::size_t>(call.offset) + i] =
                        call.operation == 'e' ? '\xff' : '\x5a';
                }
                support::writeFile(shared, flash("kernel").bytes + flash("rootfs").bytes);
                _exit(77);
            };
            flash("kernel").before = cut;
            flash("rootfs").before = cut;
            _exit(install(*package) == STBFirmwareUpdater::UPDATE_DONE ? 0 : 1);
        }
        int status = 0;
        ASSERT_EQ(waitpid(child, &status, 0), child);
        ASSERT_TRUE(WIFEXITED(status));
        if (WEXITSTATUS(status) != 77) {
            EXPECT_EQ(WEXITSTATUS(status), 0);
            break;
        }
        ++cuts;
        const std::string image = support::readFile(shared);
        flash("kernel").bytes = image.substr(0, flashSize);
        flash("rootfs").bytes = image.substr(flashSize);
        EXPECT_EQ(record().state, State::Begun);
        EXPECT_EQ(record().installedVersion(), "");
        EXPECT_EQ(install(usual()), STBFirmwareUpdater::UPDATE_DONE);
        expectInstalled("2.0");
    }
    EXPECT_GT(cuts, 10);
}

} // namespace lumo::tests
