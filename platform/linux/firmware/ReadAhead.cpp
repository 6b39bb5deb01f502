#include "platform/linux/firmware/ReadAhead.h"

#include <algorithm>

namespace lumo {

namespace {

constexpr std::size_t windowCount = 3;

} // namespace

ReadAhead::ReadAhead(Reader reader, std::uint64_t begin, std::uint64_t end)
    : _reader(std::move(reader)), _end(end), _taken(begin) {
    const bool threaded = end - begin > windowSize;
    _windows.resize(threaded ? windowCount : 1);
    for (Window& window : _windows) {
        window.bytes.resize(windowAt(begin));
    }
    if (threaded) {
        _thread = std::thread(&ReadAhead::readAll, this, begin);
    }
}

ReadAhead::~ReadAhead() {
    if (_thread.joinable()) {
        {
            const std::lock_guard lock(_mutex);
            _stop = true;
        }
        _changed.notify_all();
        _thread.join();
    }
}

std::size_t ReadAhead::windowAt(std::uint64_t offset) const {
    return static_cast<std::size_t>(std::min<std::uint64_t>(windowSize, _end - offset));
}

void ReadAhead::readAll(std::uint64_t begin) {
    std::size_t index = 0;
    for (std::uint64_t offset = begin; offset < _end; index = (index + 1) % windowCount) {
        Window& window = _windows[index];
        {
            std::unique_lock lock(_mutex);
            _changed.wait(lock, [&] { return _stop || window.size == 0; });
            if (_stop) {
                return;
            }
        }
        const std::size_t size = windowAt(offset);
        std::exception_ptr thrown;
        try {
            _reader(offset, std::span(window.bytes).first(size));
        } catch (...) {
            thrown = std::current_exception();
        }
        {
            const std::lock_guard lock(_mutex);
            window.thrown = thrown;
            window.size = size;
        }
        _changed.notify_all();
        if (thrown) {
            return;
        }
        offset += size;
    }
}

std::span<const std::byte> ReadAhead::next() {
    if (!_thread.joinable()) {
        const std::span<std::byte> bytes = std::span(_windows[0].bytes).first(windowAt(_taken));
        if (!bytes.empty()) {
            _reader(_taken, bytes);
            _taken += bytes.size();
        }
        return bytes;
    }
    std::unique_lock lock(_mutex);
    if (_holding) {
        _windows[_current].size = 0;
        _current = (_current + 1) % windowCount;
        _holding = false;
        _changed.notify_all();
    }
    if (_taken == _end) {
        return {};
    }
    Window& window = _windows[_current];
    _changed.wait(lock, [&] { return window.size > 0; });
    if (window.thrown) {
        std::rethrow_exception(window.thrown);
    }
    _holding = true;
    _taken += window.size;
    return std::span<const std::byte>(window.bytes).first(window.size);
}

} // namespace lumo
