#include <gtest/gtest.h>

#include <cstdint>
#include <span>
#include <sstream>

#include "platform/linux/firmware/PackageVerifier.h"
#include "tests/support/TempDir.h"

// The page on the format shows a package, as hexdump -C does ("*" stands for repetitions of the line before
// it), and the key that signed it.
TEST(DocumentedExampleTest, IsAGoodPackage) {
    const std::string page = support::readFile(LUMO_SOURCE_DIR "/docs/package-format.md");
    std::istringstream lines(page.substr(page.find("    00000000  4c 55")));
    std::string bytes;
    std::string lastLine;
    for (std::string line; std::getline(lines, line) && line.starts_with("    ");) {
        std::istringstream words(line);
        std::size_t offset = 0;
        if (!(words >> std::hex >> offset)) {
            continue;
        }
        while (bytes.size() < offset && !lastLine.empty()) {
            bytes += lastLine;
        }
        ASSERT_EQ(bytes.size(), offset) << "the dump has a gap";
        lastLine.clear();
        for (unsigned value = 0; words >> std::hex >> value;) {
            lastLine += static_cast<char>(value);
        }
        bytes += lastLine;
    }

    const support::TempDir dir;
    std::istringstream indented(page.substr(page.find("-----BEGIN PUBLIC KEY-----")));
    std::string pem;
    for (std::string line; !pem.ends_with("-----END PUBLIC KEY-----\n") && indented >> std::ws;) {
        std::getline(indented, line);
        pem += line + "\n";
    }
    support::writeFile(dir.file("key.pem"), pem);

    lumo::PackageVerifier verifier({"LUMO-SIM", "default", {lumo::PublicKey::load(dir.file("key.pem"))}});
    verifier.feed(std::as_bytes(std::span(bytes)));
    verifier.finish();
    EXPECT_EQ(verifier.manifest()->version, "2.0");
}
