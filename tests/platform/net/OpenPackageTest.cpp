#include <sys/stat.h>
#include <unistd.h>

#include <chrono>

#include "tests/platform/net/NetTest.h"

namespace lumo::tests {

namespace {

namespace fs = std::filesystem;

// Ten windows of reading ahead, so that what happens at the first report happens while it is read.
constexpr std::size_t large = 5 << 20;

class OpenPackageTest : public NetTest {
protected:
    const std::string path = folder.file("a b.bin");

    std::string writePackage(std::size_t blockSize, mode_t mode = 0644) {
        const std::string bytes = packageOf(blockSize).build();
        fs::remove(path);
        writeFile(path, bytes);
        chmod(path.c_str(), mode);
        return bytes;
    }

    // Lets something happen to the file once its checking has begun.
    void whileReading(std::function<void()> happens) {
        onProgress = [happens, done = false](const Step& step) mutable {
            if (step.done > 0 && step.percent < 100 && !done) {
                done = true;
                happens();
            }
        };
    }
};

class ThrowingListener final : public STBFirmwareFile::EventsListener {
public:
    void onFileOpenProgress(STBFirmwareFile::CurrentOperation, long long, long long, double) override {
        throw 42;
    }
};

} // namespace

TEST_F(OpenPackageTest, UsesAFileThatOnlyWeCanWriteWhereItLies) {
    for (const mode_t mode : {0600, 0644, 0444}) {
        const std::string bytes = writePackage(large, mode);
        for (const std::string& url : {path, "file://" + folder.file("a%20b.bin")}) {
            const Opened opened = open(url);
            ASSERT_EQ(opened.result, 0) << opened.error;
            EXPECT_EQ(opened.package->file().name(), path);
            EXPECT_GT(opened.steps.size(), 5u);
            const auto block = opened.package->blocks().at("rootfs");
            EXPECT_EQ(bytes.substr(4096), std::string(reinterpret_cast<const char*>(block.data), block.size));
        }
    }
}

TEST_F(OpenPackageTest, CopiesAFileThatOthersCanWrite) {
    for (const mode_t mode : {0664, 0646, 0600}) {
        const std::string bytes = writePackage(large, mode);
        if (mode == 0600 && chown(path.c_str(), 12345, 12345) != 0) {
            continue; // only root can, and not where a user namespace knows no other user
        }
        const Opened opened = open(path);
        ASSERT_EQ(opened.result, 0) << opened.error;
        EXPECT_EQ(opened.package->file().name(), "the spool file in " + config.stateDir);
        writeFile(path, "something else");
        EXPECT_EQ(opened.bytes(), bytes);
        EXPECT_TRUE(opened.package->isUnchanged(0));
    }
}

TEST_F(OpenPackageTest, SaysWhatIsWrongWithAFile) {
    const std::string bytes = packageOf(10'000).build();
    mkfifo(folder.file("pipe").c_str(), 0600);
    fs::create_directory(folder.path() / "dir");
    writeFile(folder.file("flipped"), bytes.substr(0, 8000) + "x" + bytes.substr(8001));
    writeFile(folder.file("shared"), bytes + "x");
    chmod(folder.file("shared").c_str(), 0666);

    const struct {
        const char* name;
        int result;
        std::string says;
    } cases[] = {
        {"missing", 1, "No such file"},
        {"pipe", 1, "not a regular file"},
        {"dir", 1, "not a regular file"},
        {"flipped", 5, "block rootfs has the SHA-256"},
        {"shared", 5, "behind its end at " + std::to_string(bytes.size())},
    };

    for (const auto& entry : cases) {
        const Opened opened = open(folder.file(entry.name));
        EXPECT_EQ(opened.result, entry.result) << entry.name;
        EXPECT_THAT(opened.error, testing::AllOf(HasSubstr(folder.file(entry.name)), HasSubstr(entry.says)));
    }
}

TEST_F(OpenPackageTest, NoticesAFileThatChangesWhileItIsRead) {
    for (const mode_t mode : {0644, 0666}) {
        writePackage(large, mode);
        whileReading([&] { fs::resize_file(path, large / 2); });
        const Opened shortened = open(path);
        EXPECT_EQ(shortened.result, 5);
        EXPECT_EQ(shortened.error, path + " became shorter while it was read: it ends at byte 2621440");
    }
    writePackage(large);
    whileReading([&] { fs::last_write_time(path, fs::file_time_type() + std::chrono::hours(1)); });
    const Opened touched = open(path);
    EXPECT_EQ(touched.result, 5);
    EXPECT_EQ(touched.error, path + " was changed while it was read");
}

TEST_F(OpenPackageTest, FailsOnceAndLeavesNoBlocks) {
    const auto failure = [&](STBFirmwareFile& file) {
        EXPECT_EQ(file.open(60), 7);
        return log.takeProblem();
    };
    const std::string bytes = writePackage(100);
    STBFirmwareFile file(path, nullptr);
    ASSERT_EQ(file.open(60), 0);
    EXPECT_THAT(failure(file), HasSubstr("opened twice"));
    EXPECT_EQ(file.getBlocks().at("rootfs").size, 100u);

    serve([&](const Request& request, std::size_t) { return support::fileReply(request, bytes); });
    for (const std::string& url : {path, server->url("/p.bin")}) {
        ThrowingListener listener;
        STBFirmwareFile thrown(url, &listener);
        EXPECT_THAT(failure(thrown), HasSubstr(url));
        EXPECT_TRUE(thrown.getBlocks().empty());
    }
    chmod(path.c_str(), 0666);
    config.stateDir = path + "/state";
    log.use(config);
    STBFirmwareFile spoolless(path, nullptr);
    EXPECT_THAT(failure(spoolless), HasSubstr(path + ": no place for the package: "));
    config.keys = {folder.file("nokey.pem")};
    log.use(config);
    STBFirmwareFile keyless(path, nullptr);
    EXPECT_THAT(failure(keyless), HasSubstr("nokey.pem"));
}

} // namespace lumo::tests
