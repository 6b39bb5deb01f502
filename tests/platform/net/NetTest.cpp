#include "tests/platform/net/NetTest.h"

#include <cstdlib>
#include <filesystem>

#include "platform/linux/firmware/FirmwareError.h"

namespace lumo::tests {

NetTest::NetTest() {
    for (const char* name : {"http_proxy", "https_proxy", "all_proxy", "HTTPS_PROXY", "ALL_PROXY"}) {
        unsetenv(name); // whoever runs the test may need a proxy for other servers
    }
    config.deviceId = "BOX";
    config.stateDir = folder.file("state");
    config.keys = {folder.file("key.pem")};
    support::writeFile(folder.file("key.pem"), key.publicKey().toPem());
    log.use(config);
}

void NetTest::serve(support::HostileServer::Handler handler) {
    server = std::make_unique<support::HostileServer>(std::move(handler));
    config.server = server->url("/lumo");
    log.use(config);
}

support::PackageBuilder NetTest::packageOf(std::size_t bytes, const std::string& version) const {
    return support::PackageBuilder().device("BOX").version(version).key(key).block("rootfs",
                                                                                   support::noise(bytes));
}

Opened NetTest::open(const std::string& url, const std::optional<std::string>& type) {
    Opened opened;
    try {
        opened.package = openPackage(
            url, config, type, timeoutSeconds,
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

void expectOrderlyProgress(const std::vector<Step>& steps, bool opened) {
    int hundreds[2] = {0, 0};
    const Step* last = nullptr;
    for (const Step& step : steps) {
        ASSERT_TRUE(step.operation == 0 || step.operation == 1);
        const bool sameOperation = last != nullptr && last->operation == step.operation;
        EXPECT_TRUE(sameOperation || step.operation == (last == nullptr ? 0 : 1)) << "transfer, then check";
        EXPECT_TRUE(!sameOperation || step.percent > last->percent) << last->percent << " " << step.percent;
        EXPECT_TRUE(step.percent >= 0 && step.percent <= 100) << step.percent;
        EXPECT_TRUE(step.total == 0 || step.done <= step.total) << step.done << " of " << step.total;
        hundreds[step.operation] += step.percent == 100;
        last = &step;
    }
    EXPECT_LE(hundreds[0], 1);
    EXPECT_EQ(hundreds[1], opened ? 1 : 0);
    if (opened) {
        EXPECT_EQ(hundreds[0], 1);
        EXPECT_EQ(last->percent, 100);
    }
}

} // namespace lumo::tests
