// Checking and installing packages, against what the bytes alone cost on the same machine in the same run:
// hashing them, and writing and flushing (or reading) them. The counter "ratio" is the median of installing
// over that limit.

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <functional>
#include <random>
#include <stdexcept>

#include "platform/linux/device/Device.h"
#include "platform/linux/device/UniqueFd.h"
#include "platform/linux/firmware/Installer.h"
#include "tests/support/TempDir.h"
#include "tools/lumo-firmware/PackageWriter.h"

namespace {

using namespace lumo;

constexpr std::size_t largeBlock = std::size_t(256) << 20;

std::vector<std::byte> noise(std::size_t size, std::uint64_t seed) {
    std::mt19937_64 generator(seed);
    std::vector<std::byte> bytes(size);
    for (std::size_t i = 0; i + 8 <= size; i += 8) {
        const std::uint64_t word = generator();
        std::memcpy(bytes.data() + i, &word, 8);
    }
    return bytes;
}

double seconds(const std::function<void()>& work) {
    const auto begin = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
}

void require(bool condition, const char* what) {
    if (!condition) {
        throw std::runtime_error(what);
    }
}

// Writes over a file and flushes it, as plainly as it can be done.
void writeFlushed(const std::string& path, std::span<const std::byte> bytes) {
    const UniqueFd file(open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
    constexpr std::size_t step = 1 << 20;
    for (std::size_t offset = 0; offset < bytes.size(); offset += step) {
        const std::size_t size = std::min(step, bytes.size() - offset);
        require(pwrite(file.get(), bytes.data() + offset, size, static_cast<off_t>(offset)) ==
                    static_cast<ssize_t>(size),
                "write");
    }
    require(fsync(file.get()) == 0, "fsync");
}

void readAll(const std::string& path, std::size_t size) {
    const UniqueFd file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
    std::vector<std::byte> buffer(1 << 20);
    for (std::size_t offset = 0; offset < size; offset += buffer.size()) {
        require(pread(file.get(), buffer.data(), buffer.size(), static_cast<off_t>(offset)) > 0, "read");
    }
}

// A device with one regular file as flash, and a package of one incompressible block for it.
class Device {
public:
    explicit Device(std::size_t size) : bytes(noise(size, 1)), other(noise(size, 2)) {
        config.deviceId = "BENCH";
        config.stateDir = folder.file("state");
        config.allowUnsigned = true;
        config.log.level = 1;
        config.flash["kernel"] = {FlashTarget::Kind::File, folder.file("flash"), size, 131072};
        setDeviceConfigForTests(config);
        writeFlushed(folder.file("block"), bytes);
        PackageDescription description;
        description.version = "1.0";
        description.devices = {"BENCH"};
        description.blocks.push_back({"", "kernel", "kernel", folder.file("block")});
        PackageWriter(description, std::nullopt).write(folder.file("package.bin"));
        scramble();
    }

    // Flash holds something else again, and nothing is known of an installation.
    void scramble() {
        writeFlushed(folder.file("flash"), other);
        std::filesystem::remove(folder.file("state/install.json"));
    }

    STBFirmwareUpdater::UpdateResult checkAndInstall() {
        const auto package =
            openPackage(folder.file("package.bin"), config, std::nullopt, 1, [](auto, auto, auto, auto) {});
        std::vector<STBFirmwareFile::Block> blocks;
        for (const auto& [key, block] : package->blocks()) {
            blocks.push_back(block);
        }
        return Installer(*package, blocks, config, nullptr, false).run();
    }

    support::TempDir folder;
    std::vector<std::byte> bytes;
    std::vector<std::byte> other;
    Config config;
};

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values.empty() ? 0 : values[values.size() / 2];
}

void report(benchmark::State& state, const std::vector<double>& work, const std::vector<double>& limit) {
    std::vector<double> ratios;
    for (std::size_t i = 0; i < work.size(); ++i) {
        ratios.push_back(work[i] / limit[i]);
    }
    state.counters["limit_s"] = median(limit);
    state.counters["ratio"] = median(ratios);
}

// Flash held something else: limit is SHA-256 of the bytes and writing and flushing them.
void installLarge(benchmark::State& state) {
    Device device(largeBlock);
    std::vector<double> work;
    std::vector<double> limit;
    writeFlushed(device.folder.file("plain"), device.other);
    for (auto _ : state) {
        const double hashing = seconds([&] { benchmark::DoNotOptimize(sha256(device.bytes)); });
        const double writing = seconds([&] { writeFlushed(device.folder.file("plain"), device.bytes); });
        limit.push_back(hashing + writing);
        work.push_back(seconds(
            [&] { require(device.checkAndInstall() == STBFirmwareUpdater::UPDATE_DONE, "install"); }));
        state.SetIterationTime(work.back());
        device.scramble();
    }
    report(state, work, limit);
}

BENCHMARK(installLarge)
    ->Name("install/256MiB")
    ->UseManualTime()
    ->Iterations(7)
    ->Unit(benchmark::kMillisecond);

// Flash holds the package already: limit is SHA-256 of the bytes and one read.
void installLargeAgain(benchmark::State& state) {
    Device device(largeBlock);
    std::vector<double> work;
    std::vector<double> limit;
    device.checkAndInstall();
    for (auto _ : state) {
        const double hashing = seconds([&] { benchmark::DoNotOptimize(sha256(device.bytes)); });
        const double reading = seconds([&] { readAll(device.folder.file("flash"), device.bytes.size()); });
        limit.push_back(hashing + reading);
        work.push_back(seconds(
            [&] { require(device.checkAndInstall() == STBFirmwareUpdater::UPDATE_NOT_NEEDED, "again"); }));
        state.SetIterationTime(work.back());
    }
    report(state, work, limit);
}

BENCHMARK(installLargeAgain)
    ->Name("install_again/256MiB")
    ->UseManualTime()
    ->Iterations(7)
    ->Unit(benchmark::kMillisecond);

void installSmall(benchmark::State& state) {
    Device device(4096);
    for (auto _ : state) {
        state.SetIterationTime(seconds(
            [&] { require(device.checkAndInstall() == STBFirmwareUpdater::UPDATE_DONE, "install"); }));
        device.scramble();
    }
}

BENCHMARK(installSmall)->Name("install/4KiB")->UseManualTime()->Iterations(20)->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
