#pragma once

#include <string>
#include <vector>

// The platform's log, kept in memory: linked into a test, it takes the place of the platform library's.
namespace LogCapture {

// What was logged since the last call, a line each: "<level> <file> <message>". Any thread.
std::vector<std::string> take();

} // namespace LogCapture
