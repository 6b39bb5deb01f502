#include <time.h>

#include <cstdarg>
#include <cstdio>
#include <vector>

#include "platform/NSTime.h"
#include "platform/STBLeds.h"
#include "platform/STBLogger.h"
#include "platform/STBResourseHolder.h"
#include "platform/STBUtils.h"
#include "tests/fakes/scripted_lumostb/Scenario.h"

using scripted::record;
using scripted::scenario;

namespace {

class ScriptedLeds final : public STBLeds {
public:
    void setState(int led, int state) override {
        record("setState(" + std::to_string(led) + ", " + std::to_string(state) + ")");
    }
};

} // namespace

void STBLogger_log(const void*, const char*, int level, int, const char* file, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    std::vector<char> text(65536);
    std::vsnprintf(text.data(), text.size(), format, arguments);
    va_end(arguments);
    record("log " + std::to_string(level) + " " + file + ": " + text.data());
}

STBPlatformSettings STBResourseHolder::getDefaultPlatformSettings() {
    record("getDefaultPlatformSettings()");
    return {};
}

bool STBResourseHolder::initialize(const STBPlatformSettings&) {
    record("initialize()");
    return scenario().value("initialize", false);
}

void STBResourseHolder::uninitialize() {
    record("uninitialize()");
}

STBLeds* STBResourseHolder::getSTBLeds() {
    static ScriptedLeds leds;
    return &leds;
}

STBDisplay* STBResourseHolder::getSTBDisplay() {
    return nullptr;
}

STBGraphicsInterface* STBResourseHolder::getSTBGraphics() {
    return nullptr;
}

STBMacAddr STBUtils::getMainMacAddress() {
    return STBMacAddr({0x00, 0x1A, 0x2B, 0x3C, 0x4D, 0x5E});
}

STBMacAddr::STBMacAddr() : _bytes{} {}

STBMacAddr::STBMacAddr(const std::array<std::uint8_t, 6>& bytes) : _bytes(bytes) {}

std::string STBMacAddr::toString() const {
    char text[18];
    std::snprintf(text, sizeof text, "%02X:%02X:%02X:%02X:%02X:%02X", _bytes[0], _bytes[1], _bytes[2],
                  _bytes[3], _bytes[4], _bytes[5]);
    return text;
}

bool STBMacAddr::operator==(const STBMacAddr& other) const = default;

NSTime::NSTime() : _microseconds(0) {}

NSTime::NSTime(std::int64_t microseconds) : _microseconds(microseconds) {}

NSTime NSTime::nowRelative() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return NSTime(std::int64_t{now.tv_sec} * 1000000 + now.tv_nsec / 1000);
}

std::int64_t NSTime::toInt64() const {
    return _microseconds;
}

NSTime NSTime::operator-(const NSTime& earlier) const {
    return NSTime(_microseconds - earlier._microseconds);
}

NSTime NSTime::operator+(const NSTime& span) const {
    return NSTime(_microseconds + span._microseconds);
}

bool NSTime::operator<(const NSTime& other) const {
    return _microseconds < other._microseconds;
}

bool NSTime::operator>(const NSTime& other) const {
    return _microseconds > other._microseconds;
}

bool NSTime::operator==(const NSTime& other) const {
    return _microseconds == other._microseconds;
}
