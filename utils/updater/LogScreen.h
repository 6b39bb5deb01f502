#pragma once

#include "utils/updater/ProgressScreen.h"

namespace updater {

class SystemActions;

// A screen without a picture: texts and finished operations become lines in the platform's log, at level 4.
class LogScreen final : public ProgressScreen {
public:
    // Loads the viewer's language, Russian when none was chosen. actions must outlive the screen.
    explicit LogScreen(SystemActions& actions);

    void onFileOpenProgress(STBFirmwareFile::CurrentOperation operation, long long totalBytes,
                            long long processedBytes, double percent) override;
    void onUpdateProgress(const STBFirmwareFile::Block& block, const std::string& target,
                          STBFirmwareUpdater::CurrentOperation operation, double percent) override;
    void setMainLabelText(const std::string& text) override;
    void displayRebootAfter(const std::string& text, int seconds) override;

private:
    SystemActions& _actions;
};

} // namespace updater
