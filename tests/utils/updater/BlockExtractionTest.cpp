#include "utils/updater/BlockExtraction.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <unistd.h>

#include <filesystem>
#include <sstream>

#include "tests/support/TempDir.h"
#include "utils/updater/Console.h"

namespace {

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

    // What it printed to standard error.
    std::string extract() {
        std::ostringstream err;
        updater::Console console(_out, err);
        updater::extractBlocks(_blocks, console);
        return err.str();
    }

    fs::path _home;
    support::TempDir _folder;
    std::vector<std::unique_ptr<std::string>> _bytes;
    std::map<std::string, STBFirmwareFile::Block> _blocks;
    std::ostringstream _out;
};

TEST_F(BlockExtractionTest, WritesBlocksInOrderOfTheirKeys) {
    support::writeFile("kernel.bin", "something longer that was there before");
    add("b", "alpha", std::string("line\r\n\0end", 10));
    add("B", "kernel", "new");
    support::writeFile("empty.bin", "old");
    addMemory("A", "empty", nullptr, 0);
    EXPECT_EQ(extract(), "");
    EXPECT_EQ(_out.str(), "Updater: Extracting 'empty' to 'empty.bin' (0 bytes)\n"
                          "Updater: Extracting 'kernel' to 'kernel.bin' (3 bytes)\n"
                          "Updater: Extracting 'alpha' to 'alpha.bin' (10 bytes)\n");
    EXPECT_EQ(support::readFile("empty.bin") + support::readFile("kernel.bin"), "new");
    EXPECT_EQ(support::readFile("alpha.bin"), std::string("line\r\n\0end", 10));
}

TEST_F(BlockExtractionTest, GoesOnAfterABlockThatCannotBeSaved) {
    fs::create_directory("folder.bin");
    fs::create_symlink("/dev/full", "full.bin");
    add("1", "folder", "a");
    add("2", "no/such", "b");
    add("3", "full", std::string(3 * 1024 * 1024, 'd'));
    add("4", "good", "e");
    EXPECT_EQ(extract(), "Updater: ERROR: Error opening file for writing 'folder.bin'\n"
                         "Updater: ERROR: Error opening file for writing 'no/such.bin'\n"
                         "Updater: ERROR: Error while saving 'full.bin'\n");
    EXPECT_FALSE(fs::is_symlink("full.bin")) << "a file that could not be saved is removed";
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
    EXPECT_EQ(extract(), "");
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

TEST_F(BlockExtractionTest, NeedsLittleMemory) {
#if defined(__SANITIZE_THREAD__) || defined(__SANITIZE_ADDRESS__)
    GTEST_SKIP() << "what the sanitizer notes of each byte counts as well";
#endif
    // A file as large as a root file system, as packages are mapped.
    constexpr std::size_t size = 64 << 20;
    support::writeFile("mapped", "x");
    fs::resize_file("mapped", size);
    const int file = open("mapped", O_RDONLY | O_CLOEXEC);
    void* const memory = mmap(nullptr, size, PROT_READ, MAP_PRIVATE, file, 0);
    close(file);
    rusage usage[2] = {};
    getrusage(RUSAGE_SELF, &usage[0]);
    addMemory("a", "large", memory, size);
    extract();
    getrusage(RUSAGE_SELF, &usage[1]);
    munmap(memory, size);
    EXPECT_EQ(fs::file_size("large.bin"), size);
    EXPECT_LT(usage[1].ru_maxrss, usage[0].ru_maxrss + 8 * 1024) << "KiB at the most at one time";
}

} // namespace
