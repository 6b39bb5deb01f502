#include "platform/linux/device/SysfsLeds.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

#include "tests/support/TempDir.h"

namespace lumo {
namespace {

using support::readFile;
using support::TempDir;
using support::writeFile;
using ::testing::HasSubstr;

// The folder of an LED that a program left alone with its brightness half way up.
class SysfsLedsTest : public ::testing::Test {
protected:
    void SetUp() override {
        std::filesystem::create_directory(led());
        writeFile(led() + "/brightness", "1234");
        writeFile(led() + "/max_brightness", "2047\n");
    }

    void kernelOffers(const std::string& triggers) { writeFile(led() + "/trigger", triggers); }

    void set(int number, int state) { SysfsLeds({{3, led()}}).setState(number, state); }

    std::string led() const { return _folder.file("status"); }

    std::string brightness() const { return readFile(led() + "/brightness"); }

    std::string trigger() const { return readFile(led() + "/trigger"); }

private:
    TempDir _folder;
};

TEST_F(SysfsLedsTest, SwitchesOffAndOn) {
    kernelOffers("none [heartbeat] timer\n");
    set(3, STBLeds::STATE_OFF);
    EXPECT_EQ(trigger(), "none");
    EXPECT_EQ(brightness(), "0");
    set(3, STBLeds::STATE_ON);
    EXPECT_EQ(brightness(), "2047");
}

TEST_F(SysfsLedsTest, BlinksWithTheKernelsTimer) {
    for (const char* triggers : {"[none] timer heartbeat\n", "none [timer]\n"}) {
        kernelOffers(triggers);
        set(3, STBLeds::STATE_BLINKING);
        EXPECT_EQ(trigger(), "timer");
        EXPECT_EQ(brightness(), "1234") << "writing it would stop the blinking on some kernels";
    }
}

TEST_F(SysfsLedsTest, IsOnWhereTheKernelCannotBlink) {
    set(3, STBLeds::STATE_BLINKING);
    EXPECT_EQ(brightness(), "2047");
    kernelOffers("[none] nottimer\n");
    set(3, STBLeds::STATE_OFF);
    set(3, STBLeds::STATE_BLINKING);
    EXPECT_EQ(trigger(), "none");
    EXPECT_EQ(brightness(), "2047");
}

TEST_F(SysfsLedsTest, WarnsOnceOfWhatCannotBeSet) {
    set(0, STBLeds::STATE_ON); // no such LED: nothing to say
    ::testing::internal::CaptureStderr();
    set(3, 7);
    EXPECT_THAT(::testing::internal::GetCapturedStderr(), HasSubstr("LED 3: there is no state 7\n"));
    EXPECT_EQ(brightness(), "1234");

    std::filesystem::remove_all(led());
    ::testing::internal::CaptureStderr();
    set(3, STBLeds::STATE_ON);
    const std::string said = ::testing::internal::GetCapturedStderr();
    EXPECT_THAT(said, HasSubstr("LED 3: cannot write " + led() + "/brightness: No such file or directory\n"));
    EXPECT_EQ(std::count(said.begin(), said.end(), '\n'), 1);
}

} // namespace
} // namespace lumo
