#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>

namespace lumo {

// Makes one zstd frame (RFC 8878) piece by piece, with a window that every reader of packages accepts. The
// same bytes in the same pieces, level and release of libzstd give the same frame. One thread at a time.
class ZstdEncoder {
public:
    static constexpr int minLevel = 1;
    static constexpr int maxLevel = 19;

    using Sink = std::function<void(std::span<const std::byte>)>;

    // size: bytes the frame will hold, all told.
    ZstdEncoder(int level, std::uint64_t size);
    ~ZstdEncoder();

    void encode(std::span<const std::byte> bytes, const Sink& sink);
    // Ends the frame. Throws std::runtime_error when the bytes were not as many as was said.
    void finish(const Sink& sink);

private:
    struct Context;
    std::unique_ptr<Context> _context;
};

} // namespace lumo
