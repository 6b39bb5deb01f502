#include "utils/updater/Command.h"

#include <gmock/gmock.h>

#include <climits>
#include <sstream>

#include "src/system/LumoStbVersion.h"
#include "utils/updater/Console.h"
#include "utils/updater/FirmwareService.h"
#include "utils/updater/ProgressScreen.h"
#include "utils/updater/SystemActions.h"

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::HasSubstr;

using Journal = std::vector<std::string>; // what happened, in order

const std::string url = "http://s/%s.bin";
const std::string versions = "out: Updater: Server version: server-2 Local version: local-1\n";

// Its text enters the journal when it is flushed, and is lost while the disk is full.
struct Stream final : std::stringbuf {
    Stream(Journal& toJournal, std::string ownName) : journal(toJournal), name(std::move(ownName)) {}

    std::streamsize xsputn(const char* text, std::streamsize count) override {
        return full ? 0 : std::stringbuf::xsputn(text, count);
    }

    int sync() override {
        journal.push_back(name + ": " + str());
        str("");
        return 0;
    }

    Journal& journal;
    std::string name;
    bool full = false;
};

// All that is around the command: answers what a case wants, and notes what it is told.
struct Outside final : updater::FirmwareService, updater::SystemActions, updater::ProgressScreen {
    struct Package final : updater::FirmwarePackage {
        explicit Package(Outside& around) : outside(around) {}

        ~Package() override { outside.note("package released"); }

        int open(int timeoutSeconds) override {
            outside.note("open " + std::to_string(timeoutSeconds));
            return outside.openResult;
        }

        const std::map<std::string, STBFirmwareFile::Block>& getBlocks() const override {
            return outside.blocks;
        }

        STBFirmwareUpdater::UpdateResult update(STBFirmwareUpdater::EventsListener* listener,
                                                bool force) override {
            outside.note(force ? "update, forced" : "update");
            listener->onUpdateProgress({}, "mtd0", STBFirmwareUpdater::OPERATION_WRITE, 100);
            return static_cast<STBFirmwareUpdater::UpdateResult>(outside.updateResult);
        }

        Outside& outside;
    };

    void note(const std::string& line) { journal.push_back(line); }

    std::string getCurrentDeviceId() override { return "BOX %s"; }

    STBFirmwareUpdater::CheckForUpdatesResult
    checkForUpdates(const std::string& type, const std::string& reserved, int timeoutSeconds) override {
        note("check '" + type + "' '" + reserved + "' " + std::to_string(timeoutSeconds));
        return {status, "local-1", "server-2", 0, 0, {}};
    }

    STBFirmwareUpdater::DeviceFirmwareLocationInfo
    getFirmwareLocationInfo(const std::string& type, const std::string& reserved) override {
        note("location '" + type + "' '" + reserved + "'");
        return {"", "http://s/default.bin", "", "", ""};
    }

    std::string updateResultDescription(STBFirmwareUpdater::UpdateResult result) override {
        return "result %d " + std::to_string(result);
    }

    std::unique_ptr<updater::FirmwarePackage>
    createPackage(const std::string& location, STBFirmwareFile::EventsListener* listener) override {
        note("package " + location);
        listener->onFileOpenProgress(STBFirmwareFile::OPERATION_CHECK, 1, 1, 100);
        return std::make_unique<Package>(*this);
    }

    void onFileOpenProgress(STBFirmwareFile::CurrentOperation, long long, long long, double) override {
        note("open progress");
    }

    void onUpdateProgress(const STBFirmwareFile::Block&, const std::string&,
                          STBFirmwareUpdater::CurrentOperation, double) override {
        note("update progress");
    }

    void setMainLabelText(const std::string& text) override { note("show: " + text); }

    void displayRebootAfter(const std::string& text, int seconds) override {
        note("countdown " + std::to_string(seconds) + ": " + text);
    }

    void waitSeconds(unsigned seconds) override {
        if (waitsLeft-- == 0) {
            throw "no more waits"; // the way out of an endless loop
        }
        note("wait " + std::to_string(seconds));
    }

    void reboot() override { note("reboot"); }

    Journal journal;
    std::int32_t status = 1;
    int openResult = 0;
    int updateResult = 2;
    int waitsLeft = 100;
    const std::map<std::string, STBFirmwareFile::Block> blocks;
};

