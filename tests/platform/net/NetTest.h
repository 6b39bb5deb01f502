#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/linux/device/Config.h"
#include "platform/linux/firmware/Package.h"
#include "platform/linux/firmware/Signature.h"
#include "tests/support/HostileServer.h"
#include "tests/support/LogCapture.h"
#include "tests/support/PackageBuilder.h"
#include "tests/support/TempDir.h"

namespace lumo::tests {

// One report of progress.
struct Step {
    int operation;
    std::uint64_t total;
    std::uint64_t done;
    double percent;
};

// What became of an attempt to open a package.
struct Opened {
    int result = 0;
    std::string error; // empty when it was opened
    std::unique_ptr<Package> package;
    std::vector<Step> steps;
    std::vector<int> pauses; // seconds
};

// A device "BOX" that accepts one key, its log, and a server that can do anything.
class NetTest : public testing::Test {
protected:
    NetTest();

    // Starts the server, and makes it the configured one.
    void serve(support::HostileServer::Handler handler);
    // A signed package with one block of noise of this size.
    support::PackageBuilder packageOf(std::size_t bytes, const std::string& version = "2.0") const;
    // Opens it with waits of no length, and checks what holds for every outcome: progress never falls and
    // ends with 100 % only on success, and nothing is left in the state directory.
    Opened open(const std::string& url, const std::optional<std::string>& type = std::nullopt);

    support::TempDir folder;
    support::LogCapture log;
    PrivateKey key = PrivateKey::generate();
    Config config;
    std::unique_ptr<support::HostileServer> server;
    // For stalls on purpose 1; the others must not be seen where a machine is merely busy.
    int timeoutSeconds = 60;
    // Called on each report of progress while a package is opened.
    std::function<void(const Step&)> onProgress;
};

// Fails the test unless the steps are those of a package that was opened, or not.
void expectOrderlyProgress(const std::vector<Step>& steps, bool opened);

} // namespace lumo::tests
