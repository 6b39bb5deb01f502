// The real program against the scripted platform library.

#include <gmock/gmock.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>

#include "tests/support/Subprocess.h"
#include "tests/support/TempDir.h"

namespace {

using nlohmann::json;
using support::ProcessResult;
using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

using Lines = std::vector<std::string>;

const std::string LABEL = "log 4 utils/updater/GuiUpdater: ";
// What a platform without a screen is asked before and after everything else.
const Lines SCREEN_UP{LABEL + "Initializing GuiUpdater", "getDefaultPlatformSettings()", "initialize()",
                      "log 1 utils/updater/GuiUpdater: Can't initialize LIBLUMO"};
const Lines SCREEN_DOWN{"setState(0, 1)", "setState(3, 1)", "uninitialize()"};

Lines split(const std::string& text) {
    Lines lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) {
        lines.push_back(line);
    }
    return lines;
}

class LegacyUpdaterTest : public testing::Test {
protected:
    support::Program program(std::vector<std::string> command) {
        _scenario["calls"] = _folder.file("calls");
        support::writeFile(_folder.file("scenario.json"), _scenario.dump());
        support::writeFile(_folder.file("calls"), "");
        std::filesystem::create_directory(_folder.path() / "work");
        return {std::move(command),
                {{"LD_LIBRARY_PATH", SCRIPTED_LIBRARY_DIR},
                 {"SCRIPTED_LUMOSTB", _folder.file("scenario.json")},
                 {"POSIXLY_CORRECT", ""}},
                _folder.file("work")};
    }

    ProcessResult run(std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), UPDATER_PROGRAM);
        return support::run(program(std::move(arguments)));
    }

    // "$@" in the script is the program with these arguments.
    ProcessResult runFromShell(const std::string& script, std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), {"/bin/sh", "-c", script, "sh", UPDATER_PROGRAM});
        return support::run(program(std::move(arguments)));
    }

    // The record, but for the debugging log.
    Lines calls() {
        Lines lines = split(support::readFile(_folder.file("calls")));
        std::erase_if(lines, [](const std::string& line) { return line.starts_with("log 5"); });
        return lines;
    }

    // The record of a run with a screen, but for the screen's coming and going.
    Lines callsBetween() {
        Lines lines = calls();
        EXPECT_THAT(Lines(lines.begin(), lines.begin() + 4), ElementsAreArray(SCREEN_UP));
        EXPECT_THAT(Lines(lines.end() - 3, lines.end()), ElementsAreArray(SCREEN_DOWN));
        return {lines.begin() + 4, lines.end() - 3};
    }

    // Whether the program's sleep and reboot are the scripted ones: shown by a plain wait that reached the
    // record, and for reboot by what the dynamic linker bound. No test that may wait or reboot goes on
    // without.
    testing::AssertionResult waitAndRebootAreScripted() {
        json scenario{{"check", {{"status", 2}}}};
        std::swap(_scenario, scenario);
        support::Program waiting = program({UPDATER_PROGRAM});
        waiting.environment["LD_DEBUG"] = "bindings";
        const Lines bindings = split(support::run(waiting).err);
        std::swap(_scenario, scenario);
        if (callsBetween().back() != "sleep(5)") {
            return testing::AssertionFailure() << "a wait did not reach the scripted sleep";
        }
        const auto reboot = AllOf(HasSubstr(std::string("binding file ") + UPDATER_PROGRAM + " "),
                                  HasSubstr(std::string(" to ") + SCRIPTED_LIBRARY_DIR + "/liblumostb.so "),
                                  HasSubstr("symbol `reboot'"));
        if (!testing::Value(bindings, Contains(reboot))) {
            return testing::AssertionFailure() << "reboot is not bound to the scripted one";
        }
        return testing::AssertionSuccess();
    }

    support::TempDir _folder;
    json _scenario = json::object();
};

