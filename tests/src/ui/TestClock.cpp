#include "tests/src/ui/TestClock.h"

#include <atomic>
#include <ctime>

namespace {

std::atomic<std::time_t> now{1000000000};

std::time_t readClock(std::time_t* result) {
    if (result != nullptr) {
        *result = now;
    }
    return now;
}

} // namespace

void TestClock::advanceSeconds(int seconds) {
    now += seconds;
}

// The linker's --wrap sends calls of time() here; machines with a 32-bit long call it by the other name.
extern "C" std::time_t __wrap_time(std::time_t* result);
extern "C" std::time_t __wrap___time64(std::time_t* result);

std::time_t __wrap_time(std::time_t* result) {
    return readClock(result);
}

std::time_t __wrap___time64(std::time_t* result) {
    return readClock(result);
}
