#include "platform/linux/graphics/FrameKeeper.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <stdexcept>
#include <string_view>
#include <system_error>
#include <utility>

#include "platform/linux/device/Files.h"
#include "platform/linux/device/Log.h"
#include "platform/linux/graphics/PngFile.h"

#define LUMO_LOG_FILE "platform/linux/graphics/FrameKeeper"

namespace lumo {

namespace {

// Pictures of a 1280 by 720 screen take 3.5 MiB each.
constexpr std::size_t mostWaiting = 8;

constexpr std::string_view prefix = "frame-";
constexpr std::string_view suffix = ".png";

// The number in a name of ours; 0 for any other name.
std::uint64_t numberIn(std::string_view name) {
    if (!name.starts_with(prefix) || !name.ends_with(suffix) ||
        name.size() <= prefix.size() + suffix.size()) {
        return 0;
    }
    name = name.substr(prefix.size(), name.size() - prefix.size() - suffix.size());
    std::uint64_t number = 0;
    const auto [end, error] = std::from_chars(name.data(), name.data() + name.size(), number);
    const bool whole = error == std::errc() && end == name.data() + name.size();
    return whole && number < 1000000000 ? number : 0;
}

} // namespace

FrameKeeper::FrameKeeper(const std::string& folder, std::size_t most)
    : _folder(folder), _most(std::max<std::size_t>(most, 1)) {
    try {
        ensureDirectory(folder);
        if (::access(folder.c_str(), W_OK | X_OK) != 0) {
            throw std::runtime_error("cannot write into " + folder + ": " + std::strerror(errno));
        }
        findEarlier();
    } catch (const std::exception& error) {
        throw std::runtime_error(std::string("pictures of the screen cannot be kept: ") + error.what());
    }
    _thread = std::thread([this] { run(); });
}

FrameKeeper::~FrameKeeper() {
    {
        const std::lock_guard lock(_mutex);
        _ending = true;
    }
    _changed.notify_all();
    _thread.join();
    if (_leftOut > 0) {
        LUMO_LOG(LogInfo, "%llu pictures came too fast to be kept in %s",
                 static_cast<unsigned long long>(_leftOut), _folder.c_str());
    }
}

void FrameKeeper::findEarlier() {
    std::uint64_t lowest = 0;
    std::uint64_t highest = 0;
    for (const auto& entry : std::filesystem::directory_iterator(_folder)) {
        if (const std::uint64_t number = numberIn(entry.path().filename().native()); number > 0) {
            lowest = lowest == 0 ? number : std::min(lowest, number);
            highest = std::max(highest, number);
        }
    }
    _oldest = std::max<std::uint64_t>(lowest, 1);
    _next = highest + 1;
}

Frame FrameKeeper::take() {
    const std::lock_guard lock(_mutex);
    Frame frame;
    if (!_spare.empty()) {
        frame = std::move(_spare.back());
        _spare.pop_back();
    }
    return frame;
}

void FrameKeeper::keep(Frame frame) {
    {
        const std::lock_guard lock(_mutex);
        if (_waiting.size() == mostWaiting) {
            _spare.push_back(std::move(_waiting.front()));
            _waiting.pop_front();
            ++_leftOut;
        }
        _waiting.push_back(std::move(frame));
    }
    _changed.notify_all();
}

void FrameKeeper::flush() {
    std::unique_lock lock(_mutex);
    _changed.wait(lock, [this] { return _waiting.empty() && !_writing; });
}

void FrameKeeper::run() {
    std::unique_lock lock(_mutex);
    for (;;) {
        _changed.wait(lock, [this] { return _ending || !_waiting.empty(); });
        if (_waiting.empty()) {
            return;
        }
        Frame frame = std::move(_waiting.front());
        _waiting.pop_front();
        _writing = true;
        lock.unlock();
        write(frame);
        lock.lock();
        _writing = false;
        if (_spare.empty()) {
            _spare.push_back(std::move(frame));
        }
        _changed.notify_all();
    }
}

void FrameKeeper::write(const Frame& frame) {
    const std::ptrdiff_t row = static_cast<std::ptrdiff_t>(frame.width) * 4;
    writePngFile(file(_next), {.firstRow = frame.pixels.data() + row * (frame.height - 1),
                               .width = frame.width,
                               .height = frame.height,
                               .pitch = -row,
                               .format = STB_PIXEL_RGBA8888,
                               .keepAlpha = false});
    ++_next;
    for (; _next - _oldest > _most; ++_oldest) {
        ::unlink(file(_oldest).c_str());
    }
}

std::string FrameKeeper::file(std::uint64_t number) const {
    char name[32];
    std::snprintf(name, sizeof name, "frame-%06llu.png", static_cast<unsigned long long>(number));
    return _folder + "/" + name;
}

} // namespace lumo
