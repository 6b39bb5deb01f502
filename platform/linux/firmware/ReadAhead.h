#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <functional>
#include <mutex>
#include <span>
#include <thread>
#include <vector>

namespace lumo {

// Reads a run of bytes in windows, one ahead of its user, so that reading and what is done with the bytes
// overlap. Memory stays at three windows however long the run is. A run of one window is read without a
// thread.
class ReadAhead {
public:
    static constexpr std::size_t windowSize = 512 << 10;

    // Fills the whole span with the bytes at offset, or throws. Called in order; on another thread.
    using Reader = std::function<void(std::uint64_t offset, std::span<std::byte> bytes)>;

    ReadAhead(Reader reader, std::uint64_t begin, std::uint64_t end);
    ~ReadAhead();
    ReadAhead(const ReadAhead&) = delete;
    ReadAhead& operator=(const ReadAhead&) = delete;

    // The next window, valid until the next call; empty at the end. Throws what the reader threw.
    std::span<const std::byte> next();

private:
    struct Window {
        std::vector<std::byte> bytes;
        std::size_t size = 0; // 0: free
        std::exception_ptr thrown;
    };

    std::size_t windowAt(std::uint64_t offset) const;
    void readAll(std::uint64_t begin);

    const Reader _reader;
    const std::uint64_t _end;
    std::uint64_t _taken; // where next() goes on; user's thread only
    std::size_t _current = 0;

    std::vector<Window>
        _windows;      // a window's bytes belong to the user while size > 0, to the reader while it is 0
    std::mutex _mutex; // guards sizes, exceptions and _stop
    std::condition_variable _changed;
    bool _stop = false;
    bool _holding = false; // the user holds _windows[_current]
    std::thread _thread;
};

} // namespace lumo
