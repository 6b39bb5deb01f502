#include "platform/linux/firmware/ReadAhead.h"

#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <stdexcept>

namespace lumo::tests {

namespace {

constexpr std::uint64_t window = ReadAhead::windowSize;

std::byte byteAt(std::uint64_t offset) {
    return static_cast<std::byte>(offset * 31 + (offset >> 12));
}

void fill(std::uint64_t offset, std::span<std::byte> bytes) {
    for (std::byte& byte : bytes) {
        byte = byteAt(offset++);
    }
}

} // namespace

TEST(ReadAheadTest, PassesOnEveryByteInOrder) {
    for (const std::uint64_t size : {0 * window, window - 1, window, window + 1, 7 * window + 13}) {
        constexpr std::uint64_t begin = 4097;
        ReadAhead reader(fill, begin, begin + size);
        std::uint64_t offset = begin;
        bool same = true;
        for (auto bytes = reader.next(); !bytes.empty(); bytes = reader.next()) {
            for (const std::byte byte : bytes) {
                same = same && byte == byteAt(offset++);
            }
        }
        EXPECT_TRUE(same) << size;
        EXPECT_EQ(offset, begin + size);
        EXPECT_TRUE(reader.next().empty());
    }
}

TEST(ReadAheadTest, ThrowsWhereReadingFailed) {
    for (const std::uint64_t bad : {0, 1, 4}) { // the window that cannot be read
        const auto failing = [bad](std::uint64_t offset, std::span<std::byte> bytes) {
            if (offset == bad * window) {
                throw std::runtime_error("unreadable");
            }
            fill(offset, bytes);
        };
        ReadAhead reader(failing, 0, 6 * window);
        for (std::uint64_t i = 0; i < bad; ++i) {
            EXPECT_EQ(reader.next().size(), window);
        }
        EXPECT_THROW(reader.next(), std::runtime_error);
        EXPECT_THROW(reader.next(), std::runtime_error);
    }
}

TEST(ReadAheadTest, ReadsNoFurtherThanItHasRoom) {
    std::atomic<int> windowsRead = 0;
    std::promise<void> full;
    {
        ReadAhead reader(
            [&](std::uint64_t, std::span<std::byte>) {
                if (++windowsRead == 3) {
                    full.set_value();
                }
            },
            0, 20 * window);
        full.get_future().wait();
    }
    EXPECT_EQ(windowsRead, 3);
}

} // namespace lumo::tests
