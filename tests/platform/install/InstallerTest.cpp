#include "tests/platform/install/InstallTest.h"

namespace lumo::tests {

using InstallerTest = InstallTest;

TEST_F(InstallerTest, InstallsBothBlocksBetweenTheScriptsAndTellsHowFarItIs) {
    const std::string leftover = config.stateDir + "/.lumo-0123456789abcdef";
    std::filesystem::create_directories(config.stateDir);
    support::writeFile(leftover, "left by a killed run");
    flashes["kernel"].script.before = [this](const FlashCall&) {
        EXPECT_THAT(listener.scripts, ElementsAre("begin 0", "end 0 0"));
    };
    const PackageBuilder package =
        usual()
            .script(PackageBuilder::When::After, "#!/bin/sh\necho after $LUMO_VERSION\nexit 3\n")
            .script(PackageBuilder::When::Before, "#!/bin/sh\necho before $LUMO_DEVICE_ID\n");
    EXPECT_EQ(install(package), STBFirmwareUpdater::UPDATE_DONE);
    expectInstalled("2.0");
    EXPECT_FALSE(std::filesystem::exists(leftover));
    EXPECT_THAT(listener.scripts, ElementsAre("begin 0", "end 0 0", "begin 1", "end 1 3"));
    EXPECT_THAT(log(), testing::AllOf(HasSubstr("before BOX"), HasSubstr("after 2.0")));
    std::vector<std::string> finished;
    std::pair<std::string, double> last;
    for (const auto& step : listener.steps) {
        EXPECT_TRUE(step.first != last.first || step.second > last.second) << step.first;
        EXPECT_LE(step.second, 100) << step.first;
        last = step;
        if (step.second == 100) {
            finished.push_back(step.first);
        }
    }
    EXPECT_THAT(finished,
                ElementsAre("kernel>kernel 0", "kernel>kernel 1", "kernel>kernel 2", "kernel>kernel 3",
                            "rootfs>rootfs 0", "rootfs>rootfs 1", "rootfs>rootfs 2", "rootfs>rootfs 3"));
    flashes["kernel"].script.before = nullptr;
    EXPECT_EQ(install(usual()), STBFirmwareUpdater::UPDATE_NOT_NEEDED);
}

TEST_F(InstallerTest, RewritesOnlyEraseBlocksThatDiffer) {
    const std::uint32_t sizes[] = {4096, 1 << 20}; // of the large one only a part is compared at a time
    for (const std::uint32_t size : sizes) {
        use(Kind::Nor, size);
        kernel = noise(4 * size + 100, 3);
        install(usual(), true);
        expectInstalled("2.0");
        flashes["kernel"].script.calls.clear();
        const std::size_t places[] = {size, 3 * size - 1, 2 * size + size / 2,
                                      4 * size + 99}; // to the last byte
        for (const std::size_t place : places) {
            char& byte = flashes["kernel"].chip.blocks[place / size][place % size];
            byte = static_cast<char>(~byte);
        }
        EXPECT_EQ(install(usual()), STBFirmwareUpdater::UPDATE_DONE);
        expectInstalled("2.0");
        std::vector<std::uint64_t> erased;
        for (const FlashCall& call : flashes["kernel"].script.calls) {
            if (call.operation == Operation::Erase) {
                erased.push_back(call.offset / size);
            }
        }
        EXPECT_THAT(erased, ElementsAre(1, 2, 4));
    }
}

TEST_F(InstallerTest, ForceRewritesEverythingAndAllowsAnOlderVersion) {
    install(usual("2.0"));
    flashes["kernel"].script.calls.clear();
    EXPECT_EQ(install(usual("1.0")), STBFirmwareUpdater::UPDATE_NOT_NEEDED);
    EXPECT_THAT(log(), HasSubstr("version 2.0 is installed, and the package holds the older 1.0"));
    EXPECT_EQ(record().version, "2.0");
    EXPECT_EQ(install(usual("1.0"), true), STBFirmwareUpdater::UPDATE_DONE);
    EXPECT_EQ(flashes["kernel"].script.count(Operation::Erase), 5);
    expectInstalled("1.0");

    writeInstallRecord(config.stateDir, {State::Begun, "3.0", "2.0"});
    EXPECT_EQ(install(usual("1.9")), STBFirmwareUpdater::UPDATE_WRONG_FORMAT);
    EXPECT_THAT(log(), HasSubstr("an installation of version 3.0 was cut short, and the package holds 1.9, "
                                 "which is older than 2.0"));
    EXPECT_EQ(install(usual("1.9"), true), STBFirmwareUpdater::UPDATE_DONE);
}

TEST_F(InstallerTest, RefusesWhatCannotBeHonouredBeforeTouchingAnything) {
    const struct {
        PackageBuilder package;
        std::function<void()> then; // when it is open
        Result result;
        const char* reason;
    } cases[] = {
        {builder().block("kernel", kernel).block("extra", rootfs, "nowhere"), [] {},
         STBFirmwareUpdater::UPDATE_WRONG_FORMAT, "block extra is for nowhere"},
        {builder().block("kernel", kernel).block("rootfs", noise(65537, 4)), [] {},
         STBFirmwareUpdater::UPDATE_TOO_LARGE,
         "block rootfs has 65537 bytes, and its target rootfs (rootfs) holds 65536"},
        {usual().script(PackageBuilder::When::Before, "#!/bin/sh\nexit 9\n"), [] {},
         STBFirmwareUpdater::UPDATE_WRONG_FORMAT, "before-script 0 ended with 9"},
        {usual(), [this] { support::writeFile(folder.file("package.bin"), usual("9").build()); },
         STBFirmwareUpdater::UPDATE_WRONG_FORMAT, "was changed after it was checked"},
        {usual(),
         [this] {
             support::writeFile(folder.file("flash"), "");
             std::filesystem::create_hard_link(folder.file("flash"), folder.file("other"));
             for (const char* name : {"kernel", "rootfs"}) {
                 config.flash[name].path = folder.file(*name == 'k' ? "flash" : "other");
                 flashes[config.flash[name].path] = flashes[name];
             }
         },
         STBFirmwareUpdater::UPDATE_WRONG_FORMAT, "two blocks of the package lead to"},
    };

    for (const auto& entry : cases) {
        SCOPED_TRACE(entry.reason);
        const std::unique_ptr<Package> package = open(entry.package);
        entry.then();
        EXPECT_EQ(install(*package), entry.result);
        EXPECT_THAT(log(), HasSubstr(entry.reason));
        expectUntouched();
    }
}

TEST_F(InstallerTest, NeverRecordsSuccessForAPackageThatChangesMeanwhile) {
    flashes["rootfs"].script.before = [this](const FlashCall& call) {
        if (call.operation == Operation::Erase) {
            std::string bytes = support::readFile(folder.file("package.bin"));
            bytes.back() = static_cast<char>(~bytes.back());
            support::writeFile(folder.file("package.bin"), bytes);
        }
    };
    EXPECT_EQ(install(builder().block("kernel", kernel).block("rootfs", rootfs)),
              STBFirmwareUpdater::UPDATE_WRITE_FAILED);
    EXPECT_THAT(log(),
                HasSubstr("was changed after it was checked; the flash holds an unfinished installation"));
    EXPECT_EQ(record().state, State::Begun);
}

} // namespace lumo::tests
