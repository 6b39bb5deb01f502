#include "utils/updater/Command.h"

#include <gmock/gmock.h>

#include "tests/fakes/CommandLine.h"
#include "tests/fakes/FakeFirmwareService.h"
#include "tests/fakes/FakeScreen.h"
#include "tests/fakes/FakeSystemActions.h"
#include "tests/fakes/JournalConsole.h"

namespace {

using fakes::CommandLine;
using fakes::Journal;
using testing::Contains;
using testing::ElementsAreArray;

const std::string VERSIONS = "out: Updater: Server version: server-2 Local version: local-1";
const std::string URL = "http://s/%s.bin";

Journal operator+(Journal left, const Journal& right) {
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

class CommandTest : public testing::Test {
protected:
    void run(CommandLine&& line) {
        updater::runCommand(line.argc(), line.argv(),
                            {_service, _actions, _console.console(),
                             [this] { return std::make_shared<fakes::FakeScreen>(_journal); }});
    }

    // What a run with URL does up to the end of a successful open.
    static Journal opened() {
        return {"screen up",
                "device id",
                "out: Updater: Starting updater for device 'BOX' from URL: " + URL,
                "package " + URL,
                "show: Downloading update package",
                "open 30",
                "open progress"};
    }

    static Journal released() { return {"package released", "screen down"}; }

    Journal _journal;
    fakes::JournalConsole _console{_journal};
    fakes::FakeSystemActions _actions{_journal};
    fakes::FakeFirmwareService _service{_journal};
};

TEST_F(CommandTest, ActsOnItsOptions) {
    run({"-e", URL, "-i"});
    ASSERT_EQ(_journal.size(), 1 + 14 + 1u);
    EXPECT_EQ(_journal.front(), "device id");
    EXPECT_EQ(_journal.back(), "err: Updater: ERROR: -i and -e options can't be specified together");
    _journal.clear();
    run({"-i", "-e", "-h"});
    EXPECT_EQ(_journal.size(), 1 + 14u) << "the help, once";
    _journal.clear();
    run({"-f", ""});
    EXPECT_EQ(_journal.at(2), "location '' ''") << "no check for an empty URL";
    EXPECT_THAT(_journal, Contains("update, forced"));
}

struct CheckRow {
    int status;
    bool force;
    bool goesOn;
    Journal events;
};

TEST_F(CommandTest, FollowsTheCheck) {
    const CheckRow rows[] = {
        {0, false, false, {VERSIONS, "out: Updater: Update not needed"}},
        {0, true, true, {VERSIONS}},
        {1, false, true, {VERSIONS, "out: Updater: Have new updates at the server"}},
        {1, true, true, {VERSIONS, "out: Updater: Have new updates at the server"}},
        {2,
         true,
         false,
         {"out: Updater: No such file", "show: No avaliable firmware files found on update server.",
          "wait 5"}},
        {3,
         true,
         false,
         {"show: Unable to connect to update server.", "wait 5", "out: Updater: Connect timeout"}},
        {4,
         true,
         false,
         {"err: Updater: ERROR: Error while checking for updates",
          "show: Error while checking for updates."}},
        {5, false, true, {}},
        {-1, false, true, {}},
    };
    for (const CheckRow& row : rows) {
        SCOPED_TRACE("status " + std::to_string(row.status) + (row.force ? ", forced" : ""));
        _journal.clear();
        _service.status = row.status;
        // In information mode the run ends at the opened package.
        run({"-i", "-t", "beta", "-c", "3", row.force ? "-f" : "-i"});
        Journal expected = Journal{"screen up", "device id", "check 'beta' '' 3"} + row.events;
        if (row.goesOn) {
            expected = expected + Journal{"location 'beta' ''",
                                          "out: Updater: Starting updater for device 'BOX' from URL: "
                                          "http://s/default.bin",
                                          "package http://s/default.bin",
                                          "show: Downloading update package",
                                          "open 30",
                                          "open progress",
                                          "package released"};
        }
        EXPECT_THAT(_journal, ElementsAreArray(expected + Journal{"screen down"}));
    }
}

TEST_F(CommandTest, NamesWhyAPackageDoesNotOpen) {
    const std::pair<int, const char*> rows[] = {
        {1, "err: Updater: WARNING: no valid firmware found at '"},
        {2, "err: Updater: WARNING: connect timeout '"},
        {3, "err: Updater: WARNING: no valid firmware found at '"},
        {4, "err: Updater: WARNING: no valid firmware found at '"},
        {5, "err: Updater: WARNING: firmware is broken '"},
        {6, "err: Updater: WARNING: firmware is broken '"},
        {7, nullptr},
        {-1, nullptr},
    };
    for (const auto& [result, warning] : rows) {
        SCOPED_TRACE(result);
        _journal.clear();
        _service.openResult = result;
        run({URL, "-r"});
        const Journal lines = warning == nullptr ? Journal{} : Journal{warning + URL + "'"};
        EXPECT_THAT(_journal, ElementsAreArray(opened() + lines + released()));
    }
}

struct ResultRow {
    int result;
    bool reboot;
    Journal events;
};

TEST_F(CommandTest, ShowsEachResultForItsTime) {
    const ResultRow rows[] = {
        {0, true, {"show: Update is not required.", "wait 5"}},
        {1, true, {"show: Another process is\\ninstalling update now.", "wait 5"}},
        {2, false, {"show: Update was successfully installed.", "wait 5"}},
        {2,
         true,
         {"countdown 10: Update was successfully installed.", "out: Updater: Rebooting... ", "flush err",
          "flush out", "wait 1", "reboot"}},
        {3, true, {"show: Wrong update package format.", "wait 5"}},
        {6, true, {"show: Update package size is larger then flash size.", "wait 2"}},
        {7, true, {"show: MTD error on update."}},
        {8, true, {}},
        {-1, true, {}},
    };
    for (const ResultRow& row : rows) {
        SCOPED_TRACE("result " + std::to_string(row.result));
        _journal.clear();
        _service.updateResult = row.result;
        run({row.reboot ? "-r" : "-t", URL, URL});
        EXPECT_THAT(_journal, ElementsAreArray(opened() +
                                               Journal{"show: Installing update.\\nDo not turn off!",
                                                       "update", "update progress",
                                                       "out: Updater: Update finished, result: result %d " +
                                                           std::to_string(row.result)} +
                                               row.events + released()));
    }
}

TEST_F(CommandTest, KeepsWarningOfBrokenFlashForever) {
    for (const int result : {4, 5}) {
        _journal.clear();
        _service.updateResult = result;
        _actions.waitsLeft = 50;
        EXPECT_THROW(run({"-r", URL}), fakes::FakeSystemActions::NoMoreWaits);
        EXPECT_THAT(_journal,
                    Contains("show: Firmware update error.\\nDevice may not operate any more.").Times(1));
        EXPECT_THAT(_journal, Contains("wait 1").Times(50));
    }
}

} // namespace
