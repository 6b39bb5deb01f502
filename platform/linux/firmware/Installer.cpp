#include "platform/linux/firmware/Installer.h"

#include <sys/stat.h>

#include <algorithm>
#include <exception>
#include <set>
#include <system_error>

#include "platform/linux/device/Files.h"
#include "platform/linux/device/Log.h"
#include "platform/linux/firmware/FirmwareError.h"
#include "platform/linux/firmware/InstallLock.h"
#include "platform/linux/firmware/Scripts.h"

#define LUMO_LOG_FILE "platform/linux/firmware/Installer"

namespace lumo {

namespace {

using Result = Installer::Result;

// The package asks for something this device does not have, or refuses it by a script of its own.
class CannotHonour : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

class TooLarge : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

void checkSize(const ManifestBlock& block, const std::string& flash, std::uint64_t size) {
    if (block.size > size) {
        throw TooLarge("block " + block.name + " has " + std::to_string(block.size) +
                       " bytes, and its target " + block.target + " (" + flash + ") holds " +
                       std::to_string(size));
    }
}

// The same for all names of one device or file.
std::string identityOf(const std::string& path) {
    struct stat status {};

    if (stat(path.c_str(), &status) != 0) {
        return path;
    }
    const bool device = S_ISCHR(status.st_mode) || S_ISBLK(status.st_mode);
    return device ? "device " + std::to_string(status.st_rdev)
                  : "file " + std::to_string(status.st_dev) + " " + std::to_string(status.st_ino);
}

} // namespace

Installer::Installer(const Package& package, std::vector<STBFirmwareFile::Block> blocks, const Config& config,
                     STBFirmwareUpdater::EventsListener* listener, bool force, FlashOpener opener)
    : _package(package),
      _blocks(std::move(blocks)),
      _config(config),
      _listener(listener),
      _force(force),
      _opener(std::move(opener)) {}

Installer::~Installer() = default;

Result Installer::run() {
    try {
        return installIfAlone();
    } catch (const FlashError& error) {
        return fail(resultOf(error), error.what());
    } catch (const VerifyError& error) {
        return fail(STBFirmwareUpdater::UPDATE_VERIFY_FAILED, error.what());
    } catch (const TooLarge& error) {
        return fail(STBFirmwareUpdater::UPDATE_TOO_LARGE, error.what());
    } catch (const std::system_error& error) { // the lock or the record
        return fail(_touched ? STBFirmwareUpdater::UPDATE_WRITE_FAILED
                             : STBFirmwareUpdater::UPDATE_FLASH_ERROR,
                    error.what());
    } catch (const std::exception& error) { // the package cannot be honoured, or not be read any more
        return fail(_touched ? STBFirmwareUpdater::UPDATE_WRITE_FAILED
                             : STBFirmwareUpdater::UPDATE_WRONG_FORMAT,
                    error.what());
    } catch (...) {
        return fail(_touched ? STBFirmwareUpdater::UPDATE_WRITE_FAILED
                             : STBFirmwareUpdater::UPDATE_FLASH_ERROR,
                    "the listener threw something");
    }
}

Result Installer::fail(Result result, const std::string& text) {
    LUMO_LOG(LogError, "%s%s", text.c_str(), _touched ? "; the flash holds an unfinished installation" : "");
    restoreRecord();
    return result;
}

Result Installer::resultOf(const FlashError& error) const {
    using Operation = FlashError::Operation;
    const Operation operation = error.operation();
    const bool writing =
        operation == Operation::Erase || operation == Operation::Write || operation == Operation::Sync;
    return writing || _touched ? STBFirmwareUpdater::UPDATE_WRITE_FAILED
                               : STBFirmwareUpdater::UPDATE_FLASH_ERROR;
}

Result Installer::installIfAlone() {
    const std::optional<InstallLock> lock = InstallLock::tryTake(_config.stateDir);
    if (!lock) {
        LUMO_LOG(LogWarning, "another process holds %s/update.lock: it is installing",
                 _config.stateDir.c_str());
        return STBFirmwareUpdater::UPDATE_BUSY;
    }
    // A run that was killed may have put its record in place and not made that durable.
    syncDirectory(_config.stateDir);
    _before = readInstallRecord(_config.stateDir);
    const std::string& version = _package.manifest().version;
    if (!_force && _before.wouldDowngradeTo(version)) {
        if (_before.state == InstallRecord::State::Begun) {
            throw CannotHonour("an installation of version " + _before.version +
                               " was cut short, and the package "
                               "holds " +
                               version + ", which is older than " + _before.previous +
                               ", the last that was wholly installed: not installed unless forced");
        }
        LUMO_LOG(LogWarning, "version %s is installed, and the package holds the older %s: not installed",
                 _before.installedVersion().c_str(), version.c_str());
        return STBFirmwareUpdater::UPDATE_NOT_NEEDED;
    }
    removeStaleTemporaries(_config.stateDir);
    return install();
}

Result Installer::install() {
    plan();
    if (hasScripts(ManifestScript::When::Before)) {
        begin();
        runScripts(ManifestScript::When::Before);
    }
    const bool written = installBlocks();
    complete();
    return written || _before.isUnfinished() ? STBFirmwareUpdater::UPDATE_DONE
                                             : STBFirmwareUpdater::UPDATE_NOT_NEEDED;
}

void Installer::plan() {
    const std::vector<ManifestBlock>& blocks = _package.manifest().blocks;
    for (const ManifestBlock& block : blocks) {
        if (!_config.flash.contains(block.target)) {
            throw CannotHonour("block " + block.name + " is for " + block.target +
                               ", and the flash map has no such target");
        }
        // Asked of files before any is opened, which would make or extend it.
        const FlashTarget& target = _config.flash.at(block.target);
        if (target.kind == FlashTarget::Kind::File) {
            checkSize(block, target.path, target.size);
        }
    }
    for (std::size_t i = 0; i < blocks.size(); ++i) {
        if (!_package.isUnchanged(i)) {
            throw CannotHonour(_package.url() + " was changed after it was checked");
        }
        _jobs.push_back({i, _opener(_config.flash.at(blocks[i].target))});
    }
    checkSizes();
}

void Installer::checkSizes() const {
    std::set<std::string> devices;
    for (const Job& job : _jobs) {
        checkSize(_package.manifest().blocks[job.index], job.flash->name(), job.flash->size());
        if (!devices.insert(identityOf(job.flash->name())).second) {
            throw CannotHonour("two blocks of the package lead to " + job.flash->name());
        }
    }
}

bool Installer::hasScripts(ManifestScript::When when) const {
    const std::vector<ManifestScript>& scripts = _package.manifest().scripts;
    return std::any_of(scripts.begin(), scripts.end(),
                       [when](const ManifestScript& script) { return script.when == when; });
}

// Said before anything changes, and not at all when nothing has to.
void Installer::begin() {
    if (_recorded) {
        return;
    }
    InstallRecord record;
    record.state = InstallRecord::State::Begun;
    record.version = _package.manifest().version;
    record.previous =
        _before.state == InstallRecord::State::Begun ? _before.previous : _before.installedVersion();
    writeInstallRecord(_config.stateDir, record);
    _recorded = true;
}

// An installation that failed before it touched anything has not begun.
void Installer::restoreRecord() {
    if (!_recorded || _touched) {
        return;
    }
    try {
        writeInstallRecord(_config.stateDir, _before);
    } catch (const std::system_error& error) {
        LUMO_LOG(LogWarning, "the installation stays recorded as begun: %s", error.what());
    }
}

bool Installer::installBlocks() {
    bool written = false;
    for (const Job& job : _jobs) {
        written = installBlock(job) || written;
    }
    return written;
}

bool Installer::installBlock(const Job& job) {
    const ManifestBlock& block = _package.manifest().blocks[job.index];
    BlockInstaller installer(
        _package, job.index, *job.flash, [&](BlockInstaller::Operation operation, double percent) {
            if (_listener != nullptr) {
                _listener->onUpdateProgress(_blocks[job.index], block.target, operation, percent);
            }
        });
    installer.checkUnchanged();
    const bool cutShort = _before.state == InstallRecord::State::Begun;
    if (cutShort) {
        // What the killed run wrote may be in memory only, where it would compare as equal.
        job.flash->sync();
    }
    if (_force) {
        installer.takeAll();
    } else {
        installer.compare(cutShort ? BlockInstaller::Unreadable::Differs : BlockInstaller::Unreadable::Fails);
    }
    if (!installer.differs()) {
        LUMO_LOG(LogInfo, "block %s equals %s already", block.name.c_str(), job.flash->name().c_str());
        return false;
    }
    begin();
    _touched = true;
    installer.rewrite();
    LUMO_LOG(LogInfo, "block %s is written to %s", block.name.c_str(), job.flash->name().c_str());
    return true;
}

void Installer::runScripts(ManifestScript::When when) {
    const bool before = when == ManifestScript::When::Before;
    const auto type = before ? STBFirmwareUpdater::SCRIPT_BEFORE : STBFirmwareUpdater::SCRIPT_AFTER;
    const std::vector<ManifestScript>& scripts = _package.manifest().scripts;
    for (std::size_t i = 0; i < scripts.size(); ++i) {
        if (scripts[i].when != when) {
            continue;
        }
        const std::string label = std::string(before ? "before" : "after") + "-script " + std::to_string(i);
        const std::string bytes = _package.readScript(i);
        if (_listener != nullptr) {
            _listener->onBeforeScriptExecution(type);
        }
        const int result = runScript(bytes, {_config.deviceId, _package.manifest().version, label,
                                             static_cast<int>(scripts[i].timeout)});
        if (_listener != nullptr) {
            _listener->onAfterScriptExecution(type, result);
        }
        if (result != 0 && before) {
            throw CannotHonour(label + " ended with " + std::to_string(result) +
                               ": the package does not want to be "
                               "installed here");
        }
        if (result != 0) {
            LUMO_LOG(LogError, "%s ended with %d; the firmware is installed all the same", label.c_str(),
                     result);
        }
    }
}

void Installer::complete() {
    InstallRecord record;
    record.version = _package.manifest().version;
    if (hasScripts(ManifestScript::When::After)) {
        record.state = InstallRecord::State::AfterScripts;
        writeInstallRecord(_config.stateDir, record);
        runScripts(ManifestScript::When::After);
        _recorded = true;
    }
    record.state = InstallRecord::State::Complete;
    if (_recorded || _before.state != record.state || _before.version != record.version) {
        writeInstallRecord(_config.stateDir, record);
    }
}

} // namespace lumo
