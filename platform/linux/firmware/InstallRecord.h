#pragma once

#include <string>

namespace lumo {

// What this device knows about its own firmware, kept in the state directory as install.json and replaced as
// a whole, durably, at each step of an installation.
struct InstallRecord {
    enum class State {
        None,         // never installed by this library
        Begun,        // flash may hold a mixture; version is the one that was being installed
        AfterScripts, // flash holds version; its after-scripts may not all have run
        Complete,     // flash holds version
    };
    State state = State::None;
    std::string version;
    std::string previous; // Begun only: the last version that was wholly there; may be empty

    // The version that is wholly in flash; empty when there is none.
    const std::string& installedVersion() const;

    // Whether an earlier installation still has to be finished.
    bool isUnfinished() const { return state == State::Begun || state == State::AfterScripts; }

    // Whether a package of this version would be a step back behind what was wholly installed last. One that
    // was begun may be finished, whatever its version.
    bool wouldDowngradeTo(const std::string& packageVersion) const;
};

// Reads the record. A record that cannot be read is taken as Begun with no version, so that the next
// installation writes everything that differs; the log says so. Never throws.
InstallRecord readInstallRecord(const std::string& stateDir);

// Returns when the record is on the medium. Throws std::system_error, the old record left in force.
void writeInstallRecord(const std::string& stateDir, const InstallRecord& record);

} // namespace lumo
