#include "platform/linux/firmware/ZstdStream.h"

#include <zstd.h>

#include <array>
#include <new>

#include "platform/linux/firmware/Manifest.h"

namespace lumo {

namespace {

constexpr std::array<unsigned char, 4> magic{0x28, 0xb5, 0x2f, 0xfd};

} // namespace

struct ZstdStream::Context {
    ZSTD_DCtx* handle = ZSTD_createDCtx();

    Context() {
        if (handle == nullptr ||
            ZSTD_isError(ZSTD_DCtx_setParameter(handle, ZSTD_d_windowLogMax, format::maxZstdWindowLog))) {
            throw std::bad_alloc();
        }
    }

    ~Context() { ZSTD_freeDCtx(handle); }

    Context(const Context&) = delete;
    Context& operator=(const Context&) = delete;
};

ZstdStream::ZstdStream() : _context(std::make_unique<Context>()) {}

ZstdStream::~ZstdStream() = default;

ZstdStream::Step ZstdStream::decode(std::span<const std::byte> input, std::span<std::byte> output) {
    Step step;
    if (_finished || (input.empty() && _magicSeen < magic.size())) {
        return step;
    }
    // The magic goes in byte by byte. It keeps out skippable frames and the formats of old encoders; and the
    // decoder, which never sees a whole frame in one call, has no shortcut past its limit on the window.
    if (_magicSeen < magic.size()) {
        if (std::to_integer<unsigned char>(input[0]) != magic[_magicSeen]) {
            return {0, 0, true, "not a zstd frame"};
        }
        ++_magicSeen;
        input = input.first(1);
    }
    ZSTD_inBuffer in{input.data(), input.size(), 0};
    ZSTD_outBuffer out{output.data(), output.size(), 0};
    const std::size_t answer = ZSTD_decompressStream(_context->handle, &out, &in);
    step.consumed = in.pos;
    step.produced = out.pos;
    if (ZSTD_isError(answer) != 0) {
        step.failed = true;
        step.error = ZSTD_getErrorName(answer);
    }
    _finished = answer == 0;
    return step;
}

} // namespace lumo
