// The whole program on a simulated device, but for sleep(3) and reboot(2), which only take notes.

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/reboot.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <filesystem>
#include <functional>

#include "tests/support/PackageBuilder.h"
#include "tests/support/TempDir.h"
#include "utils/updater/LinuxSystemActions.h"

int updaterMain(int argc, char** argv); // the program's main()

namespace {

std::string notes;         // the file that takes them
int interruptedAfter = -1; // what the next sleep answers, as if a signal had come
bool crashInSleep = false;

void note(const std::string& line) {
    const int file = open(notes.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
    EXPECT_EQ(write(file, line.data(), line.size()), static_cast<ssize_t>(line.size()));
    close(file);
}

} // namespace

// The linker finds these before those of libc.
unsigned int sleep(unsigned int seconds) {
    note("sleep " + std::to_string(seconds) + "\n");
    if (crashInSleep) {
        raise(SIGSEGV);
    }
    if (interruptedAfter < 0) {
        return 0;
    }
    errno = EINTR;
    return static_cast<unsigned int>(std::exchange(interruptedAfter, -1));
}

int reboot(int command) noexcept {
    note("reboot " + std::to_string(command) + "\n");
    return -1;
}

namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::StartsWith;

class UpdaterTest : public testing::Test {
protected:
    UpdaterTest() {
        crashInSleep = false;
        notes = folder.file("notes");
        support::writeFile(notes, "");
        configure("none");
        setenv("LUMO_PLATFORM", folder.file("platform.json").c_str(), 1);
        support::writeFile(
            folder.file("package.bin"),
            support::PackageBuilder().device("BOX").version("2.0").block("kernel", kernel).build());
    }

    void configure(const std::string& display) const {
        support::writeFile(folder.file("platform.json"), R"({
            "device": { "id": "BOX", "stateDir": ")" + folder.file("state") +
                                                             R"(" },
            "updates": { "server": "http://127.0.0.1:1", "allowUnsigned": true },
            "flash": { "kernel": { "file": "kernel.img", "size": 1048576 } },
            "display": { "backend": ")" + display + R"(" },
            "log": { "file": ")" + folder.file("log") + R"(" } })");
    }

    // Runs it in a process of its own, once its streams are as the case wants them: standard output and error
    // are files until then. The signal that ended it, 0 for none.
    int run(
        const std::string& option, const std::function<void()>& prepare = [] {}) {
        const pid_t child = fork();
        if (child == 0) {
            dup2(open(folder.file("out").c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600), 1);
            dup2(open(folder.file("err").c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600), 2);
            prepare();
            std::string arguments[] = {"updater", option, url};
            char* argv[] = {arguments[0].data(), arguments[1].data(), arguments[2].data(), nullptr};
            std::exit(updaterMain(3, argv));
        }
        int status = 0;
        waitpid(child, &status, 0);
        EXPECT_EQ(WEXITSTATUS(status), 0);
        return WIFSIGNALED(status) ? WTERMSIG(status) : 0;
    }

    std::string flash() const { return support::readFile(folder.file("state/kernel.img")); }

    const support::TempDir folder;
    const std::string url = "file://" + folder.file("package.bin");
    const std::string kernel = support::noise(300000);
};

TEST_F(UpdaterTest, InstallsAndReboots) {
    configure("headless");
    EXPECT_EQ(run("-r"), 0);
    EXPECT_THAT(support::readFile(folder.file("out")),
                "Updater: Starting updater for device 'BOX' from URL: " + url +
                    "\nUpdater: Update finished, result: Update was successfully installed\nUpdater: "
                    "Rebooting... \n");
    std::string expected;
    for (int i = 0; i < 11 + 1 + 1; ++i) {
        expected += "sleep 1\n";
    }
    EXPECT_EQ(support::readFile(notes), expected + "reboot " + std::to_string(RB_AUTOBOOT) + "\n");
    EXPECT_EQ(flash().substr(0, kernel.size()), kernel);
}

TEST_F(UpdaterTest, InstallsWithoutAnyoneListening) {
    const auto closed = [](std::initializer_list<int> streams) {
        return [streams = std::vector(streams)] { std::ranges::for_each(streams, close); };
    };
    const auto full = [] {
        dup2(open("/dev/full", O_WRONLY | O_CLOEXEC), 1);
        dup2(1, 2);
    };
    const auto readerHasLeft = [] {
        int pipe[2];
        EXPECT_EQ(pipe2(pipe, O_CLOEXEC), 0);
        dup2(pipe[1], 1);
        close(pipe[0]);
    };
    for (const std::function<void()>& streams : std::vector<std::function<void()>>{
             full, closed({1}), closed({2}), closed({0, 1, 2}), readerHasLeft}) {
        std::filesystem::remove_all(folder.file("state"));
        support::writeFile(notes, "");
        EXPECT_EQ(run("-f", streams), 0);
        EXPECT_EQ(support::readFile(notes), "sleep 5\n");
        EXPECT_TRUE(flash().starts_with(kernel)) << "lines went into another file";
    }
}

TEST_F(UpdaterTest, ReportsACrashWithItsStack) {
    crashInSleep = true;
    EXPECT_EQ(run("-f"), SIGKILL);
    EXPECT_THAT(support::readFile(folder.file("err")),
                AllOf(StartsWith("Signal: Segmentation fault\n=============BACKTRACE BEGIN"),
                      HasSubstr("UpdateFlow")));
}

TEST_F(UpdaterTest, WaitsTheWholeTimeInSpiteOfASignal) {
    // sleep answers whole seconds, none when less than one was left.
    for (const int left : {3, 0}) {
        support::writeFile(notes, "");
        interruptedAfter = left;
        updater::LinuxSystemActions().waitSeconds(5);
        EXPECT_EQ(support::readFile(notes), "sleep 5\nsleep 5\n");
    }
}

} // namespace
