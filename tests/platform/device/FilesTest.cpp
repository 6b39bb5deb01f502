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
#include <vector>

#include "tests/support/TempDir.h"

namespace lumo {
namespace {

namespace fs = std::filesystem;
using support::readFile;
using support::TempDir;
using support::writeFile;

mode_t modeOf(const std::string& path) {
    struct stat status {};

    EXPECT_EQ(::stat(path.c_str(), &status), 0) << path;
    return status.st_mode & 07777;
}

int errorOf(const std::function<void()>& action) {
    try {
        action();
    } catch (const std::system_error& error) {
        return error.code().value();
    }
    return 0;
}

TEST(FilesTest, CreatesMissingFoldersForTheOwnerAlone) {
    const TempDir folder;
    for (const char* name : {"a/b/c", "a", "d/", "e//f/"}) {
        ensureDirectory(folder.file(name));
        EXPECT_EQ(modeOf(folder.file(name)), 0700u) << name;
    }
    writeFile(folder.file("file"), "x");
    EXPECT_EQ(errorOf([&] { ensureDirectory(folder.file("file/below")); }), ENOTDIR);
}

TEST(FilesTest, ReplacesAFileAsAWholeAndALinkButNotItsTarget) {
    const TempDir folder;
    const std::string bytes = std::string("new\0content", 11) + std::string(100000, 'x');
    writeFile(folder.file("record"), "old");
    fs::permissions(folder.file("record"), fs::perms::all);
    fs::create_symlink(folder.file("record"), folder.file("link"));
    writeFileDurably(folder.file("link"), bytes);
    EXPECT_FALSE(fs::is_symlink(folder.file("link")));
    EXPECT_EQ(readFile(folder.file("record")), "old");
    writeFileDurably(folder.file("record"), bytes);
    EXPECT_EQ(readFile(folder.file("record")), bytes);
    EXPECT_EQ(modeOf(folder.file("record")), 0600u);
}

TEST(FilesTest, LeavesNoTemporaryFileWhenReplacingFails) {
    const TempDir folder;
    fs::create_directory(folder.file("taken"));
    EXPECT_EQ(errorOf([&] { writeFileDurably(folder.file("taken"), "x"); }), EISDIR);
    const std::vector<fs::path> left(fs::directory_iterator(folder.path()), fs::directory_iterator());
    EXPECT_EQ(left.size(), 1u);
    EXPECT_EQ(errorOf([&] { writeFileDurably(folder.file("missing/record"), "x"); }), ENOENT);
}

TEST(FilesTest, ReadsUpToTheLimitAndNotBeyond) {
    const TempDir folder;
    const std::string bytes(40000, 'y');
    writeFile(folder.file("file"), bytes);
    EXPECT_EQ(readSmallFile(folder.file("file"), 40000), bytes);
    EXPECT_EQ(errorOf([&] { readSmallFile(folder.file("file"), 39999); }), EFBIG);
    EXPECT_EQ(readSmallFile(folder.file("missing"), 10), std::nullopt);
    EXPECT_THAT(readSmallFile("/proc/self/stat", 4096).value(), ::testing::EndsWith("\n"));
}

TEST(FilesTest, ReadsOnlyRegularFilesAndWaitsForNone) {
    const TempDir folder;
    ASSERT_EQ(::mkfifo(folder.file("pipe").c_str(), 0600), 0);
    EXPECT_EQ(errorOf([&] { readSmallFile(folder.file("pipe"), 10); }), EINVAL);
    EXPECT_EQ(errorOf([&] { readSmallFile(folder.path().string(), 10); }), EISDIR);
    EXPECT_EQ(errorOf([&] { readSmallFile("/dev/zero", 10); }), EINVAL);
}

TEST(FilesTest, NeverTakesAStandardDescriptor) {
    const TempDir folder;
    const std::string path = folder.file("flash");
    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        ::close(STDERR_FILENO);
        const UniqueFd fd = openFile(path, O_WRONLY | O_CREAT, 0600);
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
