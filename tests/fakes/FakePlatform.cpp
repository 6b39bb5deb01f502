#include "tests/fakes/FakePlatform.h"

#include <time.h>

#include <cstdarg>
#include <cstdio>
#include <string>

#include "platform/STBLeds.h"
#include "platform/STBLogger.h"
#include "platform/STBResourseHolder.h"

namespace {

using fakes::platform::state;

void note(const std::string& line) {
    if (state().journal != nullptr) {
        state().journal->push_back(line);
    }
}

class FakeLeds final : public STBLeds {
public:
    void setState(int led, int newState) override {
        note("LED " + std::to_string(led) + ": " + std::to_string(newState));
    }
};

class FakeDisplay final : public STBDisplay {
public:
    std::set<STBHDVideoFormat> getSupportedHDFormats() const override { return state().hdFormats; }

    std::set<STBSDVideoFormat> getSupportedSDFormats() const override { return state().sdFormats; }

    STBOutputSettings getOutputSettings() const override {
        return {STB_HD_1080P60, false, false, STB_SD_NTSC, false, false};
    }

    bool setOutputSettings(const STBOutputSettings& settings) override {
        char text[64];
        std::snprintf(text, sizeof text, "output HD %d %d%d SD %d %d%d", settings.hdFormat,
                      settings.hdEnabled, settings.hdVisible, settings.sdFormat, settings.sdEnabled,
                      settings.sdVisible);
        note(text);
        return true;
    }

    void showSurface(STBSurfaceInterface*, int, int, int, int) override {}
};

} // namespace

fakes::platform::State& fakes::platform::state() {
    static State theState;
    return theState;
}

void STBLogger_log(const void*, const char*, int level, int, const char*, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    char text[4096];
    std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    note("log " + std::to_string(level) + ": " + text);
}

STBPlatformSettings STBResourseHolder::getDefaultPlatformSettings() {
    return {};
}

bool STBResourseHolder::initialize(const STBPlatformSettings& settings) {
    char text[64];
    std::snprintf(text, sizeof text, "initialize %d%d%d%d%d", settings.graphics, settings.videoOutput,
                  settings.audioOutput, settings.frontPanel, settings.remoteControl);
    note(text);
    return state().comesUp;
}

void STBResourseHolder::uninitialize() {
    note("uninitialize");
}

STBLeds* STBResourseHolder::getSTBLeds() {
    static FakeLeds leds;
    return state().hasLeds ? &leds : nullptr;
}

STBDisplay* STBResourseHolder::getSTBDisplay() {
    static FakeDisplay display;
    return state().hasDisplay ? &display : nullptr;
}

STBGraphicsInterface* STBResourseHolder::getSTBGraphics() {
    return nullptr;
}

// The linker's --wrap sends the clock's calls here; machines with a 32-bit long call it by the other name.
extern "C" int __wrap_clock_gettime(clockid_t clock, timespec* now);
extern "C" int __wrap___clock_gettime64(clockid_t clock, timespec* now);

int __wrap_clock_gettime(clockid_t, timespec* now) {
    *now = {static_cast<time_t>(state().microseconds / 1000000),
            static_cast<long>(state().microseconds % 1000000 * 1000)};
    return 0;
}

int __wrap___clock_gettime64(clockid_t clock, timespec* now) {
    return __wrap_clock_gettime(clock, now);
}
