#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/linux/device/Config.h"
#include "platform/linux/firmware/FirmwareError.h"
#include "platform/linux/firmware/Package.h"
#include "platform/linux/firmware/Signature.h"
#include "tests/support/HostileServer.h"
#include "tests/support/LogCapture.h"
#include "tests/support/PackageBuilder.h"
#include "tests/support/TempDir.h"

namespace lumo::tests {

using support::Reply;
using support::Request;
using support::writeFile;
using testing::HasSubstr;

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

    std::string bytes() const {
        std::string all(package->file().size(), '\0');
        package->file().read(0, std::as_writable_bytes(std::span(all)));
        return all;
    }
};

// Fails the test unless the steps are those of a package that was opened, or not: first transfer, then check,
// never back, and 100 % only at the end.
inline void expectOrderlyProgress(const std::vector<Step>& steps, bool opened) {
    int hundreds[2] = {0, 0};
    Step last{0, 0, 0, -1};
    for (const Step& step : steps) {
        EXPECT_TRUE(step.operation == last.operation ? step.percent > last.percent : step.operation == 1);
        EXPECT_TRUE(step.percent >= 0 && step.percent <= 100) << step.percent;
        EXPECT_TRUE(step.total == 0 || step.done <= step.total) << step.done << " of " << step.total;
        hundreds[step.operation] += step.percent == 100;
        last = step;
    }
    EXPECT_LE(hundreds[0], 1);
    EXPECT_EQ(hundreds[1], opened ? 1 : 0);
    EXPECT_TRUE(!opened || (hundreds[0] == 1 && last.percent == 100));
}

// A device "BOX" that accepts one key, its log, and a server that can do anything.
class NetTest : public testing::Test {
protected:
    NetTest() {
        for (const char* name : {"http_proxy", "https_proxy", "all_proxy", "HTTPS_PROXY", "ALL_PROXY"}) {
            unsetenv(name); // whoever runs the test may need a proxy for other servers
        }
        config.deviceId = "BOX";
        config.stateDir = folder.file("state");
        config.keys = {folder.file("key.pem")};
        writeFile(folder.file("key.pem"), key.publicKey().toPem());
        log.use(config);
    }

    // Starts the server, and makes it the configured one.
    void serve(support::HostileServer::Handler handler) {
        server = std::make_unique<support::HostileServer>(std::move(handler));
        config.server = server->url("/lumo");
        log.use(config);
    }

    // A signed package with one block of noise of this size.
    support::PackageBuilder packageOf(std::size_t bytes, const std::string& version = "2.0") const {
        return support::PackageBuilder().device("BOX").version(version).key(key).block("rootfs",
                                                                                       support::noise(bytes));
    }

    // Opens it with waits of no length, and checks what holds for every outcome.
    Opened open(const std::string& url) {
        Opened opened;
        try {
            opened.package = openPackage(
                url, config, std::nullopt, timeoutSeconds,
                [&](STBFirmwareFile::CurrentOperation operation, auto total, auto done, double percent) {
                    opened.steps.push_back({operation, total, done, percent});
                    if (onProgress) {
                        onProgress(opened.steps.back());
                    }
                },
                [&](int seconds) { opened.pauses.push_back(seconds); });
        } catch (const FirmwareError& error) {
            opened.result = static_cast<int>(error.result());
            opened.error = error.what();
        }
        expectOrderlyProgress(opened.steps, opened.package != nullptr);
        EXPECT_EQ(opened.error.find_first_of("\r\n"), std::string::npos) << opened.error;
        EXPECT_TRUE(!std::filesystem::exists(config.stateDir) || std::filesystem::is_empty(config.stateDir));
        return opened;
    }

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

} // namespace lumo::tests
