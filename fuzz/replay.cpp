// Runs a fuzz target without a fuzzer: over every file of the corpus folder that is its first argument, and
// over mutations of them, as many as the second one says, that are the same at every run.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

using Bytes = std::vector<std::uint8_t>;

Bytes readFile(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

// Numbers at the edges of what lengths and offsets can be.
std::uint32_t edge(std::mt19937& random, std::size_t size) {
    const std::uint32_t edges[] = {
        0, 1, 0x7fffffff, 0x80000000, 0xfffffff8, 0xffffffff, static_cast<std::uint32_t>(size)};
    return edges[random() % std::size(edges)] + random() % 3 - 1;
}

void mutate(Bytes& bytes, std::mt19937& random) {
    if (bytes.empty()) {
        bytes.push_back(static_cast<std::uint8_t>(random()));
    }
    const std::size_t at = random() % bytes.size();
    switch (random() % 5) {
    case 0:
        bytes[at] = static_cast<std::uint8_t>(random());
        break;
    case 1:
        bytes[at] ^= static_cast<std::uint8_t>(1U << random() % 8);
        break;
    case 2: {
        std::uint32_t value = edge(random, bytes.size());
        value = random() % 2 == 0 ? value : __builtin_bswap32(value);
        const std::size_t word = at / 4 * 4;
        std::memcpy(bytes.data() + word, &value, std::min(sizeof value, bytes.size() - word));
        break;
    }
    case 3:
        bytes.resize(at);
        break;
    default:
        bytes.insert(bytes.end(), bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(at));
    }
}

} // namespace

int main(int argc, char** argv) {
    std::vector<std::filesystem::path> files;
    for (const auto& entry : std::filesystem::directory_iterator(argc > 1 ? argv[1] : "")) {
        files.push_back(entry.path());
    }
    std::sort(files.begin(), files.end());
    const std::size_t mutations = argc > 2 ? std::strtoul(argv[2], nullptr, 10) : 0;
    const std::size_t mutationsPerFile = files.empty() ? 0 : mutations / files.size();
    for (const auto& file : files) {
        const Bytes original = readFile(file);
        LLVMFuzzerTestOneInput(original.data(), original.size());
        std::mt19937 random(1);
        for (std::size_t i = 0; i < mutationsPerFile; ++i) {
            Bytes bytes = original;
            for (std::uint32_t count = 1 + random() % 4; count > 0; --count) {
                mutate(bytes, random);
            }
            LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
        }
    }
    std::fprintf(stderr, "%zu files, %zu mutations each\n", files.size(), mutationsPerFile);
    return files.empty() ? 1 : 0;
}