TEST_F(LegacyUpdaterTest, PrintsTheUsageTextAndAsksForNothingButTheDevice) {
    _scenario["deviceId"] = "BOX %s";
    const std::string usage =
        "Updater: LUMO gui firmware update utility, version 4.3.15 from 08.04.2020 "
        "(detected device: 'BOX %s')\n"
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
    for (const char* option : {"-h", "-?", "-c"}) {
        const ProcessResult result = run({"-c", "99", option});
        EXPECT_EQ(result.exitCode, 0) << option;
        EXPECT_EQ(result.out, usage) << option;
        EXPECT_THAT(calls(), ElementsAre("getCurrentDeviceId()")) << option;
    }
}

TEST_F(LegacyUpdaterTest, InstallsNewFirmwareAndReboots) {
    ASSERT_TRUE(waitAndRebootAreScripted());
    _scenario = {
        {"blocks", {{{"key", "k"}, {"name", "kernel%n"}, {"text", "abc"}}}},
        {"openProgress", {{0, 100, 50, 50.0}, {0, 100, 100, 100.0}, {1, 100, 100, 100.0}}},
        {"updateProgress", {{"k", "mtd3", 2, 99.9}, {"k", "mtd3", 2, 100.0}, {"k", "mtd3", 3, 100.0}}},
        {"description", "100 %s done"}};
    const ProcessResult result = run({"-r", "-t", "beta", "-c", "4"});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(result.out,
              "Updater: Server version: 2.0 Local version: 1.0\n"
              "Updater: Have new updates at the server\n"
              "Updater: Starting updater for device 'SCRIPTED' from URL: http://server/default.bin\n"
              "Updater: Update finished, result: 100 %s done\n"
              "Updater: Rebooting... \n");
    Lines expected{"getCurrentDeviceId()",
                   "checkForUpdates(\"beta\", \"\", 4)",
                   "getFirmwareLocationInfo(\"beta\", \"\")",
                   "STBFirmwareFile(\"http://server/default.bin\")",
                   LABEL + "Downloading update package",
                   "open(30)",
                   LABEL + "100 from 100 bytes",
                   LABEL + "Checking update package.",
                   LABEL + "Installing update. Do not turn off!",
                   "update()",
                   LABEL + "Erasing block kernel%n ( mtd3 )",
                   LABEL + "Flashing block kernel%n ( mtd3 )",
                   "updateResultDescription(2)"};
    for (int left = 10; left >= 0; --left) {
        expected.push_back(LABEL + "Update was successfully installed.  Device will reboot after " +
                           std::to_string(left) + " sec. ");
        expected.push_back("sleep(1)");
    }
    expected.insert(expected.end(), {"sleep(1)", "sleep(1)", "reboot(0x1234567)", "~STBFirmwareFile()"});
    EXPECT_THAT(callsBetween(), ElementsAreArray(expected));
}

TEST_F(LegacyUpdaterTest, PrintsEachLineBeforeTheNextStep) {
    ASSERT_TRUE(waitAndRebootAreScripted());
    _scenario = {{"check", {{"status", 1}}}, {"update", 0}};
    const support::Program updater =
        program({"/bin/sh", "-c", "exec \"$0\" >>../calls 2>&1", UPDATER_PROGRAM});
    support::run(updater);
    EXPECT_THAT(
        callsBetween(),
        ElementsAre("getCurrentDeviceId()", "checkForUpdates(\"\", \"\", 10)",
                    "Updater: Server version: 2.0 Local version: 1.0",
                    "Updater: Have new updates at the server", "getFirmwareLocationInfo(\"\", \"\")",
                    "Updater: Starting updater for device 'SCRIPTED' from URL: http://server/default.bin",
                    "STBFirmwareFile(\"http://server/default.bin\")", LABEL + "Downloading update package",
                    "open(30)", LABEL + "Installing update. Do not turn off!", "update()",
                    "updateResultDescription(0)", "Updater: Update finished, result: scripted result",
                    LABEL + "Update is not required.", "sleep(5)", "~STBFirmwareFile()"));
}

