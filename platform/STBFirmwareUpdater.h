#pragma once

#include <cstdint>
#include <map>
#include <string>

#include "platform/STBFirmwareFile.h"

// The device's firmware service: asks the update server, and installs an opened package into flash.
//
// All operations are static, block until they are done and may be called from one thread at a time. Failures
// are returned, never thrown; each leaves one line in the log (STBLogger_log) that names its cause.
class STBFirmwareUpdater {
public:
    // Outcome of a check. Users read the first three fields; the rest belongs to the platform library.
    struct CheckForUpdatesResult {
        // 0 the installed firmware is current     1 the server holds newer firmware
        // 2 no firmware files for this device     3 the server could not be reached in time
        // 4 the check failed (the server answered, but not with anything usable; bad configuration)
        std::int32_t status;
        // Installed version, in words for people where there is none: "none" when this library never
        // installed one, "incomplete" when its last installation was cut short.
        std::string localVersion;
        std::string serverVersion;    // newest version on offer; empty unless status is 0 or 1
        std::uint32_t packageSizeLow; // announced size of the package, low and high half
        std::uint32_t packageSizeHigh;
        std::map<std::string, std::string> details; // what else the server said: "url", "sha256"
    };

    // Where a device's package is. Users read url; the other fields describe the same answer.
    struct DeviceFirmwareLocationInfo {
        std::string deviceId;
        std::string url; // empty when there is none
        std::string type;
        std::string version;
        std::string server;
    };

    // Result of update().
    enum UpdateResult : int {
        UPDATE_NOT_NEEDED = 0,    // nothing had to be written
        UPDATE_BUSY = 1,          // another process is installing at this moment
        UPDATE_DONE = 2,          // installed; data and records are on the medium
        UPDATE_WRONG_FORMAT = 3,  // the package cannot be honoured on this device
        UPDATE_WRITE_FAILED = 4,  // erasing or writing failed; the device may be unusable
        UPDATE_VERIFY_FAILED = 5, // what was written does not read back; the device may be unusable
        UPDATE_TOO_LARGE = 6,     // a block is larger than its flash; nothing was written
        UPDATE_FLASH_ERROR = 7,   // the flash could not be opened, read or queried; nothing was written
    };

    // What update() is doing with a block when it reports progress.
    enum CurrentOperation : int {
        OPERATION_CHECKSUM = 0,
        OPERATION_COMPARE = 1,
        OPERATION_ERASE = 2,
        OPERATION_WRITE = 3,
    };

    // Kind of a package script.
    enum ScriptType : int {
        SCRIPT_BEFORE = 0, // runs before the first block is looked at
        SCRIPT_AFTER = 1,  // runs after the last block is on the medium
    };

    // Receives the progress of update(), on the thread that called it. Three slots in this order, never
    // deleted through this type.
    class EventsListener {
    public:
        // target: the flash map's name of the block's destination. percent runs from 0 to 100 for each
        // operation on each block, never falls within it, and is 100 once, when the operation is complete.
        virtual void onUpdateProgress(const STBFirmwareFile::Block& block, const std::string& target,
                                      STBFirmwareUpdater::CurrentOperation operation, double percent) = 0;

        virtual void onBeforeScriptExecution(STBFirmwareUpdater::ScriptType /*type*/) {}

        // result: the script's exit code, or minus the signal that ended it (its time limit: -9).
        virtual void onAfterScriptExecution(STBFirmwareUpdater::ScriptType /*type*/, int /*result*/) {}

    protected:
        ~EventsListener() = default;
    };

    // The device's identifier as the server knows it; "unknown" when the configuration cannot be read.
    static std::string getCurrentDeviceId();

    // Asks the server whether it holds newer firmware of this type (empty: the default). reserved: pass "".
    // timeoutSeconds bounds connecting and each stall; 0 and less mean the library's default of 10 seconds.
    static CheckForUpdatesResult checkForUpdates(const std::string& type, const std::string& reserved,
                                                 int timeoutSeconds);

    // Where the default package of this device and type is: what the last check of that type learned, or,
    // when there was none in this process, a fresh question to the server.
    static DeviceFirmwareLocationInfo getFirmwareLocationInfo(const std::string& type,
                                                              const std::string& reserved);

    // Installs an opened package. Everything about the package and the flash that can be checked is checked
    // before the first byte is erased. When it returns, flash and install record are on the medium: a power
    // cut or reboot after that loses nothing. force: erase and write blocks even where they equal the flash,
    // and allow an older version. listener: may be null.
    static UpdateResult update(const STBFirmwareFile& file, EventsListener* listener, bool force);

    // One English sentence for a result; for any value, never null. Static storage.
    static const char* updateResultDescription(UpdateResult result);

    STBFirmwareUpdater() = delete;
};
