#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "tests/support/TempDir.h"

// For cases that use the device paths: gives each its turn, since cases run as processes side by side and
// share one sysroot, and starts it without a stored language. Skips where the sysroot is this machine itself.
class SysrootFixture : public testing::Test {
protected:
    void SetUp() override {
        if (std::string(LUMO_SYSROOT).empty()) {
            GTEST_SKIP() << "the device paths are this machine's";
        }
        std::filesystem::create_directories(LUMO_SYSROOT "/var/lumo");
        std::filesystem::create_directories(LUMO_SYSROOT "/home/lumo/lang");
        _turn = open(LUMO_SYSROOT "/test-turn", O_RDWR | O_CREAT | O_CLOEXEC, 0600);
        ASSERT_EQ(flock(_turn, LOCK_EX), 0);
        std::filesystem::remove_all(storedCode);
    }

    void TearDown() override {
        if (_turn >= 0) {
            std::filesystem::remove_all(storedCode);
            close(_turn);
        }
    }

    const std::filesystem::path storedCode = LUMO_SYSROOT "/var/lumo/lang";

private:
    int _turn = -1;
};
