#include "tests/fakes/scripted_lumostb/Scenario.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>

namespace scripted {

namespace {

[[noreturn]] void giveUp(const std::string& why) {
    std::fprintf(stderr, "scripted_lumostb: %s\n", why.c_str());
    _exit(76);
}

nlohmann::json readScenario() {
    const char* fileName = std::getenv("SCRIPTED_LUMOSTB");
    if (fileName == nullptr) {
        giveUp("SCRIPTED_LUMOSTB is not set");
    }
    std::ifstream in(fileName);
    nlohmann::json json = nlohmann::json::parse(in, nullptr, false);
    if (!json.is_object() || !json.contains("calls")) {
        giveUp(std::string("no scenario in ") + fileName);
    }
    return json;
}

} // namespace

const nlohmann::json& scenario() {
    static const nlohmann::json json = readScenario();
    return json;
}

void record(const std::string& line) {
    static const std::string fileName = scenario().at("calls");
    const int file = open(fileName.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
    const std::string text = line + "\n";
    if (file < 0 || write(file, text.data(), text.size()) != static_cast<ssize_t>(text.size())) {
        giveUp("cannot append to " + fileName);
    }
    close(file);
}

std::string jsonText(const std::string& text) {
    return nlohmann::json(text).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

} // namespace scripted
