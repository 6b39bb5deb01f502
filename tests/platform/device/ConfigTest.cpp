#include "platform/linux/device/Config.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "tests/support/Subprocess.h"
#include "tests/support/TempDir.h"

namespace lumo {
namespace {

using support::TempDir;
using support::writeFile;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::StartsWith;

const std::string minimal =
    R"({"device": {"id": "BOX"}, "updates": {"server": "https://u.example/lumo", "keys": ["k.pem"]}})";

// The least configuration that is accepted, with one more member.
std::string with(const std::string& member) {
    return minimal.substr(0, minimal.size() - 1) + ", " + member + "}";
}

std::string withDevice(const std::string& device) {
    return R"({"device": )" + device + R"(, "updates": {"server": "http://h", "allowUnsigned": true}})";
}

std::string withUpdates(const std::string& updates) {
    return R"({"device": {"id": "BOX"}, "updates": )" + updates + "}";
}

std::string withFlash(const std::string& target) {
    return with(R"("flash": {"k": )" + target + "}");
}

TEST(ConfigTest, ReadsEveryKeyAndFillsInWhatIsLeftOut) {
    const Config config = parseConfig(R"({
        "device":  {"id": "LUMO-4K", "mac": "00:1a:2B:3c:4d:5e", "stateDir": "/state"},
        "updates": {"server": "file:///srv/updates//", "keys": ["/k/a.pem", "keys/b.pem"], "allowUnsigned": true},
        "flash":   {"kernel": {"device": "/dev/mtd3"},
                    "demo": {"file": "flash/demo.img", "size": 1099511627776, "eraseSize": 4096, "speed": 1024},
                    "data": {"file": "/data.img", "size": 1}},
        "display": {"backend": "none", "width": 1920, "height": 1080, "frames": "frames"},
        "leds":    {"0": "/sys/class/leds/power", "255": "/sys/class/leds/status"},
        "log":     {"level": 5, "file": "log"}})",
                                      "/etc/lumo/platform.json");
    EXPECT_EQ(config.deviceId, "LUMO-4K");
    EXPECT_EQ(config.mac.value().toString(), "00:1A:2B:3C:4D:5E");
    EXPECT_EQ(config.stateDir, "/state");
    EXPECT_EQ(config.server, "file:///srv/updates");
    EXPECT_THAT(config.keys, ElementsAre("/k/a.pem", "/etc/lumo/keys/b.pem"));
    EXPECT_TRUE(config.allowUnsigned);
    EXPECT_EQ(config.flash.at("kernel").path, "/dev/mtd3");
    const FlashTarget& demo = config.flash.at("demo");
    EXPECT_EQ(demo.path, "/state/flash/demo.img");
    EXPECT_EQ(demo.size, 1099511627776u);
    EXPECT_EQ(demo.eraseSize, 4096u);
    EXPECT_EQ(demo.speed, 1024u);
    EXPECT_EQ(config.flash.at("data").path, "/data.img");
    EXPECT_EQ(config.display.height, 1080);
    EXPECT_EQ(config.display.frames, "/state/frames");
    EXPECT_EQ(config.leds.at(255), "/sys/class/leds/status");
    EXPECT_EQ(config.log.level, 5);
    EXPECT_EQ(config.log.file, "/state/log");

    const Config least = parseConfig(minimal, "/etc/p.json");
    EXPECT_FALSE(least.simulated || least.mac || least.allowUnsigned);
    EXPECT_EQ(least.stateDir, LUMO_SYSROOT "/var/lib/lumo");
    EXPECT_EQ(least.display.backend, "headless");
    EXPECT_EQ(least.log.level, 3);
}

