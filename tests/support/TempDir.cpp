#include "tests/support/TempDir.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace support {

TempDir::TempDir() {
    std::string name = (std::filesystem::temp_directory_path() / "lumo-test-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) {
        throw std::runtime_error("cannot make a temporary folder " + name);
    }
    _path = name;
}

TempDir::~TempDir() {
    std::error_code ignored;
    std::filesystem::remove_all(_path, ignored);
}

std::string readFile(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    EXPECT_TRUE(in) << "cannot read " << path;
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

void writeFile(const std::filesystem::path& path, const std::string& bytes) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << bytes;
    out.close();
    EXPECT_TRUE(out) << "cannot write " << path;
}

} // namespace support
