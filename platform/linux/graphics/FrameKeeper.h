#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace lumo {

// A picture: four bytes R, G, B, A a pixel, the bottom row first, rows without gaps.
struct Frame {
    int width = 0;  // pixels
    int height = 0; // pixels
    std::vector<unsigned char> pixels;
};

// Keeps pictures as PNG files "frame-000001.png", "frame-000002.png", ... in a folder. They are written by a
// thread of their own. When pictures come faster than they can be written, the oldest that wait are left out,
// never the newest; when there are more than `most` in the folder, the oldest go. Numbers go on after the
// highest that is there already.
class FrameKeeper {
public:
    // Creates the folder if need be. Throws std::runtime_error when pictures cannot be kept there.
    explicit FrameKeeper(const std::string& folder, std::size_t most = 1000);
    // Returns when the newest picture is written.
    ~FrameKeeper();
    FrameKeeper(const FrameKeeper&) = delete;
    FrameKeeper& operator=(const FrameKeeper&) = delete;

    // An empty frame, perhaps with the memory of an old one. Any thread.
    Frame take();
    // Keeps a frame. Any thread.
    void keep(Frame frame);
    // Returns when all that was kept so far is written. Any thread.
    void flush();

private:
    void findEarlier();
    void run();
    void write(const Frame& frame);
    std::string file(std::uint64_t number) const;

    const std::string _folder;
    const std::size_t _most;

    // The writing thread's alone.
    std::uint64_t _oldest = 1; // number of the oldest picture that may be there
    std::uint64_t _next = 1;

    std::mutex _mutex;
    // Guarded by _mutex.
    std::condition_variable _changed;
    std::deque<Frame> _waiting;
    std::vector<Frame> _spare;
    std::uint64_t _leftOut = 0;
    bool _writing = false;
    bool _ending = false;

    std::thread _thread;
};

} // namespace lumo