TEST(ConfigTest, NamesTheFileAndTheKeyOfWhatIsWrong) {
    const std::pair<std::string, const char*> cases[] = {
        {"[]", "the top level must be an object, not a list"},
        {"{\n  \"device\": {,}\n}", "parse error at line 2, column 14"},
        {R"({"device": {"id": "A", "id": "B"}})", "the key \"id\" stands twice"},
        {with(R"("flesh": {})"),
         "unknown key flesh (known here: device, updates, flash, display, leds, log)"},
        {with(R"("log": {"a\u009b]": 1})"), "unknown key log.a\\xC2\\x9B] (known here: level, file)"},
        {withDevice("3"), "device must be an object, not a number"},
        {withDevice(R"({"id": 7})"), "device.id must be a string, not a number"},
        {withDevice(R"({"id": ".."})"), "device.id must be named with 1 to 64 letters"},
        {withDevice(R"({"id": "B", "mac": "00:11:22:33:44:-1"})"), "device.mac must be \"auto\" or an"},
        {withDevice(R"({"id": "B", "stateDir": ""})"), "device.stateDir must not be empty"},
        {withDevice(R"({"id": "B", "stateDir": "/a\u0000b"})"), "a string holds a control character"},
        {withUpdates(R"({"keys": ["k"]})"), "updates.server is missing"},
        {withUpdates(R"({"server": "http://h"})"), "updates.keys must name at least one key"},
        {withUpdates(R"({"server": "http://h", "keys": "k"})"), "updates.keys must be a list, not a string"},
        {withUpdates(R"({"server": "http://h", "allowUnsigned": 1})"), "updates.allowUnsigned must be true"},
        {withUpdates(R"({"server": "ftp://h", "keys": ["k"]})"), "updates.server must begin with http://"},
        {withUpdates(R"({"server": "file://host/x", "keys": ["k"]})"), "updates.server must begin with"},
        {withUpdates(R"({"server": "http://h/a b", "keys": ["k"]})"), "updates.server must be a URL"},
        {with(R"("flash": {"a b": {"device": "/dev/x"}})"), "flash.a b must be named with 1 to 64 letters"},
        {withFlash("{}"), "flash.k must have either \"device\" or \"file\""},
        {withFlash(R"({"device": "mtd3"})"), "flash.k.device must be an absolute path, not \"mtd3\""},
        {withFlash(R"({"device": "/d", "size": 1})"), "unknown key flash.k.size (known here: device)"},
        {withFlash(R"({"file": "f", "size": 0})"), "flash.k.size must be a whole number from 1 to 10995116"},
        {withFlash(R"({"file": "f", "size": 1, "eraseSize": 5000})"), "must be a power of two, not 5000"},
        {with(R"("display": {"backend": "vga"})"), "display.backend must be \"headless\", \"window\""},
        {with(R"("display": {"width": 8193})"), "display.width must be a whole number from 1 to 8192"},
        {with(R"("leds": {"256": "/l"})"), "leds.256 must be named with an LED number from 0 to 255"},
        {with(R"("leds": {"01": "/l"})"), "leds.01 must be named with an LED number"},
        {with(R"("log": {"level": 6})"), "log.level must be a whole number from 1 to 5, not 6"},
    };
    for (const auto& [json, error] : cases) {
        try {
            parseConfig(json, "/etc/p.json");
            ADD_FAILURE() << "accepted: " << json;
        } catch (const ConfigError& refusal) {
            EXPECT_THAT(refusal.what(), AllOf(StartsWith("/etc/p.json: "), HasSubstr(error))) << json;
        }
    }
}

// What a process with these variables finds: "LUMO-SIM in /state/lumo" or the error.
std::string found(const std::string& platform, const std::string& stateHome, const std::string& home) {
    const support::Program program{
        {LUMO_PROBE}, {{"LUMO_PLATFORM", platform}, {"XDG_STATE_HOME", stateHome}, {"HOME", home}}, {}};
    return support::run(program).out;
}

TEST(LoadConfigTest, ReadsTheFileNamedByTheEnvironmentOrRefusesToStart) {
    const TempDir folder;
    std::filesystem::create_directory(folder.file("folder"));
    writeFile(folder.file("large"), std::string((1 << 20) + 1, ' '));
    writeFile(folder.file("p.json"), minimal);
    EXPECT_EQ(found(folder.file("p.json"), "", ""), "BOX in " LUMO_SYSROOT "/var/lib/lumo\n");
    for (const char* name : {"missing", "folder", "large"}) {
        const std::string path = folder.file(name);
        EXPECT_THAT(found(path, "/state", "/home"), AllOf(StartsWith("error"), HasSubstr(path))) << name;
    }
    // Without any file it is a simulated device.
    EXPECT_EQ(found("", "/state", "/home"), "LUMO-SIM in /state/lumo\n");
    EXPECT_EQ(found("", "relative", "/home"), "LUMO-SIM in /home/.local/state/lumo\n");
    EXPECT_THAT(found("", "", ""), HasSubstr("set HOME"));
}

} // namespace
} // namespace lumo
