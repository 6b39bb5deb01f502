#pragma once

#include <nlohmann/json.hpp>

#include <string>

// What the scripted platform library is to do in this process, and the record of what was asked of it.
//
// The environment variable SCRIPTED_LUMOSTB names a JSON file. All members are optional but "calls":
//   "calls"           file to which every call is appended, a line each, with its arguments
//   "deviceId"        string
//   "check"           {"status", "local", "server"}
//   "location"        string, the default package's URL
//   "open", "update"  results; "description": string for the latter
//   "blocks"          [{"key", "name", "text" | "file"}]; a file is mapped, not read
//   "openProgress"    [[operation, total, processed, percent]]
//   "updateProgress"  [[block's key, target, operation, percent]]
//   "spool"           file held open from open() until the package is destroyed
//   "crash"           true: open() ends in a segmentation fault
//   "initialize"      what STBResourseHolder::initialize answers, false by default
//   "endAfterSleeps"  the process ends with exit code 77 in that sleep, counted from 1
//   "interruptSleep"  the first sleep is cut short by a signal, with that many whole seconds left
namespace scripted {

// The whole scenario; a process without one, or with a broken one, ends at once with exit code 76.
const nlohmann::json& scenario();

// Appends one line to the record. Text arguments are written as JSON strings.
void record(const std::string& line);
std::string jsonText(const std::string& text);

} // namespace scripted