TEST_F(LegacyUpdaterTest, WaitsTheWholeTimeInSpiteOfASignal) {
    ASSERT_TRUE(waitAndRebootAreScripted());
    // sleep answers whole seconds, none when less than one was left.
    for (const int left : {3, 0}) {
        _scenario = {{"check", {{"status", 3}}}, {"interruptSleep", left}};
        EXPECT_THAT(run({}).out, EndsWith("Updater: Connect timeout\n"));
        EXPECT_THAT(calls(), Contains("sleep(5)").Times(2));
    }
}

TEST_F(LegacyUpdaterTest, ExtractsBlocksIntoTheCurrentDirectory) {
    _scenario["blocks"] = {{{"key", "2"}, {"name", "kernel"}, {"text", "kernel's bytes"}},
                           {{"key", "1"}, {"name", "missing/rootfs"}, {"text", "x"}}};
    const ProcessResult result = run({"http://s/a.bin", "-e", "-r", "-f"});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.out, "Updater: Starting updater for device 'SCRIPTED' from URL: http://s/a.bin\n"
                          "Updater: Extract requested\n"
                          "Updater: Extracting 'missing/rootfs' to 'missing/rootfs.bin' (1 bytes)\n"
                          "Updater: Extracting 'kernel' to 'kernel.bin' (14 bytes)\n");
    EXPECT_EQ(result.err, "Updater: ERROR: Error opening file for writing 'missing/rootfs.bin'\n");
    EXPECT_EQ(support::readFile(_folder.path() / "work/kernel.bin"), "kernel's bytes");
    EXPECT_THAT(calls(), Contains("getBlocks()").Times(1));
}

TEST_F(LegacyUpdaterTest, ExtractsALargeBlockInLittleMemory) {
#ifdef LUMO_SANITIZED
    GTEST_SKIP() << "a sanitizer's own memory hides the program's";
#endif
    const std::uintmax_t size = 64 * 1024 * 1024;
    const std::string bytes = _folder.file("bytes");
    support::writeFile(bytes, "x");
    _scenario["blocks"] = {{{"key", "1"}, {"name", "block"}, {"file", bytes}}};
    const ProcessResult small = run({"-e", "http://s/a.bin"});
    std::filesystem::resize_file(bytes, size);
    const ProcessResult large = run({"-e", "http://s/a.bin"});
    EXPECT_EQ(std::filesystem::file_size(_folder.path() / "work/block.bin"), size);
    EXPECT_LT(large.maxResidentKiB, small.maxResidentKiB + 8 * 1024);
}

TEST_F(LegacyUpdaterTest, InstallsWithoutAnyoneListening) {
    ASSERT_TRUE(waitAndRebootAreScripted());
    const std::string spool = _folder.file("spool");
    _scenario = {{"update", 2}, {"spool", spool}};
    run({"http://s/a.bin"});
    const Lines undisturbed = calls();
    ASSERT_THAT(undisturbed, Contains("sleep(5)"));
    for (const std::string script : {
             "exec \"$@\" >/dev/full 2>/dev/full",
             "exec \"$@\" >&-",
             "exec \"$@\" 2>&-",
             "exec \"$@\" <&- >&- 2>&-",
             // A pipe whose reader has left.
             "mkfifo pipe; exec 3<>pipe; exec 4>pipe; exec 3<&-; exec \"$@\" >&4 4>&-",
         }) {
        SCOPED_TRACE(script);
        const ProcessResult result = runFromShell(script, {"http://s/a.bin"});
        EXPECT_EQ(result.exitCode, 0);
        EXPECT_EQ(result.signal, 0);
        EXPECT_THAT(calls(), ElementsAreArray(undisturbed));
        EXPECT_EQ(support::readFile(spool), "") << "lines went into another file";
    }
}

TEST_F(LegacyUpdaterTest, ReportsACrashWithItsStack) {
    _scenario["crash"] = true;
    const ProcessResult result = run({"http://s/a.bin"});
    EXPECT_EQ(result.signal, SIGKILL);
    EXPECT_THAT(result.err, AllOf(StartsWith("Signal: Segmentation fault\n=============BACKTRACE BEGIN"),
                                  HasSubstr("UpdateFlow"), HasSubstr("liblumostb.so")));
}

} // namespace
