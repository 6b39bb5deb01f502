#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>

#include "platform/linux/firmware/Throttle.h"
#include "tests/platform/net/NetTest.h"

namespace lumo::tests {

namespace {

namespace fs = std::filesystem;
using support::fileReply;
using support::Request;
using support::writeFile;
using testing::Contains;
using testing::HasSubstr;
using testing::StartsWith;

// Ten windows of reading ahead, so that what happens at the first report happens while it is read.
constexpr std::size_t large = 5 << 20;

class OpenPackageTest : public NetTest {
protected:
    const std::string path = folder.file("a b.bin");

    std::string writePackage(std::size_t blockSize, mode_t mode = 0644) {
        const std::string bytes = packageOf(blockSize).build();
        writeFile(path, bytes);
        chmod(path.c_str(), mode);
        return bytes;
    }

    bool isSpooled(const Opened& opened) const {
        return opened.package->file().name() == "the spool file in " + config.stateDir;
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
        fs::remove(path);
        const std::string bytes = writePackage(large, mode);
        for (const std::string& url : {path, "file://" + folder.file("a%20b.bin")}) {
            const Opened opened = open(url);
            ASSERT_EQ(opened.result, 0) << opened.error;
            EXPECT_EQ(opened.package->file().name(), path);
            EXPECT_GT(opened.steps.size(), 5u);
            EXPECT_FALSE(fs::exists(config.stateDir));
            const auto blocks = opened.package->blocks();
            EXPECT_EQ(bytes.substr(4096), std::string(reinterpret_cast<const char*>(blocks.at("rootfs").data),
                                                      blocks.at("rootfs").size));
        }
    }
}

TEST_F(OpenPackageTest, CopiesAFileThatOthersCanWrite) {
    for (const mode_t mode : {0664, 0646}) {
        fs::remove(path);
        const std::string bytes = writePackage(large, mode);
        const Opened opened = open(path);
        ASSERT_EQ(opened.result, 0) << opened.error;
        EXPECT_TRUE(isSpooled(opened));
        writeFile(path, "something else");
        std::string copy(bytes.size(), '\0');
        opened.package->file().read(0, std::as_writable_bytes(std::span(copy)));
        EXPECT_EQ(copy, bytes);
        EXPECT_TRUE(opened.package->isUnchanged(0));
    }
    fs::remove(path);
    writePackage(100, 0600);
    // Only root can, and not where a user namespace knows no other user.
    if (chown(path.c_str(), 12345, 12345) == 0) {
        EXPECT_TRUE(isSpooled(open(path)));
    }
}

TEST(ThrottleTest, LetsOnlyGrowthThroughAndKeepsTheHundred) {
    Throttle throttle;

    const struct {
        double percent;
        double reported;
    } steps[] = {{0, 0}, {0, -1}, {50, 50}, {49, -1}, {50, -1}, {51, 51}, {20, -1}, {100, 99.9}, {100, -1}};

    for (const auto& step : steps) {
        EXPECT_EQ(throttle.step(step.percent), step.reported) << step.percent;
    }
}

TEST_F(OpenPackageTest, SaysWhatIsWrongWithAFile) {
    const std::string bytes = packageOf(10'000).build();
    mkfifo(folder.file("pipe").c_str(), 0600);
    fs::create_directory(folder.path() / "dir");
    writeFile(folder.file("text"), "just text");
    writeFile(folder.file("flipped"), bytes.substr(0, 8000) + "x" + bytes.substr(8001));
    writeFile(folder.file("shared"), bytes + "x");
    chmod(folder.file("shared").c_str(), 0666);
    const std::string size = std::to_string(bytes.size());

    const struct {
        const char* name;
        int result;
        std::string says;
    } cases[] = {
        {"missing", 1, "No such file"},
        {"pipe", 1, "not a regular file"},
        {"dir", 1, "not a regular file"},
        {"text", 3, "does not begin as a firmware package"},
        {"flipped", 5, "block rootfs has the SHA-256"},
        {"shared", 5, "behind its end at " + size},
    };

    for (const auto& entry : cases) {
        SCOPED_TRACE(entry.name);
        const Opened opened = open(folder.file(entry.name));
        EXPECT_EQ(opened.result, entry.result);
        EXPECT_THAT(opened.error, HasSubstr(folder.file(entry.name)));
        EXPECT_THAT(opened.error, HasSubstr(entry.says));
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
    chmod(path.c_str(), 0644);
    whileReading([&] { fs::last_write_time(path, fs::file_time_type() + std::chrono::hours(1)); });
    const Opened touched = open(path);
    EXPECT_EQ(touched.result, 5);
    EXPECT_EQ(touched.error, path + " was changed while it was read");
}

TEST_F(OpenPackageTest, NeedsItsKeysAndAPlaceForTheSpool) {
    writePackage(100, 0666);
    writeFile(config.stateDir, "not a folder");
    STBFirmwareFile spoolless("file://" + folder.file("a%20b.bin"), nullptr);
    EXPECT_EQ(spoolless.open(60), 7);
    EXPECT_THAT(log.takeProblem(), HasSubstr(path + ": no place for the package: "));
    config.keys = {folder.file("nokey.pem")};
    log.use(config);
    STBFirmwareFile keyless(path, nullptr);
    EXPECT_EQ(keyless.open(60), 7);
    EXPECT_THAT(log.takeProblem(), HasSubstr("nokey.pem"));
}

TEST_F(OpenPackageTest, DescribesThePackageInTheLog) {
    config.allowUnsigned = true;
    config.keys.clear();
    log.use(config);
    writeFile(path,
              support::PackageBuilder().device("BOX").device("TV").version("2.0").block("k", "abc").build());
    STBFirmwareFile file(path, nullptr);
    ASSERT_EQ(file.open(60), 0);
    EXPECT_EQ(log.takeProblem(), "warning Package " + path + " is not signed: anyone could have made it");
    EXPECT_THAT(log.messages(), Contains("notice Package " + path +
                                         ": version 2.0, type default, for BOX, TV, 4099 bytes, not signed"));
    EXPECT_THAT(log.messages(), Contains("notice Block k for k: 3 bytes (3 in the package), SHA-256 "
                                         "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad"));
}

TEST_F(OpenPackageTest, FailsOnceAndLeavesNoBlocks) {
    STBFirmwareFile missing("", nullptr);
    EXPECT_EQ(missing.open(60), 1);
    EXPECT_TRUE(missing.getBlocks().empty());

    writePackage(100);
    STBFirmwareFile file(path, nullptr);
    EXPECT_TRUE(file.getBlocks().empty());
    ASSERT_EQ(file.open(60), 0);
    EXPECT_EQ(file.getBlocks().at("rootfs").size, 100u);
    EXPECT_EQ(file.open(60), 7);
    EXPECT_EQ(log.takeProblem(), "error " + path + ": opened twice");
    EXPECT_EQ(file.getBlocks().size(), 1u);
}

TEST_F(OpenPackageTest, SurvivesAListenerThatThrows) {
    const std::string bytes = writePackage(100);
    serve([&](const Request& request, std::size_t) { return fileReply(request, bytes); });
    for (const std::string& url : {path, server->url("/p.bin")}) {
        ThrowingListener listener;
        STBFirmwareFile file(url, &listener);
        EXPECT_EQ(file.open(60), 7);
        EXPECT_THAT(log.takeProblem(), StartsWith("error " + url + ": "));
        EXPECT_TRUE(file.getBlocks().empty());
    }
}

} // namespace lumo::tests
