#pragma once

#include <cstring>
#include <set>
#include <string>
#include <utility>

#include "platform/linux/firmware/FlashDevice.h"
#include "tests/platform/firmware/Power.h"

namespace lumo {

// An eMMC, a disk or a file in memory, and the kernel's cache over it: what was written is read back at once,
// and is on the medium when it was flushed, or when the kernel liked to.
struct DiskMedium {
    std::string bytes;
    std::string cached;
    std::set<std::size_t> dirty; // sectors

    static constexpr std::size_t sector = 512;

    void fill(const std::string& content) {
        bytes = cached = content;
        dirty.clear();
    }

    void flush() {
        for (const std::size_t number : dirty) {
            bytes.replace(number * sector, sector, cached, number * sector, sector);
        }
        fill(std::string(bytes));
    }

    // Each sector that was not flushed is there, or not, or begins with what was written.
    void losePower(Power& power) {
        for (const std::size_t number : dirty) {
            const std::size_t lengths[] = {0, sector, power.dice(sector)};
            const std::size_t length = lengths[power.dice(3)];
            bytes.replace(number * sector, length, cached, number * sector, length);
        }
        fill(std::string(bytes));
    }
};

class SimulatedDisk : public FlashDevice {
public:
    SimulatedDisk(std::string name, DiskMedium& medium, std::uint32_t eraseSize, Power& power)
        : _name(std::move(name)), _medium(medium), _eraseSize(eraseSize), _power(power) {}

    const std::string& name() const override { return _name; }

    std::uint64_t size() const override { return _medium.bytes.size(); }

    std::uint32_t eraseSize() const override { return _eraseSize; }

    void read(std::uint64_t offset, std::span<std::byte> bytes) override {
        draw(0);
        std::memcpy(bytes.data(), _medium.cached.data() + offset, bytes.size());
    }

    void erase(std::uint64_t, std::uint64_t) override { draw(0); }

    void write(std::uint64_t offset, std::span<const std::byte> bytes) override {
        const auto done = static_cast<std::size_t>(_power.draw(bytes.size()));
        const auto begin = static_cast<std::size_t>(offset);
        _medium.cached.replace(begin, done, reinterpret_cast<const char*>(bytes.data()), done);
        for (std::size_t at = begin; at < begin + done; at += DiskMedium::sector - at % DiskMedium::sector) {
            _medium.dirty.insert(at / DiskMedium::sector);
        }
        draw(0);
    }

    void sync() override {
        draw(1);
        _medium.flush();
    }

private:
    void draw(std::uint64_t units) {
        _power.draw(units);
        if (_power.isOff()) {
            throw PowerCut();
        }
    }

    const std::string _name;
    DiskMedium& _medium;
    const std::uint32_t _eraseSize;
    Power& _power;
};

} // namespace lumo
