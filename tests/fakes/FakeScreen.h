#pragma once

#include <string>

#include "tests/fakes/Journal.h"
#include "utils/updater/ProgressScreen.h"

namespace fakes {

// A screen that notes what it is told.
class FakeScreen final : public updater::ProgressScreen {
public:
    explicit FakeScreen(Journal& journal) : _journal(journal) { _journal.push_back("screen up"); }

    ~FakeScreen() { _journal.push_back("screen down"); }

    void onFileOpenProgress(STBFirmwareFile::CurrentOperation, long long, long long, double) override {
        _journal.push_back("open progress");
    }

    void onUpdateProgress(const STBFirmwareFile::Block&, const std::string&,
                          STBFirmwareUpdater::CurrentOperation, double) override {
        _journal.push_back("update progress");
    }

    void setMainLabelText(const std::string& text) override { _journal.push_back("show: " + text); }

    void displayRebootAfter(const std::string& text, int seconds) override {
        _journal.push_back("countdown " + std::to_string(seconds) + ": " + text);
    }

private:
    Journal& _journal;
};

} // namespace fakes
