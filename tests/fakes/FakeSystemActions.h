#pragma once

#include <string>

#include "tests/fakes/Journal.h"
#include "utils/updater/SystemActions.h"

namespace fakes {

// Waits and reboots in the journal only.
class FakeSystemActions : public updater::SystemActions {
public:
    // Thrown by the wait that waitsLeft does not allow any more: the way out of an endless loop.
    struct NoMoreWaits {};

    explicit FakeSystemActions(Journal& journal) : _journal(journal) {}

    int waitsLeft = 100;

    void waitSeconds(unsigned seconds) override {
        if (waitsLeft-- == 0) {
            throw NoMoreWaits();
        }
        _journal.push_back("wait " + std::to_string(seconds));
    }

    void reboot() override { _journal.push_back("reboot"); }

private:
    Journal& _journal;
};

} // namespace fakes