struct CommandTest : testing::Test {
    // What happens, but for the device's identifier.
    Journal run(std::vector<std::string> arguments) {
        outside.journal.clear();
        arguments.insert(arguments.begin(), "updater");
        std::vector<char*> argv;
        for (std::string& argument : arguments) {
            argv.push_back(argument.data());
        }
        argv.push_back(nullptr);
        const auto makeScreen = [this] {
            outside.note("screen up");
            return std::shared_ptr<Outside>(&outside, [](Outside* screen) { screen->note("screen down"); });
        };
        updater::runCommand(static_cast<int>(arguments.size()), argv.data(),
                            {outside, outside, console, makeScreen});
        return outside.journal;
    }

    // The whole run of that package, with these events behind a successful open.
    static Journal opened(const std::string& location, const Journal& before, const Journal& after) {
        Journal all = before;
        all.insert(all.begin(), "screen up");
        all.insert(all.end(),
                   {"out: Updater: Starting updater for device 'BOX %s' from URL: " + location + "\n",
                    "package " + location, "open progress", "show: Downloading update package", "open 30"});
        all.insert(all.end(), after.begin(), after.end());
        all.insert(all.end(), {"package released", "screen down"});
        return all;
    }

    Outside outside;
    Stream outBuffer{outside.journal, "out"};
    Stream errBuffer{outside.journal, "err"};
    std::ostream out{&outBuffer};
    std::ostream err{&errBuffer};
    updater::Console console{out, err};
};

TEST_F(CommandTest, PrintsTheUsageTextForWhatItCannotRead) {
    const std::string usage =
        "Updater: LUMO gui firmware update utility, version " + LumoStbVersion::getVersion() +
        " from 08.04.2020 (detected device: 'BOX %s')\n"
        "Usage: updater [OPTION] [URL]\n"
        "Available options:\n"
        "  [URL]     URL of the firmware BIN file (default will be used if empty)\n"
        "  -i        Don't update, just print firmware information\n"
        "  -e        Don't update, just extract blocks from firmware to the current dir\n"
        "  -t <type> Use specified update type instead of default\n"
        "  -h        Print this text and exit\n"
        "  -f        Force update even if blocks are not changed\n"
        "  -r        Reboot after successfully update\n"
        "  -c <sec>  Connection timeout in seconds for check phase (10 by default)\n"
        "\n"
        "Exit code is always 0.\n"
        "\n";
    const std::string both = "err: Updater: ERROR: -i and -e options can't be specified together\n";
    for (const auto& [arguments, complaint, last] :
         std::vector<std::tuple<std::vector<std::string>, std::string, std::string>>{
             {{"-i", "-h", "-z"}, "", ""}, // nothing behind -h is read
             {{"-i", "-e", "-h"}, "", ""},
             {{"-c", "9", "-z"}, "'z'", ""},
             {{"-fc"}, "'c'", ""},
             {{"-e", url, "-i"}, "", both}}) {
        testing::internal::CaptureStderr();
        std::string printed;
        for (const std::string& line : run(arguments)) {
            printed += line.starts_with("out: ") ? line.substr(5) : line;
        }
        EXPECT_EQ(printed, usage + last);
        const std::string fromGetopt = testing::internal::GetCapturedStderr();
        EXPECT_THAT(fromGetopt, HasSubstr(complaint));
        EXPECT_EQ(fromGetopt.empty(), complaint.empty());
    }
}

TEST_F(CommandTest, TakesOptionsWhereverTheyStand) {
    for (const auto& [arguments, event] : std::vector<std::pair<std::vector<std::string>, std::string>>{
             {{}, "check '' '' 10"},
             {{"-tbeta", "-c7"}, "check 'beta' '' 7"},
             {{"-c", "abc"}, "check '' '' 0"},
             {{"-c", "0x10"}, "check '' '' 0"},
             {{"-c", " \t+42 s"}, "check '' '' 42"},
             {{"-c", "4294967297"}, "check '' '' " + std::to_string(INT_MAX)},
             {{url, "-f", "http://s/second.bin"}, "update, forced"},
             {{"", "-t", "beta"}, "location 'beta' ''"},
             {{"--", "-f"}, "package -f"}}) {
        EXPECT_THAT(run(arguments), Contains(event));
        EXPECT_THAT(outside.journal, Contains(HasSubstr("check")).Times(event.starts_with("check") ? 1 : 0));
    }
}

