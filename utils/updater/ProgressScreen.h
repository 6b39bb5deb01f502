#pragma once

#include <string>

#include "platform/STBFirmwareFile.h"
#include "platform/STBFirmwareUpdater.h"

namespace updater {

// Where the command shows its texts and receives the firmware service's progress. Never deleted through this
// type. Main thread.
class ProgressScreen : public STBFirmwareFile::EventsListener, public STBFirmwareUpdater::EventsListener {
public:
    // Named again so that both stand before the screen's own operations in the table.
    void onFileOpenProgress(STBFirmwareFile::CurrentOperation operation, long long totalBytes,
                            long long processedBytes, double percent) override = 0;
    void onUpdateProgress(const STBFirmwareFile::Block& block, const std::string& target,
                          STBFirmwareUpdater::CurrentOperation operation, double percent) override = 0;

    // Replaces the main text. text: translated; the two characters backslash and n start a new line.
    virtual void setMainLabelText(const std::string& text) = 0;
    // Counts down below text: seconds, seconds - 1, ... 0, a second each, and one second more. Returns when
    // that is over; negative seconds leave only the last second.
    virtual void displayRebootAfter(const std::string& text, int seconds) = 0;

protected:
    ~ProgressScreen() = default;
};

} // namespace updater
