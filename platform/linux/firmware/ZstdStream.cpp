#include "platform/linux/firmware/ZstdStream.h"

#include <zstd.h>

#include <new>

#include "platform/linux/firmware/Manifest.h"

namespace lumo {

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
    if (_finished) {
        return step;
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