TEST_F(CommandTest, FollowsTheCheck) {
    const std::string newer = "out: Updater: Have new updates at the server\n";

    const struct {
        int status;
        bool force, goesOn;
        Journal events;
    } rows[] = {
        {0, false, false, {versions, "out: Updater: Update not needed\n"}},
        {0, true, true, {versions}},
        {1, false, true, {versions, newer}},
        {2,
         true,
         false,
         {"out: Updater: No such file\n", "show: No avaliable firmware files found on update server.",
          "wait 5"}},
        {3,
         true,
         false,
         {"show: Unable to connect to update server.", "wait 5", "out: Updater: Connect timeout\n"}},
        {4,
         true,
         false,
         {"err: Updater: ERROR: Error while checking for updates\n",
          "show: Error while checking for updates."}},
        {5, false, true, {}},
        {-1, false, true, {}},
    };

    for (const auto& row : rows) {
        SCOPED_TRACE("status " + std::to_string(row.status));
        outside.status = row.status;
        Journal events = row.events;
        events.insert(events.begin(), "check 'beta' '' 3");
        Journal expected = events;
        if (row.goesOn) {
            events.push_back("location 'beta' ''");
            expected = opened("http://s/default.bin", events, {});
        } else {
            expected.insert(expected.begin(), "screen up");
            expected.push_back("screen down");
        }
        // In information mode the run ends at the opened package.
        EXPECT_THAT(run({"-i", "-t", "beta", "-c", "3", row.force ? "-f" : "-i"}),
                    ElementsAreArray(expected));
    }
}

TEST_F(CommandTest, NamesWhyAPackageDoesNotOpen) {
    const std::string invalid = "no valid firmware found at '";
    for (const auto& [result, cause] : std::vector<std::pair<int, std::string>>{{1, invalid},
                                                                                {2, "connect timeout '"},
                                                                                {3, invalid},
                                                                                {4, invalid},
                                                                                {5, "firmware is broken '"},
                                                                                {6, "firmware is broken '"},
                                                                                {7, ""},
                                                                                {-1, ""}}) {
        outside.openResult = result;
        const Journal warning(cause.empty() ? 0 : 1, "err: Updater: WARNING: " + cause + url + "'\n");
        EXPECT_THAT(run({url, "-r"}), ElementsAreArray(opened(url, {}, warning))) << result;
    }
}

TEST_F(CommandTest, ShowsEachResultForItsTime) {
    const struct {
        int result;
        bool reboot;
        Journal events;
    } rows[] = {
        {0, true, {"show: Update is not required.", "wait 5"}},
        {1, true, {"show: Another process is\\ninstalling update now.", "wait 5"}},
        {2, false, {"show: Update was successfully installed.", "wait 5"}},
        {2,
         true,
         {"countdown 10: Update was successfully installed.", "out: Updater: Rebooting... \n",
          "err: ", "out: ", "wait 1", "reboot"}},
        {3, true, {"show: Wrong update package format.", "wait 5"}},
        {6, true, {"show: Update package size is larger then flash size.", "wait 2"}},
        {7, true, {"show: MTD error on update."}},
        {8, true, {}},
    };

    for (const auto& row : rows) {
        outside.updateResult = row.result;
        Journal events{"show: Installing update.\\nDo not turn off!", "update", "update progress",
                       "out: Updater: Update finished, result: result %d " + std::to_string(row.result) +
                           "\n"};
        events.insert(events.end(), row.events.begin(), row.events.end());
        EXPECT_THAT(run({row.reboot ? "-r" : "-t", url, url}), ElementsAreArray(opened(url, {}, events)));
    }
    for (const int broken : {4, 5}) { // the warning stays for ever
        outside.updateResult = broken;
        outside.waitsLeft = 50;
        EXPECT_THROW(run({"-r", url}), const char*);
        EXPECT_THAT(outside.journal,
                    Contains("show: Firmware update error.\\nDevice may not operate any more."));
        EXPECT_THAT(outside.journal, Contains("wait 1").Times(50));
    }
}

TEST_F(CommandTest, PrintsAgainOnceTheDiskHasRoom) {
    outBuffer.full = true;
    console.line("lost");
    outBuffer.full = false;
    console.line("kept");
    EXPECT_THAT(outside.journal, ElementsAre("out: kept\n"));
}

} // namespace
