#include <cstdlib>
#include <optional>

#include "tests/platform/install/InstallTest.h"
#include "tests/platform/install/VolatileFolder.h"

namespace lumo::tests {

namespace {

// Sanitizers and emulation are slow; a prime number meets every place in a page and a block all the same.
#ifdef LUMO_SLOW
constexpr std::uint64_t CUT_STEP = 7;
#else
constexpr std::uint64_t CUT_STEP = 1;
#endif

// The plug is pulled while a package is installed, and whatever is left then, the next run without options
// ends with exactly the package's bytes and says so.
class PowerCutTest : public InstallTest {
protected:
    PowerCutTest() : state(config.stateDir, power) {
        config.log.file = "/dev/null";
        setDeviceConfigForTests(config);
    }

    // Some erase blocks of the old firmware are like those of the new one.
    void useImages(std::uint32_t eraseSize, double kernelBlocks, double rootfsBlocks) {
        kernel = noise(static_cast<std::size_t>(kernelBlocks * eraseSize), 1);
        rootfs = noise(static_cast<std::size_t>(rootfsBlocks * eraseSize), 2);
        kernel.replace(eraseSize, eraseSize, old, eraseSize, eraseSize);
        package = open(usual());
        fresh = flashes;
        contents = content("kernel") + content("rootfs");
    }

    void reset() {
        power.restore();
        flashes = fresh;
        writeInstallRecord(config.stateDir, {State::Complete, "1.0", ""});
    }

    // Installs for so many units of power; whether that was enough.
    bool installWith(std::uint64_t units) {
        power.cutAfter(units);
        const Result result = install(*package);
        EXPECT_TRUE(power.isOff() || result == STBFirmwareUpdater::UPDATE_DONE ||
                    result == STBFirmwareUpdater::UPDATE_NOT_NEEDED);
        return !power.isOff();
    }

    void losePower() {
        power.restore();
        for (auto& [name, flash] : flashes) {
            flash.disk.losePower(power);
        }
        state.losePower();
    }

    // The power comes back. The record may claim no firmware that is not wholly there.
    void expectHonestRecord() {
        losePower();
        const std::string installed = record().installedVersion();
        EXPECT_NE(record().version, "") << "the record is lost";
        EXPECT_TRUE(installed != "2.0" || holdsPackage());
        EXPECT_TRUE(installed != "1.0" || content("kernel") + content("rootfs") == contents);
    }

    void expectNextRunMends() {
        const bool whole = record().state == State::Complete && record().version == "2.0";
        EXPECT_EQ(install(*package),
                  whole ? STBFirmwareUpdater::UPDATE_NOT_NEEDED : STBFirmwareUpdater::UPDATE_DONE);
        losePower();
        expectInstalled("2.0");
    }

    void cutAnywhere() {
        for (std::uint64_t cut = 0;; cut += CUT_STEP) {
            SCOPED_TRACE("cut after " + std::to_string(cut));
            reset();
            if (installWith(cut) || HasFailure()) {
                break;
            }
            expectHonestRecord();
            expectNextRunMends();
            ++cuts;
        }
        EXPECT_TRUE(holdsPackage());
        std::printf("%llu cuts, nothing lost\n", static_cast<unsigned long long>(cuts));
    }

    VolatileFolder state;
    std::unique_ptr<Package> package;
    std::map<std::string, Flash> fresh; // with the old firmware
    std::string contents;
    std::uint64_t cuts = 0;
};

class PowerCutKindTest : public PowerCutTest, public testing::WithParamInterface<int> {
protected:
    Kind kind() const { return static_cast<Kind>(GetParam()); }
};

} // namespace

TEST_P(PowerCutKindTest, AtAnyByteOfASmallInstallation) {
    use(kind(), 256, 64);
    useImages(256, 4.5, 2.25);
    cutAnywhere();
    EXPECT_GT(cuts, 1400u / CUT_STEP);
}

// How many: LUMO_CUTS. A run may be cut short more than once, by the power or by a signal; a signal leaves
// what was not flushed in the kernel's memory, where the next run finds it.
TEST_P(PowerCutKindTest, AnywhereInALargerInstallationAndInItsRepetition) {
    use(kind(), 4096, 512);
    useImages(4096, 12.5, 9.75);
    reset();
    constexpr std::uint64_t plenty = 1 << 30;
    ASSERT_TRUE(installWith(plenty));
    const std::uint64_t all = plenty - power.left();
    const char* const wanted = std::getenv("LUMO_CUTS");
    const unsigned runs = wanted != nullptr ? static_cast<unsigned>(std::atoi(wanted)) : 100 / CUT_STEP;
    std::mt19937 random(runs);
    for (unsigned run = 0; run < runs && !HasFailure(); ++run) {
        SCOPED_TRACE("run " + std::to_string(run));
        reset();
        for (std::uint64_t units = random() % all; !installWith(units); units = random() % all) {
            ++cuts;
            if (random() % 2 == 0) {
                expectHonestRecord();
            }
            power.restore();
        }
        power.restore();
        expectNextRunMends();
    }
    EXPECT_GE(cuts, runs);
    std::printf("%llu cuts, nothing lost\n", static_cast<unsigned long long>(cuts));
}

std::string nameOfKind(const testing::TestParamInfo<int>& kind) {
    return std::vector<std::string>{"Disk", "Nor", "Nand"}[static_cast<std::size_t>(kind.param)];
}

INSTANTIATE_TEST_SUITE_P(Media, PowerCutKindTest, testing::Values(0, 1, 2), nameOfKind);

// Blocks go bad on the way: the marks, and what had to move, are cut short, too.
TEST_F(PowerCutTest, WhileWornBlocksAreReplaced) {
    use(Kind::Nand, 256, 64);
    for (auto& [name, flash] : flashes) {
        flash.chip.badBlocks = {1};
        flash.chip.wornBlocks = {3};
        flash.chip.wornPages = {5 * 4 + 2};
    }
    fillWithOld();
    useImages(256, 4.5, 2.25);
    cutAnywhere();
}

TEST_F(PowerCutTest, BetweenScriptsAndRecords) {
    const std::string notes = folder.file("notes");
    const auto script = [&](const char* word) {
        return "#!/bin/sh\necho " + std::string(word) + " >>" + notes;
    };
    package = open(builder()
                       .block("kernel", old)
                       .script(PackageBuilder::When::Before, script("before"))
                       .script(PackageBuilder::When::After, script("first"))
                       .script(PackageBuilder::When::After, script("second")));
    fresh = flashes;
    for (std::uint64_t cut = 0;; ++cut) {
        SCOPED_TRACE("cut after " + std::to_string(cut));
        reset();
        support::writeFile(notes, "");
        const bool enough = installWith(cut);
        losePower();
        const bool unfinished = record().isUnfinished();
        EXPECT_EQ(install(*package),
                  unfinished ? STBFirmwareUpdater::UPDATE_DONE : STBFirmwareUpdater::UPDATE_NOT_NEEDED);
        EXPECT_THAT(support::readFile(notes), testing::EndsWith("first\nsecond\n"));
        EXPECT_EQ(record().state, State::Complete);
        if (enough || HasFailure()) {
            break;
        }
        cuts = cut;
    }
    EXPECT_GT(cuts, 15u);
    std::printf("%llu cuts, nothing lost\n", static_cast<unsigned long long>(cuts));
}

} // namespace lumo::tests
