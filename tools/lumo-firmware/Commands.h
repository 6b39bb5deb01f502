#pragma once

#include <ostream>
#include <string>
#include <vector>

namespace lumo {

// Where a command writes: its results, and its progress (null: nowhere).
struct Streams {
    std::ostream& out;
    std::ostream* progress;
};

struct KeygenOptions {
    std::string name;
    bool force = false;
};

struct CreateOptions {
    std::string description; // file; empty: described by the options alone
    std::string version;
    std::string type;
    std::vector<std::string> devices;
    std::vector<std::string> blocks;  // name=file@target[:compression]
    std::vector<std::string> scripts; // before|after=file[:seconds]
    std::string key;
    bool isUnsigned = false;
    std::string output;
};

struct InspectOptions {
    std::string package;
    std::vector<std::string> keys;
    bool json = false;
};

struct PublishOptions {
    std::string package;
    std::string server;
    std::vector<std::string> keys;
    bool force = false;
};

// What lumo-firmware does, one function a command. Each throws UsageError for a command line that makes no
// sense, and another std::exception, whose text is the one line for the user, when the work failed.
void keygen(const KeygenOptions& options, const Streams& streams);
void create(const CreateOptions& options, const Streams& streams);
void inspect(const InspectOptions& options, const Streams& streams);
void publish(const PublishOptions& options, const Streams& streams);

} // namespace lumo
