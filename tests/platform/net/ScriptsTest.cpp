#include "platform/linux/firmware/Scripts.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "platform/linux/device/UniqueFd.h"
#include "tests/support/LogCapture.h"

namespace lumo::tests {

namespace {

using Lines = std::vector<std::string>;

class ScriptsTest : public testing::Test {
protected:
    ScriptsTest() {
        log.use({});
        mkfifo(fifo.c_str(), 0600);
    }

    int run(const std::string& script, int timeoutSeconds = 60) {
        return runScript(script, {"BOX", "2.0", "s", timeoutSeconds});
    }

    int runShell(const std::string& script, int timeoutSeconds = 60) {
        return run("#!/bin/sh\n" + script, timeoutSeconds);
    }

    // What the scripts printed since the last call, as the log shows it.
    Lines output() {
        Lines lines;
        const Lines all = log.messages();
        for (; _seen < all.size(); ++_seen) {
            if (all[_seen].starts_with("notice s: ")) {
                lines.push_back(all[_seen].substr(10));
            }
        }
        return lines;
    }

    // Returns when nobody holds the named pipe open for writing any more.
    static void waitForWritersOf(int reader) {
        fcntl(reader, F_SETFL, 0);
        char byte;
        EXPECT_EQ(read(reader, &byte, 1), 0);
    }

    support::TempDir folder;
    support::LogCapture log;
    const std::string fifo = folder.file("fifo");

private:
    std::size_t _seen = 0;
};

} // namespace

TEST_F(ScriptsTest, AnswersHowItEndedAndLogsWhatItPrinted) {
    const struct {
        std::string script;
        int result;
        Lines output;
    } cases[] = {
        {"#!/bin/sh\necho out; echo err >&2; exit 3\n", 3, {"out", "err"}},
        {"#!/bin/sh\nprintf 'a\\n\\nb\\033[2J'", 0, {"a", "", "b\\x1B[2J"}},
        {"#!/bin/sh\nkill -TERM $$", -15, {}},
        {"#!/bin/sh\nhead -c 1400 /dev/zero | tr '\\0' x",
         0,
         {std::string(1000, 'x'), std::string(400, 'x')}},
        {"#!/bin/sh\n" + std::string(300'000, '#') + "\nexit 7", 7, {}},
        {"#!/bin/cat\n", 0, {"#!/bin/cat"}},
        {"echo no interpreter named", 127, {"cannot be started: not a program, it has no #! line"}},
        {"", 127, {"cannot be started: not a program, it has no #! line"}},
        {"#!/no/such/interpreter\n", 127, {"cannot be started: its interpreter is missing"}},
        {"#!/dev/null\n", 127, {"cannot be started: it may not be executed"}},
    };

    for (const auto& entry : cases) {
        EXPECT_EQ(run(entry.script), entry.result) << entry.script.substr(0, 100);
        EXPECT_EQ(output(), entry.output) << entry.script.substr(0, 100);
    }
    EXPECT_EQ(runShell("seq 3000; exit 1"), 1);
    EXPECT_EQ(output().back(), "2000");
    EXPECT_EQ(log.takeProblem(), "warning s: prints more than 2000 lines, the rest is dropped");
}

TEST_F(ScriptsTest, StartsFromACleanSlate) {
    const UniqueFd low(fcntl(STDIN_FILENO, F_DUPFD, 50));
    const UniqueFd high(fcntl(STDIN_FILENO, F_DUPFD, 1000));
    ASSERT_TRUE(low && high);
    const auto action = signal(SIGPIPE, SIG_IGN);
    sigset_t blocked;
    sigset_t before;
    sigemptyset(&blocked);
    sigaddset(&blocked, SIGTERM);
    sigprocmask(SIG_BLOCK, &blocked, &before);
    setenv("SECRET", "1", 1);
    runShell("tr '\\0' '\\n' < /proc/$$/environ; pwd; read line || echo no input\n"
             "for fd in /proc/$$/fd/*; do [ ${fd##*/} -lt 11 ] || echo inherits ${fd##*/}; done\n"
             "umask; grep -E 'Sig(Blk|Ign)' /proc/$$/status | tr '\\t' ' '\n"
             "[ \"$(cut -d' ' -f6 /proc/$$/stat)\" = $$ ] && echo away from the terminal");
    sigprocmask(SIG_SETMASK, &before, nullptr);
    signal(SIGPIPE, action);
    EXPECT_EQ(output(), (Lines{"PATH=/usr/sbin:/usr/bin:/sbin:/bin", "HOME=/", "LUMO_DEVICE_ID=BOX",
                               "LUMO_VERSION=2.0", "/", "no input", "0022", "SigBlk: 0000000000000000",
                               "SigIgn: 0000000000000000", "away from the terminal"}));
}

TEST_F(ScriptsTest, KillsAllOfAScriptWhenItsTimeIsOver) {
    const UniqueFd reader(open(fifo.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    EXPECT_EQ(runShell("exec 9>" + fifo + "\nsleep 1000 &\necho begun\nsleep 1000", 1), -9);
    EXPECT_EQ(output(), Lines{"begun"});
    EXPECT_EQ(log.takeProblem(), "warning s: killed, it ran longer than its 1 s");
    waitForWritersOf(reader.get());
}

TEST_F(ScriptsTest, IsNotKeptByWhatAScriptLeavesRunning) {
    const UniqueFd reader(open(fifo.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    // Silent, and noisy until nobody listens any more.
    EXPECT_EQ(runShell("sleep 1000 &\necho $!", 600), 0);
    EXPECT_EQ(kill(std::stoi(output().at(0)), SIGKILL), 0);
    EXPECT_EQ(runShell("yes 9>" + fifo + " &\nexit 4", 600), 4);
    waitForWritersOf(reader.get());
    log.takeProblems(); // of yes, as many lines as it could print
}

TEST_F(ScriptsTest, LearnsTheResultEvenWhereChildrenAreIgnored) {
    const auto before = signal(SIGCHLD, SIG_IGN);
    EXPECT_EQ(runShell("exit 5"), 5);
    EXPECT_EQ(signal(SIGCHLD, before), SIG_IGN) << "and leaves that as it was";
}

TEST_F(ScriptsTest, AScriptDiesWithTheUpdater) {
    const pid_t updater = fork();
    if (updater == 0) {
        runShell("exec 9>" + fifo + "\nexec sleep 1000");
        _exit(0);
    }
    const UniqueFd reader(open(fifo.c_str(), O_RDONLY | O_CLOEXEC)); // waits for the script
    kill(updater, SIGKILL);
    waitpid(updater, nullptr, 0);
    waitForWritersOf(reader.get());
}

} // namespace lumo::tests
