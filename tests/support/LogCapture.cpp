#include "tests/support/LogCapture.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <sstream>

#include "platform/linux/device/Device.h"
#include "platform/linux/device/Log.h"

namespace support {

namespace {

// "2024-11-20T09:08:01.123Z warning lumostb platform/linux/device/SysfsLeds:57: message" without the time,
// the tag and the source.
std::string shortened(const std::string& line) {
    const auto level = line.find(' ') + 1;
    const auto tag = line.find(' ', level) + 1;
    return line.substr(level, tag - level) + line.substr(line.find(": ", tag) + 2);
}

} // namespace

LogCapture::~LogCapture() {
    for (const std::string& problem : takeProblems()) {
        ADD_FAILURE() << "unexpected in the log: " << problem;
    }
}

void LogCapture::use(lumo::Config config) {
    config.log = {lumo::LogDebug, _folder.file("log")};
    lumo::setDeviceConfigForTests(config);
}

std::vector<std::string> LogCapture::messages() const {
    std::vector<std::string> all;
    if (std::filesystem::exists(_folder.file("log"))) {
        std::istringstream lines(readFile(_folder.file("log")));
        for (std::string line; std::getline(lines, line);) {
            all.push_back(shortened(line));
        }
    }
    return all;
}

std::vector<std::string> LogCapture::takeProblems() {
    const std::vector<std::string> all = messages();
    std::vector<std::string> problems;
    for (; _taken < all.size(); ++_taken) {
        if (all[_taken].starts_with("error ") || all[_taken].starts_with("warning ")) {
            problems.push_back(all[_taken]);
        }
    }
    return problems;
}

std::string LogCapture::takeProblem() {
    const std::vector<std::string> problems = takeProblems();
    EXPECT_EQ(problems.size(), 1u) << "in the log: " << testing::PrintToString(problems);
    return problems.empty() ? "" : problems.front();
}

} // namespace support
