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

} // namespace

TEST(ReadAheadTest, PassesOnEveryByteInOrderUntilReadingFails) {
    for (const std::uint64_t size : {0 * window, window - 1, window, window + 1, 7 * window + 13}) {
        constexpr std::uint64_t begin = 4097;
        for (const std::uint64_t bad : {begin, begin + window, begin + 4 * window, UINT64_MAX}) {
            const auto fill = [bad](std::uint64_t offset, std::span<std::byte> bytes) {
                if (offset == bad) {
                    throw std::runtime_error("unreadable");
                }
                for (std::byte& byte : bytes) {
                    byte = byteAt(offset++);
                }
            };
            ReadAhead reader(fill, begin, begin + size);
            const std::uint64_t end = std::min(bad, begin + size);
            bool same = true;
            for (std::uint64_t offset = begin; same && offset < end;) {
                const auto bytes = reader.next();
                same = !bytes.empty();
                for (const std::byte byte : bytes) {
                    same = same && byte == byteAt(offset++);
                }
            }
            EXPECT_TRUE(same) << size;
            for (int i = 0; i < 2; ++i) {
                if (bad < begin + size) {
                    EXPECT_THROW(reader.next(), std::runtime_error);
                } else {
                    EXPECT_TRUE(reader.next().empty());
                }
            }
        }
    }
}

TEST(ReadAheadTest, ReadsNoFurtherThanItHasRoom) {
    std::atomic<int> windowsRead = 0;
    std::promise<void> full;
    const auto fill = [&](std::uint64_t, std::span<std::byte>) {
        if (++windowsRead == 3) {
            full.set_value();
        }
    };
    {
        ReadAhead reader(fill, 0, 20 * window);
        full.get_future().wait();
    }
    EXPECT_EQ(windowsRead, 3);
}

} // namespace lumo::tests
