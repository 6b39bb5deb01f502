// From the start of a process to its first frame, of the updater's way of drawing and of a bare OpenGL ES
// program that shows the same. Both draw into memory. Run it twice: the first time fills the driver's shader
// cache. And what a screen that does not change costs.

#include <benchmark/benchmark.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>

#include "tests/support/Running.h"
#include "tests/support/TempDir.h"

namespace {

using support::Program;
using support::Running;
using Clock = std::chrono::steady_clock;

Program screenProgram(const support::TempDir& folder) {
    support::writeFile(folder.file("p.json"), R"({"device": {"id": "BENCH", "stateDir": ")" +
                                                  folder.path().string() +
                                                  R"("}, "updates": {"server": "http://127.0.0.1:1",)"
                                                  R"( "allowUnsigned": true}, "log": {"level": 4}})");
    return {{LUMO_ONE_SCREEN}, {{"LUMO_PLATFORM", folder.file("p.json")}}, "", 60};
}

bool waitForFirstFrame(const Running& running) {
    for (std::string line = running.line(); !line.empty(); line = running.line()) {
        if (line.find("first frame") != std::string::npos) {
            return true;
        }
    }
    return false;
}

void firstFrame(benchmark::State& state, const Program& program) {
    for (auto _ : state) {
        const auto start = Clock::now();
        const Running running(program);
        if (!waitForFirstFrame(running)) {
            state.SkipWithError("there is no first frame");
            return;
        }
        state.SetIterationTime(std::chrono::duration<double>(Clock::now() - start).count());
    }
}

void screenFirstFrame(benchmark::State& state) {
    const support::TempDir folder;
    firstFrame(state, screenProgram(folder));
}

void bareFirstFrame(benchmark::State& state) {
    firstFrame(state, {{LUMO_BARE_GL}, {}, "", 60});
}

BENCHMARK(screenFirstFrame)
    ->Name("first frame/through the render manager")
    ->Iterations(20)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK(bareFirstFrame)
    ->Name("first frame/bare OpenGL ES")
    ->Iterations(20)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

// Seconds of processor time that a process has used.
double processorTime(int process) {
    double total = 0;
    for (const auto& thread :
         std::filesystem::directory_iterator("/proc/" + std::to_string(process) + "/task")) {
        std::ifstream stat(thread.path() / "schedstat");
        double nanoseconds = 0;
        stat >> nanoseconds;
        total += nanoseconds / 1e9;
    }
    return total;
}

// The processor's share in percent of one core, over ten seconds in which nothing changes on the screen.
void idleScreen(benchmark::State& state) {
    constexpr int seconds = 10;
    const support::TempDir folder;
    const Running running(screenProgram(folder));
    if (!waitForFirstFrame(running)) {
        state.SkipWithError("there is no first frame");
        return;
    }
    for (auto _ : state) {
        std::this_thread::sleep_for(std::chrono::seconds(1));
        const double before = processorTime(running.process());
        std::this_thread::sleep_for(std::chrono::seconds(seconds));
        state.counters["percent_of_a_core"] = 100 * (processorTime(running.process()) - before) / seconds;
    }
}

BENCHMARK(idleScreen)->Name("idle screen, 10 s")->Iterations(1)->UseRealTime()->Unit(benchmark::kSecond);

} // namespace

BENCHMARK_MAIN();
