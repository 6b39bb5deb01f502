#include "utils/updater/BlockExtraction.h"

#include <gmock/gmock.h>
#include <sys/mman.h>
#include <unistd.h>

#include <filesystem>

#include "tests/fakes/JournalConsole.h"
#include "tests/support/TempDir.h"

namespace {

using fakes::Journal;
using testing::ElementsAre;
namespace fs = std::filesystem;

class BlockExtractionTest : public testing::Test {
protected:
    BlockExtractionTest() : _home(fs::current_path()) { fs::current_path(_folder.path()); }

    ~BlockExtractionTest() override { fs::current_path(_home); }

    void add(const std::string& key, const std::string& name, const std::string& bytes) {
        _bytes.push_back(std::make_unique<std::string>(bytes));
        addMemory(key, name, _bytes.back()->data(), bytes.size());
    }

    void addMemory(const std::string& key, const std::string& name, const void* data, std::size_t size) {
        _blocks[key] = {
            name, static_cast<const unsigned char*>(data), static_cast<std::uint32_t>(size), 0, 0, 0, 0};
    }

    void extract() { updater::extractBlocks(_blocks, _console.console()); }

    fs::path _home;
    support::TempDir _folder;
    std::vector<std::unique_ptr<std::string>> _bytes;
    std::map<std::string, STBFirmwareFile::Block> _blocks;
    Journal _journal;
    fakes::JournalConsole _console{_journal};
};

TEST_F(BlockExtractionTest, WritesBlocksInOrderOfTheirKeys) {
    support::writeFile("kernel.bin", "something longer that was there before");
    add("b", "alpha", std::string("line\r\n\0end", 10));
    add("\xC3", "last", "x");
    add("B", "kernel", "new");
    support::writeFile("empty.bin", "old");
    addMemory("A", "empty", nullptr, 0);
    extract();
    EXPECT_THAT(_journal, ElementsAre("out: Updater: Extracting 'empty' to 'empty.bin' (0 bytes)",
                                      "out: Updater: Extracting 'kernel' to 'kernel.bin' (3 bytes)",
                                      "out: Updater: Extracting 'alpha' to 'alpha.bin' (10 bytes)",
                                      "out: Updater: Extracting 'last' to 'last.bin' (1 bytes)"));
    EXPECT_EQ(fs::file_size("empty.bin"), 0u);
    EXPECT_EQ(support::readFile("kernel.bin"), "new");
    EXPECT_EQ(support::readFile("alpha.bin"), std::string("line\r\n\0end", 10));
}

TEST_F(BlockExtractionTest, GoesOnAfterABlockThatCannotBeSaved) {
    fs::create_directory("folder.bin");
    // Small, one that fails only when flushed, and large, one that fails in the middle.
    fs::create_symlink("/dev/full", "small.bin");
    fs::create_symlink("/dev/full", "large.bin");
    add("1", "folder", "a");
    add("2", "no/such", "b");
    add("3", "small", "c");
    add("4", "large", std::string(3 * 1024 * 1024, 'd'));
    add("5", "good", "e");
    extract();
    EXPECT_THAT(_journal, ElementsAre("out: Updater: Extracting 'folder' to 'folder.bin' (1 bytes)",
                                      "err: Updater: ERROR: Error opening file for writing 'folder.bin'",
                                      "out: Updater: Extracting 'no/such' to 'no/such.bin' (1 bytes)",
                                      "err: Updater: ERROR: Error opening file for writing 'no/such.bin'",
                                      "out: Updater: Extracting 'small' to 'small.bin' (1 bytes)",
                                      "err: Updater: ERROR: Error while saving 'small.bin'",
                                      "out: Updater: Extracting 'large' to 'large.bin' (3145728 bytes)",
                                      "err: Updater: ERROR: Error while saving 'large.bin'",
                                      "out: Updater: Extracting 'good' to 'good.bin' (1 bytes)"));
    EXPECT_FALSE(fs::is_symlink("small.bin")) << "a file that could not be saved is removed";
    EXPECT_FALSE(fs::is_symlink("large.bin"));
    EXPECT_TRUE(fs::is_directory("folder.bin"));
    EXPECT_EQ(support::readFile("good.bin"), "e");
    EXPECT_TRUE(fs::exists("/dev/full"));
}

TEST_F(BlockExtractionTest, WritesThroughNobodysLinkInASharedFolder) {
    support::writeFile("precious", "keep me");
    fs::create_directory("shared");
    fs::permissions("shared", fs::perms::all | fs::perms::sticky_bit);
    fs::create_symlink("../precious", "shared/linked.bin");
    support::writeFile("shared/there.bin", "old");
    add("1", "shared/linked", "a");
    add("2", "shared/there", "b");
    extract();
    EXPECT_EQ(support::readFile("precious"), "keep me");
    EXPECT_EQ(support::readFile("shared/linked.bin") + support::readFile("shared/there.bin"), "ab");
}

TEST_F(BlockExtractionTest, LeavesTheBlocksBytesAsTheyAre) {
    // Private memory that was written to, several windows long, beginning and ending within a page.
    std::string bytes(5 * 1024 * 1024 + 4321, '\0');
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        bytes[i] = static_cast<char>(i * 2654435761u >> 13);
    }
    const std::string before = bytes;
    addMemory("a", "whole", bytes.data() + 17, bytes.size() - 17);
    extract();
    EXPECT_TRUE(bytes == before);
    EXPECT_TRUE(support::readFile("whole.bin") == before.substr(17));
}

} // namespace
