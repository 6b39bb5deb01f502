#include "platform/linux/firmware/InstallRecord.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>

#include "tests/support/LogCapture.h"

namespace lumo::tests {

namespace {

using State = InstallRecord::State;

class InstallRecordTest : public testing::Test {
protected:
    InstallRecordTest() { log.use({}); }

    support::TempDir folder;
    support::LogCapture log;
    const std::string stateDir = folder.file("state");
};

} // namespace

TEST_F(InstallRecordTest, ComesBackAsItWasWritten) {
    EXPECT_EQ(readInstallRecord(stateDir).state, State::None);
    const InstallRecord records[] = {{State::Begun, "2.0", "1.0"}, {State::Begun, "", ""},
                                     {State::Begun, "2.0", ""},    {State::AfterScripts, "2.0~rc1+x", ""},
                                     {State::Complete, "2.0", ""}, {State::None, "", ""}};
    for (const InstallRecord& record : records) {
        writeInstallRecord(stateDir, record);
        const InstallRecord read = readInstallRecord(stateDir);
        EXPECT_EQ(read.state, record.state);
        EXPECT_EQ(read.version, record.version);
        EXPECT_EQ(read.previous, record.previous);
    }
}

TEST_F(InstallRecordTest, TakesWhatItCannotReadAsUnfinished) {
    std::filesystem::create_directory(stateDir);
    const std::string file = stateDir + "/install.json";
    for (const std::string content :
         {"", "{", "[]", "null", R"({"state": "complete"})", R"({"state": "complete", "version": ""})",
          R"({"state": "complete", "version": 1})", R"({"state": "done", "version": "1.0"})",
          R"({"state": "begun", "version": "1.0", "previous": 1})",
          R"({"state": "begun", "version": "1.0", "previous": "1\t0"})",
          R"({"state": "begun", "version": "1 0"})"}) {
        support::writeFile(file, content);
        const InstallRecord record = readInstallRecord(stateDir);
        EXPECT_EQ(record.state, State::Begun) << content;
        EXPECT_EQ(record.version + record.previous + record.installedVersion(), "") << content;
        EXPECT_TRUE(record.isUnfinished());
        EXPECT_EQ(log.takeProblem().find("warning " + file + " cannot be used, taking the installation as "),
                  0u);
    }
}

TEST_F(InstallRecordTest, KnowsAStepBack) {
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
