#include "platform/linux/firmware/InstallRecord.h"

#include <cstring>
#include <optional>
#include <stdexcept>

#include "platform/linux/device/Files.h"
#include "platform/linux/device/Log.h"
#include "platform/linux/device/StrictJson.h"
#include "platform/linux/device/Text.h"
#include "platform/linux/firmware/Manifest.h"

#define LUMO_LOG_FILE "platform/linux/firmware/InstallRecord"

namespace lumo {

namespace {

using State = InstallRecord::State;

constexpr std::size_t maxRecordSize = 4096;

std::string pathIn(const std::string& stateDir) {
    return stateDir + "/install.json";
}

const char* nameOf(State state) {
    switch (state) {
    case State::Begun:
        return "begun";
    case State::AfterScripts:
        return "after-scripts";
    case State::Complete:
        return "complete";
    case State::None:
        break;
    }
    return "none";
}

State stateNamed(const std::string& name) {
    for (const State state : {State::None, State::Begun, State::AfterScripts, State::Complete}) {
        if (name == nameOf(state)) {
            return state;
        }
    }
    throw std::runtime_error("unknown state \"" + visibleText(name) + "\"");
}

InstallRecord parse(const std::string& json) {
    const nlohmann::json root = parseStrictJson(json);
    InstallRecord record;
    record.state = stateNamed(root.at("state").get<std::string>());
    record.version = root.at("version").get<std::string>();
    record.previous = root.value("previous", "");
    const bool whole = record.state == State::AfterScripts || record.state == State::Complete;
    for (const std::string& version : {record.version, record.previous}) {
        if (!version.empty() && !isVersion(version)) {
            throw std::runtime_error("not a version: \"" + visibleText(version) + "\"");
        }
    }
    if (whole && record.version.empty()) {
        throw std::runtime_error("no version");
    }
    return record;
}

} // namespace

const std::string& InstallRecord::installedVersion() const {
    static const std::string none;
    return state == State::Complete || state == State::AfterScripts ? version : none;
}

bool InstallRecord::wouldDowngradeTo(const std::string& packageVersion) const {
    const std::string& last = state == State::Begun ? previous : installedVersion();
    const bool continues = state == State::Begun && packageVersion == version;
    return !last.empty() && !continues && strverscmp(packageVersion.c_str(), last.c_str()) < 0;
}

InstallRecord readInstallRecord(const std::string& stateDir) {
    try {
        const std::optional<std::string> text = readSmallFile(pathIn(stateDir), maxRecordSize);
        return text ? parse(*text) : InstallRecord{};
    } catch (const std::exception& error) {
        LUMO_LOG(LogWarning, "%s cannot be used, taking the installation as unfinished: %s",
                 pathIn(stateDir).c_str(), error.what());
        InstallRecord unknown;
        unknown.state = State::Begun;
        return unknown;
    }
}

void writeInstallRecord(const std::string& stateDir, const InstallRecord& record) {
    nlohmann::json root{{"state", nameOf(record.state)}, {"version", record.version}};
    if (!record.previous.empty()) {
        root["previous"] = record.previous;
    }
    ensureDirectory(stateDir);
    writeFileDurably(pathIn(stateDir), root.dump() + "\n");
}

} // namespace lumo
