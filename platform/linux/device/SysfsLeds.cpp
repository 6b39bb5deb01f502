#include "platform/linux/device/SysfsLeds.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <sstream>
#include <string_view>
#include <system_error>
#include <utility>

#include "platform/linux/device/Files.h"
#include "platform/linux/device/Log.h"

#define LUMO_LOG_FILE "platform/linux/device/SysfsLeds"

namespace lumo {

namespace {

void writeAttribute(const std::string& path, std::string_view value) {
    const UniqueFd fd = openFile(path, O_WRONLY | O_TRUNC | O_NONBLOCK | O_NOCTTY);
    if (!fd || ::write(fd.get(), value.data(), value.size()) != static_cast<ssize_t>(value.size())) {
        throw std::system_error(errno, std::generic_category(), "cannot write " + path);
    }
}

// triggers: "none [timer] heartbeat", the active one in brackets.
bool offersTimer(const std::string& triggers) {
    std::istringstream stream(triggers);
    for (std::string trigger; stream >> trigger;) {
        if (trigger == "timer" || trigger == "[timer]") {
            return true;
        }
    }
    return false;
}

std::string fullBrightness(const std::string& folder) {
    std::istringstream stream(readSmallFile(folder + "/max_brightness", 64).value_or(""));
    unsigned brightness = 0;
    return stream >> brightness ? std::to_string(brightness) : "255";
}

void apply(const std::string& folder, int state) {
    const std::string trigger = folder + "/trigger";
    const auto triggers = readSmallFile(trigger, 64 << 10);
    const bool blinking = state == STBLeds::STATE_BLINKING && triggers && offersTimer(*triggers);
    if (triggers) {
        writeAttribute(trigger, blinking ? "timer" : "none");
    }
    if (!blinking) {
        writeAttribute(folder + "/brightness", state == STBLeds::STATE_OFF ? "0" : fullBrightness(folder));
    }
}

} // namespace

SysfsLeds::SysfsLeds(std::map<int, std::string> folders) : _folders(std::move(folders)) {}

void SysfsLeds::setState(int led, int state) {
    const auto found = _folders.find(led);
    if (found == _folders.end()) {
        return;
    }
    if (state < STATE_OFF || state > STATE_BLINKING) {
        LUMO_LOG(LogWarning, "LED %d: there is no state %d", led, state);
        return;
    }
    try {
        apply(found->second, state);
    } catch (const std::system_error& error) {
        LUMO_LOG(LogWarning, "LED %d: %s", led, error.what());
    }
}

} // namespace lumo
