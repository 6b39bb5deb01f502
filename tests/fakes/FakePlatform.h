#pragma once

#include <cstdint>
#include <set>

#include "platform/STBDisplay.h"
#include "tests/fakes/Journal.h"

// The platform library's log, clock, LEDs, display and resource holder, in this process: they note what they
// are told, and do as they are set. The clock stands still unless it is moved. The resource holder has no
// graphics.
namespace fakes::platform {

struct State {
    bool comesUp = true;
    bool hasLeds = true;
    bool hasDisplay = true;
    std::set<STBHDVideoFormat> hdFormats;
    std::set<STBSDVideoFormat> sdFormats;
    std::int64_t microseconds = 0;
    Journal* journal = nullptr;
};

State& state();

} // namespace fakes::platform
