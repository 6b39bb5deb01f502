#pragma once

#include <map>
#include <string>

#include "platform/STBLeds.h"

namespace lumo {

// LEDs of the kernel's LED class (Documentation/leds/leds-class.rst): a folder each, with the files
// "brightness", "max_brightness" and, where the kernel can blink by itself, "trigger".
class SysfsLeds final : public STBLeds {
public:
    // LED number to its folder.
    explicit SysfsLeds(std::map<int, std::string> folders);

    // A state that cannot be set is one warning in the log. Where the kernel has no timer trigger, blinking
    // is on.
    void setState(int led, int state) override;

private:
    const std::map<int, std::string> _folders;
};

} // namespace lumo
