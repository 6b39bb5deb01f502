// The program as a whole process: how long it takes to start, beside another program that links libcurl, and
// how much memory an installation takes. This process stays small, because a child's peak counts from its
// fork.

#include <benchmark/benchmark.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <fstream>
#include <random>
#include <stdexcept>

#include "tests/support/Subprocess.h"
#include "tests/support/TempDir.h"

namespace {

using support::Program;
using support::run;

void start(benchmark::State& state, const std::vector<std::string>& command) {
    for (auto _ : state) {
        if (run({command, {}, "", 60}).exitCode != 0) {
            state.SkipWithError("the program fails");
            return;
        }
    }
}

void startUpdater(benchmark::State& state) {
    start(state, {UPDATER_PROGRAM, "-h"});
}

BENCHMARK(startUpdater)
    ->Name("start/updater -h")
    ->Iterations(50)
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);

void startCurl(benchmark::State& state) {
    start(state, {"curl", "--version"});
}

BENCHMARK(startCurl)
    ->Name("start/curl --version")
    ->Iterations(50)
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);

// A file of that many MiB: noise, or words that compress to about a third.
void writeBlock(const std::string& path, int mebibytes, bool compressible) {
    std::mt19937_64 generator(1);
    std::ofstream out(path, std::ios::binary);
    std::string chunk(1 << 20, '\0');
    for (int i = 0; i < mebibytes; ++i) {
        for (char& c : chunk) {
            c = static_cast<char>(compressible ? "0123"[generator() & 3] : generator());
        }
        out << chunk;
    }
}

// Installs one block with the real program and its real waits; the counter is its peak resident set.
void installResident(benchmark::State& state, bool compressed) {
    const int mebibytes = static_cast<int>(state.range(0));
    const support::TempDir folder;
    writeBlock(folder.file("block"), mebibytes, compressed);
    const std::string option =
        "kernel=" + folder.file("block") + "@kernel" + (compressed ? ":zstd:3" : ":none");
    run({{LUMO_FIRMWARE_PROGRAM, "create", "--version", "1.0", "--device", "BENCH", "--unsigned", "--block",
          option, "-o", folder.file("package.bin")},
         {},
         "",
         600});
    support::writeFile(folder.file("platform.json"),
                       R"({"device": {"id": "BENCH", "stateDir": ")" + folder.file("state") +
                           R"("}, "updates": {"server": "http://127.0.0.1:1", "allowUnsigned": true},)" +
                           R"("flash": {"kernel": {"file": "flash.img", "size": )" +
                           std::to_string(std::int64_t(mebibytes) << 20) + R"(, "eraseSize": 131072}}})");
    for (auto _ : state) {
        const auto result = run({{UPDATER_PROGRAM, "file://" + folder.file("package.bin")},
                                 {{"LUMO_PLATFORM", folder.file("platform.json")}},
                                 "",
                                 300});
        if (result.out.find("successfully") == std::string::npos) {
            state.SkipWithError(("not installed: " + result.err).c_str());
            return;
        }
        state.counters["peak_MiB"] = static_cast<double>(result.maxResidentKiB) / 1024;
    }
}

BENCHMARK_CAPTURE(installResident, uncompressed, false)
    ->Arg(4)
    ->Arg(1024)
    ->Iterations(1)
    ->UseRealTime()
    ->Unit(benchmark::kSecond);
BENCHMARK_CAPTURE(installResident, compressed, true)
    ->Arg(4)
    ->Arg(256)
    ->Iterations(1)
    ->UseRealTime()
    ->Unit(benchmark::kSecond);

} // namespace

BENCHMARK_MAIN();
