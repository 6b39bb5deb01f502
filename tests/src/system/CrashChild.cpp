// A program that ends badly in the way its first argument names; further arguments depend on the way.
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

void crashOnOtherThread() {
    STBBackTrace::install(nullptr, nullptr);
    std::thread(writeOutsideMemory).join();
}

} // namespace

int main(int argc, char** argv) {
    pthread_helper::mutex mutex;
    const std::string argument = argc > 2 ? argv[2] : "";
    const std::map<std::string, std::function<void()>> ways = {
        {"signal",
         [&] {
             STBBackTrace::install(nullptr, nullptr);
             raise(std::atoi(argument.c_str()));
         }},
        {"segv",
         [&] {
             STBBackTrace::install(nullptr, nullptr);
             writeOutsideMemory();
         }},
        {"segv-without-stack",
         [&] {
             STBBackTrace::install(nullptr, nullptr);
             crashWithoutStack();
         }},
        {"segv-to-file",
         [&] {
             STBBackTrace::install(argument.c_str(), sayReported);
             writeOutsideMemory();
         }},
        {"segv-after-second-install",
         [&] {
             STBBackTrace::install(argument.c_str(), sayReported);
             STBBackTrace::install(nullptr, nullptr);
             writeOutsideMemory();
         }},
        {"segv-on-other-thread", crashOnOtherThread},
        {"lock-twice", [&] { lockTwice(mutex); }},
        {"unlock-unlocked", [&] { mutex.unlock(); }},
        {"destroy-locked", destroyLocked},
        {"recursive",
         [] {
             pthread_helper::mutex recursive(PTHREAD_MUTEX_RECURSIVE);
             const std::lock_guard outer(recursive);
             const std::lock_guard inner(recursive);
         }},
    };
    ways.at(argc > 1 ? argv[1] : "")();
}
