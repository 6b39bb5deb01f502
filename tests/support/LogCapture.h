#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "platform/linux/device/Config.h"
#include "tests/support/TempDir.h"

namespace support {

// The platform library's log of one test. Warnings and errors are behaviour: those that the test did not take
// until the object dies fail it. One object at a time.
class LogCapture {
public:
    LogCapture() = default;
    ~LogCapture();
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    // Makes this the device's configuration, except that all levels of the log come here.
    void use(lumo::Config config);

    // All messages so far, in order: "<level> <text>", without time and source.
    std::vector<std::string> messages() const;
    // The warnings and errors that were not taken yet.
    std::vector<std::string> takeProblems();
    // The only one of them; the test fails when there are more or none.
    std::string takeProblem();

private:
    TempDir _folder;
    std::size_t _taken = 0; // messages
};

} // namespace support
