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

using testing::HasSubstr;

const std::string url = "http://s/%s.bin";

// Its text enters the journal when it is flushed, and is lost while the disk is full.
struct Stream final : std::stringbuf {
    Stream(std::string& toJournal, std::string ownName) : journal(toJournal), name(std::move(ownName)) {}

    std::streamsize xsputn(const char* text, std::streamsize count) override {
        return full ? 0 : std::stringbuf::xsputn(text, count);
    }

    int sync() override {
        journal += name + ": " + str() + (str().empty() ? "\n" : "");
        str("");
        return 0;
    }

    std::string& journal;
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

    void note(const std::string& line) { journal += line + "\n"; }

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

    std::string journal; // what happened, in order, a line each
    std::int32_t status = 1;
    int openResult = 0;
    int updateResult = 2;
    int waitsLeft = 100;
    const std::map<std::string, STBFirmwareFile::Block> blocks;
};

struct CommandTest : testing::Test {
    // What happens.
    std::string run(std::vector<std::string> arguments) {
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

    // What every run notes from the start of the download on, with that between opening and the end.
    static std::string opened(const std::string& location, const std::string& events) {
        return "out: Updater: Starting updater for device 'BOX %s' from URL: " + location + "\npackage " +
               location + "\nopen progress\nshow: Downloading update package\nopen 30\n" + events +
               "package released\nscreen down\n";
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
        "out: Updater: LUMO gui firmware update utility, version " + LumoStbVersion::getVersion() +
        " from 08.04.2020 (detected device: 'BOX %s')\n"
        "out: Usage: updater [OPTION] [URL]\n"
        "out: Available options:\n"
        "out:   [URL]     URL of the firmware BIN file (default will be used if empty)\n"
        "out:   -i        Don't update, just print firmware information\n"
        "out:   -e        Don't update, just extract blocks from firmware to the current dir\n"
        "out:   -t <type> Use specified update type instead of default\n"
        "out:   -h        Print this text and exit\n"
        "out:   -f        Force update even if blocks are not changed\n"
        "out:   -r        Reboot after successfully update\n"
        "out:   -c <sec>  Connection timeout in seconds for check phase (10 by default)\n"
        "out: \n"
        "out: Exit code is always 0.\n"
        "out: \n";
    for (const auto& [arguments, complaint] : std::vector<std::pair<std::vector<std::string>, std::string>>{
             {{"-i", "-h", "-z"}, ""}, // nothing behind -h is read
             {{"-i", "-e", "-h"}, ""},
             {{"-c", "9", "-z"}, "'z'"},
             {{"-fc"}, "'c'"}}) {
        testing::internal::CaptureStderr();
        EXPECT_EQ(run(arguments), usage);
        const std::string fromGetopt = testing::internal::GetCapturedStderr();
        EXPECT_THAT(fromGetopt, HasSubstr(complaint));
        EXPECT_EQ(fromGetopt.empty(), complaint.empty());
    }
    EXPECT_EQ(run({"-e", url, "-i"}),
              usage + "err: Updater: ERROR: -i and -e options can't be specified together\n");
}

TEST_F(CommandTest, TakesOptionsWhereverTheyStand) {
    for (const auto& [arguments, event] : std::vector<std::pair<std::vector<std::string>, std::string>>{
             {{}, "check '' '' 10\n"},
             {{"-tbeta", "-c7"}, "check 'beta' '' 7\n"},
             {{"-c", "abc"}, "check '' '' 0\n"},
             {{"-c", "0x10"}, "check '' '' 0\n"},
             {{"-c", " \t+42 s"}, "check '' '' 42\n"},
             {{"-c", "4294967297"}, "check '' '' " + std::to_string(INT_MAX)},
             {{url, "-f", "http://s/second.bin"}, "up\n" + opened(url, "").substr(0, 60)},
             {{url, "-f"}, "update, forced\n"},
             {{url, "-e"}, "open 30\nout: Updater: Extract requested\npackage released\n"},
             {{"", "-t", "beta"}, "up\nlocation 'beta' ''\n"}, // without a check
             {{"--", "-f"}, "package -f\n"}}) {
        EXPECT_THAT(run(arguments), HasSubstr(event));
    }
}

TEST_F(CommandTest, FollowsTheCheck) {
    const std::string versions = "out: Updater: Server version: server-2 Local version: local-1\n";

    const struct {
        int status;
        const char* option;
        bool goesOn;
        std::string events;
    } rows[] = {
        {0, "-i", false, versions + "out: Updater: Update not needed\n"},
        {0, "-f", true, versions},
        {1, "-i", true, versions + "out: Updater: Have new updates at the server\n"},
        {2, "-f", false,
         "out: Updater: No such file\nshow: No avaliable firmware files found on update server.\nwait 5\n"},
        {3, "-f", false,
         "show: Unable to connect to update server.\nwait 5\nout: Updater: Connect timeout\n"},
        {4, "-f", false,
         "err: Updater: ERROR: Error while checking for updates\nshow: Error while checking for updates.\n"},
        {5, "-i", true, ""},
        {-1, "-i", true, ""},
    };

    for (const auto& row : rows) {
        outside.status = row.status;
        // In information mode the run ends at the opened package.
        EXPECT_EQ(
            run({"-i", "-t", "beta", "-c", "3", row.option}),
            "screen up\ncheck 'beta' '' 3\n" + row.events +
                (row.goesOn ? "location 'beta' ''\n" + opened("http://s/default.bin", "") : "screen down\n"));
    }
}

TEST_F(CommandTest, NamesWhyAPackageDoesNotOpen) {
    const std::string causes[] = {"",
                                  "no valid firmware found at",
                                  "connect timeout",
                                  "no valid firmware found at",
                                  "no valid firmware found at",
                                  "firmware is broken",
                                  "firmware is broken"};
    for (const int result : {-1, 1, 2, 3, 4, 5, 6, 7}) {
        outside.openResult = result;
        const std::string warning =
            result < 0 || result > 6 ? "" : "err: Updater: WARNING: " + causes[result] + " '" + url + "'\n";
        EXPECT_EQ(run({url, "-r"}), "screen up\n" + opened(url, warning));
    }
}

TEST_F(CommandTest, ShowsEachResultForItsTime) {
    const struct {
        int result;
        const char* option;
        std::string events;
    } rows[] = {
        {0, "-r", "show: Update is not required.\nwait 5\n"},
        {1, "-r", "show: Another process is\\ninstalling update now.\nwait 5\n"},
        {2, "-t", "show: Update was successfully installed.\nwait 5\n"},
        {2, "-r",
         "countdown 10: Update was successfully installed.\nout: Updater: Rebooting... \nerr: \nout: \n"
         "wait 1\nreboot\n"},
        {3, "-r", "show: Wrong update package format.\nwait 5\n"},
        {6, "-r", "show: Update package size is larger then flash size.\nwait 2\n"},
        {7, "-r", "show: MTD error on update.\n"},
        {8, "-r", ""},
    };

    const std::string installing = "show: Installing update.\\nDo not turn off!\nupdate\nupdate progress\n"
                                   "out: Updater: Update finished, result: result %d ";
    for (const auto& row : rows) {
        outside.updateResult = row.result;
        EXPECT_EQ(run({row.option, url, url}),
                  "screen up\n" + opened(url, installing + std::to_string(row.result) + "\n" + row.events));
    }
    for (const int broken : {4, 5}) { // the warning stays for ever
        outside.updateResult = broken;
        outside.waitsLeft = 3;
        EXPECT_THROW(run({"-r", url}), const char*);
        EXPECT_THAT(outside.journal,
                    HasSubstr("show: Firmware update error.\\nDevice may not operate any more.\n"
                              "wait 1\nwait 1\nwait 1\n"));
    }
}

TEST_F(CommandTest, PrintsAgainOnceTheDiskHasRoom) {
    outBuffer.full = true;
    console.line("lost");
    outBuffer.full = false;
    console.line("kept");
    EXPECT_EQ(outside.journal, "out: kept\n");
}

} // namespace
