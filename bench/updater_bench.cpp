// The program as a whole process: how long it takes to start, beside another program that links libcurl, and
// to show its first picture; how often the picture changes while it works; and how much memory it takes. This
// process stays small, because a child's peak counts from its fork.

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <fstream>
#include <optional>
#include <random>
#include <sstream>

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

// Starts the program with that configuration, ends it when its log says that the first frame is on the
// display, and returns its peak resident set in KiB; 0 when that is never said. A process of its own, because
// the log has to be read as it comes.
std::optional<rusage> runToFirstFrame(const std::string& configuration) {
    int log[2];
    if (pipe2(log, O_CLOEXEC) != 0) {
        return std::nullopt;
    }
    const pid_t child = fork();
    if (child == 0) {
        dup2(log[1], STDOUT_FILENO);
        dup2(log[1], STDERR_FILENO);
        setenv("LUMO_PLATFORM", configuration.c_str(), 1);
        execl(UPDATER_PROGRAM, UPDATER_PROGRAM, static_cast<char*>(nullptr));
        _exit(127);
    }
    close(log[1]);
    std::string text;
    char bytes[4096];
    bool shown = false;
    for (ssize_t count = 0; !shown && (count = read(log[0], bytes, sizeof bytes)) > 0;) {
        text.append(bytes, static_cast<std::size_t>(count));
        shown = text.find("The first frame is on the display") != std::string::npos;
    }
    close(log[0]);
    kill(child, SIGKILL);
    rusage usage{};
    int status = 0;
    wait4(child, &status, 0, &usage);
    return shown ? std::optional(usage) : std::nullopt;
}

double secondsOf(const timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
}

void firstFrame(benchmark::State& state) {
    const support::TempDir folder;
    support::writeFile(folder.file("platform.json"),
                       R"({"device": {"id": "BENCH", "stateDir": ")" + folder.file("state") +
                           R"("}, "updates": {"server": "http://127.0.0.1:1", "allowUnsigned": true},)" +
                           R"("log": {"level": 4}})");
    double cpuSeconds = 0;
    for (auto _ : state) {
        const auto usage = runToFirstFrame(folder.file("platform.json"));
        if (!usage) {
            state.SkipWithError("no frame");
            return;
        }
        cpuSeconds += secondsOf(usage->ru_utime) + secondsOf(usage->ru_stime);
        state.counters["peak_MiB"] = static_cast<double>(usage->ru_maxrss) / 1024;
    }
    // What it takes of both cores together; on a busy machine this is the steadier figure.
    state.counters["cpu_ms"] = benchmark::Counter(1000 * cpuSeconds, benchmark::Counter::kAvgIterations);
}

BENCHMARK(firstFrame)
    ->Name("start/first frame, headless")
    ->Iterations(30)
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);

std::vector<std::string> split(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) {
        lines.push_back(line);
    }
    return lines;
}

// Milliseconds between the lines of a log that hold that text; they begin "2024-11-20T09:08:01.123Z".
std::vector<double> gapsBetween(const std::vector<std::string>& lines, const std::string& text) {
    std::vector<double> gaps;
    std::optional<double> last;
    for (const std::string& line : lines) {
        if (line.find(text) == std::string::npos || line.size() < 24) {
            continue;
        }
        const double time = std::stod(line.substr(11, 2)) * 3600000 + std::stod(line.substr(14, 2)) * 60000 +
                            std::stod(line.substr(17, 6)) * 1000;
        if (last) {
            gaps.push_back(time - *last);
        }
        last = time;
    }
    return gaps;
}

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

// Installs one block with the real program and its real waits, without a screen; the counter is its peak
// resident set.
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
                           std::to_string(std::int64_t(mebibytes) << 20) +
                           R"(, "eraseSize": 131072}}, "display": {"backend": "none"}})");
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

// Installs a package of 256 MiB into flash of that speed (bytes a second, 0: as fast as it goes), and looks
// in the log how far apart the redraws were.
void redraws(benchmark::State& state) {
    const std::string speed = std::to_string(state.range(0));
    const support::TempDir folder;
    writeBlock(folder.file("block"), 256, false);
    run({{LUMO_FIRMWARE_PROGRAM, "create", "--version", "1.0", "--device", "BENCH", "--unsigned", "--block",
          "kernel=" + folder.file("block") + "@kernel", "-o", folder.file("package.bin")},
         {},
         "",
         600});
    support::writeFile(folder.file("platform.json"),
                       R"({"device": {"id": "BENCH", "stateDir": ")" + folder.file("state") +
                           R"("}, "updates": {"server": "http://127.0.0.1:1", "allowUnsigned": true},)" +
                           R"("flash": {"kernel": {"file": "flash.img", "size": 268435456)" +
                           (speed == "0" ? "" : ", \"speed\": " + speed) +
                           R"(}}, "log": {"level": 5, "file": ")" + folder.file("log") + R"("}})");
    std::vector<double> gaps;
    for (auto _ : state) {
        run({{UPDATER_PROGRAM, "file://" + folder.file("package.bin")},
             {{"LUMO_PLATFORM", folder.file("platform.json")}},
             "",
             300});
        gaps = gapsBetween(split(support::readFile(folder.file("log"))), " of 1000 are shown");
    }
    if (gaps.empty()) {
        state.SkipWithError("nothing was shown");
        return;
    }
    std::sort(gaps.begin(), gaps.end());
    state.counters["redraws"] = static_cast<double>(gaps.size() + 1);
    state.counters["median_gap_ms"] = gaps[gaps.size() / 2];
    state.counters["largest_gap_ms"] = gaps.back();
}

BENCHMARK(redraws)
    ->Name("screen/redraws in 256 MiB")
    ->Arg(0)
    ->Arg(64 << 20)
    ->Iterations(1)
    ->UseRealTime()
    ->Unit(benchmark::kSecond);

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
