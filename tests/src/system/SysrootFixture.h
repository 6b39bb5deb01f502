#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "tests/support/TempDir.h"

// For cases that use the device paths: they share one sysroot, which belongs to the tests, and run as
// processes side by side. Gives each its turn, and an empty sysroot to start with.
class SysrootFixture : public testing::Test {
protected:
    void SetUp() override {
        std::filesystem::create_directories(LUMO_SYSROOT);
        _turn = open(LUMO_SYSROOT "/turn", O_RDWR | O_CREAT | O_CLOEXEC, 0600);
        ASSERT_EQ(flock(_turn, LOCK_EX), 0);
        for (const char* folder : {"/var/lumo", "/home/lumo/lang"}) {
            std::filesystem::remove_all(std::string(LUMO_SYSROOT) + folder);
            std::filesystem::create_directories(std::string(LUMO_SYSROOT) + folder);
        }
    }

    void TearDown() override { close(_turn); }

    static std::string languageFile(const std::string& name) {
        return LUMO_SYSROOT "/home/lumo/lang/" + name;
    }

    const std::string storedCode = LUMO_SYSROOT "/var/lumo/lang";

private:
    int _turn = -1;
};
