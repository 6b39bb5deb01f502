// A program that ends badly in the way its first argument names, or by that signal. The second one is the
// file for the report.
#include <signal.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <functional>
#include <map>
#include <mutex>
#include <new>
#include <string>
#include <thread>

#include "inc/private/pthread_helper.h"
#include "src/system/STBBackTrace.h"

extern "C" __attribute__((noinline)) void writeOutsideMemory() {
    // Not the null page's first byte: sanitizers would report that themselves.
    volatile std::uintptr_t address = 8;
    *reinterpret_cast<volatile int*>(address) = 1;
}

// Takes the way back to its callers away before it crashes, as a buffer overrun on the stack does.
extern "C" __attribute__((noinline)) void crashWithoutStack() {
    auto* const frame = static_cast<volatile std::uintptr_t*>(__builtin_frame_address(0));
    frame[0] = 64; // where the caller's frame is
    writeOutsideMemory();
    __asm__ volatile(""); // a tail call would leave no frame of this function
}

extern "C" __attribute__((noinline)) void lockTwice(pthread_helper::mutex& mutex) {
    mutex.lock();
    mutex.lock();
}

namespace {

void sayReported() {
    static const char text[] = "reported\n";
    if (write(STDOUT_FILENO, text, sizeof text - 1) < 0) {
        std::abort();
    }
}

void destroyLocked() {
    alignas(pthread_helper::mutex) unsigned char memory[sizeof(pthread_helper::mutex)];
    auto* mutex = new (memory) pthread_helper::mutex;
    mutex->lock();
    mutex->~mutex();
}

} // namespace

int main(int argc, char** argv) {
    const std::string way = argc > 1 ? argv[1] : "";
    const char* const file = argc > 2 ? argv[2] : nullptr;
    pthread_helper::mutex mutex;
    STBBackTrace::install(file, file != nullptr ? sayReported : nullptr);
    const auto installAgain = [] {
        STBBackTrace::install(nullptr, nullptr);
        writeOutsideMemory();
    };
    const auto lockRecursively = [] {
        pthread_helper::mutex recursive(PTHREAD_MUTEX_RECURSIVE);
        const std::scoped_lock outer(recursive);
        const std::scoped_lock inner(recursive);
    };
    const std::map<std::string, std::function<void()>> ways = {
        {"segv", writeOutsideMemory},
        {"segv-without-stack", crashWithoutStack},
        {"segv-after-second-install", installAgain},
        {"segv-on-other-thread", [] { std::thread(writeOutsideMemory).join(); }},
        {"lock-twice", [&] { lockTwice(mutex); }},
        {"unlock-unlocked", [&] { mutex.unlock(); }},
        {"destroy-locked", destroyLocked},
        {"recursive", lockRecursively},
    };
    const auto known = ways.find(way);
    known != ways.end() ? known->second() : static_cast<void>(raise(std::stoi(way)));
}
