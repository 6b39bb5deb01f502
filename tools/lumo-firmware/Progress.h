#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <ostream>
#include <string>

namespace lumo {

// A line on a terminal that tells how far some work is, once the work has taken longer than a second. It
// never falls back, and says 100 % only when the work is done.
class Progress {
public:
    using Clock = std::function<std::chrono::steady_clock::time_point()>;

    // out: where to; null shows nothing. total: the work, in the unit of add().
    Progress(std::ostream* out, std::string what, std::uint64_t total,
             Clock clock = std::chrono::steady_clock::now);
    // Ends the line of work that failed.
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    void add(std::uint64_t done);
    void finish();

private:
    void show(int percent);

    std::ostream* _out;
    std::string _what;
    std::uint64_t _total;
    Clock _clock;
    std::chrono::steady_clock::time_point _begin;
    std::uint64_t _done = 0;
    int _shown = -1; // percent; -1: nothing yet
};

} // namespace lumo
