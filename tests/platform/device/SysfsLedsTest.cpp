#include "platform/linux/device/SysfsLeds.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "tests/support/TempDir.h"

namespace lumo {

using support::readFile;
using support::writeFile;

TEST(SysfsLedsTest, ShowsEachStateAsFarAsTheKernelCan) {
    const struct {
        const char* triggers; // nullptr: no such file
        int state;
        const char* trigger;
        const char* brightness;
    } cases[] = {
        {"none [heartbeat] timer\n", STBLeds::STATE_OFF, "none", "0"},
        {"none [heartbeat] timer\n", STBLeds::STATE_ON, "none", "2047"},
        // Writing the brightness would stop the blinking on some kernels.
        {"none [timer]\n", STBLeds::STATE_BLINKING, "timer", "1234"},
        {"[none] nottimer\n", STBLeds::STATE_BLINKING, "none", "2047"},
        {nullptr, STBLeds::STATE_BLINKING, nullptr, "2047"},
        {nullptr, 7, nullptr, "1234"},
    };

    for (const auto& entry : cases) {
        const support::TempDir led;
        writeFile(led.file("brightness"), "1234");
        writeFile(led.file("max_brightness"), "2047\n");
        if (entry.triggers != nullptr) {
            writeFile(led.file("trigger"), entry.triggers);
        }
        SysfsLeds({{3, led.path().string()}}).setState(3, entry.state);
        EXPECT_EQ(readFile(led.file("brightness")), entry.brightness) << entry.state;
        if (entry.trigger != nullptr) {
            EXPECT_EQ(readFile(led.file("trigger")), entry.trigger) << entry.state;
        }
    }
}

TEST(SysfsLedsTest, WarnsOfWhatCannotBeSet) {
    SysfsLeds leds({{3, "/nowhere"}});
    ::testing::internal::CaptureStderr();
    leds.setState(0, STBLeds::STATE_ON); // no such LED: nothing to say
    leds.setState(3, STBLeds::STATE_ON);
    EXPECT_THAT(::testing::internal::GetCapturedStderr(),
                testing::EndsWith("LED 3: cannot write /nowhere/brightness: No such file or directory\n"));
}

} // namespace lumo
