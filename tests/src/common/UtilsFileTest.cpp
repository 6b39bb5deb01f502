#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "src/common/Utils.h"
#include "tests/src/system/LogCapture.h"
#include "tests/support/TempDir.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::MatchesRegex;

int filesIn(const std::filesystem::path& folder) {
    return static_cast<int>(std::distance(std::filesystem::directory_iterator(folder), {}));
}

TEST(UtilsFile, TakesPathsApart) {
    for (const auto& [path, base, dir, extension] : {std::tuple{"/a/Movie.TS", "Movie.TS", "/a", "ts"},
                                                     {"/a/b/", "", "/a", ""},
                                                     {"/a.b/c", "c", "/a.b", "b/c"},
                                                     {"movie.", "movie.", ".", ""},
                                                     {".x", ".x", ".", "x"},
                                                     {"/", "", "/", ""},
                                                     {"", "", ".", ""}}) {
        EXPECT_EQ(Utils::baseName(path), base) << path;
        EXPECT_EQ(Utils::dirName(path), dir) << path;
        EXPECT_EQ(Utils::getFileExtension(path), extension) << path;
    }
}

TEST(UtilsFile, ExtensionNeedsANameBeforeIt) {
    EXPECT_TRUE(Utils::checkExtension("a.MKV", "mkv"));
    EXPECT_FALSE(Utils::checkExtension(".mkv", "mkv"));
    EXPECT_FALSE(Utils::checkExtension("amkv", "mkv"));
    EXPECT_FALSE(Utils::checkExtension("", ""));
}

TEST(UtilsFile, Md5IsTheStandardDigest) {
    EXPECT_EQ(Utils::calculateMd5("message digest"), "f96b697d7cb7938d525a2f31aaf161d0");
    EXPECT_EQ(Utils::calculateMd5("abc?", 3U), "900150983cd24fb0d6963f7d28e17f72");
}

TEST(UtilsFile, WritableFolderIsLeftAsItWas) {
    const support::TempDir folder;
    LogCapture::take();
    EXPECT_TRUE(Utils::testDirectoryWritable(folder.path()));
    EXPECT_TRUE(Utils::testDirectoryWritable(folder.path().string() + "/"));
    EXPECT_EQ(filesIn(folder.path()), 0);
    EXPECT_FALSE(Utils::testDirectoryWritable(""));
    EXPECT_THAT(LogCapture::take(), IsEmpty());
    EXPECT_FALSE(Utils::testDirectoryWritable("/no/such/folder"));
    EXPECT_THAT(LogCapture::take(),
                ElementsAre("4 src/common/Utils Cannot write test file for path: /no/such/folder"));
}

TEST(UtilsFile, KeepsTheIdentifierItMade) {
    const support::TempDir folder;
    const std::string path = folder.file("id");
    EXPECT_EQ(Utils::getIdFromFile(path, true), "");
    EXPECT_FALSE(Utils::isFileExists(path));
    const std::string id = Utils::getIdFromFile(path, false);
    EXPECT_THAT(id, MatchesRegex("[0-9]+-[0-9]+"));
    EXPECT_EQ(Utils::getIdFromFile(path, true), id);
    EXPECT_NE(Utils::getIdFromFile(folder.file("other"), false), id);
    EXPECT_EQ(filesIn(folder.path()), 2);
    EXPECT_NE(Utils::getIdFromFile("/no/such/folder/id", false), "");
}

TEST(UtilsFile, FileThatOpensDecidesAboutTheIdentifier) {
    const support::TempDir folder;
    for (const auto& [text, id] : {std::pair<std::string, std::string>{"", ""},
                                   {"\n ab12 cd\n", "ab12"},
                                   {std::string(5000, 'x'), std::string(4096, 'x')}}) {
        support::writeFile(folder.file("id"), text);
        EXPECT_EQ(Utils::getIdFromFile(folder.file("id"), false), id);
        EXPECT_EQ(support::readFile(folder.file("id")), text);
    }
}

TEST(UtilsClock, OffsetCountsWholeHoursTowardsZero) {
    for (const auto& [zone, hours] :
         {std::pair{"AAA-5:45", 5}, {"BBB3:30", -3}, {"CCC0:59", 0}, {"UTC0", 0}}) {
        setenv("TZ", zone, 1);
        EXPECT_EQ(Utils::getCurrentTZOffset(), hours) << zone;
    }
}

} // namespace
