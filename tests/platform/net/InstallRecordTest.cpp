#include "platform/linux/firmware/InstallRecord.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/LogCapture.h"

namespace lumo::tests {

using State = InstallRecord::State;

TEST(InstallRecordTest, ComesBackAsItWasWrittenAndIsUnfinishedWhereItCannotBeRead) {
    const support::TempDir folder;
    support::LogCapture log;
    log.use({});
    const std::string stateDir = folder.file("state");
    EXPECT_EQ(readInstallRecord(stateDir).state, State::None);
    writeInstallRecord(stateDir, {State::Begun, "2.0~rc1+x", "1.0"});
    EXPECT_EQ(readInstallRecord(stateDir).version, "2.0~rc1+x");
    EXPECT_EQ(readInstallRecord(stateDir).previous, "1.0");
    for (const std::string content :
         {"", "{", "[]", "null", R"({"state": "complete"})", R"({"state": "complete", "version": ""})",
          R"({"state": "complete", "version": 1})", R"({"state": "done", "version": "1.0"})",
          R"({"state": "begun", "version": "1.0", "previous": "1\t0"})",
          R"({"state": "begun", "version": "1 0"})"}) {
        support::writeFile(stateDir + "/install.json", content);
        const InstallRecord record = readInstallRecord(stateDir);
        EXPECT_EQ(record.state, State::Begun) << content;
        EXPECT_EQ(record.version + record.previous + record.installedVersion(), "") << content;
        EXPECT_THAT(log.takeProblem(), testing::HasSubstr("cannot be used, taking the installation as "));
    }
}

TEST(InstallRecordTest, KnowsAStepBack) {
    const struct {
        InstallRecord record;
        const char* package;
        bool back;
    } cases[] = {
        {{State::None, "", ""}, "1.0", false},
        {{State::Complete, "2.0", ""}, "1.9", true},
        {{State::Complete, "2.9", ""}, "2.10", false},
        {{State::Complete, "2.09", ""}, "2.1", false}, // leading zeros make a fraction
        {{State::AfterScripts, "2.0", ""}, "1.9", true},
        {{State::Begun, "1.5", "2.0"}, "1.5", false}, // may be finished
        {{State::Begun, "1.5", "2.0"}, "1.9", true},
        {{State::Begun, "1.5", "2.0"}, "2.0", false},
        {{State::Begun, "3.0", ""}, "1.0", false}, // nothing whole to fall behind
    };

    for (const auto& entry : cases) {
        EXPECT_EQ(entry.record.wouldDowngradeTo(entry.package), entry.back)
            << entry.record.version << " " << entry.record.previous << " " << entry.package;
    }
}

} // namespace lumo::tests
