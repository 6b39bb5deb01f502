#include <gtest/gtest.h>

#include <cstdint>
#include <span>
#include <sstream>

#include "platform/linux/firmware/PackageVerifier.h"
#include "tests/support/TempDir.h"

namespace {

// Turns a dump in the form of hexdump -C back into bytes: "*" stands for repetitions of the line before it.
std::string bytesOfDump(std::istream& lines) {
    std::string bytes;
    std::string lastLine;
    for (std::string line; std::getline(lines, line);) {
        std::istringstream words(line);
        std::size_t offset = 0;
        if (!(words >> std::hex >> offset)) {
            continue;
        }
        while (bytes.size() < offset && !lastLine.empty()) {
            bytes += lastLine;
        }
        if (bytes.size() != offset) {
            ADD_FAILURE() << "the dump has a gap at " << offset;
            return "";
        }
        lastLine.clear();
        for (unsigned value = 0; words >> std::hex >> value;) {
            lastLine += static_cast<char>(value);
        }
        bytes += lastLine;
    }
    return bytes;
}

std::string between(const std::string& text, const std::string& begin, const std::string& end) {
    const auto from = text.find(begin);
    const auto to = text.find(end, from);
    return from == std::string::npos || to == std::string::npos ? ""
                                                                : text.substr(from, to - from + end.size());
}

// The page on the format shows a package and the key that signed it.
TEST(DocumentedExampleTest, IsAGoodPackage) {
    const std::string page = support::readFile(LUMO_SOURCE_DIR "/docs/package-format.md");
    std::istringstream dump(between(page, "    00000000  4c 55", "    0000200f"));
    const std::string bytes = bytesOfDump(dump);

    support::TempDir dir;
    std::istringstream pem(between(page, "-----BEGIN PUBLIC KEY-----", "-----END PUBLIC KEY-----"));
    std::string unindented;
    for (std::string line; std::getline(pem >> std::ws, line);) {
        unindented += line + "\n";
    }
    support::writeFile(dir.file("key.pem"), unindented);

    lumo::PackageVerifier verifier({"LUMO-SIM", "default", {lumo::PublicKey::load(dir.file("key.pem"))}});
    verifier.feed(std::as_bytes(std::span(bytes)));
    verifier.finish();
    EXPECT_EQ(verifier.manifest()->version, "2.0");
}

} // namespace
