#include "platform/linux/device/Files.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <functional>
#include <system_error>

#include "tests/support/TempDir.h"

namespace lumo {
namespace {

namespace fs = std::filesystem;
using support::readFile;
using support::writeFile;

class FilesTest : public testing::Test {
protected:
    static int errorOf(const std::function<void()>& action) {
        try {
            action();
        } catch (const std::system_error& error) {
            return error.code().value();
        }
        return 0;
    }

    fs::perms modeOf(const std::string& name) const { return fs::status(file(name)).permissions(); }

    std::string file(const std::string& name) const { return _folder.file(name); }

private:
    support::TempDir _folder;
};

TEST_F(FilesTest, CreatesMissingFoldersForTheOwnerAlone) {
    for (const char* name : {"a/b/c", "a", "d/", "e//f/"}) {
        ensureDirectory(file(name));
        EXPECT_EQ(modeOf(name), fs::perms::owner_all) << name;
    }
    writeFile(file("file"), "x");
    EXPECT_EQ(errorOf([&] { ensureDirectory(file("file/below")); }), ENOTDIR);
}

TEST_F(FilesTest, ReplacesAFileAsAWholeAndALinkButNotItsTarget) {
    const std::string bytes = std::string("new\0content", 11) + std::string(100000, 'x');
    writeFile(file("record"), "old");
    fs::permissions(file("record"), fs::perms::all);
    fs::create_symlink(file("record"), file("link"));
    writeFileDurably(file("link"), bytes);
    EXPECT_FALSE(fs::is_symlink(file("link")));
    EXPECT_EQ(readFile(file("record")), "old");
    writeFileDurably(file("record"), bytes);
    EXPECT_EQ(readFile(file("record")), bytes);
    EXPECT_EQ(modeOf("record"), fs::perms::owner_read | fs::perms::owner_write);

    fs::create_directories(file("sub/taken"));
    EXPECT_EQ(errorOf([&] { writeFileDurably(file("sub/taken"), "x"); }), EISDIR);
    const fs::directory_iterator left(file("sub"));
    EXPECT_EQ(std::distance(begin(left), end(left)), 1) << "leaves a temporary file";
    EXPECT_EQ(errorOf([&] { writeFileDurably(file("missing/record"), "x"); }), ENOENT);
}

TEST_F(FilesTest, ReadsOnlySmallRegularFilesAndWaitsForNone) {
    const std::string bytes(40000, 'y');
    writeFile(file("file"), bytes);
    EXPECT_EQ(readSmallFile(file("file"), 40000), bytes);
    EXPECT_EQ(errorOf([&] { readSmallFile(file("file"), 39999); }), EFBIG);
    EXPECT_EQ(readSmallFile(file("missing"), 10), std::nullopt);
    EXPECT_THAT(readSmallFile("/proc/self/stat", 4096).value(), testing::EndsWith("\n"));
    ASSERT_EQ(::mkfifo(file("pipe").c_str(), 0600), 0);
    EXPECT_EQ(errorOf([&] { readSmallFile(file("pipe"), 10); }), EINVAL);
    EXPECT_EQ(errorOf([&] { readSmallFile(file(""), 10); }), EISDIR);
    EXPECT_EQ(errorOf([&] { readSmallFile("/dev/zero", 10); }), EINVAL);
}

TEST_F(FilesTest, NeverTakesAStandardDescriptor) {
    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        ::close(STDERR_FILENO);
        const UniqueFd fd = openFile(file("flash"), O_WRONLY | O_CREAT, 0600);
        const bool closedOnExec = (::fcntl(fd.get(), F_GETFD) & FD_CLOEXEC) != 0;
        const bool stillClosed = ::fcntl(STDERR_FILENO, F_GETFD) < 0;
        ::_exit(fd.get() > STDERR_FILENO && closedOnExec && stillClosed ? 0 : 1);
    }
    int status = -1;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
}

} // namespace
} // namespace lumo
